#pragma once

#include <array>
#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

#include "lumora/export.hpp"

namespace lumora {

/// Posted by nothing in the library; kept as part of the public surface.
inline constexpr std::string_view ReachabilityChangedNotification =
    "ReachabilityChangedNotification";
inline constexpr std::string_view reachabilityChanged = "reachabilityChanged";

/// Why a reachability probe could not be made. Each case carries the error
/// number current at the failure.
class LUMORA_EXPORT ReachabilityError : public std::exception {
 public:
  enum class Kind {
    failedToCreateWithAddress,
    failedToCreateWithHostname,
    unableToSetCallback,
    unableToSetDispatchQueue,
    unableToGetFlags
  };
  using SocketAddress = std::array<std::uint8_t, 16>;

  static ReachabilityError failedToCreateWithAddress(SocketAddress address,
                                                     std::int32_t errorNumber);
  static ReachabilityError failedToCreateWithHostname(std::string hostname,
                                                      std::int32_t errorNumber);
  static ReachabilityError unableToSetCallback(std::int32_t errorNumber);
  static ReachabilityError unableToSetDispatchQueue(std::int32_t errorNumber);
  static ReachabilityError unableToGetFlags(std::int32_t errorNumber);

  Kind kind() const noexcept;
  std::int32_t errorNumber() const noexcept;
  const SocketAddress& address() const noexcept;
  const std::string& hostname() const noexcept;
  const std::string& localizedDescription() const noexcept;
  const char* what() const noexcept override;

 private:
  ReachabilityError(Kind kind, std::int32_t errorNumber, SocketAddress address,
                    std::string hostname);

  Kind kind_;
  std::int32_t errorNumber_;
  SocketAddress address_{};
  std::string hostname_;
  std::string description_;
};

}  // namespace lumora
