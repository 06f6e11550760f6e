#include "service/watch/watch_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vexathumb::service {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kNone = WatchTree::kNone;

// /photo (1) with 2026 (2) with may (3) and june (4); 2025 (5) beside.
class WatchTreeTest : public testing::Test {
 protected:
  WatchTreeTest() {
    tree_.Add(1, {kNone, "/photo", 7, false});
    tree_.Add(2, {1, "2026", 7, false});
    tree_.Add(3, {2, "may", 7, false});
    tree_.Add(4, {2, "june", 7, false});
    tree_.Add(5, {1, "2025", 7, false});
  }

  WatchTree tree_;
};

TEST_F(WatchTreeTest, KnowsThePathOfEachFolder) {
  EXPECT_EQ(tree_.PathOf(1), "/photo");
  EXPECT_EQ(tree_.PathOf(3), "/photo/2026/may");
  EXPECT_EQ(tree_.PathIn(3, "a.jpg"), "/photo/2026/may/a.jpg");
}

TEST_F(WatchTreeTest, TheRootOfAllHasOneSlash) {
  WatchTree tree;
  tree.Add(1, {kNone, "/", 7, false});
  tree.Add(2, {1, "photo", 7, false});
  EXPECT_EQ(tree.PathOf(2), "/photo");
}

TEST_F(WatchTreeTest, FindsAFolderByItsNameInAnother) {
  EXPECT_EQ(tree_.Child(2, "may"), 3);
  EXPECT_EQ(tree_.Child(1, "may"), kNone);
  EXPECT_EQ(tree_.Child(9, "may"), kNone);
}

TEST_F(WatchTreeTest, AFolderThatMovesTakesAllBelowItAlong) {
  tree_.Move(2, 5, "later");
  EXPECT_EQ(tree_.PathOf(3), "/photo/2025/later/may");
  EXPECT_EQ(tree_.Child(1, "2026"), kNone);
  EXPECT_EQ(tree_.Child(5, "later"), 2);
}

TEST_F(WatchTreeTest, AFolderIsRemovedAfterWhatIsBelowIt) {
  EXPECT_THAT(tree_.Remove(2), ElementsAre(4, 3, 2));
  EXPECT_FALSE(tree_.Has(2));
  EXPECT_FALSE(tree_.Has(3));
  EXPECT_EQ(tree_.Child(1, "2026"), kNone);
  EXPECT_EQ(tree_.PathOf(5), "/photo/2025");
}

TEST_F(WatchTreeTest, WhatIsBelowAFolderIsRemovedWithoutIt) {
  EXPECT_THAT(tree_.RemoveBelow(1), ElementsAre(5, 4, 3, 2));
  EXPECT_TRUE(tree_.Has(1));
  EXPECT_THAT(tree_.RemoveBelow(1), IsEmpty());
}

TEST_F(WatchTreeTest, ANameThatAnotherFolderHasTakenStaysWithThatOne) {
  tree_.Add(6, {2, "may", 7, false});  // made anew, before the end of the first was heard of
  EXPECT_THAT(tree_.Remove(3), ElementsAre(3));
  EXPECT_EQ(tree_.Child(2, "may"), 6);
  EXPECT_EQ(tree_.PathOf(6), "/photo/2026/may");
  tree_.Add(7, {2, "may", 7, false});
  tree_.Move(6, 5, "may");
  EXPECT_EQ(tree_.Child(2, "may"), 7);
}

TEST_F(WatchTreeTest, IsToldWhatToPassOver) {
  EXPECT_FALSE(tree_.At(2).passed_over);
  tree_.PassOver(2, true);
  EXPECT_TRUE(tree_.At(2).passed_over);
  EXPECT_FALSE(tree_.At(3).passed_over);
}

}  // namespace
}  // namespace vexathumb::service
