#include "sim/Scenario.hpp"

namespace lumora::tools {

std::vector<double> ScenarioStep::times() const {
  if (!every) {
    return {at};
  }
  // Multiplying rather than adding keeps long repeats free of drift; the
  // tolerance keeps `until` itself when it is a whole number of periods away.
  constexpr double kTolerance = 1e-9;
  std::vector<double> result;
  for (std::int64_t k = 0;; ++k) {
    const double time = at + static_cast<double>(k) * *every;
    if (time > until + kTolerance) {
      return result;
    }
    result.push_back(time);
  }
}

}  // namespace lumora::tools
