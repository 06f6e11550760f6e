#ifndef VEXATHUMB_TESTS_KIT_HOSTILE_BOMBS_H_
#define VEXATHUMB_TESTS_KIT_HOSTILE_BOMBS_H_

#include <string>

#include "kit/pictures/fixtures.h"

namespace vexathumb::kit {

// Small files that ask their decoder for far more memory or time than they are worth. Each function
// returns the file's bytes.

// Of 65500 by 65500 pixels, with next to none of their data. The progressive one makes decoders
// keep all coefficients.
std::string HugeJpeg();
std::string HugeProgressiveJpeg();
std::string HugePng();
std::string HugeGif();
std::string HugeTiff();

// Progressive, each scan passing over the whole picture.
std::string ManyScanJpeg(const Size& size, int scans);

// A PNG of four pixels with compressed texts of some megabytes each.
std::string LongTextPng(int texts);

// Of one pixel a frame.
std::string ManyFrameGif(int frames);

// A TIFF file of directories, each of which names the next one; the last names the first again
// where they are a loop.
enum class ChainEnd { kOpen, kLoop };
std::string TiffChain(int directories, ChainEnd end);

// A TIFF file of so many bytes whose directory has so many entries, each of which claims nearly all
// of these bytes for itself.
std::string OverlappingTiff(int entries, size_t bytes);

// The same bytes whenever it is called, of no format.
std::string Garbage(size_t size);

}  // namespace vexathumb::kit

#endif  // VEXATHUMB_TESTS_KIT_HOSTILE_BOMBS_H_
