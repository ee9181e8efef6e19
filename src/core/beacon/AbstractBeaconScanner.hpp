#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "core/beacon/LocationManagerProtocol.hpp"
#include "lumora/LumoraAdBeaconError.hpp"

namespace lumora {

/// What both beacon scanners share: the location layer, the scanning flag and
/// the location-permission check. Scanners are created through their own
/// static create(), since they hand weak references to themselves to the
/// services they listen to.
class AbstractBeaconScanner : public std::enable_shared_from_this<AbstractBeaconScanner> {
 public:
  /// Reports the outcome of startScanning: true and no error, or false and why.
  using Completion =
      std::function<void(bool success, const std::optional<LumoraAdBeaconError>& error)>;

  /// The outcome of checkLocationPermission().
  struct LocationPermission {
    bool authorized = false;
    std::optional<LumoraAdBeaconError> error;
  };

  virtual ~AbstractBeaconScanner() = default;

  bool isScanning() const noexcept;
  void setIsScanning(bool isScanning) noexcept;

  /// Each scanner has its own way to start and stop; an empty completion
  /// means nobody waits for the outcome.
  virtual void startScanning(Completion completion) = 0;
  virtual void stopScanning() = 0;

  /// Reads the authorization status once: only authorizedAlways is enough.
  /// Logs the finding.
  LocationPermission checkLocationPermission() const;

 protected:
  AbstractBeaconScanner(std::shared_ptr<LocationManagerProtocol> locationManager, bool isScanning);

  const std::shared_ptr<LocationManagerProtocol>& locationManager() const noexcept;

  /// A weak reference to this scanner as its concrete type.
  template <class Scanner>
  std::weak_ptr<Scanner> weakSelf() {
    return std::static_pointer_cast<Scanner>(shared_from_this());
  }

 private:
  const std::shared_ptr<LocationManagerProtocol> locationManager_;
  bool isScanning_;
};

}  // namespace lumora
