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
  // A value a host cast from an integer out of range reads as the unknown error.
  EXPECT_EQ(description(static_cast<LumoraAdBeaconErrorType>(13)), "Unknown error.");
}

TEST(LumoraAdBeaconErrorTest, MessageDefaultsToTheDescriptionOrKeepsTheGivenText) {
  const LumoraAdBeaconError unknown(LumoraAdBeaconErrorType::unknown);
  EXPECT_EQ(unknown.message(), "Unknown error.");
  EXPECT_STREQ(unknown.what(), "Unknown error.");
  EXPECT_EQ(LumoraAdBeaconError(LumoraAdBeaconErrorType::notInitialized, "x").message(), "x");
  EXPECT_EQ(description(LumoraAdBeaconErrorType::notInitialized), "SDK not initialized.");
}

TEST(LumoraAdCreativeTest, AbsentDataStaysAbsentAndEmptyDataStaysEmpty) {
  EXPECT_FALSE(LumoraAdCreative(std::nullopt, 345, 300, 12, "s").data().has_value());
  EXPECT_EQ(LumoraAdCreative(std::string(), 345, 300, 12, "s").data(),
            std::optional<std::string>(""));
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
