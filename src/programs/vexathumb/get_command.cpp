#include <algorithm>
#include <chrono>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "programs/vexathumb/commands.h"
#include "programs/vexathumb/one_picture.h"
#include "programs/vexathumb/report.h"
#include "service/base/silenced_descriptor.h"
#include "service/base/source_path.h"
#include "service/picture/picture_facts.h"
#include "service/serve/delivery.h"
#include "service/serve/library_answer.h"
#include "service/serve/obtain.h"
#include "vexaplatform/settings.h"

namespace vexathumb::program {
namespace {

using service::Thumbnail;
using service::ThumbnailRequest;

struct GetOptions {
  std::string file;
  std::string size;
  std::string box;
  int64_t rotate = 0;
  std::vector<std::string> stores = {"pixdeck", "docdeck"};
  bool avatar = false;
  bool gif = false;
  bool only_stored = false;
  bool smaller = false;
  bool any_share = false;
  bool library = false;
  bool json = false;
  std::string out;

  bool ToStandardOutput() const { return out == "-"; }
};

std::optional<ThumbDimension> ParseBox(const std::string& text) {
  const size_t x = text.find('x');
  const auto side = [](const std::string& digits) {
    const bool is_number = !digits.empty() && digits.size() <= 4 &&
                           digits.find_first_not_of("0123456789") == std::string::npos;
    return is_number ? std::stoi(digits) : 0;
  };
  if (x == std::string::npos) return std::nullopt;
  const int width = side(text.substr(0, x));
  const int height = side(text.substr(x + 1));
  const auto fits = [](int length) { return length >= 1 && length <= service::kLargestSide; };
  if (!fits(width) || !fits(height)) return std::nullopt;
  return ThumbDimension(static_cast<uint32_t>(width), static_cast<uint32_t>(height));
}

ThumbnailRequest RequestOf(const GetOptions& options) {
  const auto looks_in = [&options](const char* store) {
    return std::find(options.stores.begin(), options.stores.end(), store) != options.stores.end();
  };
  ThumbnailRequest request;
  request.source = service::AbsolutePath(options.file);
  request.label = options.size;
  request.box =
      options.size.empty() ? *ParseBox(options.box) : Thumb::strThumbSizeMap_.at(options.size);
  request.turns = static_cast<int>(((options.rotate % 4) + 4) % 4);
  request.pixdeck = looks_in("pixdeck");
  request.docdeck = looks_in("docdeck");
  request.any_share = options.any_share;
  request.only_stored = options.only_stored;
  request.allow_smaller = options.smaller;
  request.avatar = options.avatar;
  request.animated_gif = options.gif;
  return request;
}

Thumbnail Obtain(const ThumbnailRequest& request, const GetOptions& options) {
  const auto settings = vexaplatform::CurrentSettings();
  if (options.library) return service::AskLibrary(request, settings->service.lock_dir);
  service::ObtainOptions obtain = service::ObtainOptionsFrom(settings->service);
  // Whoever asks by hand may have mended the machine, and wants to be told again where not.
  obtain.use_failure_record = false;
  obtain.build.is_for_one = true;
  obtain.build.outside_store = service::OutsideStore::kMakeWithoutStore;
  // What the tools complain of is not for whoever asked for a thumbnail.
  const service::SilencedDescriptor silent_tools(stderr);
  return service::ObtainThumbnail(request, obtain);
}

void Deliver(const Thumbnail& thumbnail, const ThumbnailRequest& request,
             const GetOptions& options) {
  try {
    if (options.ToStandardOutput()) {
      DeliverToStandardOutput(thumbnail, request.source);
    } else {
      DeliverToFile(thumbnail, request.source, service::AbsolutePath(options.out));
    }
  } catch (const service::TurnFailed&) {
    throw Failure{kNoThumbnail,
                  options.file,
                  {"its stored thumbnail cannot be turned", "leave out --rotate"}};
  } catch (const std::system_error& error) {
    throw Failure{
        kInternal,
        options.ToStandardOutput() ? "standard output" : options.out,
        {"cannot be written: " + error.code().message(), "check the place and its space"}};
  }
}

void Report(const Answer& answer, const GetOptions& options) {
  if (options.json) {
    PrintJson(ToJson(answer));
  } else if (!options.ToStandardOutput()) {
    std::cout << ForOutput(answer.output) << "\t" << answer.from << "\n";
  }
}

// Fills in the answer as far as it comes; throws Failure when there is no thumbnail.
void Answering(const GetOptions& options, Answer& answer) {
  const ThumbnailRequest request = RequestOf(options);
  answer.file = request.source;
  CheckPicture(options.file, request.source, options.out);
  const auto start = std::chrono::steady_clock::now();
  const Thumbnail thumbnail =
      PictureOrFailure(options.file, [&] { return Obtain(request, options); });
  answer.milliseconds =
      std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  answer.from = thumbnail.from;
  answer.mime = thumbnail.mime;
  answer.is_damaged = service::IsDamaged(thumbnail, request.source);
  if (*answer.is_damaged) PrintError(options.file, service::cause::kShownAsFarAsRead);
  answer.output = options.out.empty() ? thumbnail.path : service::AbsolutePath(options.out);
  if (!options.out.empty()) Deliver(thumbnail, request, options);
  if (options.json) answer.picture = service::ReadPictureFacts(answer.output);
}

ExitCode RunGet(const GetOptions& options) {
  Answer answer;
  answer.size = options.box.empty() ? options.size : options.box;
  try {
    Answering(options, answer);
  } catch (const Failure& failure) {
    if (options.json) {
      Answer failed;
      failed.file = answer.file;
      failed.size = answer.size;
      failed.milliseconds = answer.milliseconds;
      failed.error = failure.cause.text;
      Report(failed, options);
    }
    throw;
  }
  Report(answer, options);
  return kDone;
}

}  // namespace

Run AddGetCommand(CLI::App& app) {
  const auto options = std::make_shared<GetOptions>();
  CLI::App* command = app.add_subcommand("get", "Find or make one thumbnail of a picture");
  command->add_option("FILE", options->file, "The picture")->required();

  CLI::Option_group* which = command->add_option_group("Size", "One of these");
  CLI::Option* size =
      which->add_option("--size", options->size, "small, medium, big, large, xlarge or original")
          ->type_name("LABEL")
          ->check(CLI::IsMember(Thumb::size_vec));
  which->add_option("--box", options->box, "A free box, 1x1 to 4096x4096")
      ->type_name("WxH")
      ->check([](const std::string& text) {
        return ParseBox(text) ? "" : "must be WxH with sides from 1 to 4096";
      });
  which->require_option(1);

  command->add_option("--rotate", options->rotate, "Further clockwise quarter turns")
      ->type_name("N");
  command->add_flag("--avatar", options->avatar, "Cropped, from the avatars' place in the store");
  command->add_flag("--gif", options->gif, "Animated GIFs may stay GIF");
  command->add_option("--store", options->stores, "Stores to look in (both)")
      ->type_name("pixdeck,docdeck")
      ->allow_extra_args(false)
      ->delimiter(',')
      ->check(CLI::IsMember({"pixdeck", "docdeck"}));
  command->add_flag("--only-stored", options->only_stored, "Make nothing that is not stored");
  command->add_flag("--smaller", options->smaller, "A smaller size will do")->needs(size);
  command->add_flag("--any-share", options->any_share, "Shares that are not indexed count too");
  command->add_flag("--library", options->library,
                    "What the library alone answers, in its own form");
  CLI::Option* out =
      command->add_option("-o", options->out, "Write the picture there; - is standard output")
          ->type_name("OUT|-");
  command->add_flag("--json", options->json, "Answer as JSON");

  command->callback([options, out] {
    if (out->count() > 0 && options->out.empty()) throw CLI::ValidationError("-o", "is empty");
    if (options->json && options->ToStandardOutput()) {
      throw CLI::ValidationError("--json", "has no place on standard output beside -o -");
    }
  });
  return [options] { return RunGet(*options); };
}

}  // namespace vexathumb::program
