#include "programs/vexathumb/columns.h"

#include <algorithm>

#include "programs/vexathumb/printable.h"

namespace vexathumb::program {

void Columns::Add(const std::vector<std::string>& cells) {
  std::vector<std::string>& row = rows_.emplace_back(cells.size());
  std::transform(cells.begin(), cells.end(), row.begin(), Printable);
}

std::string Columns::Text() const {
  std::vector<int> widths;
  for (const auto& row : rows_) {
    widths.resize(row.size());
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], DisplayWidth(row[i]));
  }
  std::string text;
  for (const auto& row : rows_) {
    for (size_t i = 0; i + 1 < row.size(); ++i) {
      const int padding = widths[i] - DisplayWidth(row[i]) + 2;
      text += row[i] + std::string(static_cast<size_t>(padding), ' ');
    }
    text += row.back() + "\n";
  }
  return text;
}

}  // namespace vexathumb::program
