#include "FacadeWorld.hpp"

namespace lumora::testing {
namespace {

constexpr const char* kUncapped =
    R"({"campaignId":12,"creativeId":345,"title":"Hello","message":"Come in","data":"payload"})";

class PipelineTest : public FacadeWorld {
 protected:
  void detect() { facade->onBeaconDetected(4660, kSpaceId, 300); }
};

TEST_F(PipelineTest, OfflineDeviceReportsWithoutRequestingAnything) {
  initiate();
  phone.reachability->setReachable(false);
  detect();
  runFor(1);
  ASSERT_EQ(callback->errors().size(), 1u);
  EXPECT_EQ(rawValue(callback->errors()[0].code()), 10);
  EXPECT_EQ(callback->errors()[0].message(), "No internet connection available");
  EXPECT_TRUE(server.requests().empty());

  phone.reachability->failCreation(24);
  detect();
  runFor(1);
  EXPECT_EQ(callback->errors().size(), 2u);
  EXPECT_EQ(platform->log->count("No internet connection available"), 2u);
}

TEST_F(PipelineTest,
       UncappedCreativeIsReportedDeliveredAndShownOnEveryDetectionWhileTheFacadeLives) {
  serveCreative(kUncapped);
  initiate();
  platform->virtualClock->setNow(platform::VirtualClock::fromSeconds(1700000000.9999));
  for (int detection = 0; detection < 2; ++detection) {
    detect();
    runFor(5);
  }
  EXPECT_EQ(callback->names(), (std::vector<std::string>{"onInitialized", "onCreativeReceived",
                                                         "onCreativeReceived"}));
  const auto& creative = *callback->calls()[1].creative;
  EXPECT_EQ(std::tuple(creative.data(), creative.creativeId(), creative.campaignId(),
                       creative.bindingId(), creative.spaceId()),
            std::tuple(std::optional<std::string>("payload"), 345, 12, 300, kSpaceId));
  ASSERT_EQ(phone.notifications->added().size(), 2u);
  EXPECT_EQ(phone.notifications->added()[0].request.title, "Hello");
  EXPECT_EQ(phone.notifications->added()[0].request.body, "Come in");

  std::vector<std::string> types;
  for (const auto& event : events()) types.push_back(event["eventType"]);
  std::sort(types.begin(), types.end());
  EXPECT_EQ(types,
            (std::vector<std::string>{"notification", "notification", "request", "request"}));
  const auto sent = events();
  const auto request = std::find_if(sent.begin(), sent.end(),
                                    [](const auto& e) { return e["eventType"] == "request"; });
  EXPECT_EQ((*request)["timestamp"], 1700000000999);
  EXPECT_FALSE(request->contains("cid") || request->contains("crid"));

  // A facade released during the fetch reports nothing more.
  detect();
  facade.reset();
  runFor(5);
  EXPECT_EQ(callback->names().size(), 3u);
  EXPECT_EQ(events().size(), 4u);
}

}  // namespace
}  // namespace lumora::testing
