#ifndef VEXATHUMB_TESTS_UNIT_BINDINGS_C_C_INTERFACE_H_
#define VEXATHUMB_TESTS_UNIT_BINDINGS_C_C_INTERFACE_H_

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/temp_dir.h"
#include "vexathumb.h"

namespace vexathumb::c {

using Request = std::unique_ptr<VexathumbRequest, void (*)(VexathumbRequest*)>;
using Picture = std::unique_ptr<VexathumbPicture, void (*)(VexathumbPicture*)>;

inline Request RequestFor(const std::string& path, const char* size) {
  Request request(vexathumb_request_new(path.c_str()), &vexathumb_request_free);
  EXPECT_EQ(vexathumb_request_set_size(request.get(), size), VEXATHUMB_OK);
  return request;
}

inline Request RequestForBox(const std::string& path, uint32_t width, uint32_t height) {
  Request request(vexathumb_request_new(path.c_str()), &vexathumb_request_free);
  EXPECT_EQ(vexathumb_request_set_box(request.get(), width, height), VEXATHUMB_OK);
  return request;
}

// Null where there is none.
inline Picture Obtain(const Request& request) {
  VexathumbPicture* picture = nullptr;
  vexathumb_request_obtain(request.get(), &picture);
  return Picture(picture, &vexathumb_picture_free);
}

inline VexathumbStatus StatusOf(const Request& request) {
  VexathumbPicture* picture = nullptr;
  const VexathumbStatus status = vexathumb_request_obtain(request.get(), &picture);
  vexathumb_picture_free(picture);
  return status;
}

// A share "photo" with a photo, and settings that say so.
class CInterfaceTest : public testing::Test {
 protected:
  CInterfaceTest() {
    mkdir(locks_.c_str(), 0700);
    Set("");
    setenv("VEXATHUMB_CONFIG", (elsewhere_ / "platform.ini").c_str(), 1);
    WritePhoto(photo_);
  }
  ~CInterfaceTest() override { unsetenv("VEXATHUMB_CONFIG"); }

  // Further lines of [service].
  void Set(const std::string& lines, const std::string& lock_dir = "") {
    kit::WriteFile(elsewhere_ / "platform.ini", "[share photo]\npath = " + share_.path() +
                                                    "\nindexed = yes\n[service]\nlock_dir = " +
                                                    (lock_dir.empty() ? locks_ : lock_dir) + "\n" +
                                                    lines);
  }

  static void WritePhoto(const std::string& path) {
    kit::WriteJpeg(path, {{800, 600}});
    kit::Age(path);
  }

  std::string StorePath(const std::string& entry) const {
    return share_ / (".vexaea/a.jpg/" + entry);
  }

  kit::TempDir share_;
  kit::TempDir elsewhere_;
  const std::string locks_ = elsewhere_ / "locks";
  const std::string photo_ = share_ / "a.jpg";
};

}  // namespace vexathumb::c

#endif  // VEXATHUMB_TESTS_UNIT_BINDINGS_C_C_INTERFACE_H_
