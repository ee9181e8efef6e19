#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/util/Uuid.hpp"
#include "platform/BleCentral.hpp"
#include "platform/MainQueue.hpp"
#include "platform/linux/BluezAdvertisementMonitor.hpp"
#include "platform/linux/BluezBus.hpp"
#include "platform/linux/BluezProperties.hpp"
#include "platform/linux/DbusClient.hpp"

namespace lumora::platform {

/// A Bluetooth LE central over BlueZ's D-Bus API (org.bluez on the system bus).
///
/// State, as raw values: 0 unknown until BlueZ has first answered; 5 poweredOn
/// or 4 poweredOff from the first org.bluez.Adapter1's Powered property; 4
/// poweredOff also when no adapter exists or org.bluez has no owner
/// (bluetoothd stopped), because both are conditions the user can fix and the
/// central recovers from by itself when the adapter or the service returns;
/// 3 unauthorized when BlueZ refuses us (AccessDenied, NotAuthorized); 2
/// unsupported when the system bus cannot be reached at all. Every change is
/// posted to the delegate on the main queue.
///
/// Scanning: SetDiscoveryFilter({UUIDs, Transport "le", DuplicateData}) then
/// StartDiscovery. Advertisements come from InterfacesAdded and
/// PropertiesChanged of org.bluez.Device1, and from GetManagedObjects when a
/// scan starts (devices with an RSSI, that is seen by the current discovery).
/// Those signals and GetManagedObjects travel on an sd-bus connection
/// (BluezBus), subscribed with narrow match rules; method calls and the
/// advertisement monitor's objects use GDBus (DbusClient). Service UUIDs are
/// compared as UUIDs, and checked here too, since another client's filter can
/// widen what BlueZ reports. A device whose ManufacturerData holds several
/// companies is reported once per entry, so that each reaches the parser. When the adapter powers
/// on again or bluetoothd gets a new owner, a requested scan resumes by itself. With duplicates
/// allowed the discovery is restarted every `discoveryRestartSeconds`, because the controller's
/// duplicate filter otherwise passes an unchanged advertisement only about once per discovery
/// session.
///
/// A second, independent consumer, the advertisement monitor, receives the
/// advertisements iBeacon region monitoring is built on while monitoring is
/// demanded. Where the adapter offers org.bluez.AdvertisementMonitorManager1
/// with "or_patterns", a BluezAdvertisementMonitor matching iBeacon frames
/// (manufacturer data 4C 00 02 15) is registered for it: a device bluetoothd
/// reports with DeviceFound is read and reported, every later advertisement
/// change of it too, and its last advertisement is reported again every
/// `monitorRefreshSeconds` until DeviceLost, since BlueZ signals nothing for an
/// unchanged advertisement. No discovery runs for the monitor then. Without
/// the manager, or when RegisterMonitor fails or bluetoothd releases the
/// monitor, discovery serves the monitor instead: every advertisement heard
/// (any service, duplicates included) goes to it, and discovery runs while
/// either consumer needs it, with one filter that satisfies both (no service
/// UUIDs, duplicates allowed; the scan's service UUIDs are then enforced only
/// here). Stopping the scan leaves the discovery the monitor still needs
/// running. The monitor is unregistered when the demand ends and on
/// destruction, and registered again for a new bluetoothd or adapter.
///
/// The custom-beacon scan always uses discovery: its beacons are known only by
/// a service UUID, which an advertisement monitor pattern cannot express.
///
/// Call on the main queue (the default GLib main context's thread).
class BluezCentral : public BleCentral, public std::enable_shared_from_this<BluezCentral> {
 public:
  struct Options {
    /// A D-Bus address to use instead of the system bus (tests use a private bus).
    std::optional<std::string> busAddress;
    double discoveryRestartSeconds = 4.5;
    /// How often a device the advertisement monitor holds found is reported again.
    double monitorRefreshSeconds = 2.0;
    /// Silence after which bluetoothd reports a monitored device lost: the
    /// shortest it accepts, since the last advertisement is repeated until then
    /// and so holds the iBeacon gate open for that long after the beacon left.
    std::uint16_t monitorLostAfterSeconds = 1;
    int callTimeoutMs = 5000;
  };

  static std::shared_ptr<BluezCentral> create(std::shared_ptr<MainQueue> mainQueue,
                                              Options options);
  ~BluezCentral() override;

  void setDelegate(std::weak_ptr<BleCentralDelegate> delegate) override;
  std::int64_t state() const override;
  void scanForPeripherals(const std::vector<std::string>& serviceUuids,
                          bool allowDuplicates) override;
  void stopScan() override;

  using AdvertisementMonitor = std::function<void(const AdvertisementData&)>;
  /// Receives, on the main queue, advertisements heard while monitoring is
  /// demanded: those of iBeacons BlueZ's monitor holds found, or every one
  /// heard when discovery serves the monitor.
  void setAdvertisementMonitor(AdvertisementMonitor monitor);
  /// Keeps the monitor fed while true, scan or no scan: through BlueZ's
  /// advertisement monitor where available, else through discovery.
  void setMonitoringDemand(bool demanded);

 private:
  struct Device {
    std::string address;
    std::vector<BluezDeviceProperties::Bytes> manufacturerData;  // one entry per company
    std::vector<Uuid> serviceUuids;                              // UUIDs property
    std::vector<std::string> serviceUuidTexts;                   // the same, canonical text
    std::vector<Uuid> serviceDataUuids;                          // keys of ServiceData
    std::optional<std::int64_t> rssi;
  };
  struct Adapter {
    std::string path;
    bool powered = false;
    bool monitorManager = false;  // offers AdvertisementMonitorManager1 with "or_patterns"
  };

  BluezCentral(std::shared_ptr<MainQueue> mainQueue, Options options);
  using ObjectReader = std::optional<BluezObject> (*)(sd_bus_message*);

  void connect();
  BluezBus::Handler objectHandler(ObjectReader read, void (BluezCentral::*handle)(BluezObject&));
  void subscribeSignals();
  void watchDevices();

  void onOwnerChanged(bool owned);
  void loadManagedObjects(bool reportDevices);
  void onInterfacesAdded(BluezObject& object);
  void onInterfacesRemoved(BluezObject& object);
  void onPropertiesChanged(BluezObject& object);
  void onObject(BluezObject& object, bool reportDevices);
  void onAdapterProperties(const BluezObject::Adapter& properties);
  void onDeviceProperties(const std::string& path, BluezDeviceProperties& properties, bool report);
  void forgetAdapter();

  /// Registers or unregisters the advertisement monitor application as the
  /// demand and the adapter's abilities require.
  void updateMonitorApplication();
  bool monitorServedByBluez() const;
  bool monitorByDiscovery() const;
  void registerMonitor();
  void onMonitorRegistered(const std::optional<DbusError>& error);
  /// Gives up the advertisement monitor: discovery serves the monitor from now on.
  void fallBackToDiscovery(const std::string& reason);
  void dropMonitorApplication(bool unregister);
  void onMonitorDeviceFound(const std::string& path);
  void onMonitorDeviceLost(const std::string& path);
  void updateRefreshTimer();
  void onRefreshTick();

  /// Applies a change of either consumer: registers or drops the advertisement
  /// monitor, and starts, re-filters or stops discovery.
  void reconfigureDiscovery();
  bool discoveryWanted() const;
  bool duplicatesWanted() const;
  void updateRestartTimer();
  void startDiscovery();
  void onDiscoveryStarted(bool current, const std::optional<DbusError>& error);
  void onRestartTick();
  void stopDiscovery();
  void cancelRestartTimer();
  void onDiscoveryError(const DbusError& error);
  bool canDiscover() const;

  void report(const std::string& path, const Device& device);
  bool monitorHears(const std::string& path) const;
  bool reportsToScan(const Device& device);
  static std::vector<AdvertisementData> advertisementsOf(const Device& device);
  void postToMonitor(const AdvertisementData& advertisement);
  bool passesFilter(const Device& device) const;
  void updateState();
  std::int64_t computeState() const;

  const std::shared_ptr<MainQueue> mainQueue_;
  const Options options_;
  std::unique_ptr<DbusClient> bus_;
  std::unique_ptr<BluezBus> signals_;  // BlueZ's signals and object tree
  std::vector<std::unique_ptr<BluezBus::Match>> treeMatches_;
  std::unique_ptr<BluezBus::Match> deviceMatch_;  // the current adapter's devices
  std::weak_ptr<BleCentralDelegate> delegate_;
  std::int64_t state_ = 0;

  bool busUnavailable_ = false;
  std::optional<bool> ownerPresent_;   // unknown until the first watch report
  bool objectsLoaded_ = false;         // GetManagedObjects answered for the current owner
  std::uint64_t ownerGeneration_ = 0;  // bumps when org.bluez changes hands
  bool denied_ = false;
  std::optional<Adapter> adapter_;
  std::map<std::string, Device> devices_;  // by object path

  bool scanRequested_ = false;
  bool discovering_ = false;
  std::uint64_t scanGeneration_ = 0;  // bumps on every discovery change; stale replies are dropped
  std::vector<Uuid> services_;
  std::vector<std::string> serviceFilter_;  // as sent to BlueZ
  bool allowDuplicates_ = false;
  std::set<std::string> reportedOnce_;  // without duplicates: peripherals already reported
  AdvertisementMonitor monitor_;
  bool monitoringDemanded_ = false;
  std::shared_ptr<Timer> restartTimer_;

  std::shared_ptr<BluezAdvertisementMonitor> monitorApplication_;  // registering or registered
  bool monitorRegistered_ = false;
  bool monitorRefused_ = false;         // until the adapter or bluetoothd changes
  std::set<std::string> foundDevices_;  // object paths between DeviceFound and DeviceLost
  std::shared_ptr<Timer> refreshTimer_;
};

}  // namespace lumora::platform
