#pragma once

#include "lumora/LumoraAdBeaconError.hpp"
#include "lumora/LumoraAdCreative.hpp"

namespace lumora {

/// Implemented by the host. Every call arrives on the main queue, posted
/// asynchronously: never inside the library call that caused it.
class LumoraAdBeaconCallback {
 public:
  virtual ~LumoraAdBeaconCallback() = default;
  /// initiate() finished successfully.
  virtual void onInitialized() = 0;
  /// A creative was fetched and passed its frequency cap.
  virtual void onCreativeReceived(const LumoraAdCreative& creative) = 0;
  /// Something failed; error.code() says what.
  virtual void onError(const LumoraAdBeaconError& error) = 0;
  /// The user tapped a notification the library had shown.
  virtual void onNotificationClicked(const LumoraAdCreative& creative) = 0;
};

}  // namespace lumora
