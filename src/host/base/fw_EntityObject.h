// The base of the records that have a name and can be deleted while others still look at them.
#pragma once

#include "host/base/st_StringRepository.h"

namespace framework::object {

/// A named record. It is a value of whoever holds it and has no lock.
class EntityObject {
 public:
  explicit EntityObject(const char* name) : m_name(strings::GS.toToken(name)) {}
  virtual ~EntityObject() = default;
  EntityObject(const EntityObject&) = default;
  EntityObject& operator=(const EntityObject&) = default;

  strings::stringtoken getName() const { return m_name; }
  const char* getNameString() const { return strings::StringRepository::toString(m_name); }

  /// Whether the record is on its way out: the last sight of it that its readers get.
  bool getDeleted() const { return m_deleted; }
  void setDeleted(bool deleted) { m_deleted = deleted; }

 private:
  strings::stringtoken m_name;
  bool m_deleted = false;
};

}  // namespace framework::object
