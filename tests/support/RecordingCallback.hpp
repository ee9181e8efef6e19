#pragma once

#include <lumora/lumora.hpp>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Clock.hpp"

namespace lumora::testing {

/// A host callback that records each call, with the virtual time it arrived.
class RecordingCallback : public LumoraAdBeaconCallback {
 public:
  struct Call {
    std::string name;
    std::optional<LumoraAdCreative> creative;
    std::optional<LumoraAdBeaconError> error;
    platform::TimePoint at;
  };

  explicit RecordingCallback(std::shared_ptr<platform::Clock> clock);

  void onInitialized() override;
  void onCreativeReceived(const LumoraAdCreative& creative) override;
  void onError(const LumoraAdBeaconError& error) override;
  void onNotificationClicked(const LumoraAdCreative& creative) override;

  const std::vector<Call>& calls() const { return calls_; }
  /// The names of the calls, in order.
  std::vector<std::string> names() const;
  std::vector<LumoraAdBeaconError> errors() const;

 private:
  void record(std::string name, std::optional<LumoraAdCreative> creative,
              std::optional<LumoraAdBeaconError> error);

  std::shared_ptr<platform::Clock> clock_;
  std::vector<Call> calls_;
};

}  // namespace lumora::testing
