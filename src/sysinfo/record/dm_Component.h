// The component data: what is known of the parts of the enclosure.
#pragma once

#include <map>
#include <shared_mutex>
#include <string>

#include "util/st_Tokens.h"

namespace utility {
class BufferStream;
}

namespace framework::dom {

/// Holds a dataset for reading while it lives. The one dataset is strings::tGScomponents; another
/// token holds nothing. The bool is there for callers' convenience and not used.
class ReadDatasetLockGuard {
 public:
  ReadDatasetLockGuard(strings::stringtoken dataset, bool);
  ~ReadDatasetLockGuard();
  ReadDatasetLockGuard(const ReadDatasetLockGuard&) = delete;
  ReadDatasetLockGuard& operator=(const ReadDatasetLockGuard&) = delete;

 private:
  bool m_held;
};

}  // namespace framework::dom

namespace services::dom {

/// The CPLD revision of each controller component by its durable identifier.
using Revisions = std::map<std::string, std::string>;

/// A place in the component data. Hold the dataset while it is used.
class Component {
 public:
  /// The argument is there for callers' convenience and not used.
  explicit Component(const void*) {}

  /// Writes the durable identifier of a controller's component, "controller_a_0" for 'A' and 0.
  static void genControllerDurableId(utility::BufferStream& stream, char letter,
                                     unsigned char number);

  /// Whether the data holds that identifier; the component then stands on it.
  bool findDurableId(const char* durableId);
  /// The CPLD revision of the controller on which it stands; empty when on none. Valid while the
  /// dataset is held.
  const char* getControllerCpldRevision() const;

  /// Takes these in place of the component data.
  static void load(Revisions revisions);

 private:
  friend class framework::dom::ReadDatasetLockGuard;

  static std::shared_mutex m_mutex;
  static Revisions m_revisions;

  Revisions::const_iterator m_place = m_revisions.end();
};

}  // namespace services::dom
