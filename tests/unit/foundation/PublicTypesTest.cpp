#include <gtest/gtest.h>

#include <lumora/lumora.hpp>

namespace lumora {
namespace {

TEST(LumoraAdBeaconErrorTypeTest, RawValuesRoundTripAndOutOfRangeYieldsNothing) {
  for (std::int64_t raw = 0; raw <= 12; ++raw) {
    const auto type = errorTypeFromRawValue(raw);
    ASSERT_TRUE(type.has_value()) << raw;
    EXPECT_EQ(rawValue(*type), raw);
  }
  EXPECT_EQ(errorTypeFromRawValue(12), LumoraAdBeaconErrorType::unknown);
  EXPECT_FALSE(errorTypeFromRawValue(13).has_value());
  EXPECT_FALSE(errorTypeFromRawValue(-1).has_value());
  EXPECT_EQ(rawValue(LumoraAdBeaconErrorType::configurationError), 8);
  EXPECT_EQ(rawValue(LumoraAdBeaconErrorType::internetConnectionUnavailable), 10);
}

TEST(LumoraAdBeaconErrorTypeTest, DescriptionsAreTheFixedTexts) {
  EXPECT_EQ(description(LumoraAdBeaconErrorType::unauthorizedNotificationPermission),
            "Notification permission not granted. Please allow notifications in settings.");
  EXPECT_EQ(description(LumoraAdBeaconErrorType::locationPermissionNotAlways),
            "Location permission not set to 'Always'. Please update in settings.");
  EXPECT_EQ(description(LumoraAdBeaconErrorType::frequencyCapExceeded),
            "Frequency cap exceeded. This beacon has been processed too many times within the "
            "specified interval.");
  EXPECT_EQ(description(LumoraAdBeaconErrorType::notInitialized), "SDK not initialized.");
  EXPECT_EQ(description(LumoraAdBeaconErrorType::unknown), "Unknown error.");
}

TEST(LumoraAdBeaconErrorTest, MessageDefaultsToDescriptionOrKeepsTheGivenText) {
  const LumoraAdBeaconError capped(LumoraAdBeaconErrorType::frequencyCapExceeded);
  EXPECT_EQ(capped.message(), description(LumoraAdBeaconErrorType::frequencyCapExceeded));
  EXPECT_STREQ(capped.what(), capped.message().c_str());

  const LumoraAdBeaconError custom(LumoraAdBeaconErrorType::configurationError, "x");
  EXPECT_EQ(custom.message(), "x");
  EXPECT_EQ(rawValue(custom.code()), 8);
}

TEST(LumoraAdCreativeTest, AbsentDataStaysAbsent) {
  const LumoraAdCreative absent(std::nullopt, 345, 300, 12, "0a1b2c3d4e5f6071");
  EXPECT_FALSE(absent.data().has_value());
  const LumoraAdCreative empty(std::string(), 345, 300, 12, "0a1b2c3d4e5f6071");
  ASSERT_TRUE(empty.data().has_value());
  EXPECT_EQ(*empty.data(), "");
  EXPECT_EQ(absent.creativeId(), 345);
  EXPECT_EQ(absent.bindingId(), 300);
  EXPECT_EQ(absent.campaignId(), 12);
  EXPECT_EQ(absent.spaceId(), "0a1b2c3d4e5f6071");
}

TEST(BeaconSettingsErrorTest, TextsNameTheKeyPathOrTheOffendingText) {
  EXPECT_EQ(BeaconSettingsError::missingRequiredSetting("AppleBeacon.UUID").localizedDescription(),
            "Required beacon setting 'AppleBeacon.UUID' is missing in sdk.plist");
  EXPECT_EQ(BeaconSettingsError::invalidUUIDFormat("abcdefghij").localizedDescription(),
            "Invalid UUID format: 'abcdefghij'");
  EXPECT_EQ(BeaconSettingsError::missingConfiguration().localizedDescription(),
            "sdk.plist file is missing or cannot be read");
  EXPECT_EQ(BeaconSettingsError::missingBeaconSettings().localizedDescription(),
            "BeaconSettings section is missing in sdk.plist");
}

}  // namespace
}  // namespace lumora
