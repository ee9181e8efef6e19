#include <gtest/gtest.h>

#include "core/beacon/Beacon.hpp"

namespace lumora {
namespace {

const std::string kUuidText = "E2C56DB5-DFFB-48D2-B060-D0F5A71096E0";

TEST(BeaconTest, FromCLBeaconsKeepsEachPlatformBeaconInOrderAndUnparsableUuidsAreAllZero) {
  EXPECT_TRUE(Beacon::fromCLBeacons({}).empty());
  const std::vector<platform::PlatformBeacon> ranged{{kUuidText, 1, 2, -60},
                                                     {"not-a-uuid", 65535, 0, -80}};
  const auto beacons = Beacon::fromCLBeacons(ranged);
  ASSERT_EQ(beacons.size(), ranged.size());
  for (std::size_t i = 0; i < ranged.size(); ++i) {
    EXPECT_EQ(beacons[i].major, ranged[i].major);
    EXPECT_EQ(beacons[i].minor, ranged[i].minor);
    ASSERT_TRUE(beacons[i].clBeacon.has_value());
    EXPECT_EQ(beacons[i].clBeacon->uuid, ranged[i].uuid) << "the platform value is kept as is";
    EXPECT_EQ(beacons[i].clBeacon->rssi, ranged[i].rssi);
  }
  EXPECT_EQ(beacons[0].uuid.text(), kUuidText);
  EXPECT_EQ(beacons[1].uuid, Uuid(Uuid::Bytes{}));
}

}  // namespace
}  // namespace lumora
