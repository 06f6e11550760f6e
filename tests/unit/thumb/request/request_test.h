#ifndef VEXATHUMB_TESTS_UNIT_THUMB_REQUEST_REQUEST_TEST_H_
#define VEXATHUMB_TESTS_UNIT_THUMB_REQUEST_REQUEST_TEST_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "kit/doubles/call_journal.h"
#include "kit/doubles/libc_double.h"
#include "kit/doubles/log_capture.h"
#include "kit/doubles/platform_double.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/temp_dir.h"
#include "thumb/libvexathumb.h"
#include "vexa/share.h"

namespace vexathumb {

// Requests on a platform and a libc that record. Sources lie in a folder of the test's own, their
// stores beside them.
class RequestTest : public testing::Test {
 public:
  // Sources; each needs conversion for "small", whose box is 120 pixels.
  std::string Jpeg(const kit::JpegOptions& options = {}) const;  // 400 x 300, photo.jpg
  std::string Png() const;
  std::string Bmp() const;
  std::string Gif() const;
  std::string Tiff() const;
  std::string Text() const;   // named text.jpg
  std::string Video() const;  // named clip.mp4

 protected:
  using Vector = std::vector<std::string>;

  RequestTest();

  // The store file `name` of the source, made with the content "stored" and the modification time
  // of the source plus `seconds`.
  std::string Store(const std::string& source, const std::string& name, int seconds = 0) const;
  std::string StorePath(const std::string& source, const std::string& name) const;

  // The share that holds the sources gets this status.
  void SetShareStatus(int status);

  // What the request did since the last call, in order, with the last components of paths:
  //
  //   "share", "name X" (a store path is formed), "access X", "stat X" (of store files),
  //   "volume X", "store" (its directory is asked for), "make store", "run X" and "open X" (tools),
  //   "rename X -> Y", "unlink X", "chmod X", "utime X", "puts", "send X", "stream X"
  //
  // The preview's temporary file is called "preview".
  Vector TakeSteps() const;

  // The tools that were run since the last call, by name.
  Vector TakeTools() const;

  // Messages logged since the last call, as "function: message".
  static Vector TakeMessages();

  static time_t ModifiedAt(const std::string& path);
  static void SetModifiedAt(const std::string& path, time_t when);
  static bool Exists(const std::string& path);

  // Temporary previews of this process.
  static int PreviewsInTmp();

  const time_t now_ = 1700000000 + getpid();
  kit::TempDir dir_;
  kit::PlatformDouble platform_;
  kit::LibcDouble libc_;
};

}  // namespace vexathumb

#endif  // VEXATHUMB_TESTS_UNIT_THUMB_REQUEST_REQUEST_TEST_H_
