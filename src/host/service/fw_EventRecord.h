// The record that an event carries, as one of its subscribers gets it.
#pragma once

#include "util/st_Tokens.h"

namespace framework {

/// A copy of a record, made for one subscriber, whose handler may change it. It is destroyed
/// without a call of handled() where its event is dropped or superseded, or the handler has thrown.
class EventRecord {
 public:
  EventRecord() = default;
  virtual ~EventRecord() = default;
  EventRecord(const EventRecord&) = delete;
  EventRecord& operator=(const EventRecord&) = delete;

  /// The event to be delivered, and the data that the handler gets.
  virtual strings::stringtoken event() const = 0;
  virtual const void* data() const = 0;

  /// Called on each record that still waits for the subscriber when this one is raised. Answers
  /// whether this one tells all that the older does, which then goes; it takes over what the older
  /// knows beyond it. The raiser's locks are held.
  virtual bool supersede(EventRecord& older) = 0;

  /// Called on the subscriber's delivery thread, without a lock, when the handler has returned.
  virtual void handled() = 0;
};

}  // namespace framework
