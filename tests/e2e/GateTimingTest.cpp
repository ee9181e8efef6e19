#include <cmath>
#include <fstream>

#include "SimRun.hpp"

namespace lumora::testing {
namespace {

using nlohmann::json;

class GateTimingTest : public SimRun {};

// The shipped store-visit demo, run by lumora-sim as shipped: the custom-beacon
// scan stops 10 to 11 seconds after the last iBeacon on the air.
TEST_F(GateTimingTest, ScanStopsTenToElevenSecondsAfterTheLastIBeacon) {
  const auto file = std::filesystem::path(LUMORA_EXAMPLES_DIR) / "store-visit" / "scenario.json";
  const auto demo = json::parse(std::ifstream(file));
  double lastIBeacon = -1;
  for (const auto& step : demo["steps"]) {
    if (step["action"] != "ibeacon") continue;
    const double at = step["at"], every = step["every"], until = step["until"];
    lastIBeacon = std::max(lastIBeacon, at + std::floor((until - at) / every) * every);
  }
  ASSERT_GE(lastIBeacon, 0.0);

  const auto result = runFile(file);
  ASSERT_EQ(result.exitCode, 0) << result.errorOutput;
  std::optional<double> stop;
  for (const auto& scan : ofKind(result, "scan")) {
    if (scan["action"] == "stop" && scan["t"].get<double>() > lastIBeacon) {
      stop = scan["t"].get<double>();
      break;
    }
  }
  ASSERT_TRUE(stop.has_value());
  EXPECT_GE(*stop - lastIBeacon, 10.0);
  EXPECT_LE(*stop - lastIBeacon, 11.0);
  std::optional<double> timeout;
  for (const auto& log : ofKind(result, "log")) {
    if (log["message"] == "iBeacon timeout reached, stopped custom beacon scanning") {
      timeout = log["t"].get<double>();
    }
  }
  EXPECT_EQ(timeout, stop);
}

}  // namespace
}  // namespace lumora::testing
