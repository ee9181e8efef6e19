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
/// The short name of the same notification.
inline constexpr std::string_view reachabilityChanged = "reachabilityChanged";

/// Why a reachability probe could not be made. Each case carries the error
/// number current at the failure.
class LUMORA_EXPORT ReachabilityError : public std::exception {
 public:
  /// The step that failed.
  enum class Kind {
    failedToCreateWithAddress,   ///< no probe for an address
    failedToCreateWithHostname,  ///< no probe for a host name
    unableToSetCallback,         ///< change reports could not be set up
    unableToSetDispatchQueue,    ///< change reports could not be scheduled
    unableToGetFlags             ///< the current state could not be read
  };
  /// A socket address as raw bytes (length, family, port, IPv4 address, padding).
  using SocketAddress = std::array<std::uint8_t, 16>;

  /// "Failed to create reachability reference for address <a.b.c.d> (error N: text)".
  static ReachabilityError failedToCreateWithAddress(SocketAddress address,
                                                     std::int32_t errorNumber);
  /// "Failed to create reachability reference for host <hostname> (error N: text)".
  static ReachabilityError failedToCreateWithHostname(std::string hostname,
                                                      std::int32_t errorNumber);
  /// "Unable to set reachability callback (error N: text)".
  static ReachabilityError unableToSetCallback(std::int32_t errorNumber);
  /// "Unable to set reachability dispatch queue (error N: text)".
  static ReachabilityError unableToSetDispatchQueue(std::int32_t errorNumber);
  /// "Unable to get reachability flags (error N: text)".
  static ReachabilityError unableToGetFlags(std::int32_t errorNumber);

  /// Which step failed.
  Kind kind() const noexcept;
  /// The error number (errno) current at the failure.
  std::int32_t errorNumber() const noexcept;
  /// The address of failedToCreateWithAddress; all zero for the other kinds.
  const SocketAddress& address() const noexcept;
  /// The host name of failedToCreateWithHostname; empty for the other kinds.
  const std::string& hostname() const noexcept;
  /// The text for people, naming the step and the error number.
  const std::string& localizedDescription() const noexcept;
  /// localizedDescription(), as a C string.
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
