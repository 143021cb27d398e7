// An open file descriptor and who closes it.
#pragma once

#include <unistd.h>

#include <utility>

namespace platform {

/// An open file descriptor, closed with the object. -1 stands for none.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) : m_number(number) {}
  ~Descriptor() { reset(); }
  Descriptor(Descriptor&& other) noexcept : m_number(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    reset(other.release());
    return *this;
  }

  int get() const { return m_number; }
  bool isOpen() const { return m_number >= 0; }

  /// Hands the descriptor to the caller, who closes it.
  int release() { return std::exchange(m_number, -1); }

  /// Closes it and takes another one over.
  void reset(int number = -1) {
    if (m_number >= 0) ::close(m_number);
    m_number = number;
  }

 private:
  int m_number;
};

}  // namespace platform
