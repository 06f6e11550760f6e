#include "service/index/manifest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "kit/case_name.h"
#include "kit/files.h"
#include "kit/temp_dir.h"

namespace vexathumb::service {
namespace {

using testing::ElementsAre;

class ManifestTest : public testing::Test {
 protected:
  SourceItem Source(const std::string& name, off_t bytes) const {
    const std::string path = dir_ / name;
    kit::WriteFile(path, "x");
    return {SourceItem::Kind::kSource, path, bytes, ""};
  }

  ManifestFigures Write(std::vector<SourceItem> items, uint64_t shard_size) {
    ListedSources feed(std::move(items));
    return WriteManifest(file_, feed, shard_size,
                         [this](const SourceItem& item) { unreadable_.push_back(item.path); });
  }

  std::vector<SourceItem> Shard(uint64_t number,
                                const std::vector<PathMapping>& mappings = {}) const {
    return ReadShard(file_, number, mappings);
  }

  std::string Complaint() const {
    try {
      Shard(1);
    } catch (const ManifestError& error) {
      return error.what();
    }
    return "";
  }

  kit::TempDir dir_;
  const std::string file_ = dir_ / "manifest";
  std::vector<std::string> unreadable_;
};

TEST_F(ManifestTest, EverySourceIsInOneShard) {
  std::vector<SourceItem> sources;
  std::set<std::string> expected;
  for (int i = 0; i < 103; ++i) {
    sources.push_back(Source(std::to_string(i) + ".jpg", i * 7919 % 1000));
    expected.insert(sources.back().path);
  }
  const ManifestFigures figures = Write(sources, 10);
  EXPECT_EQ(figures.shards, 11);
  EXPECT_EQ(figures.sources, 103);
  EXPECT_EQ(ReadManifestFigures(file_).bytes, figures.bytes);
  size_t total = 0;
  for (uint64_t number = 1; number <= 11; ++number) {
    const auto items = Shard(number);
    EXPECT_LE(items.size(), 10);
    total += items.size();
    for (const SourceItem& item : items) expected.erase(item.path);
  }
  EXPECT_EQ(total, 103);
  EXPECT_TRUE(expected.empty());
}

TEST_F(ManifestTest, ShardsCostAboutTheSame) {
  std::vector<SourceItem> sources;
  for (int i = 0; i < 100; ++i) sources.push_back(Source(std::to_string(i), i < 5 ? 1000000 : i));
  Write(sources, 20);
  for (uint64_t number = 1; number <= 5; ++number) {
    const auto items = Shard(number);
    EXPECT_EQ(items.size(), 20);
    EXPECT_EQ(std::count_if(items.begin(), items.end(),
                            [](const SourceItem& item) { return item.bytes == 1000000; }),
              1);
    EXPECT_EQ(items.front().bytes, 1000000) << "the largest first";
  }
}

TEST_F(ManifestTest, SurvivesAnyName) {
  std::vector<SourceItem> sources;
  std::vector<std::string> paths;
  for (const char* name : {"a b", "a\nb\n", "\xff\xfe", " ", "-", "0 x", "\\", "\"'", "%s%n"}) {
    sources.push_back(Source(name, 1));
    paths.push_back(sources.back().path);
  }
  sources.push_back(Source(std::string(255, 'n'), 1));
  paths.push_back(sources.back().path);
  Write(sources, 100);
  std::vector<std::string> found;
  for (const SourceItem& item : Shard(1)) found.push_back(item.path);
  EXPECT_EQ(found, paths);
}

TEST_F(ManifestTest, WhatIsNoSourceIsTold) {
  const ManifestFigures figures =
      Write({{SourceItem::Kind::kMissing, "/none", 0, "gone"}, Source("a", 1)}, 1);
  EXPECT_EQ(figures.sources, 1);
  EXPECT_THAT(unreadable_, ElementsAre("/none"));
}

TEST_F(ManifestTest, AnEmptyOneHasNoShards) {
  EXPECT_EQ(Write({}, 10).shards, 0);
  EXPECT_EQ(ReadManifestFigures(file_).shards, 0);
  EXPECT_THROW(Shard(1), ManifestError);
}

TEST_F(ManifestTest, OfAPhotographThatHasChangedIsAnother) {
  SourceItem source = Source("a", 1);
  source.modified = {1700000000, 1};
  const uint32_t before = Write({source}, 1).checksum;
  EXPECT_EQ(Write({source}, 1).checksum, before);
  source.modified = {1700000000, 2};
  EXPECT_NE(Write({source}, 1).checksum, before);
  EXPECT_THAT(kit::ReadFile(file_), testing::HasSubstr("\n1 1700000000.000000002 /"));
}

TEST_F(ManifestTest, LeavesNothingBesideIt) {
  Write({Source("a", 1)}, 1);
  size_t entries = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir_.path())) {
    entries += entry.path().empty() ? 0 : 1;
  }
  EXPECT_EQ(entries, 2);
}

TEST_F(ManifestTest, OtherShardsThanItHasAreRefused) {
  Write({Source("a", 1)}, 1);
  EXPECT_THROW(Shard(0), ManifestError);
  EXPECT_THROW(Shard(2), ManifestError);
}

TEST_F(ManifestTest, EveryDamagedByteIsNoticed) {
  Write({Source("a", 1), Source("b", 22)}, 1);
  const std::string whole = kit::ReadFile(file_);
  const size_t first_shard_ends = whole.size() - (dir_ / "a").size() - 15;
  for (size_t at = 0; at < first_shard_ends; ++at) {
    std::string damaged = whole;
    damaged[at] = static_cast<char>(damaged[at] ^ 1);
    kit::WriteFile(file_, damaged);
    EXPECT_NE(Complaint(), "") << at;
  }
}

TEST_F(ManifestTest, OneThatIsCutShortIsRefused) {
  Write({Source("a", 1)}, 1);
  const std::string whole = kit::ReadFile(file_);
  for (const size_t length : {size_t{0}, size_t{5}, size_t{40}, whole.size() - 1}) {
    kit::WriteFile(file_, whole.substr(0, length));
    EXPECT_NE(Complaint(), "") << length;
  }
}

TEST_F(ManifestTest, AMachineThatHasNoneOfTheSourcesIsTold) {
  Write({Source("a", 1)}, 1);
  std::filesystem::remove(dir_ / "a");
  EXPECT_THAT(Complaint(), testing::HasSubstr("names no file that is there"));
}

TEST_F(ManifestTest, PathsMayLieElsewhere) {
  Write({Source("a", 1)}, 1);
  std::filesystem::create_directory(dir_ / "new");
  std::filesystem::rename(dir_ / "a", dir_ / "new/a");
  const auto items = Shard(1, {{dir_.path(), dir_ / "new"}});
  EXPECT_EQ(items.at(0).path, dir_ / "new/a");
}

struct MappingCase {
  const char* name;
  const char* mapping;
  const char* path;
  const char* mapped;
};

class PathMappingTest : public testing::TestWithParam<MappingCase> {};

TEST_P(PathMappingTest, AppliesToWholeComponents) {
  const auto mapping = ParsePathMapping(GetParam().mapping);
  ASSERT_TRUE(mapping);
  EXPECT_EQ(Mapped(GetParam().path, {*mapping}), GetParam().mapped);
}

INSTANTIATE_TEST_SUITE_P(
    Mappings, PathMappingTest,
    testing::Values(MappingCase{"Below", "/a=/b", "/a/x.jpg", "/b/x.jpg"},
                    MappingCase{"Deeper", "/a/b=/c/d/e", "/a/b/f/x", "/c/d/e/f/x"},
                    MappingCase{"SlashesAtTheEnd", "/a/=/b/", "/a/x", "/b/x"},
                    MappingCase{"FromTheRoot", "/=/mnt", "/a/x", "/mnt/a/x"},
                    MappingCase{"ToTheRoot", "/mnt=/", "/mnt/a/x", "/a/x"},
                    MappingCase{"OtherFolderOfLikeName", "/a=/b", "/ab/x", "/ab/x"},
                    MappingCase{"EqualsSignInTheName", "/a=b=/c", "/a=b/x", "/c/x"}),
    kit::CaseName());

TEST(PathMappingTextTest, AnythingElseIsRefused) {
  for (const char* text : {"", "=", "/a", "/a=", "=/b", "a=/b", "/a=b"}) {
    EXPECT_FALSE(ParsePathMapping(text)) << text;
  }
}

}  // namespace
}  // namespace vexathumb::service
