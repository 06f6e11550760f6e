#include <chrono>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "common/error/error.h"
#include "programs/vexathumb/commands.h"
#include "programs/vexathumb/report.h"
#include "service/base/source_path.h"
#include "service/picture/inspected_source.h"
#include "service/serve/delivery.h"
#include "service/serve/served_thumbnail.h"

namespace vexathumb::program {
namespace {

using service::Cause;
using service::LibraryRequest;
using service::ServedThumbnail;

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
  bool json = false;
  std::string out;

  bool ToStandardOutput() const { return out == "-"; }
};

std::optional<service::Box> ParseBox(const std::string& text) {
  const size_t x = text.find('x');
  const auto side = [](const std::string& digits) {
    const bool is_number = !digits.empty() && digits.size() <= 4 &&
                           digits.find_first_not_of("0123456789") == std::string::npos;
    return is_number ? std::stoi(digits) : 0;
  };
  if (x == std::string::npos) return std::nullopt;
  const service::Box box = {side(text.substr(0, x)), side(text.substr(x + 1))};
  const auto fits = [](int length) {
    return length >= service::kMinBoxSide && length <= service::kMaxBoxSide;
  };
  return fits(box.width) && fits(box.height) ? std::optional(box) : std::nullopt;
}

int OptionBits(const GetOptions& options) {
  int bits = 0;
  for (const std::string& store : options.stores) {
    bits |= store == "pixdeck" ? Thumb::PIXDECK_EA : Thumb::DOCDECK_EA;
  }
  if (options.avatar) bits |= Thumb::AVATAR;
  if (options.gif) bits |= Thumb::ANIMATE_GIF;
  if (options.only_stored) bits |= Thumb::EA_ONLY;
  if (options.smaller) bits |= Thumb::FALLBACK_SMALLER;
  if (options.any_share) bits |= Thumb::NOT_CHECK_INDEX;
  return bits;
}

LibraryRequest RequestOf(const GetOptions& options) {
  LibraryRequest request;
  request.source = service::AbsolutePath(options.file);
  request.size = options.size;
  if (!options.box.empty()) request.box = ParseBox(options.box);
  request.turns = service::WithinFullCircle(options.rotate);
  request.options = OptionBits(options);
  return request;
}

Cause WhyThereIsNone(const LibraryRequest& request) {
  const service::InspectedSource source(request.source,
                                        (request.options & Thumb::ANIMATE_GIF) != 0);
  if (source.content_problem()) return *source.content_problem();
  if (request.IsFor(kOriginal)) {
    return {"browsers do not show its type", "ask for a smaller --size"};
  }
  if (IsSupportVideo(request.source)) {
    return {"is a video without a stored screenshot", "let the video application store one"};
  }
  if ((request.options & Thumb::EA_ONLY) != 0) {
    return {"no thumbnail of it is stored", "run 'vexathumb build' or leave out --only-stored"};
  }
  return {"no tool could make a thumbnail of it",
          "the file is likely damaged, or its store cannot be written; 'vexathumb info' and "
          "'vexathumb doctor' tell more"};
}

ServedThumbnail Serve(const LibraryRequest& request, const std::string& file) {
  try {
    if (const auto served = ServeThumbnail(request)) return *served;
    throw Failure{kNoThumbnail, file, WhyThereIsNone(request)};
  } catch (const Error& error) {
    const bool is_unreadable = error.Code() == Error::kFileNotFound;
    throw Failure{is_unreadable ? kSourceUnreadable : kNoThumbnail, file, service::CauseOf(error)};
  } catch (const std::logic_error& error) {
    throw Failure{kNoThumbnail, file, service::CauseOf(error)};
  } catch (const std::overflow_error& error) {
    throw Failure{kNoThumbnail, file, service::CauseOf(error)};
  }
}

void Deliver(const ServedThumbnail& served, const LibraryRequest& request,
             const GetOptions& options) {
  try {
    if (options.ToStandardOutput()) {
      DeliverToStandardOutput(served, request.source);
    } else {
      DeliverToFile(served, request.source, service::AbsolutePath(options.out));
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
  const LibraryRequest request = RequestOf(options);
  answer.file = request.source;
  const std::string unreadable = service::WhyUnreadable(request.source);
  if (!unreadable.empty()) {
    throw Failure{kSourceUnreadable, options.file, {unreadable, "name a picture that can be read"}};
  }
  if (service::IsSameFile(options.out, request.source)) {
    throw Failure{kUsage, options.out, {"is the source itself", "write to another file"}};
  }
  const auto start = std::chrono::steady_clock::now();
  const ServedThumbnail served = Serve(request, options.file);
  answer.milliseconds =
      std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  answer.from = served.from;
  answer.mime = served.mime;
  answer.output = options.out.empty() ? served.file : service::AbsolutePath(options.out);
  if (!options.out.empty()) Deliver(served, request, options);
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
