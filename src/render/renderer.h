#ifndef VEXATHUMB_RENDER_RENDERER_H_
#define VEXATHUMB_RENDER_RENDERER_H_

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "posix/unique_fd.h"

namespace vexathumb::render {

enum class Coding : uint8_t { kJpeg, kPng };

// One picture to make. It is never larger than its source; its colours are sRGB, and it carries no
// metadata. A JPEG has white where its source is transparent.
struct PictureOrder {
  uint32_t width = 0, height = 0;  // pixels of the box, as displayed, after all turning
  bool fill = false;  // cover the box and cut its middle out, instead of fitting into it
  Coding coding = Coding::kJpeg;
  int quality = 85;  // of a JPEG, 1 to 100
  int file = -1;     // borrowed: a regular file, empty, open for writing
};

struct JobLimits {
  uint64_t memory = uint64_t{512} << 20U;    // bytes, all that the job's process has included
  std::chrono::milliseconds cpu{30000};      // of the processor's time, all threads together
  std::chrono::milliseconds wall{60000};     // from when the job's process starts
  uint64_t pixels = 200'000'000;             // of the source
  uint64_t file_size = uint64_t{64} << 20U;  // bytes of each file
};

struct Job {
  int source = -1;  // borrowed: a regular file, open for reading, for this job alone: it is moved
  // EXIF's, 1 to 8, in place of what the picture says; 0: what the decoder sees that it says, which
  // is less than Exiv2 sees of a PNG. HEIC, AVIF and JPEG XL are turned by their container alone.
  int orientation = 0;
  int turns = 0;  // clockwise quarter turns on top of that, 0 to 3
  // What a decoder gets of a picture that is cut short will do, if half of its rows are there.
  bool takes_damaged = false;
  JobLimits limits;
  std::vector<PictureOrder>
      pictures;  // at most kMostPictures; none: facts alone, nothing is decoded
};

constexpr size_t kMostPictures = 8;
constexpr uint32_t kLargestSide = 65500;  // of a box

enum class Ending : uint8_t {
  kDone,
  kRefused,     // the content is of no type that is rendered
  kUnreadable,  // the decoder's own error
  kLimited,     // one of the job's limits was met: "memory", "processor time", "time", "pixels" or
                // "size of a file"
  kCrashed,
  kStopped,  // by the machine, which proves nothing about the picture: it cannot be started, was
             // killed, a file cannot be written or read; or the job itself is not a valid one
};

struct Size {
  uint32_t width = 0, height = 0;
};

struct Answer {
  Ending ending = Ending::kStopped;
  int error = 0;  // of kStopped: errno of writing a file or reading the source, where it was that
  std::string detail;  // one line: the decoder's message, the limit's name, the signal; or nothing
  // Of the source, where its header could be read: whatever the ending is.
  std::string type;                // "image/jpeg"; empty when it is of none that is rendered
  uint32_t width = 0, height = 0;  // upright, before `turns`
  uint32_t frames = 0;             // or pages
  bool has_alpha = false;
  bool is_damaged = false;     // the pictures lack something of the source
  std::vector<Size> pictures;  // what has been made, in the job's order, when it is done
  uint64_t peak_memory = 0;    // bytes, of the job's process
};

// Pictures made from the files of others by a program of its own, `vexathumb-render`: it is started
// when it is first needed, prepares itself once, and then forks a process for each job, which gets
// the open files of its job and can reach nothing else. It ends with this object and the processes
// that were forked from the one that has it.
//
//   Renderer renderer("/usr/libexec/vexathumb-render");
//   Job job;
//   job.source = source.get();
//   job.pictures.push_back({1280, 1280, false, Coding::kJpeg, 85, file.get()});
//   if (renderer.Run(job).ending == Ending::kDone) ...
//
// For any number of threads, and for the processes that are forked from this one, which share the
// one program; no other thread may be in Start() or Run() at a fork.
class Renderer {
 public:
  // `program` is an absolute path. It has `patience` to become ready.
  explicit Renderer(std::string program,
                    std::chrono::milliseconds patience = std::chrono::seconds(10));
  Renderer(const Renderer&) = delete;
  Renderer& operator=(const Renderer&) = delete;
  ~Renderer();

  // Waits until the job has ended. What its files hold is their owner's to discard unless it is
  // done. A job that the program does not live to end is done once more by a new one. Throws
  // std::bad_alloc only.
  Answer Run(const Job& job);

  // Starts the program without waiting for it: before forking, so that the processes share it, or
  // while there is something else to do. Does nothing where it has been started.
  void Start();

  // Has the processes that will be forked from this one share a program that this process starts
  // when the first of them wants it: StartIfWanted() is to be called, at once, when something can
  // be read from the descriptor, which stays this object's; -1 when there is nothing to wait for.
  // One who meets a shared program that has gone starts another for itself. For one object a
  // process.
  int Offer();
  void StartIfWanted();

  // Whether it has been started, so that a job need not wait for that.
  bool IsStarted();

  // Whether there is such a program that may be executed.
  bool IsInstalled() const;

  // Why jobs are of no use for some minutes: the program never became ready here, and did not when
  // one was tried last. One that has been ready once is only ever started anew.
  std::optional<std::string> WhyNotStarted();

  const std::string& program() const { return program_; }

 private:
  class Server;

  std::shared_ptr<Server> Connect(const Server* gone, int* error);
  int MakeServer(posix::UniqueFd* programs_end);
  int StartServer(posix::UniqueFd programs_end);
  void NoteReady();
  Answer NotStarted(const std::string& why);

  const std::string program_;
  const std::chrono::milliseconds patience_;
  std::mutex mutex_;
  std::shared_ptr<Server> server_;
  posix::UniqueFd offered_;  // the program's end of the connection to one that is not started yet
  bool has_been_ready_ = false;
  std::string why_not_started_;
  std::chrono::steady_clock::time_point tried_;
};

}  // namespace vexathumb::render

#endif  // VEXATHUMB_RENDER_RENDERER_H_
