// The host's arrays of texts and of integers.
#pragma once

#include <string>
#include <vector>

namespace utility {

/// A list of texts.
class StringArray {
 public:
  void Append(std::string text) { m_elements.push_back(std::move(text)); }
  unsigned int Length() const { return static_cast<unsigned int>(m_elements.size()); }
  /// The text at an index, valid while the array is unchanged; null past the end.
  const char* ElementAt(unsigned int index) const {
    return index < m_elements.size() ? m_elements[index].c_str() : nullptr;
  }

 private:
  std::vector<std::string> m_elements;
};

/// A list of integers.
class IntArray {
 public:
  void Append(int value) { m_elements.push_back(value); }
  unsigned int Length() const { return static_cast<unsigned int>(m_elements.size()); }
  /// The integer at an index; 0 past the end.
  int ElementAt(unsigned int index) const {
    return index < m_elements.size() ? m_elements[index] : 0;
  }

 private:
  std::vector<int> m_elements;
};

}  // namespace utility
