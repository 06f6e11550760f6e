#ifndef VEXATHUMB_THUMB_THUMB_CONVERT_CMD_H_
#define VEXATHUMB_THUMB_THUMB_CONVERT_CMD_H_

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "common/export.h"
#include "thumb/thumb_info.h"

namespace vexathumb {

// One run of an external image tool. A command is built from a copy of the source's description, a
// source path and a destination path; its constructor prepares the whole argument vector; exec()
// runs the tool once, waits, and tells success. Nothing is logged and, unless said otherwise,
// nothing is thrown. Built, run and dropped on one thread's stack, under its own type:
//
//   vexathumb::ConvertCmd command(info, "/d/a.png", "/d/.vexaea/a.png/thumb.jpg");
//   if (!command.exec()) return false;
//
// Destructors delete no file; each exec() says which files it removes and which it leaves.
class VEXATHUMB_API ThumbConvertCmd {
 public:
  static const std::string kConvert;
  static const std::string kDjpeg;
  static const std::string kJpegtran;
  static const std::string kDcraw;

  // The vector points into the object's own strings.
  ThumbConvertCmd(const ThumbConvertCmd&) = delete;
  ThumbConvertCmd& operator=(const ThumbConvertCmd&) = delete;

  virtual bool exec() = 0;

 protected:
  ThumbConvertCmd(ThumbInfo info, const std::string& src, const std::string& dest);

  // Not virtual: no command is ever deleted through its base.
  ~ThumbConvertCmd() = default;

  // Degrees of that many quarter turns, in decimal, not reduced to a full circle.
  static std::string Degrees(int quarter_turns);

  // Every entry but the last, which is null, points at a static literal or at the characters of a
  // string of this object that does not change any more.
  std::vector<const char*> argv_;
  ThumbInfo info_;
  std::string src_;
  std::string dest_;
  std::string strDim_;         // geometry for the tool
  std::string strRotate_;      // the file's own turn, in degrees
  std::string strUserRotate_;  // the caller's turn, in degrees
};

// ImageMagick on the first frame of any picture: fitted into the target box, or cropped out of the
// middle at the source's own scale; sRGB, without metadata, upright, then turned as the caller
// asks.
class VEXATHUMB_API ConvertCmd : public ThumbConvertCmd {
 public:
  ConvertCmd(ThumbInfo info, const std::string& src, const std::string& dest);

  // On failure there is no file at the destination.
  bool exec() override;
};

// The JPEG library's decoder at 1/1, 1/2, 1/4 or 1/8 of the size, then, only where a turn or a
// mirror is needed, a ConvertCmd on the result. Without that second stage the destination is BMP
// data of the scaled size, whatever its name says.
class VEXATHUMB_API DJpegCmd : public ThumbConvertCmd {
 public:
  // A scaled picture of at most this share of the target box's pixels is decoded one step larger.
  static constexpr double TOO_SMALL_RATIO = 0.75;

  DJpegCmd(ThumbInfo info, const std::string& src, const std::string& dest);

  // When the decoder fails, whatever it wrote is left behind; when the second stage fails, there is
  // neither an intermediate file nor one at the destination.
  bool exec() override;

  int GetScale() const;              // n of the scale 1/2^n, 0 to 3
  uint32_t GetConvertBytes() const;  // bytes of the decoded picture as BMP, rows not padded

  // Whether the decoded picture is so large, against the source's bytes, that its file is one to
  // throw away after use.
  bool IsNeedDelete() const;

 private:
  int CalcScale() const;
  void CalcScaleString();

  std::string tmp_;    // what the decoder writes; the destination itself without a second stage
  std::string scale_;  // "1/1" to "1/8"
};

// The JPEG that a camera embedded in its raw file, extracted by dcraw into the source's store
// directory, then scaled like any JPEG. The tool runs already in the constructor.
class VEXATHUMB_API DcrawCmd : public ThumbConvertCmd {
 public:
  // Failure to extract is told by exec(). May leave the extracted file behind when dcraw cannot be
  // started or its output is no picture. Exceptions other than Error pass through.
  DcrawCmd(ThumbInfo info, const std::string& src, const std::string& dest);
  ~DcrawCmd();  // closes the streams; deletes no file

  // Scales the preview, or, where that fails or the source's metadata could not be read, moves it
  // to the destination as it is. True when a readable picture is there then. The extracted file is
  // gone afterwards.
  bool exec() override;

 private:
  void setupRawThumbPath();
  bool checkTmpExif();

  std::string raw_;  // the extracted preview; empty when the extraction failed
  FILE* streamFpIn_ = nullptr;
  FILE* streamFpOut_ = nullptr;
};

// Turns a JPEG without decoding it; blocks at the edge that cannot be turned are dropped. Never
// mirrors.
class VEXATHUMB_API JpegTranCmd : public ThumbConvertCmd {
 public:
  // Turns by the caller's turns, and with `noIntrinsicRotate` false by the file's own besides. An
  // empty destination is for popen().
  JpegTranCmd(ThumbInfo info, const std::string& src, const std::string& dest,
              bool noIntrinsicRotate);

  // On failure whatever the tool wrote is left behind.
  bool exec() override;

  // The turned JPEG as a stream, which the caller closes with VLIBCPclose; null when the tool
  // cannot be started.
  virtual FILE* popen();

 private:
  std::string rotate_;  // degrees
};

// ImageMagick on every frame of an animated GIF. The constructor writes the animation with full
// frames to a temporary file in /var/tmp.
class VEXATHUMB_API GIFConvertCmd : public ThumbConvertCmd {
 public:
  GIFConvertCmd(ThumbInfo info, const std::string& src, const std::string& dest);

  // On failure there is no file at the destination, and the temporary file is left behind.
  bool exec() override;

 private:
  void setupCoalesceTmpPath();

  std::string strTmp_;  // empty when the first step failed
};

}  // namespace vexathumb

#endif  // VEXATHUMB_THUMB_THUMB_CONVERT_CMD_H_
