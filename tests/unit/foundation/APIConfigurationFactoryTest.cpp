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

TEST_P(APIConfigurationFactoryTest, ReadsTheGroupOfTheChosenEnvironment) {
  install(SdkPlist::complete());
  const auto production = factory().createAPIConfiguration(Environment::production);
  EXPECT_EQ(production.environment(), Environment::production);
  EXPECT_EQ(production.getTrackingEventURL(), "https://events.production.example.com/track");
  EXPECT_EQ(production.getNoTrackingEventURL(), "https://events.production.example.com/anon");
  EXPECT_EQ(production.getCreativeCDNURL(), "cdn.production.example.com");
  EXPECT_EQ(production.getCreativeBucketName(), "production-bucket");

  const auto stage = factory().createAPIConfiguration(Environment::stage);
  EXPECT_EQ(stage.environment(), Environment::stage);
  EXPECT_EQ(stage.getCreativeBucketName(), "stage-bucket");
}

TEST_P(APIConfigurationFactoryTest, TextsAreKeptExactlyEvenEmpty) {
  install(SdkPlist::complete().set({"APIEndpoints", "Stage"}, "CreativeCDNURL", SdkPlist::str("")));
  EXPECT_EQ(factory().createAPIConfiguration(Environment::stage).getCreativeCDNURL(), "");

  install(SdkPlist::complete().set({"APIEndpoints", "Stage"}, "CreativeCDNURL",
                                   SdkPlist::str(" cdn.example.com ")));
  EXPECT_EQ(factory().createAPIConfiguration(Environment::stage).getCreativeCDNURL(),
            " cdn.example.com ");
}

TEST_P(APIConfigurationFactoryTest, MissingOrUnreadableFileIsMissingConfiguration) {
  const auto expectMissing = [&] {
    const auto error = errorFor(Environment::stage);
    EXPECT_EQ(error.kind(), Kind::missingConfiguration);
    EXPECT_EQ(error.localizedDescription(), "configuration file is missing or cannot be read");
  };
  expectMissing();
  platform->bundle->setResource("sdk.plist", std::string());
  expectMissing();
  platform->bundle->setResource("sdk.plist", std::string("<plist><dict><key>"));
  expectMissing();
  install(SdkPlist(plist_new_array()));
  expectMissing();
  install(SdkPlist::oversized());
  expectMissing();
  install(SdkPlist::nested(300));
  expectMissing();
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

TEST_P(APIConfigurationFactoryTest, MissingSectionOrGroupIsReportedInThatOrder) {
  install(SdkPlist::complete().set({}, "APIEndpoints", SdkPlist::str("x")));
  auto error = errorFor(Environment::stage);
  EXPECT_EQ(error.kind(), Kind::missingAPIEndpoints);
  EXPECT_EQ(error.localizedDescription(), "APIEndpoints section is missing in Info.plist");

  install(SdkPlist::complete().set({"APIEndpoints"}, "Production", nullptr));
  EXPECT_NO_THROW(factory().createAPIConfiguration(Environment::stage));
  error = errorFor(Environment::production);
  EXPECT_EQ(error.kind(), Kind::missingEnvironmentEndpoints);
  EXPECT_EQ(error.localizedDescription(),
            "Environment-specific endpoints are missing in Info.plist");

  install(SdkPlist::complete().set({}, "APIEndpoints", SdkPlist::dict({})));
  EXPECT_EQ(errorFor(Environment::stage).kind(), Kind::missingEnvironmentEndpoints);
}

TEST_P(APIConfigurationFactoryTest, FirstMissingOrWrongTypedKeyIsNamed) {
  for (const char* key :
       {"EventURL", "NoTrackingEventURL", "CreativeCDNURL", "CreativeBucketName"}) {
    install(SdkPlist::complete().set({"APIEndpoints", "Production"}, key, nullptr));
    const auto error = errorFor(Environment::production);
    EXPECT_EQ(error.kind(), Kind::missingRequiredURL);
    EXPECT_EQ(error.key(), key);
    EXPECT_EQ(error.localizedDescription(),
              std::string("Required URL '") + key + "' is missing in Info.plist");
  }

  install(SdkPlist::complete().set({"APIEndpoints", "Stage"}, "EventURL", plist_new_uint(1)));
  EXPECT_EQ(errorFor(Environment::stage).key(), "EventURL");

  install(SdkPlist::complete()
              .set({"APIEndpoints", "Stage"}, "CreativeBucketName", nullptr)
              .set({"APIEndpoints", "Stage"}, "EventURL", nullptr));
  EXPECT_EQ(errorFor(Environment::stage).what(),
            std::string("Required URL 'EventURL' is missing in Info.plist"));
}

INSTANTIATE_TEST_SUITE_P(Formats, APIConfigurationFactoryTest,
                         ::testing::Values(SdkPlist::Format::xml, SdkPlist::Format::binary),
                         testing::formatName);

}  // namespace
}  // namespace lumora
