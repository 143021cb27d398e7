// A typed command line: splitting it into words, and quoting words so that they survive.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace framework {

/// Splits a line at its blanks and tabs. Double quotes keep blanks and may stand anywhere in a
/// word; within them a backslash stands for the character behind it, outside for itself. An
/// unterminated quote or a character that is not shown (fw_ShownText.h: what is typed reaches log
/// lines) leaves nothing and sets `error` to one line with its line end that names the column,
/// counted in bytes from 1.
std::optional<std::vector<std::string>> splitLine(std::string_view line, std::string& error);

/// The words as one line that splitLine() splits into them again.
std::string joinWords(const std::vector<std::string>& words);

}  // namespace framework
