// A table: for people texts in aligned columns, for programs a record of each row.
#include "host/console/fw_ConsoleTable.h"

#include <algorithm>
#include <charconv>
#include <sstream>

namespace framework {

namespace {

using Row = std::vector<std::string>;

// Of every column but the last, which ends the line.
std::vector<int> widthsOf(const TableRows& rows) {
  std::vector<int> widths;
  for (const Row& row : rows) {
    widths.resize(row.size(), 1);
    for (std::size_t i = 0; i + 1 < row.size(); ++i) {
      widths[i] = std::max(widths[i], static_cast<int>(row[i].size()));
    }
  }
  return widths;
}

void writeText(utility::PutStream& stream, const TableRows& rows) {
  const std::vector<int> widths = widthsOf(rows);
  for (const Row& row : rows) {
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

Value valueOf(const std::string& cell, Cell kind) {
  if (kind == Cell::Text || cell.empty()) return valueOrNone(cell);
  if (kind == Cell::Flag) return cell == "yes" || cell == "up" || cell == "on";
  std::int64_t number = 0;
  std::from_chars(cell.data(), cell.data() + cell.size(), number);
  return number;
}

Value::Record recordOf(const Columns& columns, const Row& row) {
  Value::Record record;
  for (std::size_t i = 0; i < row.size(); ++i) {
    record.emplace_back(columns[i].name, valueOf(row[i], columns[i].cell));
  }
  return record;
}

}  // namespace

std::string ListingStream::endRecords(const std::string& text) {
  Value::List lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.emplace_back(line);
  Value::Record whole = std::exchange(m_facts, {});
  whole.emplace_back("Members", std::exchange(m_records, {}));
  whole.emplace_back("Lines", std::move(lines));
  m_asked = false;
  return Value(std::move(whole)).json() + "\n";
}

ListingStream* recordsAskedOf(utility::PutStream& stream) {
  auto* listing = dynamic_cast<ListingStream*>(&stream);
  return listing != nullptr && listing->isAskedForRecords() ? listing : nullptr;
}

void writeTable(utility::PutStream& stream, const Columns& columns, const TableRows& rows) {
  if (ListingStream* records = recordsAskedOf(stream)) {
    for (const Row& row : rows) records->addRecord(recordOf(columns, row));
    return;
  }
  TableRows lines(1);
  for (const Column& column : columns) lines[0].emplace_back(column.heading);
  lines.insert(lines.end(), rows.begin(), rows.end());
  writeText(stream, lines);
}

}  // namespace framework
