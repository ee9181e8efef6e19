#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>

#include "platform/net/CurlHttpSession.hpp"
#include "platform/net/CurlUrlToolkit.hpp"
#include "platform/sim/MemoryUserDefaults.hpp"
#include "platform/sim/SimDeviceInfo.hpp"
#include "support/SimWorld.hpp"
#include "support/TestHttpsServer.hpp"

namespace lumora::testing {

/// Records the calls of one completion and lets the test wait for the first.
/// The wait has a generous limit only so that a missing completion fails the
/// test instead of hanging it.
template <class... Args>
class CompletionProbe {
 public:
  std::function<void(Args...)> callback() {
    return [state = state_](Args... args) {
      std::lock_guard lock(state->mutex);
      ++state->calls;
      state->thread = std::this_thread::get_id();
      state->values.emplace(std::move(args)...);
      state->changed.notify_all();
    };
  }

  std::tuple<Args...> wait() const {
    std::unique_lock lock(state_->mutex);
    if (!state_->changed.wait_for(lock, std::chrono::seconds(30),
                                  [&] { return state_->values.has_value(); })) {
      throw std::runtime_error("the completion never ran");
    }
    return *state_->values;
  }

  int calls() const {
    std::lock_guard lock(state_->mutex);
    return state_->calls;
  }

  std::thread::id thread() const {
    std::lock_guard lock(state_->mutex);
    return state_->thread;
  }

 private:
  struct State {
    std::mutex mutex;
    std::condition_variable changed;
    int calls = 0;
    std::thread::id thread;
    std::optional<std::tuple<Args...>> values;
  };
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

/// A sim world (for the recorded log and the profile's device and store) plus a
/// real HTTPS server and a real session that trusts it.
class NetTest : public SimWorld {
 protected:
  static constexpr const char* kInstallationId = "6BA7B810-9DAD-11D1-80B4-00C04FD430C8";

  NetTest() {
    platform->device = std::make_shared<platform::SimDeviceInfo>("arm64-test");
    platform->defaults = std::make_shared<platform::MemoryUserDefaults>(
        platform::MemoryUserDefaults::Contents{{"LumoraBeaconSDK.UUID", kInstallationId}});
  }

  platform::CurlHttpSessionOptions trustingOptions() const {
    platform::CurlHttpSessionOptions options;
    options.extraCaFile = server.caFile();
    return options;
  }

  TestHttpsServer server;
  std::shared_ptr<platform::HttpSession> session =
      std::make_shared<platform::CurlHttpSession>(trustingOptions());
  std::shared_ptr<const platform::UrlToolkit> urls = std::make_shared<platform::CurlUrlToolkit>();
};

}  // namespace lumora::testing
