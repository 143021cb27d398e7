// The C locale for the length of a scope.
#pragma once

#include <locale.h>

namespace services::app {

/// Puts the C locale in force for its thread while it lives: patterns are matched byte for byte,
/// which takes a half to a quarter of the time that UTF-8 takes, and alike under every environment.
class CLocale {
 public:
  CLocale() : m_before(::uselocale(c())) {}
  ~CLocale() { ::uselocale(m_before); }
  CLocale(const CLocale&) = delete;
  CLocale& operator=(const CLocale&) = delete;

 private:
  static locale_t c() {
    static const locale_t only = ::newlocale(LC_ALL_MASK, "C", nullptr);
    return only;
  }

  locale_t m_before;
};

}  // namespace services::app
