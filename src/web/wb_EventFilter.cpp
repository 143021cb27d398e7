// Which events a client wants: the option $filter of a stream of events.
#include "web/wb_EventFilter.h"

#include <memory>
#include <string_view>
#include <utility>

namespace services::web {

namespace {

constexpr std::size_t longest = 500;
constexpr std::string_view blanks = " \t";

// A part of the grammar by a function; an empty filter is no match.
class Reader {
 public:
  explicit Reader(std::string_view text) : m_rest(text) {}

  EventFilter whole() {
    EventFilter filter = either();
    return peek().empty() ? filter : nullptr;
  }

 private:
  EventFilter either() {
    EventFilter left = both();
    while (left && take("or")) {
      EventFilter right = both();
      if (!right) return nullptr;
      left = [a = std::move(left), b = std::move(right)](const EventFacts& event) {
        return a(event) || b(event);
      };
    }
    return left;
  }

  EventFilter both() {
    EventFilter left = one();
    while (left && take("and")) {
      EventFilter right = one();
      if (!right) return nullptr;
      left = [a = std::move(left), b = std::move(right)](const EventFacts& event) {
        return a(event) && b(event);
      };
    }
    return left;
  }

  EventFilter one() {
    if (take("not")) {
      EventFilter denied = one();
      if (!denied) return nullptr;
      return [a = std::move(denied)](const EventFacts& event) { return !a(event); };
    }
    if (!take("(")) return comparison();
    EventFilter inner = either();
    return take(")") ? inner : nullptr;
  }

  EventFilter comparison() {
    const std::string property(next());
    const std::string_view operation = next();
    const std::string_view literal = next();
    const bool isEqual = operation == "eq";
    if (!isEqual && operation != "ne") return nullptr;
    EventFilter filter = property == "SubordinateResources" ? subordinates(literal, isEqual)
                                                            : text(property, literal);
    if (!filter || isEqual) return filter;
    return [a = std::move(filter)](const EventFacts& event) { return !a(event); };
  }

  // Says how origins are compared; it holds for every event.
  EventFilter subordinates(std::string_view literal, bool isEqual) {
    if (literal != "true" && literal != "false") return nullptr;
    *m_withSubordinates = (literal == "true") == isEqual;
    return [isEqual](const EventFacts&) { return isEqual; };
  }

  EventFilter text(const std::string& property, std::string_view literal) {
    if (literal.size() < 2 || literal.front() != '\'' || literal.back() != '\'') return nullptr;
    const std::string wanted(literal.substr(1, literal.size() - 2));
    if (property == "MessageId") {
      return [wanted](const EventFacts& event) { return event.messageId == wanted; };
    }
    if (property == "RegistryPrefix") {
      return [wanted](const EventFacts& event) { return event.registry() == wanted; };
    }
    if (property == "ResourceType") {
      return [wanted](const EventFacts& event) { return event.resourceType == wanted; };
    }
    if (property == "OriginResource") {
      return [wanted, below = m_withSubordinates](const EventFacts& event) {
        return *below ? isAtOrBelow(event.origin, wanted) : event.origin == wanted;
      };
    }
    const bool isEvent = property == "EventFormatType" && wanted == "Event";
    if (property != "EventFormatType" && property != "MetricReportDefinition") return nullptr;
    return [isEvent](const EventFacts&) { return isEvent; };
  }

  // The next word, parenthesis or text in quotes, with them; empty at the end.
  std::string_view peek() {
    m_rest.remove_prefix(std::min(m_rest.find_first_not_of(blanks), m_rest.size()));
    if (m_rest.empty()) return m_rest;
    if (m_rest.front() == '\'') {
      const auto end = m_rest.find('\'', 1);
      return end == std::string_view::npos ? m_rest : m_rest.substr(0, end + 1);
    }
    if (m_rest.front() == '(' || m_rest.front() == ')') return m_rest.substr(0, 1);
    return m_rest.substr(0, m_rest.find_first_of(" \t()'"));
  }

  std::string_view next() {
    const std::string_view word = peek();
    m_rest.remove_prefix(word.size());
    return word;
  }

  bool take(std::string_view wanted) {
    if (peek() != wanted) return false;
    m_rest.remove_prefix(wanted.size());
    return true;
  }

  std::string_view m_rest;
  const std::shared_ptr<bool> m_withSubordinates = std::make_shared<bool>(false);
};

}  // namespace

bool isAtOrBelow(const std::string& path, const std::string& above) {
  return path.starts_with(above) && (path.size() == above.size() || path[above.size()] == '/');
}

std::optional<EventFilter> readEventFilter(const std::string& text) {
  if (text.size() > longest) return std::nullopt;
  EventFilter filter = Reader(text).whole();
  return filter ? std::optional(std::move(filter)) : std::nullopt;
}

}  // namespace services::web
