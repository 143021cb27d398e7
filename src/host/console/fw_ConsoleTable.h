// A table: for people texts in aligned columns, for programs a record of each row.
#pragma once

#include <string>
#include <vector>

#include "util/fw_Value.h"
#include "util/ut_VirtualPutStream.h"

namespace framework {

/// A stream of which records can be asked in place of text: then a table adds a record of each of
/// its rows, and what is written beside tables stays text.
class ListingStream : public utility::VirtualPutStream {
 public:
  using VirtualPutStream::VirtualPutStream;

  void askForRecords() { m_asked = true; }
  bool isAskedForRecords() const { return m_asked; }
  void addRecord(Value::Record record) { m_records.emplace_back(std::move(record)); }
  /// Says of the whole listing what belongs to no record of it.
  void addFact(const std::string& name, Value value) {
    m_facts.emplace_back(name, std::move(value));
  }

  /// The end of such a listing, and of asking: one JSON text in a line, an object whose "Members"
  /// is the list of the records and "Lines" that of the lines of `text`; the facts stand beside.
  std::string endRecords(const std::string& text);

 private:
  bool m_asked = false;
  Value::List m_records;
  Value::Record m_facts;
};

/// The stream where it is one that is asked for records, else null.
ListingStream* recordsAskedOf(utility::PutStream& stream);

/// How a record holds a cell; an empty one is null, whatever it is.
enum class Cell {
  Text,
  Number,
  Flag  ///< true for "yes", "up" and "on"
};

struct Column {
  const char* heading;
  const char* name;  ///< in a record
  Cell cell = Cell::Text;
};

using Columns = std::vector<Column>;
/// Rows of a cell for each column.
using TableRows = std::vector<std::vector<std::string>>;

/// Writes headings and rows, a line each, columns two blanks apart and as wide as their widest cell
/// in bytes, an empty cell as "-"; or adds the records, where the stream is asked for those.
void writeTable(utility::PutStream& stream, const Columns& columns, const TableRows& rows);

}  // namespace framework
