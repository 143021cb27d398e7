// The base of everything that logs under its own name.
#pragma once

#include <cstddef>

#include "host/base/fw_Item.h"

namespace framework {

/// An item with storage from the host and log calls that carry its name.
///
/// The calls take a printf format. Those with an operation also name the operation (its full
/// signature, __PRETTY_FUNCTION__) and the source line. Debug calls write whenever the level lets
/// them through; their callers ask utility::Debug first.
class Entity : public virtual Item {
 public:
  static void* operator new(std::size_t size);
  static void operator delete(void* storage);

  /// Raw storage, released with Free. Throws std::bad_alloc when there is none.
  static void* Alloc(std::size_t size);
  static void Free(void* storage);

  void LogInfo(const char* format, ...) const __attribute__((format(printf, 2, 3)));
  void LogInfoS(const char* text) const;
  void LogWarning(const char* format, ...) const __attribute__((format(printf, 2, 3)));
  void LogError(const char* format, ...) const __attribute__((format(printf, 2, 3)));
  void LogDebug(const char* format, ...) const __attribute__((format(printf, 2, 3)));
  void LogMethodInfo(const char* operation, int line, const char* format, ...) const
      __attribute__((format(printf, 4, 5)));
  void LogMethodDebug(const char* operation, int line, const char* format, ...) const
      __attribute__((format(printf, 4, 5)));
  void LogMethodWarning(const char* operation, int line, const char* format, ...) const
      __attribute__((format(printf, 4, 5)));
  void LogMethodError(const char* operation, int line, const char* format, ...) const
      __attribute__((format(printf, 4, 5)));
};

}  // namespace framework
