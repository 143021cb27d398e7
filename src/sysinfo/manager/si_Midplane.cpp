// The midplane in which this controller sits.
#include "sysinfo/manager/si_Midplane.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>

#include "host/log/fw_Logger.h"
#include "host/machine/Descriptor.h"
#include "sysinfo/manager/si_SysInfoManager.h"
#include "sysinfo/record/si_Grammar.h"
#include "util/ut_Misc.h"
#include "util/ut_OpenFile.h"

namespace services::sysinfo {

void adoptMidplane(const char* path) {
  std::array<char, 128> text{};
  const platform::Descriptor file(utility::openFile(path, O_RDONLY, 0));
  if (file.isOpen() && ::read(file.get(), text.data(), text.size() - 1) < 0) text[0] = '\0';
  const char* serial = utility::Misc::trim(text.data());
  const bool valid = *serial != '\0' && serialGrammar.holds(serial);
  if (!valid) {
    framework::Logger::StaticLog(framework::LogType::Error,
                                 "no midplane serial number in %s: no pairing is decided", path);
  }
  const SysInfoWriteGuard guard;
  if (guard.getObject() != nullptr) guard.getObject()->setMidplaneSN(valid ? serial : nullptr);
}

}  // namespace services::sysinfo
