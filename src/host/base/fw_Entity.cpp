// The base of everything that logs under its own name.
#include "host/base/fw_Entity.h"

#include <cstdarg>
#include <new>

#include "host/log/fw_Logger.h"
#include "util/fw_ShownText.h"

namespace framework {

void* Entity::operator new(std::size_t size) { return ::operator new(size); }
void Entity::operator delete(void* storage) { ::operator delete(storage); }

void* Entity::Alloc(std::size_t size) { return ::operator new(size); }
void Entity::Free(void* storage) { ::operator delete(storage); }

void Entity::LogInfoS(const char* text) const {
  Logger::write(LogType::Info, getNameString(), nullptr, 0, shownLines(text));
}

// One definition for each level, since a variable argument list cannot be passed on as such.
#define MC_LOG_CALL(name, type)                                                \
  void Entity::name(const char* format, ...) const {                           \
    va_list arguments;                                                         \
    va_start(arguments, format);                                               \
    Logger::writeFormat(type, getNameString(), nullptr, 0, format, arguments); \
    va_end(arguments);                                                         \
  }
#define MC_LOG_METHOD_CALL(name, type)                                                \
  void Entity::name(const char* operation, int line, const char* format, ...) const { \
    va_list arguments;                                                                \
    va_start(arguments, format);                                                      \
    Logger::writeFormat(type, getNameString(), operation, line, format, arguments);   \
    va_end(arguments);                                                                \
  }

MC_LOG_CALL(LogInfo, LogType::Info)
MC_LOG_CALL(LogWarning, LogType::Warning)
MC_LOG_CALL(LogError, LogType::Error)
MC_LOG_CALL(LogDebug, LogType::Debug)
MC_LOG_METHOD_CALL(LogMethodInfo, LogType::Info)
MC_LOG_METHOD_CALL(LogMethodDebug, LogType::Debug)
MC_LOG_METHOD_CALL(LogMethodWarning, LogType::Warning)
MC_LOG_METHOD_CALL(LogMethodError, LogType::Error)

}  // namespace framework
