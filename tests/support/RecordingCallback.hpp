#pragma once

#include <lumora/lumora.hpp>

#include <optional>
#include <string>
#include <vector>

namespace lumora::testing {

/// A host callback that records each call.
class RecordingCallback : public LumoraAdBeaconCallback {
 public:
  struct Call {
    std::string name;
    std::optional<LumoraAdCreative> creative;
    std::optional<LumoraAdBeaconError> error;
  };

  void onInitialized() override { calls_.push_back({"onInitialized", std::nullopt, std::nullopt}); }
  void onCreativeReceived(const LumoraAdCreative& creative) override {
    calls_.push_back({"onCreativeReceived", creative, std::nullopt});
  }
  void onError(const LumoraAdBeaconError& error) override {
    calls_.push_back({"onError", std::nullopt, error});
  }
  void onNotificationClicked(const LumoraAdCreative& creative) override {
    calls_.push_back({"onNotificationClicked", creative, std::nullopt});
  }

  const std::vector<Call>& calls() const { return calls_; }
  /// The names of the calls, in order.
  std::vector<std::string> names() const {
    std::vector<std::string> names;
    for (const auto& call : calls_) names.push_back(call.name);
    return names;
  }
  std::vector<LumoraAdBeaconError> errors() const {
    std::vector<LumoraAdBeaconError> errors;
    for (const auto& call : calls_) {
      if (call.error) errors.push_back(*call.error);
    }
    return errors;
  }

 private:
  std::vector<Call> calls_;
};

}  // namespace lumora::testing
