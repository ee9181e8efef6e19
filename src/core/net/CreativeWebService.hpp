#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "core/net/AbstractWebService.hpp"
#include "core/net/Creative.hpp"
#include "lumora/LumoraAdBeaconError.hpp"

namespace lumora {

/// Fetches the creative bound to a beacon's binding identifier: a GET of
/// "https://" + creativeCDNURL + "/" + creativeBucketName + "/binding/" +
/// formatBindingId(bindingId) + "/ios.json", validated into a Creative.
class CreativeWebService : public AbstractWebService {
 public:
  using Completion =
      std::function<void(std::optional<Creative>, std::optional<LumoraAdBeaconError>)>;

  using AbstractWebService::AbstractWebService;

  /// The decimal digits joined by "/": 1234 -> "1/2/3/4", -12 -> "-/1/2".
  static std::string formatBindingId(std::int64_t bindingId);

  /// Returns at once. The completion runs once, on the session's worker thread,
  /// with exactly one of a creative and an error.
  void getCreative(std::int64_t bindingId, Completion completion) const;

 private:
  /// The reply's validation: a creative, or nothing after logging why.
  static std::optional<Creative> parseCreative(const HttpRequestSender::Body& body);
  std::string creativeURL(std::int64_t bindingId) const;
};

}  // namespace lumora
