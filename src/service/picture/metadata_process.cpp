#include "service/picture/metadata_process.h"

#include <glob.h>
#include <unistd.h>

#include <chrono>
#include <exception>
#include <mutex>
#include <stdexcept>

#include "common/error/error.h"
#include "service/base/atomic_file.h"
#include "service/base/path_name.h"
#include "service/picture/source_facts.h"
#include "thumb/container_orientation.h"

namespace vexathumb::service {
namespace {

using std::chrono::seconds;

constexpr LimitedProcess::Limits kLimits = {size_t{256} << 20, seconds(5), seconds(30)};

using Fields = std::vector<std::string>;

std::string Join(const Fields& fields) {
  std::string text;
  for (const std::string& field : fields) text += field + '\0';
  return text;
}

Fields Split(const std::string& text) {
  Fields fields;
  for (size_t start = 0; start < text.size();) {
    const size_t end = std::min(text.find('\0', start), text.size());
    fields.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return fields;
}

// Exiv2 knows TARGA files by their names alone.
bool IsKnownByName(const std::string& name) {
  const std::string last = LastComponent(name);
  return last.find(".tga") != std::string::npos || last.find(".TGA") != std::string::npos;
}

// The path under which Exiv2 opens a file that is open here.
class PathOfFile {
 public:
  PathOfFile(int file, bool is_targa) : path_("/proc/self/fd/" + std::to_string(file)) {
    if (!is_targa) return;
    link_ = TemporaryFor("/var/tmp/picture.tga");
    if (symlink(path_.c_str(), link_.c_str()) != 0) link_.clear();
  }
  ~PathOfFile() {
    if (!link_.empty()) unlink(link_.c_str());
  }
  PathOfFile(const PathOfFile&) = delete;
  PathOfFile& operator=(const PathOfFile&) = delete;

  const std::string& get() const { return link_.empty() ? path_ : link_; }

 private:
  std::string path_;
  std::string link_;
};

std::string FieldOf(MetadataError error) { return std::string(1, static_cast<char>(error)); }

Fields TryReadFacts(ThumbInfo* info, bool with_preview) {
  try {
    info->ExtractImgInfo(with_preview);
    return {FieldOf(MetadataError::kNone), SourceFacts::Of(*info).Text()};
  } catch (const Error& error) {
    const bool is_unknown = error.Code() == Error::kNoExifMeta;
    const bool is_unreadable = error.Code() == Error::kFileNotFound;
    return {FieldOf(is_unknown      ? MetadataError::kUnknownContent
                    : is_unreadable ? MetadataError::kUnreadable
                                    : MetadataError::kDamaged),
            ""};
  } catch (const std::invalid_argument&) {
    return {FieldOf(MetadataError::kNoNumber), ""};
  } catch (const std::out_of_range&) {
    return {FieldOf(MetadataError::kNoNumber), ""};
  } catch (const std::logic_error&) {
    return {FieldOf(MetadataError::kDamaged), ""};
  } catch (const std::overflow_error&) {
    return {FieldOf(MetadataError::kDamaged), ""};
  } catch (const std::runtime_error& error) {
    return {FieldOf(MetadataError::kOther), error.what()};
  }
}

Fields ReadFacts(const std::string& path, const ThumbDimension& box, bool with_preview) {
  ThumbInfo info(path, "", box);
  Fields fields = TryReadFacts(&info, with_preview);
  if (with_preview) fields.push_back(info.GetEXIFPreviewTmpPath());
  return fields;
}

// What follows is asked of files only that the library's reading has let through: Exiv2 chooses its
// parser by content, and some of them crash.
Fields ReadIsSideways(const std::string& path) {
  const std::lock_guard<std::mutex> lock(ThumbInfo::exiv2_mutex_);
  const Exiv2ImagePtr image = Exiv2::ImageFactory::open(path);
  image->readMetadata();
  const auto orientation = image->exifData().findKey(ThumbInfo::stdOrientationKey);
  if (orientation == image->exifData().end()) return {"0"};
  const std::string value = orientation->toString();
  return {value >= "5" && value <= "8" && value.size() == 1 ? "1" : "0"};
}

Fields ReadEmbeddedPreviews(const std::string& path) {
  const std::lock_guard<std::mutex> lock(ThumbInfo::exiv2_mutex_);
  const Exiv2ImagePtr image = Exiv2::ImageFactory::open(path);
  image->readMetadata();
  Fields fields;
  for (const auto& found : Exiv2::PreviewManager(*image).getPreviewProperties()) {
    const auto add = [&fields](const auto& number) { fields.push_back(std::to_string(number)); };
    fields.push_back(found.mimeType_);
    add(found.width_);
    add(found.height_);
    add(found.size_);
  }
  return fields;
}

// In the process that has limits.
Fields Answer(const std::string& path, MetadataQuestion question, const ThumbDimension& box) {
  try {
    switch (question) {
      case MetadataQuestion::kFacts:
        return ReadFacts(path, box, false);
      case MetadataQuestion::kFactsAndPreview:
        return ReadFacts(path, box, true);
      case MetadataQuestion::kIsSideways:
        return ReadIsSideways(path);
      case MetadataQuestion::kEmbeddedPreviews:
        return ReadEmbeddedPreviews(path);
    }
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception&) {  // a file that does not even answer the first question
  }
  return {};
}

std::string Work(int file, const std::string& task) {
  const Fields asked = Split(task);
  if (asked.size() != 4) return "";
  const PathOfFile path(file, asked[3] == "targa");
  const ThumbDimension box(static_cast<uint32_t>(std::stoul(asked[1])),
                           static_cast<uint32_t>(std::stoul(asked[2])));
  return Join(Answer(path.get(), static_cast<MetadataQuestion>(asked[0].at(0)), box));
}

// A preview that it was writing.
void RemovePreviewsOf(pid_t process) {
  glob_t found = {};
  if (glob(("/tmp/thumb." + std::to_string(process) + ".*").c_str(), 0, nullptr, &found) == 0) {
    for (size_t i = 0; i < found.gl_pathc; ++i) unlink(found.gl_pathv[i]);
  }
  globfree(&found);
}

LimitedProcess& MetadataProcess() {
  static LimitedProcess process(&Work, kLimits, ThumbInfo::exiv2_mutex_);
  return process;
}

}  // namespace

bool PrepareMetadataProcess() { return MetadataProcess().Prepare(); }

MetadataAnswer AskAboutMetadata(int file, const std::string& name, MetadataQuestion question,
                                const ThumbDimension& box) {
  MetadataAnswer answer;
  answer.result = MetadataProcess().Run(
      file, Join({std::string(1, static_cast<char>(question)), std::to_string(box.width_),
                  std::to_string(box.height_), IsKnownByName(name) ? "targa" : "other"}));
  if (answer.result.end == LimitedProcess::End::kAnswered) {
    answer.fields = Split(answer.result.answer);
  } else if (question == MetadataQuestion::kFactsAndPreview && answer.result.process > 0) {
    RemovePreviewsOf(answer.result.process);
  }
  return answer;
}

}  // namespace vexathumb::service
