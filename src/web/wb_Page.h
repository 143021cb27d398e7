// The operator's live page: files that stand in the plug-in.
#pragma once

#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "host/web/ht_Site.h"

namespace services::web {

/// One file; all of it lives as long as the plug-in.
struct PageFile {
  std::string_view path;  ///< "/ui/main.js"; that of the page itself is "/ui/"
  std::string_view type;  ///< as the header Content-Type names it
  std::string_view content;
};

/// What the build found in src/web/page.
std::span<const PageFile> pageFiles();

/// A route for each file, open to anybody: the page holds no data, it asks for them by Redfish. The
/// plain listener sends its clients to TLS while that is open, since a login is taken there alone.
std::vector<http::Route> pageRoutes();

/// Where a browser goes that asks for "/": to the live page. Nothing for other clients and paths.
std::optional<http::Response> browserToPage(const http::Request& request);

}  // namespace services::web
