#ifndef VEXATHUMB_TESTS_UNIT_RENDER_RENDER_TEST_H_
#define VEXATHUMB_TESTS_UNIT_RENDER_RENDER_TEST_H_

#include <fcntl.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kit/temp_dir.h"
#include "posix/unique_fd.h"
#include "render/renderer.h"

namespace vexathumb::render {

// The one that all tests share which do it no harm.
Renderer& SharedRenderer();

// A folder, and the jobs on what lies there.
class RenderTest : public testing::Test {
 protected:
  // Runs a job on the file `source` of the folder, with the files "0", "1", ... of the folder for
  // its pictures.
  Answer Run(const std::string& source, Job job, Renderer& renderer = SharedRenderer());

  // Makes a file "long" of noise, and a job that takes it many seconds to pack.
  Job LongJob();

  // The path of a picture of the last job.
  std::string Picture(size_t index = 0) const { return dir_ / std::to_string(index); }

  kit::TempDir dir_;
};

// A picture that fits into a square.
PictureOrder Fitting(uint32_t side, Coding coding = Coding::kPng);

// A job of one picture.
Job JobOf(const PictureOrder& picture);

}  // namespace vexathumb::render

#endif  // VEXATHUMB_TESTS_UNIT_RENDER_RENDER_TEST_H_
