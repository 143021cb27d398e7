// A value as programs exchange it: what a JSON text may hold.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace framework {

/// Nothing, a flag, a whole number, a text, a list, or a record: values by their names, in the
/// order in which they were written.
class Value {
 public:
  using List = std::vector<Value>;
  using Record = std::vector<std::pair<std::string, Value>>;

  Value();
  Value(bool flag);
  template <std::integral Number>
  Value(Number number) : Value(Whole{static_cast<std::int64_t>(number)}) {}
  Value(const char* text);
  Value(std::string text);
  Value(List list);
  Value(Record record);
  Value(const Value& other);
  Value(Value&& other) noexcept;
  Value& operator=(const Value& other);
  Value& operator=(Value&& other) noexcept;
  ~Value();

  /// As a JSON text in one line, which holds no control character: of a text such are escaped, and
  /// bytes that are no UTF-8 become U+FFFD.
  std::string json() const;

 private:
  struct Whole {
    std::int64_t number;
  };
  explicit Value(Whole whole);

  std::variant<std::monostate, bool, std::int64_t, std::string, List, Record> m_content;
};

/// The text, or nothing in place of an empty one.
inline Value valueOrNone(std::string text) {
  return text.empty() ? Value() : Value(std::move(text));
}

/// A timestamp of the host (utility::TimeMeasure) as the wall clock shows it, in UTC, ISO 8601;
/// nothing for 0.
Value timeValue(std::int64_t timestamp);

}  // namespace framework
