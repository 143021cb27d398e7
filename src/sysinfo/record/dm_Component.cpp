// The component data: what is known of the parts of the enclosure.
#include "sysinfo/record/dm_Component.h"

#include <mutex>

#include "util/ut_BufferStream.h"

namespace framework::dom {

using services::dom::Component;

ReadDatasetLockGuard::ReadDatasetLockGuard(strings::stringtoken dataset, bool)
    : m_held(dataset == strings::tGScomponents) {
  if (m_held) Component::m_mutex.lock_shared();
}

ReadDatasetLockGuard::~ReadDatasetLockGuard() {
  if (m_held) Component::m_mutex.unlock_shared();
}

}  // namespace framework::dom

namespace services::dom {

std::shared_mutex Component::m_mutex;
Revisions Component::m_revisions;

void Component::genControllerDurableId(utility::BufferStream& stream, char letter,
                                       unsigned char number) {
  stream.PutF("controller_%c_%u", letter == 'A' ? 'a' : 'b', static_cast<unsigned int>(number));
}

bool Component::findDurableId(const char* durableId) {
  m_place = m_revisions.find(durableId);
  return m_place != m_revisions.end();
}

const char* Component::getControllerCpldRevision() const {
  return m_place == m_revisions.end() ? "" : m_place->second.c_str();
}

void Component::load(Revisions revisions) {
  const std::lock_guard lock(m_mutex);
  m_revisions = std::move(revisions);
}

}  // namespace services::dom
