#include <gtest/gtest.h>

#include "core/config/APIConfigurationError.hpp"
#include "core/config/APIConfigurationFactory.hpp"
#include "core/config/BeaconSettingsFactory.hpp"
#include "support/SdkPlist.hpp"
#include "support/SimWorld.hpp"

namespace lumora {
namespace {

using testing::SdkPlist;
using Kind = APIConfigurationError::Kind;

class APIConfigurationFactoryTest : public testing::SimWorld,
                                    public ::testing::WithParamInterface<SdkPlist::Format> {
 protected:
  void install(const SdkPlist& plist) {
    platform->bundle->setResource("sdk.plist", plist.bytes(GetParam()));
  }
  /// The error thrown for the installed file; fails the test when none is.
  APIConfigurationError errorFor(Environment environment) {
    try {
      factory().createAPIConfiguration(environment);
    } catch (const APIConfigurationError& error) {
      return error;
    }
    ADD_FAILURE() << "no APIConfigurationError thrown";
    return APIConfigurationError::missingConfiguration();
  }

  /// A factory over a fresh reading of the installed file.
  APIConfigurationFactory factory() const {
    return APIConfigurationFactory(std::make_shared<const ConfigurationFile>(*platform->bundle));
  }
};

// Texts are kept exactly as written, even empty or padded.
TEST_P(APIConfigurationFactoryTest, ReadsTheGroupOfTheChosenEnvironment) {
  install(SdkPlist::complete()
              .set({"APIEndpoints", "Stage"}, "CreativeCDNURL", SdkPlist::str(""))
              .set({"APIEndpoints", "Stage"}, "CreativeBucketName", SdkPlist::str(" b ")));
  const auto production = factory().createAPIConfiguration(Environment::production);
  EXPECT_EQ(production.environment(), Environment::production);
  EXPECT_EQ(production.getTrackingEventURL(), "https://events.production.example.com/track");
  EXPECT_EQ(production.getNoTrackingEventURL(), "https://events.production.example.com/anon");
  EXPECT_EQ(production.getCreativeCDNURL(), "cdn.production.example.com");
  EXPECT_EQ(production.getCreativeBucketName(), "production-bucket");

  const auto stage = factory().createAPIConfiguration(Environment::stage);
  EXPECT_EQ(stage.environment(), Environment::stage);
  EXPECT_EQ(stage.getCreativeCDNURL(), "");
  EXPECT_EQ(stage.getCreativeBucketName(), " b ");
}

TEST_P(APIConfigurationFactoryTest, MissingOrUnreadableFileIsMissingConfiguration) {
  for (const auto& contents :
       {std::vector<std::uint8_t>{}, SdkPlist::bytesOf("<plist><dict><key>"),
        SdkPlist(plist_new_array()).bytes(GetParam()), SdkPlist::oversized().bytes(GetParam()),
        SdkPlist::nested(300).bytes(GetParam())}) {
    platform->bundle->setResource("sdk.plist", contents);
    const auto error = errorFor(Environment::stage);
    EXPECT_EQ(error.kind(), Kind::missingConfiguration);
    EXPECT_EQ(error.localizedDescription(), "configuration file is missing or cannot be read");
  }
  platform->bundle->removeResource("sdk.plist");
  EXPECT_EQ(errorFor(Environment::stage).kind(), Kind::missingConfiguration);
}

TEST_P(APIConfigurationFactoryTest, BothFactoriesShareOneReadingOfTheFile) {
  install(SdkPlist::complete());
  const auto file = std::make_shared<const ConfigurationFile>(*platform->bundle);
  platform->bundle->removeResource("sdk.plist");
  EXPECT_EQ(APIConfigurationFactory(file)
                .createAPIConfiguration(Environment::stage)
                .getCreativeBucketName(),
            "stage-bucket");
  EXPECT_EQ(BeaconSettingsFactory(file).createBeaconSettings().appleBeaconIdentifier,
            "com.example.store");
}

TEST_P(APIConfigurationFactoryTest, CleartextEventEndpointsAreWarnedAboutOnce) {
  install(SdkPlist::complete()
              .set({"APIEndpoints", "Production"}, "EventURL", SdkPlist::str("HTTP://e.example"))
              .set({"APIEndpoints", "Production"}, "NoTrackingEventURL",
                   SdkPlist::str("http://n.example")));
  factory().createAPIConfiguration(Environment::stage);
  EXPECT_TRUE(platform->log->records().empty()) << "stage is https only";

  factory().createAPIConfiguration(Environment::production);
  const auto records = platform->log->records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].levelName, "WARNING");
  EXPECT_EQ(records[0].message,
            "Cleartext http:// endpoint in sdk.plist (EventURL, NoTrackingEventURL): events "
            "would send personal data unencrypted, so these requests are refused; use https://");
}

// The section, then the environment's group, then its keys in order.
TEST_P(APIConfigurationFactoryTest, FirstMissingOrWrongTypedPartIsNamed) {
  const std::initializer_list<const char*> stage{"APIEndpoints", "Stage"};
  const std::initializer_list<const char*> production{"APIEndpoints", "Production"};
  const auto missingUrl = [](const std::string& key) {
    return "Required URL '" + key + "' is missing in Info.plist";
  };
  const std::string group = "Environment-specific endpoints are missing in Info.plist";
  struct Case {
    std::vector<std::uint8_t> plist;
    Environment environment;
    Kind kind;
    std::string key;
    std::string text;
  };
  std::vector<Case> cases{
      {SdkPlist::complete().set({}, "APIEndpoints", SdkPlist::str("x")).bytes(GetParam()),
       Environment::stage, Kind::missingAPIEndpoints, "",
       "APIEndpoints section is missing in Info.plist"},
      {SdkPlist::complete().set({"APIEndpoints"}, "Production", nullptr).bytes(GetParam()),
       Environment::production, Kind::missingEnvironmentEndpoints, "", group},
      {SdkPlist::complete().set({}, "APIEndpoints", SdkPlist::dict({})).bytes(GetParam()),
       Environment::stage, Kind::missingEnvironmentEndpoints, "", group},
      {SdkPlist::complete().set(stage, "EventURL", plist_new_uint(1)).bytes(GetParam()),
       Environment::stage, Kind::missingRequiredURL, "EventURL", missingUrl("EventURL")},
      {SdkPlist::complete()
           .set(stage, "CreativeBucketName", nullptr)
           .set(stage, "EventURL", nullptr)
           .bytes(GetParam()),
       Environment::stage, Kind::missingRequiredURL, "EventURL", missingUrl("EventURL")},
  };
  for (const char* key :
       {"EventURL", "NoTrackingEventURL", "CreativeCDNURL", "CreativeBucketName"}) {
    cases.push_back({SdkPlist::complete().set(production, key, nullptr).bytes(GetParam()),
                     Environment::production, Kind::missingRequiredURL, key, missingUrl(key)});
  }
  for (const auto& c : cases) {
    platform->bundle->setResource("sdk.plist", c.plist);
    const auto error = errorFor(c.environment);
    EXPECT_EQ(error.kind(), c.kind) << c.text;
    EXPECT_EQ(error.key(), c.key);
    EXPECT_EQ(error.localizedDescription(), c.text);
    EXPECT_STREQ(error.what(), c.text.c_str());
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, APIConfigurationFactoryTest,
                         ::testing::Values(SdkPlist::Format::xml, SdkPlist::Format::binary),
                         testing::formatName);

}  // namespace
}  // namespace lumora
