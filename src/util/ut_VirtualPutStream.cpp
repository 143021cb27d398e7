// When buffered text goes on to the target.
#include "util/ut_VirtualPutStream.h"

#include <algorithm>
#include <cstddef>

#include "util/fw_Exception.h"

namespace utility {

VirtualPutStream::VirtualPutStream(framework::OutputStream& target, int size, int level)
    : m_target(target),
      m_storage(std::make_unique<char[]>(static_cast<std::size_t>(std::max(size, 2)))),
      m_level(std::clamp(level, 1, std::max(size, 2) - 1)) {
  attach(m_storage.get(), std::max(size, 2));
}

VirtualPutStream::~VirtualPutStream() {
  if (ReadAvailable() < 1) return;
  try {
    VirtualPutStream::EndOutputStream();
  } catch (framework::Exception* exception) {
    delete exception;
  } catch (...) {
  }
}

bool VirtualPutStream::StartOutputStream() {
  EndOutputStream();
  Rewind();
  m_refused = 0;
  return m_target.StartOutputStream();
}

void VirtualPutStream::EndOutputStream() {
  FlushOutputStream();
  m_target.EndOutputStream();
}

bool VirtualPutStream::SendOutputStream(const char* data, unsigned int size) {
  return PutStream::SendOutputStream(data, size) && m_refused == 0;
}

void VirtualPutStream::FlushOutputStream() {
  if (unread() < 1) return;
  if (!m_target.SendOutputStream(pTail(), static_cast<unsigned int>(unread()))) m_refused = 1;
  Rewind();
}

bool VirtualPutStream::isOutputStreamInError() { return m_refused != 0; }

// Forwarding here is what leaves room: the level is never above the capacity.
void VirtualPutStream::WriteAdvance(int count) {
  PutStream::WriteAdvance(count);
  if (ReadAvailable() >= m_level) FlushOutputStream();
}

}  // namespace utility
