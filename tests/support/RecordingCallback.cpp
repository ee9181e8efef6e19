#include "support/RecordingCallback.hpp"

#include <utility>

namespace lumora::testing {

RecordingCallback::RecordingCallback(std::shared_ptr<platform::Clock> clock)
    : clock_(std::move(clock)) {}

void RecordingCallback::record(std::string name, std::optional<LumoraAdCreative> creative,
                               std::optional<LumoraAdBeaconError> error) {
  calls_.push_back({std::move(name), std::move(creative), std::move(error), clock_->now()});
}

void RecordingCallback::onInitialized() { record("onInitialized", std::nullopt, std::nullopt); }

void RecordingCallback::onCreativeReceived(const LumoraAdCreative& creative) {
  record("onCreativeReceived", creative, std::nullopt);
}

void RecordingCallback::onError(const LumoraAdBeaconError& error) {
  record("onError", std::nullopt, error);
}

void RecordingCallback::onNotificationClicked(const LumoraAdCreative& creative) {
  record("onNotificationClicked", creative, std::nullopt);
}

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
