#pragma once

#include <stdexcept>
#include <string>

namespace lumora::tools {

/// A scenario that cannot be run as written. what() is one line naming the
/// file and the place, e.g.
///   store-visit.json: steps[3] (detect): "bindingId" must be an integer
/// The runner prints it on stderr and exits with status 2.
class ScenarioError : public std::runtime_error {
 public:
  explicit ScenarioError(const std::string& message) : std::runtime_error(message) {}
};

}  // namespace lumora::tools
