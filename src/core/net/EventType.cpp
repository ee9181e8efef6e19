#include "core/net/EventType.hpp"

namespace lumora {

std::string_view rawValue(EventType type) noexcept {
  switch (type) {
    case EventType::request:
      return "request";
    case EventType::notification:
      return "notification";
    case EventType::click:
      return "click";
  }
  return {};
}

}  // namespace lumora
