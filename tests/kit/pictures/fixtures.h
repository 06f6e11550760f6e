#ifndef VEXATHUMB_TESTS_KIT_PICTURES_FIXTURES_H_
#define VEXATHUMB_TESTS_KIT_PICTURES_FIXTURES_H_

#include <exiv2/exiv2.hpp>
#include <optional>
#include <string>
#include <vector>

namespace vexathumb::kit {

// Pictures for tests, made by the tools that the system runs on. All functions make or replace the
// file `path`, whatever its name says, and throw std::exception when they cannot. Those that take
// metadata use Exiv2 and so are for one thread at a time.
//
// A picture is four quadrants of colour, which Corners() reads back. `size` is that of the upright
// picture; it is stored turned and mirrored so that `orientation`, an EXIF orientation from 1 to 8,
// shows it upright. With orientation 0 it is stored upright and says nothing.
//
//   WriteJpeg(dir / "a.jpg", {{400, 300}, 6});  // 300 x 400 in the file

struct Size {
  int width;
  int height;
};

// Reading order. The EXIF thumbnail and the other embedded previews have colours of their own.
inline constexpr char kPictureCorners[] = "red green blue yellow";
inline constexpr char kPreviewCorners[] = "cyan magenta white black";

// The upright size as it is stored for an orientation: sides swap from 5 on.
Size StoredSize(const Size& upright, int orientation);

// What Corners() gives for a picture of this orientation when nobody turns it.
std::string StoredCorners(const std::string& upright_corners, int orientation);

struct ExifValue {
  std::string key;   // "Exif.Panasonic.Rotation"
  std::string text;  // as Exiv2 reads values from text
  // For a type that is not the key's usual one.
  Exiv2::TypeId type = Exiv2::invalidTypeId;
};

struct JpegOptions {
  Size size = {400, 300};
  int orientation = 0;
  // Embedded previews, of upright sizes and turned like the picture: the EXIF thumbnail, of at most
  // about 60 KB, and one in the XMP data, which holds any number of pixels of this little detail.
  std::optional<Size> exif_thumbnail = {};
  std::optional<Size> xmp_preview = {};
  std::vector<ExifValue> exif = {};  // in this order, after `orientation`
};
void WriteJpeg(const std::string& path, const JpegOptions& options = {});

// Adds EXIF values to a picture of a type that Exiv2 writes.
void AddExif(const std::string& path, const std::vector<ExifValue>& values);

// Embeds a JPEG made elsewhere as the EXIF thumbnail of a picture.
void AddExifThumbnail(const std::string& path, const std::string& thumbnail);

struct PictureOptions {
  Size size = {400, 300};
  int orientation = 0;
};
void WritePng(const std::string& path, const PictureOptions& options = {});
void WriteTiff(const std::string& path, const PictureOptions& options = {});
void WriteWebp(const std::string& path, const PictureOptions& options = {});
void WriteBmp(const std::string& path, const Size& size = {400, 300});
void WriteGif(const std::string& path, const Size& size = {400, 300});

// Its bottom right quadrant is transparent.
void WriteTransparentPng(const std::string& path, const Size& size = {400, 300});

// The first frame has the picture's corners; a small black square moves in those after it.
void WriteAnimatedGif(const std::string& path, const Size& size = {400, 300}, int frames = 3);

// As phones write them: the container turns and mirrors the picture, which decoders follow, and the
// EXIF orientation says the same thing once more.
void WriteHeic(const std::string& path, const PictureOptions& options = {});
void WriteAvif(const std::string& path, const PictureOptions& options = {});

// The same from a JPEG made elsewhere, stored for `orientation` and with EXIF data that say so.
void WriteHeicOf(const std::string& path, const std::string& jpeg, int orientation);

enum class RawPreview {
  kNone,
  kJpeg,       // as a camera's JPEG: dcraw extracts it, Exiv2 lists it
  kJpegStrip,  // as a strip of data: dcraw extracts it, Exiv2 does not see a JPEG
  kPixels,     // uncompressed pixels, which dcraw turns into a PPM
};
struct DngOptions {
  Size size = {400, 300};
  RawPreview preview = RawPreview::kJpeg;
  Size preview_size = {320, 240};
};

// An undeveloped camera picture with the picture's corners; its preview has the preview's.
void WriteDng(const std::string& path, const DngOptions& options = {});

// The same from pictures made elsewhere: `sensor` is any picture file, `preview` the JPEG to embed.
void WriteDngOf(const std::string& path, const std::string& sensor, const std::string& preview);

// A TIFF file that says it is a Canon CR2, with one JPEG preview and one of TIFF type.
void WriteCr2(const std::string& path, const Size& jpeg_preview, const Size& tiff_preview);

// The first bytes of a file of another kind: enough to be taken for one.
std::string EpsContent();
std::string AviContent();
std::string MatroskaContent();
std::string QuickTimeContent();
std::string AsfContent();
std::string Cr3Content();

void WriteFifo(const std::string& path);
void WriteSocket(const std::string& path);

}  // namespace vexathumb::kit

#endif  // VEXATHUMB_TESTS_KIT_PICTURES_FIXTURES_H_
