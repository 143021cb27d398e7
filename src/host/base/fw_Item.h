// What a directory of the host can hold.
#pragma once

#include "util/st_Tokens.h"

namespace utility {
class PutStream;
}

namespace framework {

/// A thing with a name that can report on itself.
class Item {
 public:
  virtual ~Item() = default;
  virtual strings::stringtoken getName() const = 0;
  virtual const char* getNameString() const = 0;
  /// Writes a report, indented by the given number of blanks.
  virtual void information(utility::PutStream& stream, int indentation, bool detailed) const = 0;
};

}  // namespace framework
