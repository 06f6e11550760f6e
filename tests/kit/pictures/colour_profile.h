#ifndef VEXATHUMB_TESTS_KIT_PICTURES_COLOUR_PROFILE_H_
#define VEXATHUMB_TESTS_KIT_PICTURES_COLOUR_PROFILE_H_

#include <string>

namespace vexathumb::kit {

// The bytes of an ICC profile of the colours of Adobe RGB (1998), which cameras offer.
std::string AdobeRgbProfile();

}  // namespace vexathumb::kit

#endif  // VEXATHUMB_TESTS_KIT_PICTURES_COLOUR_PROFILE_H_
