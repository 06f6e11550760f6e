#ifndef VEXATHUMB_BENCH_PHOTOGRAPH_H_
#define VEXATHUMB_BENCH_PHOTOGRAPH_H_

#include <string>

#include "kit/pictures/fixtures.h"
#include "kit/pictures/landscape.h"

namespace vexathumb::bench {

// What most telephones take: 12 megapixels.
inline constexpr kit::Size kPhotographSize = {4032, 3024};

// Writes a landscape of this grain as an upright JPEG of quality 90 without metadata or embedded
// preview. Throws std::runtime_error.
void WritePhotograph(const std::string& path, const kit::Size& size,
                     float grain = kit::Scene{}.grain);

}  // namespace vexathumb::bench

#endif  // VEXATHUMB_BENCH_PHOTOGRAPH_H_
