// Items kept in order and found by name.
#include "host/base/ut_ItemDirectory.h"

#include <algorithm>
#include <cstring>

namespace utility {

namespace {
bool nameBefore(const framework::Item* left, const framework::Item* right) {
  return std::strcmp(left->getNameString(), right->getNameString()) < 0;
}
}  // namespace

ItemDirectory::ItemDirectory(unsigned int capacity) {
  m_items.reserve(capacity);
  m_sorted.reserve(capacity);
}

void ItemDirectory::add(std::unique_ptr<framework::Item> item) {
  framework::Item* added = item.get();
  m_items.push_back(std::move(item));
  m_sorted.insert(std::upper_bound(m_sorted.begin(), m_sorted.end(), added, nameBefore), added);
  m_byName.emplace(added->getName(), added);
}

framework::Item* ItemDirectory::ElementAt(unsigned int index) const {
  return index < m_items.size() ? m_items[index].get() : nullptr;
}

framework::Item* ItemDirectory::getSorted(unsigned int index) const {
  return index < m_sorted.size() ? m_sorted[index] : nullptr;
}

framework::Item* ItemDirectory::find(strings::stringtoken name) const {
  const auto found = m_byName.find(name);
  return found == m_byName.end() ? nullptr : found->second;
}

}  // namespace utility
