#ifndef VEXATHUMB_TESTS_UNIT_SERVICE_SERVICE_TEST_H_
#define VEXATHUMB_TESTS_UNIT_SERVICE_SERVICE_TEST_H_

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <optional>
#include <string>
#include <vector>

#include "kit/pictures/fixtures.h"
#include "kit/temp_dir.h"
#include "service/build/thumbnail_request.h"
#include "service/serve/obtain.h"
#include "unit/service/machine_double.h"

namespace vexathumb::service {

// A second in the past with nothing beyond it.
constexpr time_t kSourceTime = 1600000000;

ThumbnailRequest ForLabel(const std::string& source, const std::string& label);
ThumbnailRequest ForBox(const std::string& source, uint32_t width, uint32_t height);
ThumbnailRequest ForAvatar(const std::string& source, uint32_t width, uint32_t height);

// The request's description, inspected; what the inspection throws is ignored.
ThumbInfo Inspected(const ThumbnailRequest& request);

void SetModificationTime(const std::string& path, time_t seconds);
struct stat StatusOf(const std::string& path);
time_t ModificationTimeOf(const std::string& path);
ino_t InodeOf(const std::string& path);  // 0 when there is none

// A JPEG, last modified at kSourceTime.
void WritePhoto(const std::string& path, const kit::Size& size, int orientation = 0);

// A text, and a JPEG whose metadata can be read but whose picture no tool decodes.
void WriteText(const std::string& path);
void WriteUndecodable(const std::string& path);

// BMP data of 320 by 240 pixels as the fast JPEG path leaves them; other writers' are of another
// kind.
void WriteDecodedJpeg(const std::string& path);

// The names in a folder, sorted; none when it is missing.
std::vector<std::string> NamesIn(const std::string& directory);

// The files that this process has left in /tmp and /var/tmp.
std::vector<std::string> OwnTemporaries();

// A share with a folder for pictures and a folder for locks, with settings that say so.
class ServiceTest : public testing::Test {
 protected:
  ServiceTest();
  ~ServiceTest() override;

  // "indexed=yes" for the share under which the library looks the pictures up.
  void SetIndexed(bool indexed);

  // "auto" or "tools", which it is otherwise: what fails, and is counted, are tools.
  void SetEngine(const char* engine);

  std::string Picture(const std::string& name) const { return share_ / name; }
  // The path of an entry of the picture's store directory.
  static std::string StorePath(const std::string& picture, const std::string& entry);
  // Makes the directory where it is missing.
  static void WriteStored(const std::string& picture, const std::string& entry,
                          const std::string& content, time_t time = kSourceTime);
  static std::vector<std::string> Stored(const std::string& picture);

  Thumbnail Obtain(const ThumbnailRequest& request) const;
  // Without looking what is stored or recorded before; nothing when no picture can be made.
  std::optional<Thumbnail> Build(const ThumbnailRequest& request) const;

  const char* engine_ = "tools";
  kit::TempDir share_;
  kit::TempDir elsewhere_;
  MachineDouble machine_;
  ObtainOptions options_;
};

}  // namespace vexathumb::service

#endif  // VEXATHUMB_TESTS_UNIT_SERVICE_SERVICE_TEST_H_
