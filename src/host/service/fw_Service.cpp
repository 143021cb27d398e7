// What the host runs: services, and services with threads of their own.
#include "host/service/fw_Service.h"

#include "host/base/st_StringRepository.h"

namespace framework {

Service::Service(const char* name) : m_name(strings::GS.toToken(name)) {}

const char* Service::getNameString() const { return strings::StringRepository::toString(m_name); }

void Service::information(utility::PutStream& /*stream*/, int /*indentation*/,
                          bool /*detailed*/) const {}

bool Service::serviceEvent(strings::stringtoken /*event*/, const void* /*data*/) { return false; }

void ActiveService::Shutdown() {
  shutDownRequest();
  m_waiter.signal();
  const std::lock_guard lock(m_waiter);
  m_waiter.broadcast();
}

}  // namespace framework
