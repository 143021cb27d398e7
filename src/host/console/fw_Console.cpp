// The console as a command sees it: where its answers go, and whose console it is.
#include "host/console/fw_Console.h"

#include <cstdarg>
#include <cstdio>
#include <utility>

namespace framework {

namespace {
constexpr int bufferSize = 16384;
constexpr int forwardLevel = 13107;

thread_local std::function<bool()> clientGone;
}  // namespace

bool Console::TextStream::StartOutputStream() {
  m_text.clear();
  return true;
}

bool Console::TextStream::SendOutputStream(const char* data, unsigned int size) {
  m_text.append(data, size);
  return true;
}

Console::Console(int peer) : m_peer(peer), m_stream(m_text, bufferSize, forwardLevel) {}

Console::~Console() {
  for (const auto& [key, action] : m_atClose) action();
}

bool Console::isClientGone() { return clientGone && clientGone(); }
void Console::setClientGone(std::function<bool()> gone) { clientGone = std::move(gone); }

void Console::outputLock() {
  if (m_outputOwner == std::this_thread::get_id()) {
    std::puts("Console: output lock failure");
    return;
  }
  m_outputMutex.lock();
  m_outputOwner = std::this_thread::get_id();
}

void Console::outputUnLock() {
  if (m_outputOwner != std::this_thread::get_id()) {
    std::puts("Console: output unlock failure");
    return;
  }
  m_outputOwner = std::thread::id();
  m_outputMutex.unlock();
}

void Console::reply(int code, const char* format, ...) {
  if (m_code == Ok) m_code = code;
  std::va_list arguments;
  std::va_list again;
  va_start(arguments, format);
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  if (length > 0) {
    std::string text(static_cast<std::size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    m_stream.PutB(text.data(), length);
  }
  va_end(again);
}

int Console::takeReply(std::string& text) {
  m_stream.FlushOutputStream();
  text = std::exchange(m_text.m_text, {});
  if (m_stream.isAskedForRecords()) {
    std::string json = m_stream.endRecords(text);
    if (m_code == Ok) text = std::move(json);
  }
  return std::exchange(m_code, Ok);
}

void Console::replySent() {
  const auto action = std::exchange(m_afterReply, nullptr);
  if (action) action();
}

void Console::atClose(const std::string& key, std::function<void()> action) {
  if (action) {
    m_atClose[key] = std::move(action);
  } else {
    m_atClose.erase(key);
  }
}

bool Console::enable() {
  m_enabled = true;
  return true;
}

bool Console::disable() {
  m_enabled = false;
  return true;
}

}  // namespace framework
