#include "platform/linux/ShownNotifications.hpp"

#include <string>

namespace lumora::platform {

void ShownNotifications::add(std::uint32_t id, const NotificationRequest& request) {
  shown_.insert_or_assign(id, request);
  if (shown_.size() > kCapacity) shown_.erase(shown_.begin());
}

std::optional<NotificationResponse> ShownNotifications::actionInvoked(
    std::uint32_t id, std::string_view actionKey) const {
  const auto shown = shown_.find(id);
  if (shown == shown_.end()) return std::nullopt;
  return NotificationResponse{shown->second, std::string(actionKey)};
}

void ShownNotifications::closed(std::uint32_t id) { shown_.erase(id); }

void ShownNotifications::clear() { shown_.clear(); }

std::size_t ShownNotifications::size() const { return shown_.size(); }

}  // namespace lumora::platform
