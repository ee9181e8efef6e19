#include "FacadeWorld.hpp"

#include "core/net/CreativeWebService.hpp"

namespace lumora::testing {
namespace {

platform::SimPhoneOptions phoneOptions(const std::string& caFile) {
  platform::SimPhoneOptions options;
  options.start = platform::VirtualClock::fromSeconds(1700000000.0);
  options.caFile = caFile;
  return options;
}

std::string keyValue(const std::string& key, const std::string& value) {
  return "<key>" + key + "</key><string>" + value + "</string>";
}

}  // namespace

FacadeWorld::FacadeWorld()
    : phone(phoneOptions(server.caFile())),
      callback(std::make_shared<RecordingCallback>(phone.platform->virtualClock)) {
  platform::Platform::install(phone.platform);
  installPlist(sdkPlist());
  server.respond("/events/device_events", TestHttpsServer::Response(200, "{}"));
  server.respond("/nt/device_events", TestHttpsServer::Response(200, "{}"));
}

FacadeWorld::~FacadeWorld() {
  facade.reset();
  platform::Platform::install(nullptr);
}

std::string FacadeWorld::sdkPlist(const std::string& omittedSection) const {
  const std::string group = "<dict>" + keyValue("EventURL", server.url("/events")) +
                            keyValue("NoTrackingEventURL", server.url("/nt")) +
                            keyValue("CreativeCDNURL", server.hostAndPort()) +
                            keyValue("CreativeBucketName", "bucket") + "</dict>";
  const std::string endpoints = "<key>APIEndpoints</key><dict><key>Stage</key>" + group +
                                "<key>Production</key>" + group + "</dict>";
  const std::string settings =
      std::string("<key>BeaconSettings</key><dict>") + "<key>AppleBeacon</key><dict>" +
      keyValue("UUID", kIBeaconUuid) + keyValue("Identifier", "store") + "</dict>" +
      "<key>CustomBeacon</key><dict>" + keyValue("ServiceUUID", kServiceUuid) + "</dict></dict>";
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>" +
         (omittedSection == "APIEndpoints" ? "" : endpoints) +
         (omittedSection == "BeaconSettings" ? "" : settings) + "</dict></plist>";
}

void FacadeWorld::installPlist(const std::string& contents) {
  phone.platform->bundle->setResource("sdk.plist", contents);
}

void FacadeWorld::createFacade() { facade = SdkFacade::create(phone.platform); }

void FacadeWorld::initiate(std::optional<std::string> advertisingId) {
  if (!facade) createFacade();
  facade->initiate(ClientProfile("+15550100", "a@example.com", "StoreApp", advertisingId), callback,
                   Environment::stage);
}

void FacadeWorld::serveCreative(std::int64_t bindingId, const std::string& json, int status) {
  server.respond("/bucket/binding/" + CreativeWebService::formatBindingId(bindingId) + "/ios.json",
                 TestHttpsServer::Response(status, json));
}

void FacadeWorld::runFor(double seconds) { phone.platform->virtualQueue->runFor(seconds); }

std::vector<TestHttpsServer::Request> FacadeWorld::requestsTo(const std::string& prefix) const {
  std::vector<TestHttpsServer::Request> matching;
  for (const auto& request : server.requests()) {
    if (request.path.starts_with(prefix)) matching.push_back(request);
  }
  return matching;
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
