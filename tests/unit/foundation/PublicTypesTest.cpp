#include <gtest/gtest.h>

#include <lumora/lumora.hpp>

namespace lumora {
namespace {

TEST(LumoraAdBeaconErrorTypeTest, RawValuesRoundTripAndMessagesDefaultToTheDescription) {
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
  const LumoraAdBeaconError unknown(LumoraAdBeaconErrorType::unknown);
  EXPECT_EQ(unknown.message(), "Unknown error.");
  EXPECT_STREQ(unknown.what(), "Unknown error.");
  EXPECT_EQ(LumoraAdBeaconError(LumoraAdBeaconErrorType::notInitialized, "x").message(), "x");
  EXPECT_EQ(description(LumoraAdBeaconErrorType::notInitialized), "SDK not initialized.");
}

}  // namespace
}  // namespace lumora
