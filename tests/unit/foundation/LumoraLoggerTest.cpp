#include <gtest/gtest.h>

#include <thread>
#include <utility>
#include <vector>

#include "core/util/LumoraLogger.hpp"
#include "support/SimWorld.hpp"

namespace lumora {
namespace {

class LumoraLoggerTest : public testing::SimWorld {
 protected:
  ~LumoraLoggerTest() override {
    resetLogLevel();
    setLogOutputs({});
  }

  /// Logs one line per level through LUMORA_LOG and returns the levels that
  /// were written and how many messages were built.
  std::pair<std::vector<std::int64_t>, int> logEveryLevel() {
    int built = 0;
    const auto message = [&built] {
      ++built;
      return std::string("m");
    };
    LUMORA_LOG(LogLevel::debug, "F", "f()", message());
    LUMORA_LOG(LogLevel::info, "F", "f()", message());
    LUMORA_LOG(LogLevel::warning, "F", "f()", message());
    LUMORA_LOG(LogLevel::error, "F", "f()", message());
    std::vector<std::int64_t> levels;
    for (const auto& record : platform->log->records()) {
      if (record.file == "F") levels.push_back(record.level);
    }
    return {levels, built};
  }
};

// "<local time> [LEVEL] [<file without folders>:<line> <function>] - <message>"
TEST_F(LumoraLoggerTest, LineHasTimestampLevelFileLineFunctionAndMessage) {
  const struct {
    LogLevel level;
    const char* file;
    const char* tail;
  } cases[] = {
      {LogLevel::debug, "BeaconManager", " [DEBUG] [BeaconManager:368 start()] - m"},
      {LogLevel::info, "/src/core/LumoraAdBeaconSDK",
       " [INFO] [LumoraAdBeaconSDK:368 start()] - m"},
      {LogLevel::warning, "a/b", " [WARNING] [b:368 start()] - m"},
      {LogLevel::error, "F", " [ERROR] [F:368 start()] - m"},
  };
  for (const auto& c : cases) {
    LumoraLogger::shared().log("m", c.level, c.file, 368, "start()");
    const auto record = platform->log->records().back();
    EXPECT_EQ(record.text.substr(19), c.tail);
    EXPECT_EQ(record.text.substr(0, 19),
              LumoraLogger::formatTimestamp(platform->virtualClock->now()));
    EXPECT_EQ(record.line, 368);
    EXPECT_EQ(record.function, "start()");
  }
  EXPECT_EQ(platform->log->records()[1].file, "LumoraAdBeaconSDK");
  EXPECT_EQ(platform->log->records()[1].levelName, "INFO");
}

TEST_F(LumoraLoggerTest, MinimumLevelWritesOnlyThatLevelAndAboveAndBuildsNothingBelow) {
  const std::vector<std::pair<LumoraLogLevel, std::vector<std::int64_t>>> cases{
      {LumoraLogLevel::debug, {0, 1, 2, 3}},
      {LumoraLogLevel::info, {1, 2, 3}},
      {LumoraLogLevel::warning, {2, 3}},
      {LumoraLogLevel::error, {3}},
      {LumoraLogLevel::off, {}},
  };
  for (const auto& [minimum, written] : cases) {
    platform->log->clear();
    setLogLevel(minimum);
    const auto [levels, built] = logEveryLevel();
    EXPECT_EQ(levels, written) << static_cast<int>(minimum);
    EXPECT_EQ(built, static_cast<int>(written.size())) << "a filtered message is never built";
  }
}

TEST_F(LumoraLoggerTest,
       RequestedLevelAndOutputsApplyUntilTheHostChoosesAndAnInvalidLevelIsReportedOnce) {
  platform->log->setRequestedLevel("warning");
  EXPECT_EQ(logEveryLevel().first, (std::vector<std::int64_t>{2, 3}));

  setLogLevel(LumoraLogLevel::debug);
  platform->log->clear();
  EXPECT_EQ(logEveryLevel().first, (std::vector<std::int64_t>{0, 1, 2, 3}))
      << "the host's level wins over the environment's";

  resetLogLevel();
  platform->log->setRequestedLevel("verbose");
  platform->log->clear();
  EXPECT_EQ(logEveryLevel().first, (std::vector<std::int64_t>{0, 1, 2, 3}));
  logEveryLevel();
  const auto warning =
      "Ignoring LUMORA_LOG_LEVEL \"verbose\": expected debug, info, warning, error or off";
  EXPECT_EQ(platform->log->count(warning), 1u);
  EXPECT_EQ(platform->log->records().front().message, warning) << "before the line that found it";

  setLogOutputs({.standardOutput = false, .systemLog = true});
  LumoraLogger::shared().log("a", LogLevel::info, "F", 1, "f()");
  setLogOutputs({.standardOutput = true, .systemLog = false});
  LumoraLogger::shared().log("b", LogLevel::info, "F", 1, "f()");
  const auto records = platform->log->records();
  EXPECT_FALSE(records.end()[-2].toStandardOutput);
  EXPECT_TRUE(records.end()[-2].toSystemLog);
  EXPECT_TRUE(records.back().toStandardOutput);
  EXPECT_FALSE(records.back().toSystemLog);
}

TEST_F(LumoraLoggerTest, TimestampFollowsTheVirtualClockInLocalTime) {
  setenv("TZ", "Asia/Tokyo", 1);
  tzset();
  EXPECT_EQ(LumoraLogger::formatTimestamp(platform::VirtualClock::fromSeconds(86399.5)),
            "1970-01-02 08:59:59");

  // Lines reuse the time stamp within a second and only within it.
  for (const double seconds : {86399.0, 86399.999, 86400.0, 86400.5, 86399.5}) {
    platform->virtualClock->setNow(platform::VirtualClock::fromSeconds(seconds));
    LumoraLogger::shared().log("t", LogLevel::info, "F", 1, "f()");
    EXPECT_EQ(platform->log->records().back().text.substr(0, 19),
              LumoraLogger::formatTimestamp(platform->virtualClock->now()))
        << seconds;
  }
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

TEST_F(LumoraLoggerTest, ALineLoggedWhileTheSinkWritesOrAfterThePlatformIsRemovedIsKeptWhole) {
  std::vector<std::string> afterNestedLine;
  platform->log->setObserver([&](const platform::LogRecord& record) {
    if (!afterNestedLine.empty() || record.message != "outer") return;
    LumoraLogger::shared().log("inner", LogLevel::info, "N", 2, "inner()");
    afterNestedLine = {record.message, record.function};
  });
  LumoraLogger::shared().log("outer", LogLevel::info, "N", 1, "outer()");
  EXPECT_EQ(afterNestedLine, (std::vector<std::string>{"outer", "outer()"}));
  EXPECT_EQ(platform->log->count("inner"), 1u);

  // A line logged after the platform is removed goes to its log and installs nothing.
  platform::Platform::install(nullptr);
  LumoraLogger::shared().log("after", LogLevel::info, "P", 2, "f()");
  EXPECT_EQ(platform::Platform::current(), nullptr);
  EXPECT_EQ(platform->log->messages().back(), "after");
}

}  // namespace
}  // namespace lumora
