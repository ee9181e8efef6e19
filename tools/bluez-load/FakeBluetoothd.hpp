#pragma once

#include <systemd/sd-bus.h>

#include <csignal>
#include <cstdint>
#include <string>
#include <vector>

namespace lumora::tools {

/// What lumora-bluez-load puts on the air.
struct LoadPlan {
  std::string busAddress;           // empty: the system bus
  double rate = 1000;               // PropertiesChanged signals per second, all devices together
  double seconds = 0;               // how long to run; 0: until SIGINT or SIGTERM
  std::uint32_t devices = 200;      // device objects under /org/bluez/hci0
  double iBeaconShare = 0.1;        // share of devices sending iBeacon frames
  double foreignShare = 0.2;        // share sending other companies' data
  std::uint32_t identities = 1000;  // custom-beacon identities on the air at once
  double identityLifetime = 60;     // seconds an identity lives before a new one replaces it
  std::string iBeaconUuid = "E2C56DB5-DFFB-48D2-B060-D0F5A71096E0";
  std::string serviceUuid = "0000feaa-0000-1000-8000-00805f9b34fb";
  std::string spaceId = "0a1b2c3d4e5f6071";  // 16 hexadecimal digits
};

/// Totals of one run.
struct LoadReport {
  std::uint64_t sent = 0;
  std::uint64_t skipped = 0;  // not sent because the bus had not taken earlier ones yet
  double seconds = 0;
  double cpuSeconds = 0;  // user + system time of this process
};

/// Plays bluetoothd on a bus, enough for a BlueZ central: owns org.bluez,
/// serves GetManagedObjects at / (adapter hci0, powered, and the devices),
/// SetDiscoveryFilter, StartDiscovery and StopDiscovery on the adapter, and
/// while discovery runs sends the devices' advertisements as
/// PropertiesChanged(org.bluez.Device1, {ManufacturerData, RSSI}) at the
/// planned rate. Custom-beacon devices list the service UUID; their frames
/// cycle through up to `identities` binding identifiers, each replaced by a
/// fresh one after `identityLifetime` seconds (births are staggered, so new
/// identities arrive steadily from the start).
class FakeBluetoothd {
 public:
  /// Throws std::runtime_error when the bus or the name cannot be had.
  explicit FakeBluetoothd(LoadPlan plan);
  ~FakeBluetoothd();
  FakeBluetoothd(const FakeBluetoothd&) = delete;
  FakeBluetoothd& operator=(const FakeBluetoothd&) = delete;

  /// Runs until the planned time is over or `*stop` becomes true.
  LoadReport run(const volatile std::sig_atomic_t* stop);

  /// Identity slot s first lives from firstBirth(s), so that identities keep
  /// arriving from the start; every `identityLifetime` a fresh identity takes
  /// its place. Custom advertisement `n` goes to slotAt(n), one of the slots
  /// born by then (visited in a scattered order, every slot once a round),
  /// and carries the binding identifier bindingOf(slot).
  static double firstBirth(const LoadPlan& plan, std::uint32_t slot);
  static std::uint32_t slotAt(const LoadPlan& plan, std::uint64_t n, double seconds);
  static std::uint32_t bindingOf(const LoadPlan& plan, std::uint32_t slot, double seconds);

 private:
  enum class Kind { iBeacon, custom, foreign };
  struct Device {
    std::string path;
    std::string address;
    Kind kind;
  };

  static int onRoot(sd_bus_message* message, void* self, sd_bus_error* error);
  static int onAdapter(sd_bus_message* message, void* self, sd_bus_error* error);
  int replyManagedObjects(sd_bus_message* call);
  int appendDevice(sd_bus_message* reply, const Device& device);
  int setDiscovering(sd_bus_message* call, bool discovering);
  void advertise(double seconds);
  std::vector<std::uint8_t> frameFor(const Device& device, double seconds);

  LoadPlan plan_;
  sd_bus* bus_ = nullptr;
  std::vector<Device> devices_;
  std::vector<std::uint8_t> iBeaconFrame_;
  bool discovering_ = false;
  std::uint64_t sent_ = 0;
  std::uint64_t skipped_ = 0;
  std::uint64_t customSent_ = 0;
};

}  // namespace lumora::tools
