#include "core/MainThreadCallbackWrapper.hpp"

#include <utility>

namespace lumora {

MainThreadCallbackWrapper::MainThreadCallbackWrapper(
    std::shared_ptr<LumoraAdBeaconCallback> wrappedCallback,
    std::shared_ptr<platform::MainQueue> mainQueue)
    : wrappedCallback_(std::move(wrappedCallback)), mainQueue_(std::move(mainQueue)) {}

void MainThreadCallbackWrapper::onInitialized() {
  mainQueue_->post([callback = wrappedCallback_] { callback->onInitialized(); });
}

void MainThreadCallbackWrapper::onCreativeReceived(const LumoraAdCreative& creative) {
  mainQueue_->post(
      [callback = wrappedCallback_, creative] { callback->onCreativeReceived(creative); });
}

void MainThreadCallbackWrapper::onError(const LumoraAdBeaconError& error) {
  mainQueue_->post([callback = wrappedCallback_, error] { callback->onError(error); });
}

void MainThreadCallbackWrapper::onNotificationClicked(const LumoraAdCreative& creative) {
  mainQueue_->post(
      [callback = wrappedCallback_, creative] { callback->onNotificationClicked(creative); });
}

}  // namespace lumora
