#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumora::platform {

/// What one received advertisement carried.
struct AdvertisementData {
  std::string peripheralId;
  /// The manufacturer-specific data: the little-endian company identifier
  /// followed by the value. Absent when the advertisement had none.
  std::optional<std::vector<std::uint8_t>> manufacturerData;
  std::vector<std::string> serviceUuids;  // canonical upper-case 128-bit text
  std::int64_t rssi = 0;
};

/// Receives the central's events, on the main queue.
class BleCentralDelegate {
 public:
  virtual ~BleCentralDelegate() = default;
  /// Raw state: 0 unknown, 1 resetting, 2 unsupported, 3 unauthorized,
  /// 4 poweredOff, 5 poweredOn; other values may appear.
  virtual void centralDidUpdateState(std::int64_t state) = 0;
  virtual void centralDidDiscover(const AdvertisementData& advertisement) = 0;
};

/// A Bluetooth LE central. Call on the main queue.
class BleCentral {
 public:
  virtual ~BleCentral() = default;
  virtual void setDelegate(std::weak_ptr<BleCentralDelegate> delegate) = 0;
  virtual std::int64_t state() const = 0;
  /// Starts or replaces the scan. Only peripherals advertising one of the
  /// services are reported (all, when the list is empty).
  virtual void scanForPeripherals(const std::vector<std::string>& serviceUuids,
                                  bool allowDuplicates) = 0;
  virtual void stopScan() = 0;
};

}  // namespace lumora::platform
