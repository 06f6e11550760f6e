#ifndef VEXATHUMB_COMMON_EXPORT_H_
#define VEXATHUMB_COMMON_EXPORT_H_

// Marks what libvexathumb.so exports; everything else is hidden by the build.
#define VEXATHUMB_API __attribute__((visibility("default")))

#endif  // VEXATHUMB_COMMON_EXPORT_H_
