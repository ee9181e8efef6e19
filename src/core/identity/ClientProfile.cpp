#include "lumora/ClientProfile.hpp"

#include <memory>
#include <utility>

#include "core/identity/DeviceIdentifier.hpp"
#include "core/identity/TimeBasedUuid.hpp"
#include "core/util/Uuid.hpp"
#include "platform/Platform.hpp"

namespace lumora {
namespace {

constexpr const char* kPhoneNumberKey = "LumoraBeaconSDK.PhoneNumber";
constexpr const char* kEmailKey = "LumoraBeaconSDK.Email";
constexpr const char* kUuidKey = "LumoraBeaconSDK.UUID";
constexpr std::string_view kNoIdentifier = "00000000-0000-0000-0000-000000000000";

// A platform without a user-defaults store (or without device information, or
// an advertising identity) leaves the profile with nothing stored, nothing
// persisted and empty device texts: construction never fails.

std::optional<std::string> storedString(const platform::UserDefaults* defaults,
                                        const std::string& key) {
  return defaults ? defaults->stringForKey(key) : std::nullopt;
}

std::optional<std::string> argumentOrStored(std::optional<std::string> argument,
                                            const platform::UserDefaults* defaults,
                                            const std::string& key) {
  return argument ? std::move(argument) : storedString(defaults, key);
}

std::string systemNameOf(const platform::DeviceInfo* device) {
  return device ? device->systemName() + " " + device->systemVersion() : std::string();
}

// The platform identifier in canonical text, or nothing when tracking consent
// is required but not given, or when the platform has no identifier.
std::optional<std::string> getSystemAdvertisingId(const platform::AdvertisingIdentity* identity) {
  if (!identity) return std::nullopt;
  if (identity->requiresTrackingAuthorization() &&
      identity->trackingAuthorizationStatus() !=
          platform::AdvertisingIdentity::kTrackingAuthorized) {
    return std::nullopt;
  }
  const std::string raw = identity->advertisingIdentifier();
  const auto parsed = Uuid::parse(raw);
  std::string text = parsed ? parsed->text() : raw;
  if (text.empty() || text == kNoIdentifier) return std::nullopt;
  return text;
}

std::string installationIdentifier(platform::UserDefaults* defaults, const platform::Clock& clock) {
  if (auto stored = storedString(defaults, kUuidKey)) return *stored;
  std::string created = TimeBasedUuid::v1(clock).text();
  if (defaults) defaults->setString(kUuidKey, created);
  return created;
}

// Present values are written; an absent one leaves the stored value alone.
void saveToUserDefaults(platform::UserDefaults* defaults,
                        const std::optional<std::string>& phoneNumber,
                        const std::optional<std::string>& email) {
  if (!defaults) return;
  if (phoneNumber) defaults->setString(kPhoneNumberKey, *phoneNumber);
  if (email) defaults->setString(kEmailKey, *email);
}

}  // namespace

ClientProfile::ClientProfile(std::optional<std::string> phoneNumber,
                             std::optional<std::string> email, std::string appName,
                             std::optional<std::string> advertisingId) {
  const auto platform = platform::Platform::installed();
  const auto defaults = platform->userDefaults();
  const auto device = platform->deviceInfo();
  const auto clock = platform->clock();

  phoneNumber_ = argumentOrStored(std::move(phoneNumber), defaults.get(), kPhoneNumberKey);
  email_ = argumentOrStored(std::move(email), defaults.get(), kEmailKey);
  appName_ = std::move(appName);
  deviceName_ = DeviceIdentifier::getDeviceModel();
  systemName_ = systemNameOf(device.get());
  advertisingId_ = advertisingId ? std::move(advertisingId)
                                 : getSystemAdvertisingId(platform->advertisingIdentity().get());
  uuid_ = installationIdentifier(defaults.get(), *clock);
  saveToUserDefaults(defaults.get(), phoneNumber_, email_);
}

std::optional<std::string> ClientProfile::getPhoneNumber() const { return phoneNumber_; }
std::optional<std::string> ClientProfile::getEmail() const { return email_; }
std::string ClientProfile::getAppName() const { return appName_; }
std::optional<std::string> ClientProfile::getAdvertisingId() const { return advertisingId_; }
std::string ClientProfile::getDeviceName() const { return deviceName_; }
std::string ClientProfile::getSystemName() const { return systemName_; }
std::string ClientProfile::getUUID() const { return uuid_; }

void ClientProfile::clearPersistedData() {
  const auto defaults = platform::Platform::installed()->userDefaults();
  if (!defaults) return;
  defaults->removeObject(kPhoneNumberKey);
  defaults->removeObject(kEmailKey);
}

}  // namespace lumora
