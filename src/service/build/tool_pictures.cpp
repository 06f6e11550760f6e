#include "service/build/tool_pictures.h"

#include <unistd.h>

#include "service/build/animation.h"
#include "service/build/thumbnail_form.h"
#include "service/picture/content_type.h"
#include "service/picture/inspection.h"
#include "vexaplatform/whole_picture.h"

namespace vexathumb::service {
namespace {

class ToolPicture {
 public:
  ToolPicture(const ThumbnailRequest& request, const ThumbInfo& info, const BuildOptions& options,
              const NewFile& new_file)
      : request_(request), info_(info), options_(options), made_{new_file()} {
    made_.maker = Maker::kTools;
  }

  bool Decode() {
    DJpegCmd decoder(info_, source(), path());
    if (!decoder.exec() || !BringIntoForm()) return false;
    made_.is_oversized = made_.mime == kBmpType && decoder.IsNeedDelete();
    return true;
  }

  bool Convert() {
    if (info_.GetMimeType() == kJpegType && Decode()) return true;
    unlink(path().c_str());
    const bool may_develop =
        options_.outside_store != OutsideStore::kAlone;  // in the store's folder
    if (may_develop && !info_.IsWebAcceptable() && DcrawCmd(info_, source(), path()).exec())
      return BringIntoForm();
    return info_.IsGood() && ConvertCmd(info_, source(), path()).exec() && BringIntoForm();
  }

  bool Animate(const std::string& larger, const SourceVersion& version) {
    return (Shrink(larger) || MakeAnimation(info_, source(), path(), &version) ||
            ConvertCmd(info_, source(), path()).exec()) &&
           BringIntoForm();
  }

  // A raw file's preview comes as it is.
  bool IsWhole() const { return vexaplatform::IsWholePicture(path()); }
  MadePicture Take() { return std::move(made_); }

 private:
  const std::string& source() const { return request_.source; }
  const std::string& path() const { return made_.file->path(); }

  bool Shrink(const std::string& larger) {
    const posix::UniqueFd file = larger.empty() ? posix::UniqueFd() : OpenSource(larger);
    return file && MakeSmallerAnimation(info_, file.get(), path());
  }

  bool BringIntoForm() {
    const auto mime = service::BringIntoForm(request_, info_, options_, path());
    if (mime) made_.mime = *mime;
    return mime.has_value();
  }

  const ThumbnailRequest& request_;
  const ThumbInfo& info_;
  const BuildOptions& options_;
  MadePicture made_;
};

}  // namespace

ToolPictures::ToolPictures(const SourceVersion& version, const BuildOptions& options)
    : version_(version), options_(options) {}

std::optional<MadePicture> ToolPictures::Make(const ThumbnailRequest& request,
                                              const ThumbInfo& info,
                                              const NewFile& new_file) const {
  ToolPicture picture(request, info, options_, new_file);
  const bool is_made =
      info.GetOutputMimeType() == kGifType ? picture.Animate(larger_, version_) : picture.Convert();
  return is_made && picture.IsWhole() ? std::make_optional(picture.Take()) : std::nullopt;
}

std::optional<MadePicture> ToolPictures::Decode(const ThumbnailRequest& request,
                                                const ThumbInfo& info,
                                                const NewFile& new_file) const {
  ToolPicture picture(request, info, options_, new_file);
  const bool is_made = picture.Decode() && picture.IsWhole();
  return is_made ? std::make_optional(picture.Take()) : std::nullopt;
}

}  // namespace vexathumb::service
