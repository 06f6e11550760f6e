#include "service/picture/inspection.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/hostile/bombs.h"
#include "kit/pictures/fixtures.h"
#include "service/picture/displayed_pixels.h"
#include "service/picture/embedded_previews.h"
#include "thumb/libvexathumb.h"
#include "unit/service/service_test.h"

namespace vexathumb::service {
namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

class InspectionTest : public ServiceTest {};

void Exchange(const std::string& one, const std::string& other) {
  renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE);
}

TEST_F(InspectionTest, TellsWhatTheLibraryWould) {
  const std::string photo = Picture("a.jpg");
  WritePhoto(photo, {320, 200}, 7);
  ThumbInfo expected(photo, kBig, {640, 640});
  expected.ExtractImgInfo(false);
  ThumbInfo info(photo, kBig, {640, 640});
  ASSERT_EQ(Inspect(&info).result, InspectionResult::kRead);
  EXPECT_TRUE(info.IsGood());
  EXPECT_EQ(info.GetMimeType(), expected.GetMimeType());
  EXPECT_EQ(info.GetWidth(), expected.GetWidth());
  EXPECT_EQ(info.GetHeight(), expected.GetHeight());
  EXPECT_EQ(info.GetRotate(), expected.GetRotate());
  EXPECT_EQ(info.GetFlop(), expected.GetFlop());
}

// By its name, which the library's reader goes by.
TEST_F(InspectionTest, KnowsATargaFile) {
  const std::string photo = Picture("a.tga");
  kit::WriteFile(
      photo, std::string("\0\0\2\0\0\0\0\0\0\0\0\0\2\0\3\0\x18\0", 18) + std::string(18, '\x7f'));
  const InspectedSource source(photo, false);
  ASSERT_EQ(source.inspection().result, InspectionResult::kRead);
  EXPECT_EQ(source.info().GetMimeType(), "image/targa");
  EXPECT_EQ(source.info().GetWidth(), 2U);
  EXPECT_THAT(OwnTemporaries(), testing::IsEmpty());
}

#ifndef VEXATHUMB_SANITIZED  // they take memory for themselves

// What the processes that this one has waited for have taken at most, in KiB.
long PeakOfChildren() {
  struct rusage usage = {};
  getrusage(RUSAGE_CHILDREN, &usage);
  return usage.ru_maxrss;
}

struct Hostile {
  const char* name;
  int entries;
  size_t bytes;
};

class OverlappingEntries : public InspectionTest, public testing::WithParamInterface<Hostile> {};

TEST_P(OverlappingEntries, CostNoMoreThanIsAllowed) {
  const std::string photo = Picture("a.tif");
  kit::WriteFile(photo, kit::OverlappingTiff(GetParam().entries, GetParam().bytes));
  const InspectedSource source(photo, false);
  EXPECT_EQ(source.inspection().result, InspectionResult::kLimited);
  EXPECT_FALSE(DisplayedPixels(photo));
  EXPECT_LT(PeakOfChildren(), 400 * 1024);
}

INSTANTIATE_TEST_SUITE_P(, OverlappingEntries,
                         testing::Values(Hostile{"Of8Megabytes", 245, size_t{8} << 20},
                                         Hostile{"Of3Megabytes", 245, size_t{3} << 20}),
                         kit::CaseName());

#endif

// Opened without waiting, and looked at when it is open.
TEST_F(InspectionTest, DoesNotWaitForAFifoThatIsSwappedIn) {
  const std::string photo = Picture("a.jpg");
  const std::string fifo = Picture("fifo");
  WritePhoto(photo, {320, 200});
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  std::atomic<bool> is_done = false;
  std::thread swapper([&] {
    while (!is_done) Exchange(photo, fifo);
  });
  int read = 0;
  for (int i = 0; i < 300 || read == 0; ++i) {
    const InspectedSource source(photo, false);
    if (source.inspection().result == InspectionResult::kRead) ++read;
    if (source.inspection().IsUsable()) ListEmbeddedPreviews(source);
    DisplayedPixels(photo);
  }
  is_done = true;
  swapper.join();
  EXPECT_GT(read, 0);
}

TEST_F(InspectionTest, IsOfTheVersionThatWasFound) {
  const std::string photo = Picture("a.jpg");
  const std::string other = Picture("b.jpg");
  WritePhoto(photo, {320, 200});
  WritePhoto(other, {200, 320}, 6);
  const SourceVersion version(photo);
  Exchange(photo, other);
  EXPECT_EQ(InspectedSource(photo, false, &version).inspection().result,
            InspectionResult::kChanged);
  Exchange(photo, other);
  // Renaming changes the status, not the picture.
  const SourceVersion now(photo);
  EXPECT_EQ(InspectedSource(photo, false, &now).inspection().result, InspectionResult::kRead);
}

TEST_F(InspectionTest, RefusesWhatIsNoFileUnopened) {
  const std::string fifo = Picture("a.jpg");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  EXPECT_EQ(InspectedSource(fifo, false).inspection().result, InspectionResult::kDamaged);
  EXPECT_EQ(InspectedSource("/dev/null", false).inspection().result, InspectionResult::kDamaged);
  EXPECT_EQ(InspectedSource(Picture("."), false).inspection().result,
            InspectionResult::kUnknownContent);
}

TEST(SourceFactsTest, SurviveTheirText) {
  const auto facts = SourceFacts::Parse(SourceFacts{"image/jpeg", 4000, 3000, 3, true}.Text());
  ASSERT_TRUE(facts);
  EXPECT_EQ(facts->mime, "image/jpeg");
  EXPECT_EQ(facts->width, 4000U);
  EXPECT_EQ(facts->height, 3000U);
  EXPECT_EQ(facts->rotate, 3);
  EXPECT_TRUE(facts->flop);
}

TEST(SourceFactsTest, AreNoOtherText) {
  for (const char* text : {"", "image/jpeg", "image/jpeg 1 2 4 0", "image/jpeg 1 2 -1 0",
                           "image/jpeg 1 2 0 2", "image/jpeg 1 2 0 0 0", "image/jpeg 1 2 0 x"}) {
    EXPECT_FALSE(SourceFacts::Parse(text)) << text;
  }
}

}  // namespace
}  // namespace vexathumb::service
