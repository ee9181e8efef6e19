#include <gtest/gtest.h>

#include <functional>

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
  /// Installs the complete file changed by edit and checks the error it gives.
  void expectError(const std::function<void(SdkPlist&)>& edit, Kind kind,
                   const std::string& payload, const std::string& text) {
    SdkPlist plist = SdkPlist::complete();
    edit(plist);
    install(plist);
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
  const std::string text = "sdk.plist file is missing or cannot be read";
  for (const std::vector<std::uint8_t>& contents :
       {std::vector<std::uint8_t>{}, SdkPlist::bytesOf("bplist00garbage"),
        SdkPlist::oversized().bytes(GetParam()), SdkPlist::nested(300).bytes(GetParam())}) {
    platform->bundle->setResource("sdk.plist", contents);
    try {
      factory().createBeaconSettings();
      ADD_FAILURE() << "no error";
    } catch (const BeaconSettingsError& error) {
      EXPECT_EQ(error.kind(), Kind::missingConfiguration);
      EXPECT_EQ(error.localizedDescription(), text);
    }
  }
  platform->bundle->removeResource("sdk.plist");
  EXPECT_THROW(factory().createBeaconSettings(), BeaconSettingsError);
}

TEST_P(BeaconSettingsFactoryTest, EachProblemIsReportedInCheckOrder) {
  expectError([](SdkPlist& p) { p.set({}, "BeaconSettings", nullptr); },
              Kind::missingBeaconSettings, "", "BeaconSettings section is missing in sdk.plist");
  expectError([](SdkPlist& p) { p.set(kSection, "AppleBeacon", SdkPlist::str("x")); },
              Kind::missingRequiredSetting, "AppleBeacon",
              "Required beacon setting 'AppleBeacon' is missing in sdk.plist");
  expectError(
      [](SdkPlist& p) {
        p.set(kSection, "CustomBeacon", nullptr).set(kSection, "AppleBeacon", nullptr);
      },
      Kind::missingRequiredSetting, "AppleBeacon",
      "Required beacon setting 'AppleBeacon' is missing in sdk.plist");
  expectError([](SdkPlist& p) { p.set(kApple, "UUID", plist_new_uint(5)); },
              Kind::missingRequiredSetting, "AppleBeacon.UUID",
              "Required beacon setting 'AppleBeacon.UUID' is missing in sdk.plist");
  expectError(
      [](SdkPlist& p) {
        p.set(kApple, "UUID", SdkPlist::str("abcdefghij")).set(kApple, "Identifier", nullptr);
      },
      Kind::invalidUUIDFormat, "abcdefghij", "Invalid UUID format: 'abcdefghij'");
  expectError([](SdkPlist& p) { p.set(kApple, "Identifier", nullptr); },
              Kind::missingRequiredSetting, "AppleBeacon.Identifier",
              "Required beacon setting 'AppleBeacon.Identifier' is missing in sdk.plist");
  expectError([](SdkPlist& p) { p.set(kSection, "CustomBeacon", SdkPlist::dict({})); },
              Kind::missingRequiredSetting, "CustomBeacon.ServiceUUID",
              "Required beacon setting 'CustomBeacon.ServiceUUID' is missing in sdk.plist");
  expectError([](SdkPlist& p) { p.set(kSection, "CustomBeacon", nullptr); },
              Kind::missingRequiredSetting, "CustomBeacon",
              "Required beacon setting 'CustomBeacon' is missing in sdk.plist");
  expectError([](SdkPlist& p) { p.set(kCustom, "ServiceUUID", plist_new_bool(1)); },
              Kind::missingRequiredSetting, "CustomBeacon.ServiceUUID",
              "Required beacon setting 'CustomBeacon.ServiceUUID' is missing in sdk.plist");
}

INSTANTIATE_TEST_SUITE_P(Formats, BeaconSettingsFactoryTest,
                         ::testing::Values(SdkPlist::Format::xml, SdkPlist::Format::binary),
                         testing::formatName);

}  // namespace
}  // namespace lumora
