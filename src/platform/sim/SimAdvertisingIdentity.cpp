#include "platform/sim/SimAdvertisingIdentity.hpp"

#include <utility>

namespace lumora::platform {
namespace {

constexpr std::int64_t kDenied = 2;

}  // namespace

SimAdvertisingIdentity::SimAdvertisingIdentity(bool trackingAuthorized, std::string identifier,
                                               bool requiresAuthorization)
    : requiresAuthorization_(requiresAuthorization),
      status_(trackingAuthorized ? kTrackingAuthorized : kDenied),
      identifier_(std::move(identifier)) {}

bool SimAdvertisingIdentity::requiresTrackingAuthorization() const {
  std::lock_guard lock(mutex_);
  return requiresAuthorization_;
}

std::int64_t SimAdvertisingIdentity::trackingAuthorizationStatus() const {
  std::lock_guard lock(mutex_);
  return status_;
}

std::string SimAdvertisingIdentity::advertisingIdentifier() const {
  std::lock_guard lock(mutex_);
  return identifier_;
}

void SimAdvertisingIdentity::setRequiresTrackingAuthorization(bool required) {
  std::lock_guard lock(mutex_);
  requiresAuthorization_ = required;
}

void SimAdvertisingIdentity::setTrackingAuthorizationStatus(std::int64_t status) {
  std::lock_guard lock(mutex_);
  status_ = status;
}

void SimAdvertisingIdentity::setAdvertisingIdentifier(std::string identifier) {
  std::lock_guard lock(mutex_);
  identifier_ = std::move(identifier);
}

}  // namespace lumora::platform
