#include "scenario/Scenario.hpp"

#include <cmath>

namespace lumora::tools {
namespace {

// The tolerance keeps `until` itself when it is a whole number of periods away.
constexpr double kTolerance = 1e-9;

}  // namespace

double ScenarioStep::occurrences() const {
  if (!every) {
    return 1;
  }
  return std::floor((until - at) / *every + kTolerance) + 1;
}

std::vector<double> ScenarioStep::times() const {
  // Multiplying rather than adding keeps long repeats free of drift.
  const auto count = static_cast<std::size_t>(occurrences());
  std::vector<double> result;
  result.reserve(count);
  for (std::size_t k = 0; k < count; ++k) {
    result.push_back(at + static_cast<double>(k) * every.value_or(0));
  }
  return result;
}

}  // namespace lumora::tools
