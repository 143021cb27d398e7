// A value as programs exchange it: what a JSON text may hold.
#include "util/fw_Value.h"

#include <array>
#include <cstdio>
#include <string_view>

#include "util/fw_ShownText.h"
#include "util/ut_BufferStream.h"
#include "util/ut_DateTime.h"
#include "util/ut_TimeMeasure.h"

namespace framework {

namespace {

// The number of a character of UTF-8 below U+10000, as those that are not shown are.
unsigned int numberOf(std::string_view character) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(character[i]); };
  if (character.size() == 1) return byte(0);
  if (character.size() == 2) return (byte(0) & 0x1FU) << 6 | (byte(1) & 0x3FU);
  return (byte(0) & 0x0FU) << 12 | (byte(1) & 0x3FU) << 6 | (byte(2) & 0x3FU);
}

void appendEscaped(std::string& json, unsigned int number) {
  std::array<char, 8> escape;
  std::snprintf(escape.data(), escape.size(), "\\u%04x", number & 0xFFFFU);
  json += escape.data();
}

void append(std::string& json, const Value& value) { json += value.json(); }

void append(std::string& json, std::string_view text) {
  json += '"';
  while (!text.empty()) {
    const auto [kind, length] = firstCharacter(text);
    const std::string_view character = text.substr(0, length);
    if (kind == CharacterKind::Malformed) {
      json += "\xEF\xBF\xBD";
    } else if (kind == CharacterKind::Control) {
      appendEscaped(json, numberOf(character));
    } else {
      if (character == "\"" || character == "\\") json += '\\';
      json += character;
    }
    text.remove_prefix(length);
  }
  json += '"';
}

struct Writer {
  std::string operator()(std::monostate) const { return "null"; }
  std::string operator()(bool flag) const { return flag ? "true" : "false"; }
  std::string operator()(std::int64_t number) const { return std::to_string(number); }
  std::string operator()(const std::string& text) const {
    std::string json;
    append(json, std::string_view(text));
    return json;
  }
  std::string operator()(const Value::List& list) const {
    std::string json = "[";
    for (const Value& value : list) {
      if (json.size() > 1) json += ',';
      append(json, value);
    }
    return json + ']';
  }
  std::string operator()(const Value::Record& record) const {
    std::string json = "{";
    for (const auto& [name, value] : record) {
      if (json.size() > 1) json += ',';
      append(json, std::string_view(name));
      json += ':';
      append(json, value);
    }
    return json + '}';
  }
};

}  // namespace

// Here, so that not every file that makes records has the code of a variant.
Value::Value() = default;
Value::Value(bool flag) : m_content(flag) {}
Value::Value(Whole whole) : m_content(whole.number) {}
Value::Value(const char* text) : m_content(std::string(text)) {}
Value::Value(std::string text) : m_content(std::move(text)) {}
Value::Value(List list) : m_content(std::move(list)) {}
Value::Value(Record record) : m_content(std::move(record)) {}
Value::Value(const Value& other) = default;
Value::Value(Value&& other) noexcept = default;
Value& Value::operator=(const Value& other) = default;
Value& Value::operator=(Value&& other) noexcept = default;
Value::~Value() = default;

std::string Value::json() const { return std::visit(Writer(), m_content); }

Value timeValue(std::int64_t timestamp) {
  if (timestamp == 0) return {};
  std::array<char, 32> buffer{};
  utility::BufferStream stream(buffer.data(), buffer.size(), true);
  utility::DateTime(utility::TimeMeasure::getSeconds(timestamp)).ToISOBuffer(stream);
  return buffer.data();
}

}  // namespace framework
