#include "lumora-sim/CallbackRecorder.hpp"

#include <utility>

namespace lumora::tools {

CallbackRecorder::CallbackRecorder(RecordSink& sink, std::function<double()> now)
    : sink_(sink), now_(std::move(now)) {}

void CallbackRecorder::record(const char* name, std::optional<LumoraAdCreative> creative,
                              std::optional<LumoraAdBeaconError> error) {
  sink_.write(CallbackRecord{now_(), name, std::move(creative), std::move(error)});
}

void CallbackRecorder::onInitialized() { record("onInitialized", std::nullopt, std::nullopt); }

void CallbackRecorder::onCreativeReceived(const LumoraAdCreative& creative) {
  record("onCreativeReceived", creative, std::nullopt);
}

void CallbackRecorder::onError(const LumoraAdBeaconError& error) {
  record("onError", std::nullopt, error);
}

void CallbackRecorder::onNotificationClicked(const LumoraAdCreative& creative) {
  record("onNotificationClicked", creative, std::nullopt);
}

}  // namespace lumora::tools
