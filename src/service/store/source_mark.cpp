#include "service/store/source_mark.h"

#include <sys/xattr.h>

#include <array>
#include <cstdint>
#include <cstdlib>

namespace vexathumb::service {
namespace {

constexpr char kAttribute[] = "user.vexathumb.source";
constexpr size_t kLongest = 160;
constexpr char kFacts[] = ", read ";
constexpr int64_t kNanoseconds = 1'000'000'000;

// The clock of the file system that the thumbnail lies on.
int64_t ChangeOf(const struct stat& st) {
  return int64_t{st.st_ctim.tv_sec} * kNanoseconds + st.st_ctim.tv_nsec;
}

// Between its marking and its renaming, which changes its status once more: a tick of the clock
// that file systems go by. Where it takes longer, the content is looked at.
constexpr int64_t kRenaming = 4'000'000;

std::string MarkOf(const struct stat& source) {
  const std::string identity = std::to_string(source.st_size) + " bytes of " +
                               std::to_string(source.st_mtim.tv_sec) + " s " +
                               std::to_string(source.st_mtim.tv_nsec) + " ns";
  const bool is_whole_second = source.st_mtim.tv_nsec == 0;
  return is_whole_second ? identity + " inode " + std::to_string(source.st_ino) : identity;
}

// Empty where there is none.
std::string ReadMark(const std::string& stored) {
  std::array<char, kLongest> buffer = {};
  const ssize_t size = lgetxattr(stored.c_str(), kAttribute, buffer.data(), buffer.size());
  return size > 0 ? std::string(buffer.data(), static_cast<size_t>(size)) : "";
}

}  // namespace

void MarkSource(int thumbnail, const struct stat& source, const std::optional<SourceFacts>& facts) {
  struct stat now = {};
  if (fstat(thumbnail, &now) != 0) return;
  std::string mark = MarkOf(source) + ", kept " + std::to_string(ChangeOf(now));
  const std::string read = facts ? kFacts + facts->Text() : "";
  if (mark.size() + read.size() <= kLongest) mark += read;
  fsetxattr(thumbnail, kAttribute, mark.data(), mark.size(), 0);
}

SourceMark ReadSourceMark(const std::string& stored, const struct stat& status,
                          const struct stat& source) {
  const std::string mark = ReadMark(stored);
  if (mark.empty()) return {};
  const std::string identity = MarkOf(source) + ", kept ";
  if (mark.compare(0, identity.size(), identity) != 0) return {SourceMark::Says::kOtherSource};
  const int64_t since = ChangeOf(status) - strtoll(mark.c_str() + identity.size(), nullptr, 10);
  return {SourceMark::Says::kSameSource, since >= 0 && since <= kRenaming};
}

std::optional<SourceFacts> ReadMarkedFacts(const std::string& stored, const struct stat& source) {
  const std::string mark = ReadMark(stored);
  const std::string identity = MarkOf(source) + ", kept ";
  const size_t facts = mark.find(kFacts);
  if (mark.compare(0, identity.size(), identity) != 0 || facts == std::string::npos) {
    return std::nullopt;
  }
  return SourceFacts::Parse(mark.substr(facts + sizeof(kFacts) - 1));
}

}  // namespace vexathumb::service
