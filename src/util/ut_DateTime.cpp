// Printing a date and time.
#include "util/ut_DateTime.h"

#include <ctime>

#include "util/ut_System.h"
#include "util/ut_TimeMeasure.h"

namespace utility {

void DateTime::ToISOBuffer(PutStream& stream) const {
  const std::time_t seconds = m_seconds + TimeMeasure::getSeconds(System::current().wallOffset());
  std::tm utc{};
  char text[64] = "";
  if (::gmtime_r(&seconds, &utc) != nullptr)
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  stream.PutS(text);
}

}  // namespace utility
