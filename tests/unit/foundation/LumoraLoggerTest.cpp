#include <gtest/gtest.h>

#include <regex>
#include <thread>

#include "core/util/LumoraLogger.hpp"
#include "support/SimWorld.hpp"

namespace lumora {
namespace {

class LumoraLoggerTest : public testing::SimWorld {};

TEST_F(LumoraLoggerTest, LineHasTimestampLevelFileLineFunctionAndMessage) {
  LumoraLogger::shared().log("Beacon scanning started successfully", LogLevel::info,
                             "/src/core/LumoraAdBeaconSDK", 368, "start()");
  const auto records = platform->log->records();
  ASSERT_EQ(records.size(), 1u);
  const auto& record = records[0];
  EXPECT_EQ(record.file, "LumoraAdBeaconSDK");
  EXPECT_EQ(record.function, "start()");
  EXPECT_EQ(record.line, 368);
  EXPECT_EQ(record.levelName, "INFO");
  const std::string expectedTail =
      " [INFO] [LumoraAdBeaconSDK:368 start()] - Beacon scanning started successfully";
  ASSERT_EQ(record.text.size(), 19 + expectedTail.size());
  EXPECT_EQ(record.text.substr(19), expectedTail);
  EXPECT_TRUE(std::regex_match(record.text.substr(0, 19),
                               std::regex(R"(\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2})")));
  EXPECT_EQ(record.text.substr(0, 19),
            LumoraLogger::formatTimestamp(platform->virtualClock->now()));
}

TEST_F(LumoraLoggerTest, EveryLevelIsWrittenWithItsName) {
  for (auto level : {LogLevel::debug, LogLevel::info, LogLevel::warning, LogLevel::error}) {
    LumoraLogger::shared().log("m", level, "F", 1, "f()");
  }
  const auto records = platform->log->records();
  ASSERT_EQ(records.size(), 4u);
  EXPECT_NE(records[0].text.find(" [DEBUG] "), std::string::npos);
  EXPECT_NE(records[1].text.find(" [INFO] "), std::string::npos);
  EXPECT_NE(records[2].text.find(" [WARNING] "), std::string::npos);
  EXPECT_NE(records[3].text.find(" [ERROR] "), std::string::npos);
}

TEST_F(LumoraLoggerTest, FileWithoutSlashIsPrintedWholeAndEmptyMessageEndsTheLine) {
  LumoraLogger::shared().log("", LogLevel::debug, "BeaconManager", 7, "f()");
  const auto text = platform->log->records().at(0).text;
  EXPECT_NE(text.find("[BeaconManager:7 f()]"), std::string::npos);
  EXPECT_TRUE(text.ends_with("] - "));
}

TEST_F(LumoraLoggerTest, TimestampFollowsTheVirtualClockInLocalTime) {
  platform->virtualClock->setNow(platform::VirtualClock::fromSeconds(0.999));
  setenv("TZ", "UTC", 1);
  tzset();
  EXPECT_EQ(LumoraLogger::formatTimestamp(platform->virtualClock->now()), "1970-01-01 00:00:00");
  setenv("TZ", "Asia/Tokyo", 1);
  tzset();
  EXPECT_EQ(LumoraLogger::formatTimestamp(platform::VirtualClock::fromSeconds(86399.5)),
            "1970-01-02 08:59:59");
  unsetenv("TZ");
  tzset();
}

TEST_F(LumoraLoggerTest, ConcurrentCallsProduceWholeLines) {
  constexpr int kThreads = 4;
  constexpr int kLines = 200;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kLines; ++i) {
        LumoraLogger::shared().log("thread " + std::to_string(t), LogLevel::info, "T", i, "run()");
      }
    });
  }
  for (auto& thread : threads) thread.join();
  const auto records = platform->log->records();
  ASSERT_EQ(records.size(), static_cast<std::size_t>(kThreads * kLines));
  for (const auto& record : records) {
    EXPECT_TRUE(record.text.ends_with("] - " + record.message));
  }
}

}  // namespace
}  // namespace lumora
