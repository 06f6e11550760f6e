#include "unit/render/render_test.h"

#include "kit/files.h"
#include "kit/hostile/bombs.h"
#include "kit/pictures/tiff_builder.h"

namespace vexathumb::render {

Renderer& SharedRenderer() {
  static Renderer renderer(RENDERER);
  return renderer;
}

Answer RenderTest::Run(const std::string& source, Job job, Renderer& renderer) {
  const posix::UniqueFd file(open((dir_ / source).c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_TRUE(file) << source;
  job.source = file.get();
  std::vector<posix::UniqueFd> files;
  for (PictureOrder& picture : job.pictures) {
    files.emplace_back(open(Picture(files.size()).c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC,
                            S_IRUSR | S_IWUSR));
    picture.file = files.back().get();
  }
  return renderer.Run(job);
}

Job RenderTest::LongJob() {
  constexpr uint32_t kSide = 4000;
  constexpr size_t kBytes = size_t{kSide} * kSide * 3;
  const std::string noise = kit::Garbage(size_t{1} << 20U);
  std::string pixels;
  while (pixels.size() < kBytes) pixels += noise;
  pixels.resize(kBytes);
  kit::TiffDirectory directory;
  directory.Longs(0x100, {kSide})
      .Longs(0x101, {kSide})
      .Shorts(0x102, {8, 8, 8})
      .Shorts(0x103, {1})  // not compressed
      .Shorts(0x106, {2})  // red, green and blue
      .Shorts(0x115, {3})
      .Longs(0x116, {kSide})
      .Data(0x111, 0x117, pixels);
  kit::WriteFile(dir_ / "long", kit::BuildTiff(directory, {}));
  Job job;
  job.pictures.resize(kMostPictures, Fitting(kSide));
  job.limits.cpu = job.limits.wall = std::chrono::minutes(10);
  job.limits.memory = uint64_t{2} << 30U;
  job.limits.file_size = uint64_t{1} << 30U;
  return job;
}

PictureOrder Fitting(uint32_t side, Coding coding) {
  PictureOrder picture;
  picture.width = picture.height = side;
  picture.coding = coding;
  return picture;
}

Job JobOf(const PictureOrder& picture) {
  Job job;
  job.pictures.push_back(picture);
  return job;
}

}  // namespace vexathumb::render
