#ifndef VEXAPLATFORM_VEXAPLATFORM_TOOL_LIMITS_H_
#define VEXAPLATFORM_VEXAPLATFORM_TOOL_LIMITS_H_

namespace vexaplatform {

// What one run of an external tool may take. All limits hold while its output is read through a
// stream too. A tool that meets one has failed, whatever it wrote, and the system log gets one line
// that names the tool, the limit and the source.
//
// Besides, no tool writes a core file.
struct ToolLimits {
  int address_space = 1280;  // MiB; allocations beyond it fail
  int cpu_time = 30;         // seconds; the tool gets SIGXCPU, and SIGKILL five seconds later
  int wall_time = 60;     // seconds; its process group gets SIGTERM, and SIGKILL two seconds later
  int file_size = 1024;   // MiB of each file that it writes, temporary ones included
  int written = 4096;     // MiB that it writes in all, whether it is still there or not
  int open_files = 256;   // descriptors at once
  int tasks = 512;        // threads of the tool at once
  int jpeg_memory = 512;  // MiB that libjpeg takes for one picture
  int threads = 1;        // of ImageMagick
};

// Which of them ended a tool.
enum class ToolLimit {
  kNone,
  kAddressSpace,
  kCpuTime,
  kWallTime,
  kFileSize,
  kWritten,
  kOpenFiles,
  kTasks,
  kJpegMemory,
  kPolicy  // of ImageMagick's: sides, frames, memory of pixels and the like
};

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_VEXAPLATFORM_TOOL_LIMITS_H_
