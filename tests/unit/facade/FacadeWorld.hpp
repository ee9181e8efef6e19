#pragma once

#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "core/SdkFacade.hpp"
#include "platform/net/CurlHttpSession.hpp"
#include "platform/sim/TrackedHttpSession.hpp"
#include "support/RecordingCallback.hpp"
#include "support/SdkPlist.hpp"
#include "support/SimWorld.hpp"
#include "support/TestHttpsServer.hpp"

namespace lumora::testing {

/// The sim phone running a facade against a real HTTPS server on loopback,
/// serving creatives under /bucket/binding/... and events under /events and /nt.
class FacadeWorld : public SimWorld {
 protected:
  static constexpr const char* kSpaceId = "0a1b2c3d4e5f6071";

  FacadeWorld() {
    platform::CurlHttpSessionOptions trusting;
    trusting.extraCaFile = server.caFile();
    platform->http = std::make_shared<platform::TrackedHttpSession>(
        std::make_shared<platform::CurlHttpSession>(trusting), platform->virtualQueue);
    installPlist(sdkPlist());
    server.respond("/events/device_events", TestHttpsServer::Response(200, "{}"));
    server.respond("/nt/device_events", TestHttpsServer::Response(200, "{}"));
  }
  // The session closes its kept-alive connections before the server stops.
  ~FacadeWorld() override {
    facade.reset();
    platform->http.reset();
  }

  /// A complete sdk.plist whose stage endpoints are the test server's.
  SdkPlist sdkPlist() const {
    const std::initializer_list<const char*> stage = {"APIEndpoints", "Stage"};
    return std::move(SdkPlist::complete()
                         .set(stage, "EventURL", SdkPlist::str(server.url("/events")))
                         .set(stage, "NoTrackingEventURL", SdkPlist::str(server.url("/nt")))
                         .set(stage, "CreativeCDNURL", SdkPlist::str(server.hostAndPort()))
                         .set(stage, "CreativeBucketName", SdkPlist::str("bucket")));
  }
  void installPlist(const SdkPlist& plist) {
    platform->bundle->setResource("sdk.plist", plist.bytes(SdkPlist::Format::xml));
  }
  /// Builds the facade (reads the beacon settings) from the current bundle.
  void createFacade() { facade = SdkFacade::create(platform); }
  void initiate() {
    if (!facade) createFacade();
    facade->initiate(ClientProfile("+15550100", "a@example.com", "StoreApp", std::nullopt),
                     callback, Environment::stage);
  }
  /// The creative of binding 300.
  void serveCreative(const std::string& json) {
    server.respond("/bucket/binding/3/0/0/ios.json", TestHttpsServer::Response(200, json));
  }
  std::vector<nlohmann::json> events() const {
    std::vector<nlohmann::json> events;
    for (const auto& request : server.requests()) {
      if (request.path.ends_with("/device_events")) {
        events.push_back(nlohmann::json::parse(request.body));
      }
    }
    return events;
  }

  TestHttpsServer server;
  std::shared_ptr<RecordingCallback> callback = std::make_shared<RecordingCallback>();
  std::shared_ptr<SdkFacade> facade;
};

}  // namespace lumora::testing
