// A table of texts with aligned columns.
#include "host/framework/fw_ConsoleTable.h"

#include <algorithm>

#include "util/ut_PutStream.h"

namespace framework {

namespace {

std::size_t widthOf(const TableRows& rows, std::size_t column) {
  std::size_t width = 1;
  for (const auto& row : rows) width = std::max(width, row[column].size());
  return width;
}

}  // namespace

void writeTable(utility::PutStream& stream, const TableRows& rows) {
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      const char* cell = row[i].empty() ? "-" : row[i].c_str();
      const bool last = i + 1 == row.size();
      if (last) {
        stream.PutF("%s\n", cell);
      } else {
        stream.PutF("%-*s  ", static_cast<int>(widthOf(rows, i)), cell);
      }
    }
  }
}

}  // namespace framework
