#include "support/RecordingCallback.hpp"

namespace lumora::testing {

std::vector<std::string> RecordingCallback::names() const {
  std::vector<std::string> names;
  for (const auto& call : calls_) names.push_back(call.name);
  return names;
}

std::vector<LumoraAdBeaconError> RecordingCallback::errors() const {
  std::vector<LumoraAdBeaconError> errors;
  for (const auto& call : calls_) {
    if (call.error) errors.push_back(*call.error);
  }
  return errors;
}

}  // namespace lumora::testing
