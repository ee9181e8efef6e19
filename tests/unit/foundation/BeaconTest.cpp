#include <gtest/gtest.h>

#include "core/beacon/Beacon.hpp"

namespace lumora {
namespace {

const std::string kUuidText = "E2C56DB5-DFFB-48D2-B060-D0F5A71096E0";

TEST(BeaconTest, FromCLBeaconsKeepsEachPlatformBeaconInOrderAndUnparsableUuidsAreAllZero) {
  const auto beacons =
      Beacon::fromCLBeacons({{kUuidText, 1, 2, -60}, {"not-a-uuid", 65535, 0, -80}});
  ASSERT_EQ(beacons.size(), 2u);
  EXPECT_EQ(beacons[0].uuid.text(), kUuidText);
  EXPECT_EQ(beacons[1].uuid, Uuid(Uuid::Bytes{}));
  EXPECT_EQ(beacons[1].major, 65535);
  ASSERT_TRUE(beacons[1].clBeacon.has_value());
  EXPECT_EQ(beacons[1].clBeacon->uuid, "not-a-uuid") << "the platform value is kept as is";
}

}  // namespace
}  // namespace lumora
