#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "core/net/AbstractWebService.hpp"
#include "core/net/EventRequest.hpp"
#include "lumora/ClientProfile.hpp"

namespace lumora {

/// Posts event reports to "device_events" under one of two endpoints: the
/// tracking endpoint when the service's own profile has an advertising
/// identifier (an empty one counts), the no-tracking endpoint otherwise.
///
/// The profile is replaced from the host's thread while events go out from
/// others. It is held as an immutable value behind a shared pointer; a mutex
/// guards only the copying or swapping of that pointer (never the profile's
/// use, never a request), so a reader takes one consistent profile and no one
/// waits for more than a pointer copy. (std::atomic<std::shared_ptr> would do
/// the same without the mutex, but the thread sanitizer cannot see through its
/// libstdc++ implementation and reports a race.)
class UserEventWebService : public AbstractWebService {
 public:
  using Completion =
      std::function<void(bool success, std::optional<platform::PlatformError> error)>;

  UserEventWebService(APIConfiguration apiConfig, std::shared_ptr<HttpRequestSender> requestSender,
                      std::shared_ptr<const platform::UrlToolkit> urls,
                      std::optional<ClientProfile> clientProfile);

  void setClientProfile(std::optional<ClientProfile> clientProfile);
  std::optional<ClientProfile> getClientProfile() const;
  /// The current profile's installation identifier; empty without a profile.
  std::string getClientUUID() const;

  /// Returns at once. The completion runs once, on the session's worker thread:
  /// (true, nothing) for any 2xx reply, (false, error) otherwise.
  void sendEvent(const EventRequest& request, Completion completion) const;

 private:
  std::shared_ptr<const ClientProfile> currentProfile() const;
  std::string eventURL() const;

  mutable std::mutex profileMutex_;
  std::shared_ptr<const ClientProfile> clientProfile_;  // guarded by profileMutex_
};

}  // namespace lumora
