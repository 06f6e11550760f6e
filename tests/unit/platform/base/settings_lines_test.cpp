#include "platform/base/settings_lines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace vexaplatform {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SettingsLines : public testing::Test, public SettingsLineHandler {
 protected:
  void Read(std::string text) {
    const std::unique_ptr<FILE, int (*)(FILE*)> stream(fmemopen(text.data(), text.size(), "r"),
                                                       &fclose);
    ASSERT_TRUE(ReadSettingsLines(stream.get(), this, &complaints_));
  }

  void OnSection(int line, const std::string& header) override {
    heard_.push_back(std::to_string(line) + " [" + header + "]");
  }
  void OnEntry(int line, const std::string& key, const std::string& value) override {
    heard_.push_back(std::to_string(line) + " " + key + "=" + value);
  }

  std::vector<std::string> heard_;
  LineComplaints complaints_;
};

TEST_F(SettingsLines, AreToldWithTheirNumbers) {
  Read("; a comment\n[one]\nkey = some value\n\n[two three ]\r\n\tindented=1\nempty =\n");
  EXPECT_THAT(heard_, ElementsAre("2 [one]", "3 key=some value", "5 [two three ]", "6 indented=1",
                                  "7 empty="));
  EXPECT_EQ(complaints_.First(), "");
}

TEST_F(SettingsLines, OfWhichTheFirstBadOneIsComplainedAbout) {
  Read("[one]\n" + std::string(1000, 'a') + "\nkey\n");
  EXPECT_EQ(complaints_.First(), "2: longer than 198 bytes or not a text");
}

TEST_F(SettingsLines, MustBeSectionsOrEntries) {
  Read("[one\n");
  EXPECT_THAT(heard_, IsEmpty());
  EXPECT_EQ(complaints_.First(), "1: neither a [section] nor a key = value");
}

TEST(LineComplaints, KeepTheFirstOfEachLine) {
  LineComplaints complaints;
  complaints.Add(7, "late");
  complaints.Add(3, "first");
  complaints.Add(3, "second");
  EXPECT_EQ(complaints.First(), "3: first");
}

}  // namespace
}  // namespace vexaplatform
