// Feeds arbitrary bytes to the lumora-sim scenario reader: it either accepts
// a scenario that keeps the reader's bounds or refuses it with ScenarioError;
// any other exception or a crash is a finding.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "FuzzCheck.hpp"
#include "scenario/ScenarioError.hpp"
#include "scenario/ScenarioReader.hpp"

using lumora::fuzz::check;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    const auto scenario = lumora::tools::ScenarioReader::parse(text, "/nonexistent", "fuzz");
    double actions = 0;
    for (const auto& step : scenario.steps) {
      const auto times = step.times();
      check(static_cast<double>(times.size()) == step.occurrences());
      for (double t : times) check(t >= 0 && t <= scenario.until + 1e-6);
      actions += step.occurrences();
    }
    check(actions <= 100000);
  } catch (const lumora::tools::ScenarioError&) {
  }
  return 0;
}
