#include <gtest/gtest.h>

#include <vector>

#include "core/config/BeaconSettingsFactory.hpp"
#include "lumora/BeaconSettingsError.hpp"
#include "support/SdkPlist.hpp"
#include "support/SimWorld.hpp"

namespace lumora {
namespace {

using testing::SdkPlist;
using Kind = BeaconSettingsError::Kind;

class BeaconSettingsFactoryTest : public testing::SimWorld,
                                  public ::testing::WithParamInterface<SdkPlist::Format> {
 protected:
  void install(const SdkPlist& plist) {
    platform->bundle->setResource("sdk.plist", plist.bytes(GetParam()));
  }
  /// Installs these contents and checks the error they give.
  void expectError(const std::vector<std::uint8_t>& contents, Kind kind, const std::string& payload,
                   const std::string& text) {
    platform->bundle->setResource("sdk.plist", contents);
    try {
      factory().createBeaconSettings();
      ADD_FAILURE() << "no error for " << text;
    } catch (const BeaconSettingsError& error) {
      EXPECT_EQ(error.kind(), kind) << text;
      EXPECT_EQ(error.payload(), payload);
      EXPECT_EQ(error.localizedDescription(), text);
    }
  }

  /// A factory over a fresh reading of the installed file.
  BeaconSettingsFactory factory() const {
    return BeaconSettingsFactory(std::make_shared<const ConfigurationFile>(*platform->bundle));
  }
};

const std::initializer_list<const char*> kSection = {"BeaconSettings"};
const std::initializer_list<const char*> kApple = {"BeaconSettings", "AppleBeacon"};
const std::initializer_list<const char*> kCustom = {"BeaconSettings", "CustomBeacon"};

TEST_P(BeaconSettingsFactoryTest, ReadsTheTextsExactlyAsWritten) {
  install(SdkPlist::complete()
              .set(kApple, "UUID", SdkPlist::str("e2c56db5-dffb-48d2-b060-d0f5a71096e0"))
              .set(kCustom, "ServiceUUID", SdkPlist::str("FEAA")));
  const BeaconSettings settings = factory().createBeaconSettings();
  EXPECT_EQ(settings.appleBeaconUUID, "e2c56db5-dffb-48d2-b060-d0f5a71096e0");
  EXPECT_EQ(settings.appleBeaconIdentifier, "com.example.store");
  EXPECT_EQ(settings.customBeaconServiceUUID, "FEAA") << "the service UUID is not validated";
}

TEST_P(BeaconSettingsFactoryTest, MissingUnreadableOrOutsizedFileIsMissingConfiguration) {
  for (const std::vector<std::uint8_t>& contents :
       {std::vector<std::uint8_t>{}, SdkPlist::bytesOf("bplist00garbage"),
        SdkPlist::oversized().bytes(GetParam()), SdkPlist::nested(300).bytes(GetParam())}) {
    expectError(contents, Kind::missingConfiguration, "",
                "sdk.plist file is missing or cannot be read");
  }
  platform->bundle->removeResource("sdk.plist");
  EXPECT_THROW(factory().createBeaconSettings(), BeaconSettingsError);
}

// Each file has one problem, or two of which the one checked first is named.
TEST_P(BeaconSettingsFactoryTest, EachProblemIsReportedInCheckOrder) {
  const auto edited = [](SdkPlist& plist) { return plist.bytes(GetParam()); };
  expectError(edited(SdkPlist::complete().set({}, "BeaconSettings", nullptr)),
              Kind::missingBeaconSettings, "", "BeaconSettings section is missing in sdk.plist");
  expectError(edited(SdkPlist::complete()
                         .set(kApple, "UUID", SdkPlist::str("abcdefghij"))
                         .set(kApple, "Identifier", nullptr)),
              Kind::invalidUUIDFormat, "abcdefghij", "Invalid UUID format: 'abcdefghij'");
  const std::pair<std::vector<std::uint8_t>, std::string> missingSettings[] = {
      {edited(SdkPlist::complete().set(kSection, "AppleBeacon", SdkPlist::str("x"))),
       "AppleBeacon"},
      {edited(SdkPlist::complete()
                  .set(kSection, "CustomBeacon", nullptr)
                  .set(kSection, "AppleBeacon", nullptr)),
       "AppleBeacon"},
      {edited(SdkPlist::complete().set(kApple, "UUID", plist_new_uint(5))), "AppleBeacon.UUID"},
      {edited(SdkPlist::complete().set(kApple, "Identifier", nullptr)), "AppleBeacon.Identifier"},
      {edited(SdkPlist::complete().set(kSection, "CustomBeacon", SdkPlist::dict({}))),
       "CustomBeacon.ServiceUUID"},
      {edited(SdkPlist::complete().set(kSection, "CustomBeacon", nullptr)), "CustomBeacon"},
      {edited(SdkPlist::complete().set(kCustom, "ServiceUUID", plist_new_bool(1))),
       "CustomBeacon.ServiceUUID"},
  };
  for (const auto& [contents, key] : missingSettings) {
    expectError(contents, Kind::missingRequiredSetting, key,
                "Required beacon setting '" + key + "' is missing in sdk.plist");
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, BeaconSettingsFactoryTest,
                         ::testing::Values(SdkPlist::Format::xml, SdkPlist::Format::binary),
                         testing::formatName);

}  // namespace
}  // namespace lumora
