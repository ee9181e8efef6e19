#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "lumora/ClientProfile.hpp"
#include "lumora/Environment.hpp"
#include "lumora/LumoraAdBeaconCallback.hpp"
#include "lumora/export.hpp"

namespace lumora {

class SdkFacade;

/// The library's single entry point.
///
///   auto& sdk = lumora::LumoraAdBeaconSDK::shared();
///   sdk.initiate(lumora::ClientProfile(std::nullopt, std::nullopt, "MyApp", std::nullopt),
///                std::make_shared<MyCallback>(), lumora::Environment::production);
///   sdk.start();
///   // ... run the GLib main loop; callbacks arrive on it ...
///   sdk.stop();
///
/// Call it from the thread that runs the main loop.
class LUMORA_EXPORT LumoraAdBeaconSDK {
 public:
  /// The process-wide instance, created on first use from the installed platform.
  static LumoraAdBeaconSDK& shared();

  /// Reads the endpoints for the environment and builds the network side. Only
  /// the first successful call counts; the outcome arrives through the callback.
  void initiate(const ClientProfile& clientProfile,
                std::shared_ptr<LumoraAdBeaconCallback> callback, Environment environment);
  /// Replaces the profile used by later events. Allowed at any time.
  void updateClientProfile(const ClientProfile& profile);
  /// Starts iBeacon monitoring; custom beacons are scanned while an iBeacon is near.
  void start();
  /// Stops iBeacon monitoring and any custom-beacon scan.
  void stop();
  /// True between a successful start() and stop().
  bool isScanning() const;
  /// Runs the beacon-to-creative pipeline for one identity triple.
  void onBeaconDetected(std::int64_t companyId, const std::string& spaceId, std::int64_t bindingId);

  LumoraAdBeaconSDK(const LumoraAdBeaconSDK&) = delete;
  LumoraAdBeaconSDK& operator=(const LumoraAdBeaconSDK&) = delete;

 private:
  explicit LumoraAdBeaconSDK(std::shared_ptr<SdkFacade> facade);
  ~LumoraAdBeaconSDK();

  std::shared_ptr<SdkFacade> facade_;
};

}  // namespace lumora
