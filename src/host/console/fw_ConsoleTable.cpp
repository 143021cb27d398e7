// A table of texts with aligned columns.
#include "host/console/fw_ConsoleTable.h"

#include <algorithm>

#include "util/ut_PutStream.h"

namespace framework {

namespace {

// Of every column but the last, which ends the line.
std::vector<int> widthsOf(const TableRows& rows) {
  std::vector<int> widths;
  for (const auto& row : rows) {
    widths.resize(row.size(), 1);
    for (std::size_t i = 0; i + 1 < row.size(); ++i) {
      widths[i] = std::max(widths[i], static_cast<int>(row[i].size()));
    }
  }
  return widths;
}

}  // namespace

void writeTable(utility::PutStream& stream, const TableRows& rows) {
  const std::vector<int> widths = widthsOf(rows);
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      const char* cell = row[i].empty() ? "-" : row[i].c_str();
      const bool last = i + 1 == row.size();
      if (last) {
        stream.PutF("%s\n", cell);
      } else {
        stream.PutF("%-*s  ", widths[i], cell);
      }
    }
  }
}

}  // namespace framework
