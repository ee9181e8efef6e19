#include "lumora/ReachabilityError.hpp"

#include <system_error>
#include <utility>

namespace lumora {
namespace {

constexpr std::uint8_t kFamilyIPv4 = 2;

// "error 24: Too many open files"
std::string errorText(std::int32_t errorNumber) {
  return "error " + std::to_string(errorNumber) + ": " +
         std::generic_category().message(errorNumber);
}

// The socket address in the length-and-family layout: dotted IPv4 for family
// 2, the family number otherwise.
std::string addressText(const ReachabilityError::SocketAddress& address) {
  if (address[1] != kFamilyIPv4) return "of family " + std::to_string(address[1]);
  return std::to_string(address[4]) + "." + std::to_string(address[5]) + "." +
         std::to_string(address[6]) + "." + std::to_string(address[7]);
}

std::string describe(ReachabilityError::Kind kind, std::int32_t errorNumber,
                     const ReachabilityError::SocketAddress& address, const std::string& hostname) {
  const std::string cause = " (" + errorText(errorNumber) + ")";
  switch (kind) {
    case ReachabilityError::Kind::failedToCreateWithAddress:
      return "Failed to create reachability reference for address " + addressText(address) + cause;
    case ReachabilityError::Kind::failedToCreateWithHostname:
      return "Failed to create reachability reference for host " + hostname + cause;
    case ReachabilityError::Kind::unableToSetCallback:
      return "Unable to set reachability callback" + cause;
    case ReachabilityError::Kind::unableToSetDispatchQueue:
      return "Unable to set reachability dispatch queue" + cause;
    case ReachabilityError::Kind::unableToGetFlags:
      return "Unable to get reachability flags" + cause;
  }
  return "Unknown reachability error" + cause;
}

}  // namespace

ReachabilityError::ReachabilityError(Kind kind, std::int32_t errorNumber, SocketAddress address,
                                     std::string hostname)
    : kind_(kind),
      errorNumber_(errorNumber),
      address_(address),
      hostname_(std::move(hostname)),
      description_(describe(kind_, errorNumber_, address_, hostname_)) {}

ReachabilityError ReachabilityError::failedToCreateWithAddress(SocketAddress address,
                                                               std::int32_t errorNumber) {
  return ReachabilityError(Kind::failedToCreateWithAddress, errorNumber, address, {});
}

ReachabilityError ReachabilityError::failedToCreateWithHostname(std::string hostname,
                                                                std::int32_t errorNumber) {
  return ReachabilityError(Kind::failedToCreateWithHostname, errorNumber, {}, std::move(hostname));
}

ReachabilityError ReachabilityError::unableToSetCallback(std::int32_t errorNumber) {
  return ReachabilityError(Kind::unableToSetCallback, errorNumber, {}, {});
}

ReachabilityError ReachabilityError::unableToSetDispatchQueue(std::int32_t errorNumber) {
  return ReachabilityError(Kind::unableToSetDispatchQueue, errorNumber, {}, {});
}

ReachabilityError ReachabilityError::unableToGetFlags(std::int32_t errorNumber) {
  return ReachabilityError(Kind::unableToGetFlags, errorNumber, {}, {});
}

ReachabilityError::Kind ReachabilityError::kind() const noexcept { return kind_; }
std::int32_t ReachabilityError::errorNumber() const noexcept { return errorNumber_; }
const ReachabilityError::SocketAddress& ReachabilityError::address() const noexcept {
  return address_;
}
const std::string& ReachabilityError::hostname() const noexcept { return hostname_; }
const std::string& ReachabilityError::localizedDescription() const noexcept { return description_; }
const char* ReachabilityError::what() const noexcept { return description_.c_str(); }

}  // namespace lumora
