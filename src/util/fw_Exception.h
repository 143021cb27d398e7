// The exception that the host and the bounded streams throw.
#pragma once

#include "util/st_Tokens.h"

namespace framework {

/// What went wrong, as data. By convention it is thrown as a pointer that was made with new; who
/// catches it owns and deletes it.
class Exception {
 public:
  /// `source` and `operation` name the place in the code and, like `message`, must be texts that
  /// live as long as the program. `error` false marks a mere notice.
  Exception(strings::stringtoken kind, const char* source, const char* operation,
            const char* message, bool error)
      : m_kind(kind),
        m_source(source),
        m_operation(operation),
        m_message(message),
        m_error(error) {}

  strings::stringtoken getKind() const { return m_kind; }
  const char* getSource() const { return m_source; }
  const char* getOperation() const { return m_operation; }
  const char* getMessage() const { return m_message; }
  bool isError() const { return m_error; }

 private:
  strings::stringtoken m_kind;
  const char* m_source;
  const char* m_operation;
  const char* m_message;
  bool m_error;
};

}  // namespace framework
