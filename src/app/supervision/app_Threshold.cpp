// The limits of the memory check.
#include "app/supervision/app_Threshold.h"

#include "app/supervision/app_Tokens.h"

namespace services::app {

namespace {
constexpr unsigned int noLimit = 1048576;
}

const Threshold Threshold::m_thresholds[] = {
    {strings::token<"pageCache">, 13000},
    {strings::tGSsfcbd, 40000},
    {strings::tGSlogMigrator, 25000},
    {strings::tGSendOfList, 0},
};

unsigned int Threshold::getThreshold(unsigned int key) {
  for (const Threshold* row = m_thresholds; row->m_key != strings::tGSendOfList; ++row) {
    if (row->m_key == key) return row->m_limit;
  }
  return noLimit;
}

}  // namespace services::app
