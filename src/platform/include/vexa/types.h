#ifndef VEXAPLATFORM_VEXA_TYPES_H_
#define VEXAPLATFORM_VEXA_TYPES_H_

// The platform's truth value: the size of an int.
typedef int BOOL;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

// Marks what libvexaplatform.so exports; everything else is hidden by the build.
#define VEXAPLATFORM_API __attribute__((visibility("default")))

#endif  // VEXAPLATFORM_VEXA_TYPES_H_
