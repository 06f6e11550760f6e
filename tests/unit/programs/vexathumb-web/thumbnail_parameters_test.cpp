#include "programs/vexathumb-web/thumbnail_parameters.h"

#include <gtest/gtest.h>

#include <string>

#include "kit/case_name.h"
#include "programs/vexathumb-web/problem.h"

namespace vexathumb::web {
namespace {

using service::ThumbnailRequest;

std::string InWords(const ThumbnailRequest& request) {
  std::string text = request.label.empty() ? "box" : request.label;
  text += " " + std::to_string(request.box.width_) + "x" + std::to_string(request.box.height_);
  if (request.turns != 0) text += " turned " + std::to_string(request.turns);
  if (request.pixdeck) text += " pixdeck";
  if (request.docdeck) text += " docdeck";
  if (request.avatar) text += " avatar";
  if (request.animated_gif) text += " gif";
  if (request.only_stored) text += " only";
  if (request.allow_smaller) text += " smaller";
  if (request.any_share) text += " any";
  return text;
}

struct Understood {
  const char* name;
  const char* query;
  const char* request;
};

class Parameters : public testing::TestWithParam<Understood> {};

TEST_P(Parameters, AreUnderstood) {
  EXPECT_EQ(InWords(ReadThumbnailParameters(GetParam().query)), GetParam().request);
}

INSTANTIATE_TEST_SUITE_P(
    , Parameters,
    testing::Values(
        Understood{"Small", "size=small", "small 120x120 pixdeck docdeck"},
        Understood{"Medium", "size=medium", "medium 360x360 pixdeck docdeck"},
        Understood{"Big", "size=big", "big 640x640 pixdeck docdeck"},
        Understood{"Large", "size=large", "large 1280x1280 pixdeck docdeck"},
        Understood{"ExtraLarge", "size=xlarge", "xlarge 1280x1280 pixdeck docdeck"},
        Understood{"Original", "size=original", "original 2147483647x2147483647 pixdeck docdeck"},
        Understood{"SmallestBox", "box=1x1", "box 1x1 pixdeck docdeck"},
        Understood{"LargestBox", "box=4096x4096", "box 4096x4096 pixdeck docdeck"},
        Understood{"Side", "side=300", "box 300x300 pixdeck docdeck"},
        Understood{"Turned", "size=big&rotate=1", "big 640x640 turned 1 pixdeck docdeck"},
        Understood{"FullCircle", "size=big&rotate=4", "big 640x640 pixdeck docdeck"},
        Understood{"TurnedBack", "size=big&rotate=-1", "big 640x640 turned 3 pixdeck docdeck"},
        Understood{"TurnedBackAFullCircle", "size=big&rotate=-8", "big 640x640 pixdeck docdeck"},
        Understood{"TurnedVeryFar", "size=big&rotate=100000000000000000000003",
                   "big 640x640 turned 3 pixdeck docdeck"},
        Understood{"Pixdeck", "size=big&store=pixdeck", "big 640x640 pixdeck"},
        Understood{"Docdeck", "size=big&store=docdeck", "big 640x640 docdeck"},
        Understood{"BothStores", "size=big&store=docdeck%2Cpixdeck", "big 640x640 pixdeck docdeck"},
        Understood{"Switches", "avatar=1&gif=1&only=1&smaller=1&any=1&side=64",
                   "box 64x64 pixdeck docdeck avatar gif only smaller any"}),
    kit::CaseName());

struct Refused {
  const char* name;
  const char* query;
};

class RefusedParameters : public testing::TestWithParam<Refused> {};

TEST_P(RefusedParameters, AreABadRequest) {
  try {
    ReadThumbnailParameters(GetParam().query);
    FAIL() << "not refused";
  } catch (const Problem& problem) {
    EXPECT_EQ(problem.status(), 400);
  }
}

INSTANTIATE_TEST_SUITE_P(
    , RefusedParameters,
    testing::Values(
        Refused{"None", ""}, Refused{"NoSize", "rotate=1"}, Refused{"TwoSizes", "size=big&side=10"},
        Refused{"BoxAndSide", "box=1x1&side=1"}, Refused{"UnknownLabel", "size=huge"},
        Refused{"EmptyLabel", "size="}, Refused{"InnerLabel", "size=__CUSTOM_SIZE__"},
        Refused{"ZeroBox", "box=0x10"}, Refused{"HugeBox", "box=10x4097"},
        Refused{"OneSidedBox", "box=10"}, Refused{"OpenBox", "box=10x"},
        Refused{"ThreeSidedBox", "box=1x2x3"}, Refused{"SignedBox", "box=-1x2"},
        Refused{"ZeroSide", "side=0"}, Refused{"HugeSide", "side=4097"},
        Refused{"TurnsAreNoNumber", "size=big&rotate=left"},
        Refused{"TurnsAreEmpty", "size=big&rotate="}, Refused{"TurnsAreASign", "size=big&rotate=-"},
        Refused{"TurnsAreAFraction", "size=big&rotate=1.5"},
        Refused{"UnknownStore", "size=big&store=reeldeck"}, Refused{"NoStore", "size=big&store="},
        Refused{"StoreTwice", "size=big&store=pixdeck,pixdeck"},
        Refused{"OpenStoreList", "size=big&store=pixdeck,"},
        Refused{"SwitchOff", "size=big&avatar=0"}, Refused{"Unknown", "size=big&colour=red"}),
    kit::CaseName());

}  // namespace
}  // namespace vexathumb::web
