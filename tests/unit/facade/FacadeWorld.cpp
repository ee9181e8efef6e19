#include "FacadeWorld.hpp"

#include "core/net/CreativeWebService.hpp"
#include "platform/net/CurlHttpSession.hpp"
#include "platform/sim/TrackedHttpSession.hpp"

namespace lumora::testing {

FacadeWorld::FacadeWorld() {
  platform::CurlHttpSessionOptions trusting;
  trusting.extraCaFile = server.caFile();
  platform->http = std::make_shared<platform::TrackedHttpSession>(
      std::make_shared<platform::CurlHttpSession>(trusting), platform->virtualQueue);
  installPlist(sdkPlist());
  server.respond("/events/device_events", TestHttpsServer::Response(200, "{}"));
  server.respond("/nt/device_events", TestHttpsServer::Response(200, "{}"));
}

// The session closes its kept-alive connections before the server stops.
FacadeWorld::~FacadeWorld() {
  facade.reset();
  platform->http.reset();
}

SdkPlist FacadeWorld::sdkPlist() const {
  const std::initializer_list<const char*> stage = {"APIEndpoints", "Stage"};
  return std::move(SdkPlist::complete()
                       .set(stage, "EventURL", SdkPlist::str(server.url("/events")))
                       .set(stage, "NoTrackingEventURL", SdkPlist::str(server.url("/nt")))
                       .set(stage, "CreativeCDNURL", SdkPlist::str(server.hostAndPort()))
                       .set(stage, "CreativeBucketName", SdkPlist::str("bucket")));
}

void FacadeWorld::installPlist(const SdkPlist& plist) {
  platform->bundle->setResource("sdk.plist", plist.bytes(SdkPlist::Format::xml));
}

void FacadeWorld::createFacade() { facade = SdkFacade::create(platform); }

void FacadeWorld::initiate(std::optional<std::string> advertisingId) {
  if (!facade) createFacade();
  facade->initiate(ClientProfile("+15550100", "a@example.com", "StoreApp", advertisingId), callback,
                   Environment::stage);
}

void FacadeWorld::serveCreative(std::int64_t bindingId, const std::string& json, int status) {
  server.respond("/bucket/binding/" + CreativeWebService::formatBindingId(bindingId) + "/ios.json",
                 TestHttpsServer::Response(status, json));
}

std::vector<nlohmann::json> FacadeWorld::events() const {
  std::vector<nlohmann::json> events;
  for (const auto& request : server.requests()) {
    if (request.path.ends_with("/device_events"))
      events.push_back(nlohmann::json::parse(request.body));
  }
  return events;
}

}  // namespace lumora::testing
