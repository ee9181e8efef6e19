#include <gtest/gtest.h>

#include "core/beacon/Beacon.hpp"

namespace lumora {
namespace {

const std::string kUuidText = "E2C56DB5-DFFB-48D2-B060-D0F5A71096E0";

TEST(BeaconTest, FromCLBeaconsKeepsEachPlatformBeaconInOrder) {
  EXPECT_TRUE(Beacon::fromCLBeacons({}).empty());

  const std::vector<platform::PlatformBeacon> ranged{
      {kUuidText, 1, 2, -60},
      {"00000000-0000-0000-0000-000000000001", 3, 4, -70},
      {kUuidText, 65535, 0, -80},
  };
  const auto beacons = Beacon::fromCLBeacons(ranged);
  ASSERT_EQ(beacons.size(), ranged.size());
  for (std::size_t i = 0; i < ranged.size(); ++i) {
    EXPECT_EQ(beacons[i].uuid.text(), ranged[i].uuid);
    EXPECT_EQ(beacons[i].major, ranged[i].major);
    EXPECT_EQ(beacons[i].minor, ranged[i].minor);
    ASSERT_TRUE(beacons[i].clBeacon.has_value());
    EXPECT_EQ(beacons[i].clBeacon->rssi, ranged[i].rssi);
  }
}

TEST(BeaconTest, UnparsableUuidTextBecomesTheAllZeroUuid) {
  const Beacon beacon(platform::PlatformBeacon{"not-a-uuid", 7, 8, 0});
  EXPECT_EQ(beacon.uuid, Uuid(Uuid::Bytes{}));
  EXPECT_EQ(beacon.major, 7);
  EXPECT_EQ(beacon.clBeacon->uuid, "not-a-uuid") << "the platform value is kept as reported";
}

TEST(BeaconTest, DirectConstructionHasNoPlatformBeacon) {
  const Beacon beacon(*Uuid::parse(kUuidText), 10, 20);
  EXPECT_FALSE(beacon.clBeacon.has_value());
  EXPECT_EQ(beacon.uuid.text(), kUuidText);
  EXPECT_EQ(beacon.minor, 20);
}

}  // namespace
}  // namespace lumora
