#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>

#include "platform/NotificationCenter.hpp"

namespace lumora::platform {

/// The notifications this process has on the desktop's notification server,
/// by the server's id, and what the server's signals about them mean. At most
/// kCapacity are remembered: a server that never reports them closed cannot
/// make the list grow without bound (the oldest id is dropped first).
///
///   shown.add(id, request);                       // Notify answered id
///   if (auto response = shown.actionInvoked(id, key)) delegate->didReceive(*response, ...);
///   shown.closed(id);                             // NotificationClosed
class ShownNotifications {
 public:
  static constexpr std::size_t kCapacity = 256;

  void add(std::uint32_t id, const NotificationRequest& request);
  /// ActionInvoked: the response to one of ours, whatever the action key;
  /// nothing for another application's notification.
  std::optional<NotificationResponse> actionInvoked(std::uint32_t id,
                                                    std::string_view actionKey) const;
  /// NotificationClosed: the notification is forgotten.
  void closed(std::uint32_t id);
  /// The server went away; a new one numbers its notifications afresh.
  void clear();
  std::size_t size() const;

 private:
  std::map<std::uint32_t, NotificationRequest> shown_;
};

}  // namespace lumora::platform
