// Runs a piece of a service's work so that nothing it throws gets past.
#pragma once

#include <exception>
#include <memory>

#include "host/base/st_StringRepository.h"
#include "host/log/fw_Logger.h"
#include "util/fw_Exception.h"

namespace framework {

/// Calls `work`; what it throws is logged as one error line that names the service and the work.
/// True when nothing was thrown.
template <typename Work>
bool guarded(const char* service, const char* what, Work&& work) {
  try {
    work();
    return true;
  } catch (Exception* thrown) {
    const std::unique_ptr<Exception> owned(thrown);
    Logger::StaticLog(LogType::Error, "%s: %s ended by an exception: %s in %s %s", service, what,
                      strings::StringRepository::toString(owned->getKind()), owned->getOperation(),
                      owned->getMessage());
  } catch (const std::exception& thrown) {
    Logger::StaticLog(LogType::Error, "%s: %s ended by an exception: %s", service, what,
                      thrown.what());
  } catch (...) {
    Logger::StaticLog(LogType::Error, "%s: %s ended by an unknown exception", service, what);
  }
  return false;
}

}  // namespace framework
