#ifndef VEXATHUMB_PROGRAMS_VEXATHUMB_COLUMNS_H_
#define VEXATHUMB_PROGRAMS_VEXATHUMB_COLUMNS_H_

#include <string>
#include <vector>

namespace vexathumb::program {

// A table for people: columns as wide as their widest cell, the last one as it comes. Cells are
// made printable.
class Columns {
 public:
  explicit Columns(const std::vector<std::string>& heads) { Add(heads); }

  void Add(const std::vector<std::string>& cells);  // as many as there are heads
  std::string Text() const;

 private:
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace vexathumb::program

#endif  // VEXATHUMB_PROGRAMS_VEXATHUMB_COLUMNS_H_
