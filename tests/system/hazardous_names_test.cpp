// Names that tools take for something else, with what they would take them for beside them.
#include "kit/hostile/hazardous_names.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/pictures/pixels.h"
#include "system/program.h"

namespace vexathumb::system_test {
namespace {

namespace fs = std::filesystem;
using ::testing::IsEmpty;

class HazardousNameTest : public ::testing::TestWithParam<kit::HazardousName> {
 protected:
  // Pictures are drawn beside the album: the tools that draw them have the same trouble with names.
  void PutPicture(const std::string& path, int orientation) const {
    const std::string drawn = album_.Aside("drawn");
    if (fs::path(path).extension() == ".png") {
      kit::WritePng(drawn);
    } else {
      kit::WriteJpeg(drawn, {{800, 600}, orientation});
    }
    fs::rename(drawn, path);
  }

  void PutDecoys(const std::string& behind) const {
    for (const std::string& decoy : GetParam().decoys) {
      const std::string path = album_ / (decoy + behind);
      fs::create_directories(fs::path(path).parent_path());
      kit::WriteDecoy(path);
    }
  }

  // Every name below the album, and what it is, but for the stores.
  std::map<std::string, std::string> Sources() const {
    std::map<std::string, std::string> sources;
    for (const auto& entry : fs::recursive_directory_iterator(album_.pictures())) {
      const std::string path = entry.path();
      if (entry.is_regular_file() && path.find("/.vexaea/") == std::string::npos) {
        sources[path] = Identity(path);
      }
    }
    return sources;
  }

  // What stores hold, as "the store's file".
  std::vector<std::string> Stored() const {
    std::vector<std::string> stored;
    for (const auto& entry : fs::recursive_directory_iterator(album_.pictures())) {
      const std::string path = entry.path();
      const size_t store = path.find("/.vexaea/");
      if (store != std::string::npos && entry.is_regular_file()) stored.push_back(path);
    }
    return stored;
  }

  void ExpectPicture(const std::string& folder, const std::string& name, const char* size) const {
    const auto sources = Sources();
    const RunResult got = album_.Run({"get", "--size", size, "-o", album_.Aside("out"), "--", name},
                                     {folder, {}, "", false});
    EXPECT_EQ(got.exit_code, 0) << got.err;
    EXPECT_THAT(got.leftovers, IsEmpty());
    EXPECT_EQ(kit::Corners(album_.Aside("out")), kit::kPictureCorners);
    EXPECT_EQ(Sources(), sources);
  }

  void ExpectStored(const std::string& path) const {
    EXPECT_THAT(Stored(), ::testing::ElementsAre(path));
    EXPECT_EQ(kit::Corners(path), kit::kPictureCorners);
  }

  Album album_;
};

TEST_P(HazardousNameTest, OfAPngIsThatOfItsOwnThumbnail) {
  const std::string name = GetParam().text + ".png";
  PutDecoys(".png");
  PutPicture(album_ / name, 0);
  ExpectPicture(album_.pictures(), name, "small");
  ExpectStored(album_.Stored(name, "VEXAFILE_THUMB_S.png"));
}

TEST_P(HazardousNameTest, OfATurnedJpegIsThatOfItsOwnThumbnail) {
  const std::string name = GetParam().text + ".jpg";
  PutDecoys(".jpg");
  PutPicture(album_ / name, 6);
  ExpectPicture(album_.pictures(), name, "big");
  ExpectStored(album_.pictures() + "/.vexaea/" + name + "/VEXAFILE_THUMB_B_r1.jpg");
}

TEST_P(HazardousNameTest, OfAFolderIsThatOfItsOwnStore) {
  PutDecoys("/photo.png");
  fs::create_directory(album_ / GetParam().text);
  PutPicture(album_ / GetParam().text + "/photo.png", 0);
  const std::string folder = album_ / GetParam().text;
  ExpectPicture(folder, "photo.png", "small");
  ExpectStored(folder + "/.vexaea/photo.png/VEXAFILE_THUMB_S.png");
}

TEST_P(HazardousNameTest, IsBuiltBesideItsDecoys) {
  PutDecoys(".png");
  PutPicture(album_ / (GetParam().text + ".png"), 0);
  const auto sources = Sources();
  const RunResult built = album_.Run({"build", "--sizes", "small", album_.pictures()});
  EXPECT_EQ(built.exit_code, 0) << built.err;
  EXPECT_EQ(Sources(), sources);
  for (const auto& [path, identity] : sources) {
    const std::string name = path.substr(album_.pictures().size() + 1);
    const bool is_decoy = name != GetParam().text + ".png";
    EXPECT_EQ(kit::Corners(album_.Stored(name, "VEXAFILE_THUMB_S.png")),
              is_decoy ? kit::kDecoyCorners : kit::kPictureCorners)
        << name;
  }
}

INSTANTIATE_TEST_SUITE_P(Names, HazardousNameTest, ::testing::ValuesIn(kit::HazardousNames()),
                         kit::CaseName());

}  // namespace
}  // namespace vexathumb::system_test
