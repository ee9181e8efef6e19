#pragma once

#include <memory>

#include "lumora/LumoraAdBeaconCallback.hpp"
#include "platform/MainQueue.hpp"

namespace lumora {

/// Delivers every host callback on the main queue, asynchronously and in the
/// order the calls were made, whatever thread makes them. A call made on the
/// main queue itself is still deferred to a later turn. Each posted task keeps
/// the host's callback and the argument alive until it has run.
class MainThreadCallbackWrapper : public LumoraAdBeaconCallback {
 public:
  MainThreadCallbackWrapper(std::shared_ptr<LumoraAdBeaconCallback> wrappedCallback,
                            std::shared_ptr<platform::MainQueue> mainQueue);

  void onInitialized() override;
  void onCreativeReceived(const LumoraAdCreative& creative) override;
  void onError(const LumoraAdBeaconError& error) override;
  void onNotificationClicked(const LumoraAdCreative& creative) override;

 private:
  std::shared_ptr<LumoraAdBeaconCallback> wrappedCallback_;
  std::shared_ptr<platform::MainQueue> mainQueue_;
};

}  // namespace lumora
