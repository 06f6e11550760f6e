#ifndef VEXATHUMB_BENCH_SIZE_OPTION_H_
#define VEXATHUMB_BENCH_SIZE_OPTION_H_

#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

#include "bench/photograph.h"

namespace vexathumb::bench {

// `--photo WIDTHxHEIGHT`: the size of the photographs that a benchmark makes.
inline void AddPhotographSize(CLI::App* app, kit::Size* size) {
  app->add_option_function<std::string>(
         "--photo",
         [size](const std::string& text) {
           char rest = 0;
           if (sscanf(text.c_str(), "%dx%d%c", &size->width, &size->height, &rest) != 2 ||
               size->width < 1 || size->height < 1) {
             throw CLI::ValidationError("--photo", text + " is not WIDTHxHEIGHT");
           }
         },
         "pixels of the photographs, 4032x3024 unless told")
      ->type_name("WxH");
}

}  // namespace vexathumb::bench

#endif  // VEXATHUMB_BENCH_SIZE_OPTION_H_
