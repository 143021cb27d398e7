// A console command: its words, its texts and what it does.
#include "host/console/fw_CommandHandler.h"

#include <cstring>

#include "host/base/st_StringRepository.h"
#include "util/ut_PutStream.h"

namespace framework {

strings::stringtoken CommandHandler::getName() const { return strings::GS.toToken(m_data.name); }

void CommandHandler::information(utility::PutStream& stream, int indentation, bool detailed) const {
  stream.Indent(indentation);
  stream.PutS(m_data.help);
  if (!detailed) return;
  stream.Indent(indentation);
  stream.PutF("usage: %s", m_data.usage);
}

// By text, so that two tokens of one text are the same word.
bool CommandHandler::match(const utility::Arguments& arguments) const {
  if (arguments.ArgCount() < m_data.wordCount) return false;
  for (std::uint32_t i = 0; i < m_data.wordCount; ++i) {
    const char* word = strings::StringRepository::toString(m_data.path[i]);
    if (std::strcmp(word, arguments.ArgValue(i)) != 0) return false;
  }
  return true;
}

}  // namespace framework
