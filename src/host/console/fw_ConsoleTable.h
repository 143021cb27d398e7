// A table of texts with aligned columns.
#pragma once

#include <string>
#include <vector>

namespace utility {
class PutStream;
}

namespace framework {

/// Rows of as many cells each, the heading first.
using TableRows = std::vector<std::vector<std::string>>;

/// Writes the rows, a line each, columns two blanks apart and as wide as their widest cell in
/// bytes. An empty cell shows as "-".
void writeTable(utility::PutStream& stream, const TableRows& rows);

}  // namespace framework
