#ifndef VEXATHUMB_THUMB_EXIV2_COMPAT_H_
#define VEXATHUMB_THUMB_EXIV2_COMPAT_H_

// What differs between the Exiv2 releases that the library is written for. Built and tested with
// 0.27.6 and 0.28.5.

#include <exiv2/exiv2.hpp>
#include <exiv2/matroskavideo.hpp>
#include <exiv2/quicktimevideo.hpp>
#include <exiv2/riffvideo.hpp>

namespace vexathumb {

#if EXIV2_TEST_VERSION(0, 28, 0)

using Exiv2ImagePtr = Exiv2::Image::UniquePtr;
using Exiv2Error = Exiv2::Error;

using Exiv2ImageType = Exiv2::ImageType;
constexpr Exiv2ImageType kExiv2Asf = Exiv2::ImageType::asf;

inline void EnableBmff() {}  // a build option of Exiv2 there, on by default

#else

using Exiv2ImagePtr = Exiv2::Image::AutoPtr;
using Exiv2Error = Exiv2::BasicError<char>;
using Exiv2ImageType = int;
constexpr Exiv2ImageType kExiv2Asf = 24;  // Exiv2's header with the name does not compile alone

inline void EnableBmff() { Exiv2::enableBMFF(true); }

#endif

// Whether content of this type is for the parsers that crash and hang on crafted files.
inline bool IsVideoOrEps(Exiv2ImageType type) {
  return type == Exiv2::ImageType::eps || type == Exiv2::ImageType::riff ||
         type == Exiv2::ImageType::mkv || type == Exiv2::ImageType::qtime || type == kExiv2Asf;
}

// The two error codes that mean something to the library, by name, since their numbers are Exiv2's
// to change.
constexpr int kExiv2OpenFailed = static_cast<int>(Exiv2::ErrorCode::kerDataSourceOpenFailed);
constexpr int kExiv2UnknownImageType =
    static_cast<int>(Exiv2::ErrorCode::kerFileContainsUnknownImageType);

inline int Exiv2ErrorNumber(const Exiv2Error& error) { return static_cast<int>(error.code()); }

}  // namespace vexathumb

#endif  // VEXATHUMB_THUMB_EXIV2_COMPAT_H_
