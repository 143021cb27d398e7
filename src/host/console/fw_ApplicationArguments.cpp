// The arguments with which the host program was started.
#include "host/console/fw_ApplicationArguments.h"

namespace framework {

utility::Arguments& ApplicationArguments::args() {
  static utility::Arguments only;
  return only;
}

}  // namespace framework
