#include "render/picture_rendering.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <numeric>
#include <optional>
#include <string>
#include <system_error>
#include <vips/vips8>

#include "posix/write_all.h"
#include "render/decoding.h"
#include "render/picture_sizes.h"
#include "render/scaling.h"

namespace vexathumb::render {
namespace {

using vips::VError;
using vips::VImage;

// The smaller a picture, the more it loses by colours of half its resolution, so that those of up
// to so many pixels a side have them in full. With a little more quality they look better than
// usual ones of as many bytes.
constexpr int kSmallSide = 160;
constexpr int kMoreQualityOfSmall = 3;

struct BlobUnref {
  void operator()(VipsBlob* blob) const { vips_area_unref(VIPS_AREA(blob)); }
};
using Blob = std::unique_ptr<VipsBlob, BlobUnref>;

// The first of the decoder's complaints.
std::string FirstLine(const VError& error) {
  const std::string text = error.what();
  return text.empty() ? "cannot be decoded" : text.substr(0, text.find('\n'));
}

// 0, or why the file cannot be read, which is not the picture's fault.
int ErrorOfReading(int file) {
  std::array<char, 1U << 16U> block = {};
  for (off_t position = 0;;) {
    const ssize_t count = pread(file, block.data(), block.size(), position);
    if (count == 0) return 0;
    if (count < 0 && errno != EINTR) return errno;
    position += std::max<ssize_t>(count, 0);
  }
}

// As displayed: what an EXIF orientation asks for, and then quarter turns on top.
VImage Turned(VImage picture, int orientation, int turns) {
  constexpr std::array<int, 9> kTurns = {0, 0, 0, 2, 2, 1, 1, 3, 3};
  constexpr std::array<bool, 9> kIsMirrored = {false, false, true, false, true,
                                               true,  false, true, false};
  const auto turn = [&picture](int count) {
    if (count % 4 != 0) picture = picture.rot(static_cast<VipsAngle>(count % 4));
  };
  const auto index = static_cast<size_t>(orientation);
  turn(kTurns.at(index));
  if (kIsMirrored.at(index)) picture = picture.flip(VIPS_DIRECTION_HORIZONTAL);
  turn(turns);
  return picture;
}

VImage Middle(const VImage& picture, const Size& cut) {
  const auto width = static_cast<int>(cut.width);
  const auto height = static_cast<int>(cut.height);
  if (width == picture.width() && height == picture.height()) return picture;
  return picture.extract_area((picture.width() - width) / 2, (picture.height() - height) / 2, width,
                              height);
}

Blob Encoded(const VImage& picture, const PictureRecord& order) {
  if (order.coding == Coding::kPng) {
    // 2 to 5 % more bytes than the usual level, in half of its time.
    constexpr int kLevel = 4;
    return Blob(
        picture.pngsave_buffer(VImage::option()->set("compression", kLevel)->set("strip", true)));
  }
  const VImage opaque =
      picture.has_alpha()
          ? picture.flatten(VImage::option()->set("background", std::vector<double>{255}))
          : picture;
  auto* const options = VImage::option()->set("optimize_coding", true)->set("strip", true);
  int quality = order.quality;
  if (std::max(picture.width(), picture.height()) <= kSmallSide) {
    options->set("subsample_mode", VIPS_FOREIGN_SUBSAMPLE_OFF);
    quality = std::min(quality + kMoreQualityOfSmall, 100);
  }
  return Blob(opaque.jpegsave_buffer(options->set("Q", quality)));
}

// 0 or an error.
int Write(int file, const char* data, size_t size) {
  if (ftruncate(file, 0) != 0 || lseek(file, 0, SEEK_SET) != 0) return errno;
  return posix::WriteAll(file, data, size) ? 0 : errno;
}

// One order, from its header to the last picture.
class Rendering {
 public:
  Rendering(const OrderRecord& order, const std::vector<int>& files)
      : order_(order), source_(files[0]), files_(files.begin() + 1, files.end()) {}

  AnswerRecord Run() {
    try {
      if (TakeHeader()) MakePictures();
    } catch (const VError& error) {
      End(Ending::kUnreadable, FirstLine(error));
    }
    const int error = answer_.ending == Ending::kDone || answer_.ending == Ending::kLimited
                          ? 0
                          : ErrorOfReading(source_);
    if (error != 0) EndByMachine("the source: ", error);
    return answer_;
  }

 private:
  void End(Ending ending, const std::string& detail) {
    answer_.ending = ending;
    SetText(answer_.detail.data(), answer_.detail.size(), detail.c_str());
  }

  void EndByMachine(const std::string& what, int error) {
    End(Ending::kStopped, what + std::generic_category().message(error));
    answer_.error = error;
  }

  // Whether there is more to do.
  bool TakeHeader() {
    header_ = ReadHeader(source_);
    if (header_.loader == nullptr) {
      End(Ending::kRefused, "is of no type that is rendered");
      return false;
    }
    if (order_.orientation != 0 && !header_.loader->turns_by_itself) {
      header_.orientation = order_.orientation;
    }
    SetText(answer_.type.data(), answer_.type.size(), header_.type);
    const Size upright = header_.orientation >= 5 ? Swapped(header_.stored) : header_.stored;
    answer_.width = upright.width;
    answer_.height = upright.height;
    answer_.frames = header_.frames;
    answer_.has_alpha = header_.has_alpha ? 1 : 0;
    displayed_ = order_.turns % 2 == 1 ? Swapped(upright) : upright;
    if (uint64_t{upright.width} * upright.height > order_.pixels) {
      End(Ending::kLimited, "pixels");
      return false;
    }
    return true;
  }

  void MakePictures() {
    std::vector<PictureSizes> sizes;
    for (size_t i = 0; i < order_.picture_count; ++i) {
      sizes.push_back(SizesFor(displayed_, order_.pictures.at(i)));
    }
    std::vector<size_t> from_large(sizes.size());
    std::iota(from_large.begin(), from_large.end(), 0);
    std::stable_sort(from_large.begin(), from_large.end(), [&sizes](size_t one, size_t other) {
      return sizes[one].whole.width * uint64_t{sizes[one].whole.height} >
             sizes[other].whole.width * uint64_t{sizes[other].whole.height};
    });
    if (MakeInPassing(sizes)) return;
    VImage whole;
    for (const size_t i : from_large) {
      whole = i == from_large.front() ? Largest(sizes[i].whole) : Scaled(whole, sizes[i].whole);
      const Blob blob = Encoded(Middle(whole, sizes[i].cut), order_.pictures.at(i));
      if (!Keep(*blob, files_[i])) return;
      answer_.pictures.at(i) = sizes[i].cut;
    }
    answer_.picture_count = order_.picture_count;
  }

  // One picture that lies as its source does is encoded while the rest is still being decoded, by
  // another thread. False where there is none, or it cannot be.
  bool MakeInPassing(const std::vector<PictureSizes>& sizes) {
    const bool is_cut = sizes.empty() || sizes[0].cut.width != sizes[0].whole.width ||
                        sizes[0].cut.height != sizes[0].whole.height;
    if (sizes.size() != 1 || is_cut || header_.orientation != 1 || order_.turns != 0) return false;
    try {
      const Blob blob =
          Encoded(DecodeInPassing(source_, header_, sizes[0].whole), order_.pictures[0]);
      if (!Keep(*blob, files_[0])) return true;
    } catch (const VError&) {
      vips_error_clear();
      return false;
    }
    answer_.pictures[0] = sizes[0].cut;
    answer_.picture_count = 1;
    return true;
  }

  VImage Largest(const Size& size) {
    const bool is_swapped = (header_.orientation >= 5) != (order_.turns % 2 == 1);
    const Size stored = is_swapped ? Swapped(size) : size;
    VImage decoded = DecodeAtAll(stored);
    if (header_.orientation == 1 && order_.turns == 0) return decoded;
    return Turned(decoded, header_.orientation, order_.turns).copy_memory();
  }

  VImage DecodeAtAll(const Size& stored) {
    try {
      return Decode(source_, header_, stored);
    } catch (const VError&) {
      if (order_.takes_damaged == 0) throw;
      const std::optional<VImage> damaged = DecodeDamaged(source_, header_, stored);
      if (!damaged) throw;
      answer_.is_damaged = 1;
      return *damaged;
    }
  }

  bool Keep(const VipsBlob& blob, int file) {
    size_t size = 0;
    const auto* const data =
        static_cast<const char*>(vips_blob_get(const_cast<VipsBlob*>(&blob), &size));
    if (size > order_.file_size) {
      End(Ending::kLimited, "size of a file");
      return false;
    }
    const int error = Write(file, data, size);
    if (error != 0) EndByMachine("cannot write: ", error);
    return error == 0;
  }

  const OrderRecord& order_;
  const int source_;
  const std::vector<int> files_;
  Header header_;
  Size displayed_;
  AnswerRecord answer_ = MakeAnswer(Ending::kDone, "");
};

}  // namespace

AnswerRecord Render(const OrderRecord& order, const std::vector<int>& files) {
  return Rendering(order, files).Run();
}

}  // namespace vexathumb::render
