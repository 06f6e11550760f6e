#include "service/build/thumbnail_builder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "common/util/util.h"
#include "service/base/machine_error.h"
#include "service/base/path_name.h"
#include "service/build/avatar.h"
#include "service/build/failure_proof.h"
#include "service/build/preview_thumbnail.h"
#include "service/build/reencoding.h"
#include "service/build/stored_thumbnail.h"
#include "service/picture/content_type.h"
#include "service/store/store_files.h"
#include "service/store/store_obstacle.h"
#include "service/store/store_place_check.h"
#include "service/store/sweeping.h"
#include "vexaplatform/expected_file.h"
#include "vexaplatform/tool_report.h"

namespace vexathumb::service {
namespace {

Thumbnail OwnedByCaller(const std::string& path, const std::string& mime, const char* from) {
  Thumbnail thumbnail;
  thumbnail.path = path;
  thumbnail.mime = mime;
  thumbnail.from = from;
  thumbnail.owner = Owner::kCaller;
  return thumbnail;
}

}  // namespace

ThumbnailBuilder::ThumbnailBuilder(const std::string& source, const SourceVersion& version,
                                   const BuildOptions& options)
    : source_(source),
      version_(version),
      options_(options),
      rendering_(source, version, options.quality),
      tools_(version, options) {}

void ThumbnailBuilder::Expect(const ThumbnailRequest& request, const ThumbInfo& info) {
  const std::string stored = BuiltPath(request, info);
  if (!stored.empty()) rendering_.Expect(request, info, NewFileInStore(source_, version_, stored));
}

Thumbnail ThumbnailBuilder::Build(const ThumbnailRequest& request, const ThumbInfo& info) {
  vexaplatform::ForgetToolRuns();
  const vexaplatform::ExpectedFile expected(source_, version_.status());
  write_error_ = 0;
  try {
    if (auto built = TryBuild(request, info)) return *built;
  } catch (const std::system_error&) {
    throw;
  } catch (const std::logic_error&) {
    // As good as no picture: apart from these the library throws on account of sources only.
  } catch (const std::runtime_error&) {
  }
  const Cause& cause = info.IsGood() ? cause::kNoTool : cause::kUnknownContent;
  // Whose fault it is, a store would tell.
  if (options_.outside_store == OutsideStore::kAlone) {
    return Thumbnail::None(version_.IsCurrent() ? Outcome::kUnusable : Outcome::kSourceChanged,
                           cause);
  }
  if (!MayMakeOutsideStore()) {
    if (const auto obstacle = FindStoreObstacle(source_)) {
      const bool is_of_source = obstacle->is_of_source;
      return Thumbnail::None(is_of_source ? Outcome::kUnusable : Outcome::kPostponed,
                             obstacle->cause);
    }
  }
  FailedAttempt attempt = {source_, version_};
  attempt.write_error = write_error_;
  attempt.develops = !request.avatar && !info.IsWebAcceptable();
  attempt.rendered = rendering_.end();
  attempt.is_unfinished = rendering_.IsUnfinished();
  return WhyThereIsNone(attempt, cause);
}

std::optional<Thumbnail> ThumbnailBuilder::TryBuild(const ThumbnailRequest& request,
                                                    const ThumbInfo& info) {
  if (auto stored = FindOrCompact(request, info)) return stored;
  if (!request.avatar && !info.IsNeedConvert()) return SourceItself(request, info);
  if (options_.outside_store == OutsideStore::kAlone) return MakeOutsideStore(request, info);
  if (!is_swept_) SweepStoreDirectory(source_);
  is_swept_ = true;
  const bool has_store = IsStoreWritable(source_);
  if (has_store) {
    if (auto made = MakeForStore(request, info)) return made;
    if (!version_.IsCurrent() || !IsStoreAtFault()) return std::nullopt;
  }
  return MayMakeOutsideStore() ? MakeOutsideStore(request, info) : std::nullopt;
}

std::optional<Thumbnail> ThumbnailBuilder::FindOrCompact(const ThumbnailRequest& request,
                                                         const ThumbInfo& info) {
  auto stored = IsVideo(request) ? std::nullopt : FindBuilt(request, info, version_.status());
  if (!stored || !stored->bmp_data || !options_.compaction) return stored;
  const bool may_compact = options_.outside_store != OutsideStore::kAlone;
  if (!may_compact || !Compact(stored->path, options_.quality)) return std::nullopt;
  stored->bmp_data = false;
  stored->mime = info.GetOutputMimeType();
  return stored;
}

std::optional<Thumbnail> ThumbnailBuilder::MakeForStore(const ThumbnailRequest& request,
                                                        const ThumbInfo& info) {
  const std::string stored = BuiltPath(request, info);
  if (stored.empty()) {
    write_error_ = ENAMETOOLONG;  // what else the platform refuses has been found out before
    return std::nullopt;
  }
  auto made = Make(request, info, NewFileInStore(source_, version_, stored));
  if (!made || !version_.IsCurrent()) return std::nullopt;
  AtomicFile& entry = *made->file;
  const bool is_kept = options_.outside_store == OutsideStore::kNever ||
                       !(made->is_oversized || version_.IsFresh() || IsTooMuch(request, entry));
  auto facts = info.IsGood() ? std::optional(SourceFacts::Of(info)) : std::nullopt;
  if (facts) facts->is_damaged = made->is_damaged;
  const auto attributes = StoredAttributes(version_.status(), facts);
  Thumbnail thumbnail;
  if (is_kept) {
    if (!IsWritten(entry.Commit(attributes))) return std::nullopt;
    // What the renderer has no loader for it reads as a thumbnail.
    const bool is_by_tools = made->maker == Maker::kTools && !request.avatar;
    if (is_by_tools && made->mime == kJpegType) rendering_.GoOnWith(stored);
    if (made->mime == kGifType) tools_.GoOnWith(stored);
    if (request.IsOfChosenBox()) {
      EvictFreeBoxes(source_, version_.status(), options_.free_boxes, stored);
    }
    thumbnail.path = stored;
    thumbnail.mime = made->mime;
    thumbnail.from = kFromDocdeck;
  } else {
    if (!IsWritten(entry.HandOut(attributes))) return std::nullopt;
    thumbnail = OwnedByCaller(entry.path(), made->mime, kFromDocdeck);
  }
  thumbnail.is_damaged = made->is_damaged;
  thumbnail.maker = made->maker;
  return thumbnail;
}

// Where the volume holds no store, and where its store is full or closed to this user, or is to see
// nothing of it. What dcraw makes of raw files goes through the store's directory even so.
std::optional<Thumbnail> ThumbnailBuilder::MakeOutsideStore(const ThumbnailRequest& request,
                                                            const ThumbInfo& info) {
  // A name that tells whose it is, with something random before it: two machines may have one
  // folder there, and the same process number. By the extension tools make what is promised: of
  // what they make of a TARGA otherwise, nobody knows what it is.
  const std::string name = file::GetVarTmpPath(request.avatar ? info.GetAvatarThumbEAName()
                                                              : info.GetDocdeckTmpThumbEAName()) +
                           info.GetOutputExtension();
  ThumbnailRequest outside = request;
  outside.use_preview = options_.outside_store == OutsideStore::kAlone;
  auto made = Make(outside, info, NewFileAt(options_.outside_folder + "/" + LastComponent(name)));
  if (!made || !version_.IsCurrent()) return std::nullopt;
  if (!IsWritten(made->file->HandOut(StoredAttributes(version_.status())))) return std::nullopt;
  Thumbnail thumbnail = OwnedByCaller(made->file->path(), made->mime, kFromVarTmp);
  thumbnail.is_damaged = made->is_damaged;
  thumbnail.maker = made->maker;
  return thumbnail;
}

std::optional<MadePicture> ThumbnailBuilder::Make(const ThumbnailRequest& request,
                                                  const ThumbInfo& info, const NewFile& new_file) {
  if (!request.avatar && request.use_preview) {
    MadePicture made = {new_file(), info.GetOutputMimeType(), Maker::kPreview};
    if (MakeFromEmbeddedPreview(request, version_, made.file->path())) return made;
  }
  for (const Engine engine : Engines(request, info)) {
    auto made = MakeByEngine(engine, request, info, new_file);
    const bool is_end = rendering_.end() || rendering_.IsUnfinished();
    if (made || (engine == Engine::kRenderer && is_end)) return made;
  }
  return std::nullopt;
}

std::vector<Engine> ThumbnailBuilder::Engines(const ThumbnailRequest& request,
                                              const ThumbInfo& info) const {
  if (rendering_.HasLarger() && !request.avatar) return {Engine::kRenderer, Engine::kTools};
  return EnginesFor(request, info, options_);
}

std::optional<MadePicture> ThumbnailBuilder::MakeByEngine(Engine engine,
                                                          const ThumbnailRequest& request,
                                                          const ThumbInfo& info,
                                                          const NewFile& new_file) {
  if (engine == Engine::kRenderer) return rendering_.Make(request, info, new_file);
  if (request.avatar) return MakeAvatarPicture(request, info, new_file);
  return engine == Engine::kDjpeg ? tools_.Decode(request, info, new_file)
                                  : tools_.Make(request, info, new_file);
}

std::optional<MadePicture> ThumbnailBuilder::MakeAvatarPicture(const ThumbnailRequest& request,
                                                               const ThumbInfo& info,
                                                               const NewFile& new_file) {
  // Each by itself: an avatar asks for the small sizes first.
  const auto build_fitted = [this](const ThumbnailRequest& fitted, const ThumbInfo& fitted_info) {
    return ThumbnailBuilder(source_, version_, options_).TryBuild(fitted, fitted_info);
  };
  std::optional<MadePicture> made(std::in_place);
  made->file = new_file();
  made->mime = info.GetOutputMimeType();
  made->maker = Maker::kTools;
  if (!MakeAvatar(request, info, build_fitted, made->file->path())) made.reset();
  return made;
}

// Notes why not.
bool ThumbnailBuilder::IsWritten(bool success) {
  if (!success) write_error_ = errno;
  return success;
}

bool ThumbnailBuilder::IsStoreAtFault() const {
  const auto runs = vexaplatform::ToolRuns();
  if (rendering_.end() && rendering_.end()->machine_error != 0) return true;
  return write_error_ != 0 || !HasStoreRoom(source_) ||
         std::any_of(runs.begin(), runs.end(), [](const vexaplatform::ToolReport& run) {
           return run.machine_error != 0 || (run.ending == vexaplatform::ToolEnding::kNotStarted &&
                                             IsMachineError(run.detail));
         });
}

bool ThumbnailBuilder::MayMakeOutsideStore() const {
  if (options_.outside_store != OutsideStore::kMakeWithoutStore) {
    return options_.outside_store != OutsideStore::kNever;
  }
  return !CheckStorePlace(source_).volume_fits;
}

// Whether it takes more by itself than all free boxes of the source may.
bool ThumbnailBuilder::IsTooMuch(const ThumbnailRequest& request, const AtomicFile& made) const {
  if (!request.IsOfChosenBox()) return false;
  struct stat st = {};
  return options_.free_boxes.files == 0 || stat(made.path().c_str(), &st) != 0 ||
         static_cast<uint64_t>(st.st_size) > options_.free_boxes.bytes;
}

}  // namespace vexathumb::service
