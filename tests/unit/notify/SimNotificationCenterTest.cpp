#include <gtest/gtest.h>

#include <memory>
#include <optional>

#include "platform/sim/SimNotificationCenter.hpp"
#include "support/SimWorld.hpp"

namespace lumora {
namespace {

using platform::PlatformError;
using platform::SimNotificationCenter;

class SimNotificationCenterTest : public testing::SimWorld {
 protected:
  std::shared_ptr<SimNotificationCenter> center =
      std::make_shared<SimNotificationCenter>(platform->virtualQueue, platform->virtualClock);
};

TEST_F(SimNotificationCenterTest, AnswersArriveAsMainQueueTasksWithTheStatusOfTheirTime) {
  std::optional<std::int64_t> first;
  center->getNotificationSettings([&](std::int64_t status) { first = status; });
  center->setAuthorizationStatus(3);
  std::optional<std::int64_t> second;
  center->getNotificationSettings([&](std::int64_t status) { second = status; });
  EXPECT_FALSE(first.has_value());
  runFor(0);
  EXPECT_EQ(first, SimNotificationCenter::kNotDetermined);
  EXPECT_EQ(second, 3);
}

TEST_F(SimNotificationCenterTest, RefusedAddRecordsNothingAndTapsNeedADeliveredRequest) {
  center->setAddError(PlatformError{"UNErrorDomain", 1, "refused"});
  std::optional<std::optional<PlatformError>> refused;
  center->add({}, [&](std::optional<PlatformError> error) { refused = error; });
  EXPECT_FALSE(refused.has_value());
  runFor(0);
  ASSERT_TRUE(refused.has_value());
  ASSERT_TRUE(refused->has_value());
  EXPECT_EQ((*refused)->localizedDescription, "refused");
  EXPECT_TRUE(center->added().empty());

  center->setAddError(std::nullopt);
  platform::NotificationRequest request;
  request.triggerInterval = 5.0;
  center->add(request, [](std::optional<PlatformError>) {});
  runFor(4.0);
  EXPECT_FALSE(center->simulateTap(0));
  EXPECT_FALSE(center->simulateTap(1));
  runFor(1.0);
  EXPECT_TRUE(center->simulateTap(0));
  EXPECT_EQ(center->taps().size(), 1u);
}

}  // namespace
}  // namespace lumora
