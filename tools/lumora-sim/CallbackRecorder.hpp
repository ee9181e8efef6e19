#pragma once

#include <lumora/lumora.hpp>

#include <functional>

#include "scenario/RecordSink.hpp"

namespace lumora::tools {

/// The host callback lumora-sim installs: each call becomes a "callback" record.
class CallbackRecorder : public LumoraAdBeaconCallback {
 public:
  /// now: virtual seconds since the scenario's start.
  CallbackRecorder(RecordSink& sink, std::function<double()> now);

  void onInitialized() override;
  void onCreativeReceived(const LumoraAdCreative& creative) override;
  void onError(const LumoraAdBeaconError& error) override;
  void onNotificationClicked(const LumoraAdCreative& creative) override;

 private:
  void record(const char* name, std::optional<LumoraAdCreative> creative,
              std::optional<LumoraAdBeaconError> error);

  RecordSink& sink_;
  std::function<double()> now_;
};

}  // namespace lumora::tools
