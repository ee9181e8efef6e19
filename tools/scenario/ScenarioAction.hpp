#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "lumora/Environment.hpp"

namespace lumora::tools {

/// The fields of a ClientProfile as a scenario gives them.
struct ScenarioProfile {
  std::optional<std::string> phoneNumber;
  std::optional<std::string> email;
  std::string appName;
  std::optional<std::string> advertisingId;
};

// One struct per scenario action; kName is the action's name in the file.

/// Builds a ClientProfile and calls initiate with a recording callback.
struct InitiateAction {
  static constexpr std::string_view kName = "initiate";
  Environment environment = Environment::stage;
  ScenarioProfile profile;
};
struct StartAction {
  static constexpr std::string_view kName = "start";
};
struct StopAction {
  static constexpr std::string_view kName = "stop";
};
struct UpdateProfileAction {
  static constexpr std::string_view kName = "updateProfile";
  ScenarioProfile profile;
};
struct ClearPersistedDataAction {
  static constexpr std::string_view kName = "clearPersistedData";
};
/// The host calls onBeaconDetected directly.
struct DetectAction {
  static constexpr std::string_view kName = "detect";
  std::int64_t companyId = 0;
  std::string spaceId;
  std::int64_t bindingId = 0;
};
/// An iBeacon advertisement on the air.
struct IBeaconAction {
  static constexpr std::string_view kName = "ibeacon";
  std::string uuid;  // as written; checked to be UUID text
  std::int64_t major = 0;
  std::int64_t minor = 0;
};
/// A BLE advertisement on the air.
struct AdvertiseAction {
  static constexpr std::string_view kName = "advertise";
  std::optional<std::vector<std::uint8_t>> manufacturerData;  // absent: the advertisement has none
  std::vector<std::string> serviceUUIDs;
};
/// Raw statuses, numbered as the platform interfaces number them.
struct SetLocationAction {
  static constexpr std::string_view kName = "setLocation";
  std::int64_t status = 0;
};
struct SetBluetoothAction {
  static constexpr std::string_view kName = "setBluetooth";
  std::int64_t state = 0;
};
struct SetNotificationsAction {
  static constexpr std::string_view kName = "setNotifications";
  std::int64_t status = 0;
};
struct SetNetworkAction {
  static constexpr std::string_view kName = "setNetwork";
  bool reachable = true;
};
/// The user taps a delivered notification; 0 is the first one scheduled.
struct TapNotificationAction {
  static constexpr std::string_view kName = "tapNotification";
  std::int64_t index = 0;
};
/// Writes a state record.
struct ProbeAction {
  static constexpr std::string_view kName = "probe";
};

using ScenarioAction =
    std::variant<InitiateAction, StartAction, StopAction, UpdateProfileAction,
                 ClearPersistedDataAction, DetectAction, IBeaconAction, AdvertiseAction,
                 SetLocationAction, SetBluetoothAction, SetNotificationsAction, SetNetworkAction,
                 TapNotificationAction, ProbeAction>;

/// The action's name as written in the file.
inline std::string_view actionName(const ScenarioAction& action) {
  return std::visit([](const auto& alternative) { return alternative.kName; }, action);
}

}  // namespace lumora::tools
