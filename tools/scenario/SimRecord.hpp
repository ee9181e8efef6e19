#pragma once

#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "lumora/LumoraAdBeaconError.hpp"
#include "lumora/LumoraAdCreative.hpp"
#include "platform/NotificationCenter.hpp"
#include "platform/SystemLog.hpp"

namespace lumora::tools {

// What a scenario run reports, one record per event. Every record has `t`,
// the virtual seconds since the start of the run.

/// A call into the host's callback object. onCreativeReceived and
/// onNotificationClicked carry the creative, onError the error, onInitialized
/// neither.
struct CallbackRecord {
  static constexpr const char* kKind = "callback";
  double t = 0;
  std::string name;
  std::optional<LumoraAdCreative> creative;
  std::optional<LumoraAdBeaconError> error;
};

/// A request added to the notification center.
struct NotificationRecord {
  static constexpr const char* kKind = "notification";
  double t = 0;
  std::string identifier;
  std::string title;
  std::string body;
  platform::NotificationUserInfo userInfo;
  double delay = 0;  // the trigger's interval, seconds
};

/// One line of the library's log.
struct LogLineRecord {
  static constexpr const char* kKind = "log";
  double t = 0;
  platform::LogRecord line;
};

/// The Bluetooth scan starting (with its filter) or stopping.
struct ScanRecord {
  static constexpr const char* kKind = "scan";
  double t = 0;
  bool start = true;
  std::vector<std::string> services;  // start only
  bool allowDuplicates = false;       // start only
};

/// Written by a probe step.
struct StateRecord {
  static constexpr const char* kKind = "state";
  double t = 0;
  bool isScanning = false;
};

/// The user-defaults contents, written once at the end.
struct DefaultsRecord {
  static constexpr const char* kKind = "defaults";
  double t = 0;
  std::map<std::string, std::string> store;
};

using SimRecord = std::variant<CallbackRecord, NotificationRecord, LogLineRecord, ScanRecord,
                               StateRecord, DefaultsRecord>;

}  // namespace lumora::tools
