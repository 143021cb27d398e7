// The words of a command line.
#include "host/base/ut_Arguments.h"

namespace utility {

const char* Arguments::ArgValue(unsigned int index) const {
  return index < ArgCount() ? m_words[m_skipped + index].c_str() : nullptr;
}

unsigned int Arguments::ArgCount() const {
  return m_skipped < m_words.size() ? static_cast<unsigned int>(m_words.size()) - m_skipped : 0;
}

}  // namespace utility
