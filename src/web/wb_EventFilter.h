// Which events a client wants: the option $filter of a stream of events.
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace services::web {

/// What events are chosen by.
struct EventFacts {
  std::string messageId;     ///< "Mc.1.0.DaemonDown"
  std::string origin;        ///< the path of the resource that it is about
  std::string resourceType;  ///< of that, "McDaemon"; empty where it is not known

  /// "Mc"
  std::string registry() const { return messageId.substr(0, messageId.find('.')); }
};

using EventFilter = std::function<bool(const EventFacts& event)>;

/// Whether `path` is `above`, or beneath it.
bool isAtOrBelow(const std::string& path, const std::string& above);

/// Reads comparisons ("eq", "ne") joined by "and", "or", "not" and parentheses, of the properties
/// EventFormatType, MessageId, MetricReportDefinition, OriginResource, RegistryPrefix, ResourceType
/// and SubordinateResources. Nothing where the text, of at most 500 bytes, is none.
std::optional<EventFilter> readEventFilter(const std::string& text);

}  // namespace services::web
