#ifndef VEXATHUMB_BENCH_PHOTOGRAPH_H_
#define VEXATHUMB_BENCH_PHOTOGRAPH_H_

#include <string>

#include "kit/pictures/fixtures.h"
#include "kit/pictures/landscape.h"

namespace vexathumb::bench {

// What most telephones take: 12 megapixels.
inline constexpr kit::Size kPhotographSize = {4032, 3024};

// The landscape that benchmarks have for a photograph.
kit::Scene PhotographScene(float grain = kit::Scene{}.grain);

// Writes it with this grain as an upright JPEG of quality 90 without metadata or embedded preview.
// Throws std::runtime_error.
void WritePhotograph(const std::string& path, const kit::Size& size,
                     float grain = kit::Scene{}.grain);

}  // namespace vexathumb::bench

#endif  // VEXATHUMB_BENCH_PHOTOGRAPH_H_
