// The memory track as the web shows it.
#include "web/wb_Memory.h"

#include "app/supervision/app_AppManager.h"
#include "util/ut_BufferStream.h"

namespace services::web {

http::Response memoryPage() {
  constexpr std::size_t longestRow = 100;
  std::string text((mostMemoryRows + 1) * longestRow, '\0');
  utility::BufferStream stream(text.data(), static_cast<int>(text.size()), true);
  if (const auto* manager = app::AppManager::getSingleton()) {
    manager->dumpMemSaveTrack(stream, mostMemoryRows);
  }
  text.resize(static_cast<std::size_t>(stream.ReadAvailable()));
  return {.body = std::move(text), .type = "text/csv; charset=utf-8"};
}

}  // namespace services::web
