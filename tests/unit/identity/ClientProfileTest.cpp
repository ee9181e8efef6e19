#include <gtest/gtest.h>

#include <memory>

#include "core/util/Uuid.hpp"
#include "lumora/ClientProfile.hpp"
#include "support/SimWorld.hpp"

namespace lumora {
namespace {

constexpr const char* kPhoneKey = "LumoraBeaconSDK.PhoneNumber";
constexpr const char* kEmailKey = "LumoraBeaconSDK.Email";
constexpr const char* kUuidKey = "LumoraBeaconSDK.UUID";
constexpr const char* kPlatformId = "6D3F1C2A-94B0-4E57-8A21-0C9E7B5D4F13";

class ClientProfileTest : public testing::SimWorld {
 protected:
  ClientProfileTest() : SimWorld(iPhone()) {}

  static platform::SimPhoneOptions iPhone() {
    platform::SimPhoneOptions options;
    options.machine = "iPhone14,2";
    options.systemName = "iOS";
    options.systemVersion = "17.2";
    return options;
  }
  static ClientProfile bare() {
    return ClientProfile(std::nullopt, std::nullopt, "App", std::nullopt);
  }

  const std::shared_ptr<platform::MemoryUserDefaults> defaults = phone.defaults;
  const std::shared_ptr<platform::SimAdvertisingIdentity> advertising = phone.advertising;
};

TEST_F(ClientProfileTest, FreshStoreGetsOnlyANewIdentifierAndDeviceFieldsComeFromThePlatform) {
  const ClientProfile profile = bare();
  EXPECT_EQ(profile.getDeviceName(), "iPhone14,2");
  EXPECT_EQ(profile.getSystemName(), "iOS 17.2");
  // A new identifier is a canonical version-one UUID (the clock's part is
  // covered with the generator).
  EXPECT_EQ(Uuid::parse(profile.getUUID())->text(), profile.getUUID());
  EXPECT_EQ(profile.getUUID()[14], '1');
  const platform::MemoryUserDefaults::Contents expected{{kUuidKey, profile.getUUID()}};
  EXPECT_EQ(defaults->snapshot(), expected);
}

// Constructed profiles never change; the store remembers the last contacts
// given until cleared, and the identifier for good.
TEST_F(ClientProfileTest, ContactsFallBackToStoredValuesUntilClearedAndTheIdentifierStays) {
  const ClientProfile first("+15550100", "a@example.com", "App", std::nullopt);
  const ClientProfile second = bare();
  EXPECT_EQ(second.getPhoneNumber(), "+15550100");
  EXPECT_EQ(second.getEmail(), "a@example.com");
  const ClientProfile third("+15550199", std::nullopt, "App", std::nullopt);
  EXPECT_EQ(third.getPhoneNumber(), "+15550199");
  EXPECT_EQ(third.getEmail(), "a@example.com");
  EXPECT_EQ(defaults->stringForKey(kPhoneKey), "+15550199");
  EXPECT_EQ(defaults->stringForKey(kEmailKey), "a@example.com");

  platform->virtualClock->advance(3600);
  ClientProfile::clearPersistedData();
  EXPECT_EQ(defaults->stringForKey(kPhoneKey), std::nullopt);
  EXPECT_EQ(defaults->stringForKey(kEmailKey), std::nullopt);
  const ClientProfile after = bare();
  EXPECT_EQ(after.getPhoneNumber(), std::nullopt);
  EXPECT_EQ(after.getEmail(), std::nullopt);
  EXPECT_EQ(after.getUUID(), first.getUUID());
  EXPECT_EQ(first.getPhoneNumber(), "+15550100");
  EXPECT_EQ(first.getEmail(), "a@example.com");
  defaults->setString(kUuidKey, "kept-as-stored");
  EXPECT_EQ(bare().getUUID(), "kept-as-stored");
}

TEST_F(ClientProfileTest, AdvertisingIdentifierComesFromTheArgumentElseFromThePlatformWithConsent) {
  constexpr int kAuthorized = platform::AdvertisingIdentity::kTrackingAuthorized;
  const struct {
    const char* platformId;
    int status;
    bool consentNeeded;
    std::optional<std::string> argument;
    std::optional<std::string> expected;
  } cases[] = {
      {kPlatformId, 0, true, std::nullopt, std::nullopt},  // consent denied
      {kPlatformId, kAuthorized, true, std::nullopt, kPlatformId},
      {kPlatformId, 0, false, std::nullopt, kPlatformId},
      {"6d3f1c2a-94b0-4e57-8a21-0c9e7b5d4f13", kAuthorized, true, std::nullopt, kPlatformId},
      {"00000000-0000-0000-0000-000000000000", kAuthorized, true, std::nullopt, std::nullopt},
      {"", kAuthorized, true, std::nullopt, std::nullopt},
      {kPlatformId, kAuthorized, true, "", ""},  // the host's value, even empty
  };
  for (const auto& c : cases) {
    advertising->setAdvertisingIdentifier(c.platformId);
    advertising->setTrackingAuthorizationStatus(c.status);
    advertising->setRequiresTrackingAuthorization(c.consentNeeded);
    EXPECT_EQ(ClientProfile(std::nullopt, std::nullopt, "App", c.argument).getAdvertisingId(),
              c.expected)
        << c.platformId << " status " << c.status;
  }
}

TEST_F(ClientProfileTest, PlatformWithoutStoreOrDeviceStillBuildsAProfile) {
  platform->defaults = nullptr;
  platform->device = nullptr;
  platform->advertising = nullptr;
  const ClientProfile profile("+15550100", std::nullopt, "App", std::nullopt);
  EXPECT_EQ(profile.getPhoneNumber(), "+15550100");
  EXPECT_EQ(profile.getDeviceName(), "");
  EXPECT_EQ(profile.getAdvertisingId(), std::nullopt);
  EXPECT_TRUE(Uuid::parse(profile.getUUID()));
  ClientProfile::clearPersistedData();
}

}  // namespace
}  // namespace lumora
