#pragma once

#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "core/SdkFacade.hpp"
#include "support/RecordingCallback.hpp"
#include "support/SdkPlist.hpp"
#include "support/SimWorld.hpp"
#include "support/TestHttpsServer.hpp"

namespace lumora::testing {

/// The sim phone running a facade against a real HTTPS server on loopback,
/// serving creatives under /bucket/binding/... and events under /events and /nt.
class FacadeWorld : public SimWorld {
 protected:
  static constexpr const char* kIBeaconUuid = "E2C56DB5-DFFB-48D2-B060-D0F5A71096E0";
  static constexpr const char* kServiceUuid = "0000FEAA-0000-1000-8000-00805F9B34FB";
  static constexpr const char* kSpaceId = "0a1b2c3d4e5f6071";

  FacadeWorld();
  ~FacadeWorld() override;

  /// A complete sdk.plist whose stage endpoints are the test server's.
  SdkPlist sdkPlist() const;
  void installPlist(const SdkPlist& plist);
  /// Builds the facade (reads the beacon settings) from the current bundle.
  void createFacade();
  void initiate(std::optional<std::string> advertisingId = std::nullopt);
  void serveCreative(std::int64_t bindingId, const std::string& json, int status = 200);
  std::vector<nlohmann::json> events() const;

  TestHttpsServer server;
  std::shared_ptr<RecordingCallback> callback =
      std::make_shared<RecordingCallback>(platform->virtualClock);
  std::shared_ptr<SdkFacade> facade;
};

}  // namespace lumora::testing
