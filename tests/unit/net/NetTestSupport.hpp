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

/// The sim phone (for the recorded log and the profile's device and store)
/// plus a real HTTPS server and a real session that trusts it.
class NetTest : public SimWorld {
 protected:
  NetTest()
      : SimWorld([] {
          auto options = installed();
          options.machine = "arm64-test";
          return options;
        }()) {}

  platform::CurlHttpSessionOptions trustingOptions() const {
    platform::CurlHttpSessionOptions options;
    options.extraCaFile = server.caFile();
    return options;
  }

  TestHttpsServer server;
  std::shared_ptr<platform::HttpSession> session =
      std::make_shared<platform::CurlHttpSession>(trustingOptions());
  std::shared_ptr<const platform::UrlToolkit> urls = platform->urls;
};

}  // namespace lumora::testing
