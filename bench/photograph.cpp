#include "bench/photograph.h"

#include "kit/files.h"
#include "kit/run_tool.h"
#include "kit/temp_dir.h"

namespace vexathumb::bench {

kit::Scene PhotographScene(float grain) {
  kit::Scene scene = {1, {58, 98, 160}, {246, 214, 176}, {22, 44, 52}, 0.70F, 0.30F};
  scene.grain = grain;
  return scene;
}

void WritePhotograph(const std::string& path, const kit::Size& size, float grain) {
  const kit::TempDir dir;
  kit::PaintLandscape(dir / "scene.ppm", size, PhotographScene(grain));
  kit::RunTool({"/usr/bin/cjpeg", "-quality", "90", "-outfile", path, dir / "scene.ppm"});
  kit::Age(path);
}

}  // namespace vexathumb::bench
