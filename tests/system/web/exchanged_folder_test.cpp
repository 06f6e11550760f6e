// A folder of a share is exchanged with a link out of it, again and again, while requests run.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/hostile/hazardous_names.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "kit/run_tool.h"
#include "system/web/web_site.h"

namespace vexathumb::web_test {
namespace {

namespace fs = std::filesystem;
using kit::CaseName;

// Exchanges two names until it goes, with pauses that double to the 128-fold and begin anew: on a
// busy machine too, a request meets some exchanges and ends between others.
class Exchanger {
 public:
  Exchanger(const std::string& one, const std::string& other, int pause_microseconds)
      : thread_([this, one, other, pause_microseconds] {
          constexpr unsigned kExchange = 2;
          for (int i = 0; !is_over_; ++i) {
            syscall(SYS_renameat2, AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), kExchange);
            usleep(static_cast<useconds_t>(pause_microseconds << i / 2 % 8));
          }
        }) {}
  ~Exchanger() {
    is_over_ = true;
    thread_.join();
  }
  Exchanger(const Exchanger&) = delete;
  Exchanger& operator=(const Exchanger&) = delete;

 private:
  std::atomic<bool> is_over_ = false;
  std::thread thread_;
};

// Both have a picture of the same name, with the same time: a photograph with a preview, and the
// thumbnails of each in a store beside it.
void WriteFolder(const std::string& folder, const std::string& picture) {
  fs::create_directories(folder + "/.vexaea/a.jpg");
  fs::copy_file(picture, folder + "/a.jpg");
  fs::copy_file(picture, folder + "/.vexaea/a.jpg/VEXAFILE_THUMB_S.jpg");
  const fs::file_time_type time = fs::last_write_time("/etc/hostname");
  fs::last_write_time(folder + "/a.jpg", time);
  fs::last_write_time(folder + "/.vexaea/a.jpg/VEXAFILE_THUMB_S.jpg", time);
}

struct AddressCase {
  const char* name;
  const char* parameters;  // of the thumbnail
  const char* corners;
  bool is_new_each_time;  // needs a box of its own
  int pause;              // between exchanges, the shortest, in microseconds
};

void PrintTo(const AddressCase& address, std::ostream* out) { *out << address.name; }

class ExchangedFolder : public testing::Test {
 protected:
  ExchangedFolder() : site_(Options()) {
    kit::WriteJpeg(site_.State("inside.jpg"), {{800, 600}});
    kit::WriteDecoy(site_.State("decoy.png"));
    kit::RunTool({"/usr/bin/convert", site_.State("decoy.png"), "-resize", "800x600!",
                  "jpeg:" + site_.State("outside.jpg")});
    WriteFolder(site_.Photo("sub"), site_.State("inside.jpg"));
    WriteFolder(site_.State("outside"), site_.State("outside.jpg"));
    kit::WriteFile(site_.State("outside/secret.jpg"), "");
    fs::create_directory_symlink(site_.State("outside"), site_.Photo("link"));
  }

  static SiteOptions Options() {
    SiteOptions options;
    options.delivery = Delivery::kByWorker;
    options.engine = "auto";
    return options;
  }

  // In the store of the picture outside.
  std::vector<std::string> NamesOutside() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(site_.State("outside/.vexaea/a.jpg"))) {
      names.push_back(entry.path().filename());
    }
    return names;
  }

  const WebSite site_;
};

class PictureInExchangedFolder : public ExchangedFolder,
                                 public testing::WithParamInterface<AddressCase> {};

TEST_P(PictureInExchangedFolder, IsNeverOneFromOutside) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point start = Clock::now();
  const Clock::time_point end = start + std::chrono::seconds(3);
  const Clock::time_point latest_end = start + std::chrono::seconds(60);
  int pictures = 0;
  const Exchanger exchanger(site_.Photo("sub"), site_.Photo("link"), GetParam().pause);
  for (int i = 0; Clock::now() < (pictures > 0 ? end : latest_end); ++i) {
    const std::string box = std::to_string(200 + i % 3000);
    const std::string parameters = GetParam().is_new_each_time
                                       ? GetParam().parameters + box + "x" + box
                                       : GetParam().parameters;
    const HttpResponse response = site_.Get("/thumb/photos/sub/a.jpg?" + parameters);
    if (response.status != 200) {
      EXPECT_THAT(response.status, testing::AnyOf(404, 503)) << response.body;
      continue;
    }
    ++pictures;
    kit::WriteFile(site_.State("answer"), response.body);
    ASSERT_EQ(kit::Corners(site_.State("answer")), GetParam().corners) << "request " << i;
  }
  EXPECT_GT(pictures, 0);
  EXPECT_THAT(NamesOutside(), testing::ElementsAre("VEXAFILE_THUMB_S.jpg"));
}

INSTANTIATE_TEST_SUITE_P(
    Addresses, PictureInExchangedFolder,
    testing::Values(AddressCase{"stored", "size=small", kit::kPictureCorners, false, 200},
                    AddressCase{"original", "size=original", kit::kPictureCorners, false, 200},
                    AddressCase{"built", "box=", kit::kPictureCorners, true, 10000},
                    AddressCase{"turned", "rotate=1&box=", "blue red yellow green", true, 10000}),
    CaseName());

TEST_F(ExchangedFolder, IsListedByItsOwnNames) {
  const Exchanger exchanger(site_.Photo("sub"), site_.Photo("link"), 200);
  int listings = 0;
  for (int i = 0; i < 200; ++i) {
    const HttpResponse response = site_.Get("/album/photos/sub/");
    ASSERT_THAT(response.body, testing::Not(testing::HasSubstr("secret")));
    if (response.status == 200) ++listings;
  }
  EXPECT_GT(listings, 0);
}

}  // namespace
}  // namespace vexathumb::web_test
