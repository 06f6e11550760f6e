#include "service/picture/inspection.h"

#include <fcntl.h>

#include <cerrno>

#include "common/error/error.h"
#include "service/base/path_name.h"
#include "service/picture/metadata_process.h"
#include "service/picture/picture_renderer.h"
#include "thumb/libvexathumb.h"

namespace vexathumb::service {
namespace {

using End = LimitedProcess::End;

bool IsSpecial(const struct stat& status) {
  return !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

Inspection WhyNotAnswered(const LimitedProcess::Result& result) {
  switch (result.end) {
    case End::kOutOfMemory:
      return {InspectionResult::kLimited, cause::kLargeMetadata};
    case End::kOutOfTime:
      return {InspectionResult::kLimited, cause::kSlowMetadata};
    case End::kCrashed:
      return {InspectionResult::kDamaged, cause::kCrashingMetadata};
    case End::kAnswered:
    case End::kStopped:
      break;
  }
  return {InspectionResult::kInterrupted,
          {"the process that reads metadata " + result.answer, "it is tried again later"}};
}

Inspection WhyNotRead(MetadataError error, const std::string& text) {
  switch (error) {
    case MetadataError::kUnknownContent:
      return {InspectionResult::kUnknownContent, cause::kUnknownContent};
    case MetadataError::kUnreadable:
      return {InspectionResult::kUnreadable, cause::kUnopened};
    case MetadataError::kNoNumber:
      return {InspectionResult::kDamaged, cause::kNoOrientation};
    case MetadataError::kOther:
      return {InspectionResult::kDamaged, {text, ""}};
    case MetadataError::kNone:
    case MetadataError::kDamaged:
      break;
  }
  return {InspectionResult::kDamaged, cause::kDamagedMetadata};
}

// The name of a preview's file is the process's own, whatever a crafted picture has made of it.
bool IsPreviewOf(pid_t process, const std::string& path) {
  const std::string prefix = "/tmp/thumb." + std::to_string(process) + ".";
  return path.compare(0, prefix.size(), prefix) == 0 && path.find('/', 5) == std::string::npos;
}

// What the library cannot read, the renderer may.
Inspection ReadOtherwise(int file, const Inspection& failed, ThumbInfo* info) {
  if (failed.result != InspectionResult::kUnknownContent &&
      failed.result != InspectionResult::kDamaged) {
    return failed;
  }
  // The same file by another descriptor, whose offset the renderer may move.
  const posix::UniqueFd again = OpenSource("/proc/self/fd/" + std::to_string(file));
  const auto facts = again ? FactsByRenderer(again.get()) : std::nullopt;
  if (!facts) return failed;
  facts->ApplyTo(info);
  return {};
}

Inspection ReadMetadata(int file, WithPreview preview, ThumbInfo* info) {
  const bool with_preview = preview == WithPreview::kYes;
  const MetadataAnswer answer =
      AskAboutMetadata(file, SourceFacts::PathOf(*info),
                       with_preview ? MetadataQuestion::kFactsAndPreview : MetadataQuestion::kFacts,
                       info->GetDimension());
  if (answer.result.end != End::kAnswered) return WhyNotAnswered(answer.result);
  const auto& fields = answer.fields;
  if (fields.size() < 2) return {InspectionResult::kDamaged, cause::kDamagedMetadata};
  if (fields.size() > 2 && IsPreviewOf(answer.result.process, fields[2])) {
    SourceFacts::SetPreview(info, fields[2]);
  }
  const auto error = static_cast<MetadataError>(fields[0].empty() ? 'd' : fields[0][0]);
  const auto facts = SourceFacts::Parse(fields[1]);
  if (error != MetadataError::kNone || !facts) return WhyNotRead(error, fields[1]);
  facts->ApplyTo(info);
  return {};
}

}  // namespace

posix::UniqueFd OpenSource(const std::string& path) {
  posix::UniqueFd file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status = {};
  if (!file || fstat(file.get(), &status) != 0) return posix::UniqueFd();
  if (!IsSpecial(status)) return file;
  errno = ENXIO;
  return posix::UniqueFd();
}

Inspection Inspect(ThumbInfo* info, WithPreview preview, const SourceVersion* version) {
  const std::string& path = SourceFacts::PathOf(*info);
  if (IsSupportVideo(LastComponent(path))) return {};
  // Opening a device may do anything.
  if (IsSpecial(SourceFacts::StatusOf(*info))) {
    return {InspectionResult::kDamaged, cause::kDamagedMetadata};
  }
  const posix::UniqueFd file = OpenSource(path);
  if (!file && errno == ENXIO) {
    return version != nullptr ? Inspection{InspectionResult::kChanged, cause::kBeingWritten}
                              : Inspection{InspectionResult::kDamaged, cause::kDamagedMetadata};
  }
  if (!file) return {InspectionResult::kUnreadable, cause::kUnopened};
  if (version != nullptr) {
    if (!version->IsOf(file.get())) return {InspectionResult::kChanged, cause::kBeingWritten};
    SourceFacts::SetStatus(info, version->status());
  }
  if (S_ISDIR(SourceFacts::StatusOf(*info).st_mode)) {
    return {InspectionResult::kUnknownContent, cause::kUnknownContent};
  }
  return ReadOtherwise(file.get(), ReadMetadata(file.get(), preview, info), info);
}

InspectedSource::InspectedSource(const std::string& path, bool allow_gif,
                                 const SourceVersion* version)
    : path_(path) {
  if (Describe(allow_gif)) inspection_ = Inspect(&*info_, WithPreview::kNo, version);
}

InspectedSource::InspectedSource(const std::string& path, bool allow_gif, const SourceFacts& facts)
    : path_(path) {
  if (Describe(allow_gif)) facts.ApplyTo(&*info_);
}

bool InspectedSource::Describe(bool allow_gif) {
  try {
    info_.emplace(path_, kOriginal, Thumb::strThumbSizeMap_.at(kOriginal));
  } catch (const Error&) {
    inspection_ = {InspectionResult::kMissing, cause::kMissingSource};
    return false;
  }
  info_->SetEnableGIF(allow_gif);
  return true;
}

ThumbInfo InspectedSource::ForSize(const std::string& label) const {
  ThumbInfo info = *info_;
  info.SetSize(label);
  info.SetDimension(Thumb::strThumbSizeMap_.at(label));
  return info;
}

std::string InspectedSource::StorePath(const std::string& name) const {
  return file::GetEAPath(path_, name);
}

}  // namespace vexathumb::service
