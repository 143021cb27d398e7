// Items kept in order and found by name.
#pragma once

#include <memory>
#include <unordered_map>
#include <vector>

#include "host/base/fw_Item.h"

namespace utility {

/// Owns items; holds them in the order of adding and, beside it, in the order of their names'
/// texts, byte for byte. It has no lock: who shares it guards it.
class ItemDirectory {
 public:
  explicit ItemDirectory(unsigned int capacity);

  /// Takes the item over. When the name is taken already, the item found by name stays the first.
  void add(std::unique_ptr<framework::Item> item);

  unsigned int Length() const { return static_cast<unsigned int>(m_items.size()); }

  /// The item at an index in the order of adding; null past the end.
  framework::Item* ElementAt(unsigned int index) const;
  /// The item at an index in the order of names; null past the end.
  framework::Item* getSorted(unsigned int index) const;
  /// The item with that name token; null when there is none.
  framework::Item* find(strings::stringtoken name) const;
  framework::Item* get(strings::stringtoken name) const { return find(name); }

 private:
  std::vector<std::unique_ptr<framework::Item>> m_items;
  std::vector<framework::Item*> m_sorted;
  std::unordered_map<strings::stringtoken, framework::Item*> m_byName;
};

}  // namespace utility
