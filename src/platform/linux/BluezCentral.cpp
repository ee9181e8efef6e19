#include "platform/linux/BluezCentral.hpp"

#include <algorithm>
#include <utility>

#include "core/util/LumoraLogger.hpp"

namespace lumora::platform {
namespace {

constexpr const char* kBluez = "org.bluez";
constexpr const char* kObjectManager = "org.freedesktop.DBus.ObjectManager";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
constexpr const char* kAdapterIface = "org.bluez.Adapter1";
constexpr const char* kDeviceIface = "org.bluez.Device1";
constexpr const char* kMonitorManagerIface = "org.bluez.AdvertisementMonitorManager1";

constexpr std::string_view kLogFile = "BluezCentral";
constexpr std::string_view kMonitoringFunction = "setMonitoringDemand(_:)";

constexpr std::int64_t kUnknown = 0;
constexpr std::int64_t kUnsupported = 2;
constexpr std::int64_t kUnauthorized = 3;
constexpr std::int64_t kPoweredOff = 4;
constexpr std::int64_t kPoweredOn = 5;

bool isAccessError(const DbusError& error) {
  return error.name == "org.bluez.Error.NotAuthorized" ||
         error.name == "org.freedesktop.DBus.Error.AccessDenied";
}

/// Match rules for BlueZ's signals, as narrow as the daemon lets them be.
std::string signalRule(const char* iface, const char* member, const std::string& pathRule) {
  return std::string("type='signal',sender='org.bluez',interface='") + iface + "',member='" +
         member + "'," + pathRule;
}

std::string objectTreeRule(const char* member) {
  return signalRule(kObjectManager, member, "path='/'");
}

std::string propertiesRule(const char* iface, const std::string& pathNamespace) {
  return signalRule(kProperties, "PropertiesChanged",
                    std::string("arg0='") + iface + "',path_namespace='" + pathNamespace + "'");
}

std::optional<DbusError> errorOf(sd_bus_message* reply) {
  if (!sd_bus_message_is_method_error(reply, nullptr)) return std::nullopt;
  const sd_bus_error* error = sd_bus_message_get_error(reply);
  DbusError result;
  result.name = error && error->name ? error->name : "";
  result.message = error && error->message ? error->message : "";
  return result;
}

std::vector<std::string> uuidTexts(const std::vector<Uuid>& uuids) {
  std::vector<std::string> texts;
  texts.reserve(uuids.size());
  for (const auto& uuid : uuids) texts.push_back(uuid.text());
  return texts;
}

/// iBeacon frames: manufacturer-specific data (AD type 0xFF) starting with
/// Apple's company identifier (4C 00, little-endian) and the iBeacon type 02 15.
std::vector<BluezAdvertisementMonitor::Pattern> iBeaconPatterns() {
  return {{0, 0xff, {0x4c, 0x00, 0x02, 0x15}}};
}

void logMonitoring(const std::string& message) {
  LUMORA_LOG(LogLevel::info, kLogFile, kMonitoringFunction, message);
}

GVariant* discoveryFilter(const std::vector<std::string>& services, bool duplicates) {
  GVariantBuilder uuids;
  g_variant_builder_init(&uuids, G_VARIANT_TYPE_STRING_ARRAY);
  for (const auto& uuid : services) g_variant_builder_add(&uuids, "s", uuid.c_str());
  GVariantBuilder filter;
  g_variant_builder_init(&filter, G_VARIANT_TYPE("a{sv}"));
  g_variant_builder_add(&filter, "{sv}", "UUIDs", g_variant_builder_end(&uuids));
  g_variant_builder_add(&filter, "{sv}", "Transport", g_variant_new_string("le"));
  g_variant_builder_add(&filter, "{sv}", "DuplicateData", g_variant_new_boolean(duplicates));
  return g_variant_new("(@a{sv})", g_variant_builder_end(&filter));
}

}  // namespace

BluezCentral::BluezCentral(std::shared_ptr<MainQueue> mainQueue, Options options)
    : mainQueue_(std::move(mainQueue)), options_(std::move(options)) {}

std::shared_ptr<BluezCentral> BluezCentral::create(std::shared_ptr<MainQueue> mainQueue,
                                                   Options options) {
  std::shared_ptr<BluezCentral> central(new BluezCentral(std::move(mainQueue), std::move(options)));
  central->connect();
  return central;
}

BluezCentral::~BluezCentral() {
  cancelRestartTimer();
  dropMonitorApplication(true);
}

void BluezCentral::connect() {
  std::string failure;
  bus_ = DbusClient::connect(G_BUS_TYPE_SYSTEM, options_.busAddress, &failure);
  if (bus_) signals_ = BluezBus::connect(options_.busAddress, &failure);
  if (!bus_ || !signals_) {
    bus_.reset();
    busUnavailable_ = true;
    updateState();
    return;
  }
  subscribeSignals();
  std::weak_ptr<BluezCentral> weak = weak_from_this();
  bus_->watchName(kBluez, [weak](bool owned) {
    if (auto self = weak.lock()) self->onOwnerChanged(owned);
  });
}

BluezBus::Handler BluezCentral::objectHandler(ObjectReader read,
                                              void (BluezCentral::*handle)(BluezObject&)) {
  return [weak = weak_from_this(), read, handle](sd_bus_message* message) {
    auto self = weak.lock();
    if (!self) return;
    if (auto object = read(message)) ((*self).*handle)(*object);
  };
}

void BluezCentral::subscribeSignals() {
  treeMatches_.push_back(
      signals_->match(objectTreeRule("InterfacesAdded"),
                      objectHandler(readInterfacesAdded, &BluezCentral::onInterfacesAdded)));
  treeMatches_.push_back(
      signals_->match(objectTreeRule("InterfacesRemoved"),
                      objectHandler(readInterfacesRemoved, &BluezCentral::onInterfacesRemoved)));
  treeMatches_.push_back(
      signals_->match(propertiesRule(kAdapterIface, "/org/bluez"),
                      objectHandler(readPropertiesChanged, &BluezCentral::onPropertiesChanged)));
}

void BluezCentral::watchDevices() {
  // Advertisements: only the devices of the adapter in use.
  deviceMatch_ =
      signals_->match(propertiesRule(kDeviceIface, adapter_->path),
                      objectHandler(readPropertiesChanged, &BluezCentral::onPropertiesChanged));
}

void BluezCentral::setDelegate(std::weak_ptr<BleCentralDelegate> delegate) {
  delegate_ = std::move(delegate);
  if (state_ == kUnknown) return;
  mainQueue_->post([delegate = delegate_, state = state_] {
    if (auto target = delegate.lock()) target->centralDidUpdateState(state);
  });
}

std::int64_t BluezCentral::state() const { return state_; }

void BluezCentral::scanForPeripherals(const std::vector<std::string>& serviceUuids,
                                      bool allowDuplicates) {
  scanRequested_ = true;
  services_.clear();
  serviceFilter_.clear();
  for (const auto& text : serviceUuids) {
    const auto uuid = Uuid::parse(text);
    if (uuid) services_.push_back(*uuid);
    serviceFilter_.push_back(uuid ? uuid->text() : text);
  }
  allowDuplicates_ = allowDuplicates;
  reportedOnce_.clear();
  reconfigureDiscovery();
}

void BluezCentral::stopScan() {
  scanRequested_ = false;
  reportedOnce_.clear();
  reconfigureDiscovery();
}

void BluezCentral::setAdvertisementMonitor(AdvertisementMonitor monitor) {
  monitor_ = std::move(monitor);
}

void BluezCentral::setMonitoringDemand(bool demanded) {
  if (demanded == monitoringDemanded_) return;
  monitoringDemanded_ = demanded;
  reconfigureDiscovery();
}

// --- BlueZ's object tree -----------------------------------------------------

void BluezCentral::onOwnerChanged(bool owned) {
  ++ownerGeneration_;
  ownerPresent_ = owned;
  objectsLoaded_ = false;
  denied_ = false;
  forgetAdapter();
  if (owned) loadManagedObjects(false);
  updateState();
}

void BluezCentral::loadManagedObjects(bool reportDevices) {
  signals_->call(kBluez, "/", kObjectManager, "GetManagedObjects", nullptr, options_.callTimeoutMs,
                 [weak = weak_from_this(), reportDevices,
                  generation = ownerGeneration_](sd_bus_message* reply) {
                   auto self = weak.lock();
                   if (!self || generation != self->ownerGeneration_) return;
                   self->objectsLoaded_ = true;
                   if (const auto error = errorOf(reply)) {
                     self->denied_ = isAccessError(*error);
                   } else if (auto objects = readManagedObjects(reply)) {
                     for (auto& object : *objects) self->onObject(object, reportDevices);
                   }
                   self->updateState();
                 });
}

void BluezCentral::onInterfacesAdded(BluezObject& object) {
  onObject(object, true);
  updateState();
}

void BluezCentral::onObject(BluezObject& object, bool reportDevices) {
  if (object.adapter && !adapter_) {
    adapter_ = Adapter{object.path, object.adapter->powered.value_or(false),
                       object.monitorManager.value_or(false)};
    watchDevices();
    reconfigureDiscovery();  // resumes what was requested on the new adapter
  } else if (object.monitorManager && adapter_ && adapter_->path == object.path &&
             adapter_->monitorManager != *object.monitorManager) {
    adapter_->monitorManager = *object.monitorManager;
    reconfigureDiscovery();
  }
  if (object.device) onDeviceProperties(object.path, *object.device, reportDevices);
}

void BluezCentral::onInterfacesRemoved(BluezObject& object) {
  if (object.device) {
    devices_.erase(object.path);
    foundDevices_.erase(object.path);
  }
  const bool ours = adapter_ && adapter_->path == object.path;
  if (ours && object.adapter) {
    forgetAdapter();
    loadManagedObjects(false);  // another adapter may take over
  } else if (ours && object.monitorManager) {
    adapter_->monitorManager = false;
    fallBackToDiscovery("The adapter no longer offers advertisement monitors");
  }
  updateState();
}

void BluezCentral::onPropertiesChanged(BluezObject& object) {
  if (object.adapter && adapter_ && adapter_->path == object.path) {
    onAdapterProperties(*object.adapter);
  } else if (object.device) {
    auto device = devices_.find(object.path);
    if (device != devices_.end()) {
      // BlueZ invalidates advertisement fields that expired; keep the rest.
      for (const auto& name : object.invalidated) {
        if (name == "ManufacturerData") device->second.manufacturerData.clear();
        if (name == "RSSI") device->second.rssi.reset();
      }
    }
    onDeviceProperties(object.path, *object.device, true);
  }
  updateState();
}

void BluezCentral::onAdapterProperties(const BluezObject::Adapter& properties) {
  if (!properties.powered) return;
  const bool wasPowered = adapter_->powered;
  adapter_->powered = *properties.powered;
  if (adapter_->powered == wasPowered) return;
  if (adapter_->powered) {
    startDiscovery();  // resumes a requested scan
  } else {
    discovering_ = false;  // BlueZ ends every discovery session when the radio goes off
  }
}

void BluezCentral::onDeviceProperties(const std::string& path, BluezDeviceProperties& properties,
                                      bool report) {
  Device& device = devices_[path];
  if (properties.address) device.address = std::move(*properties.address);
  if (properties.manufacturerData)
    device.manufacturerData = std::move(*properties.manufacturerData);
  if (properties.uuids) {
    device.serviceUuidTexts = uuidTexts(*properties.uuids);
    device.serviceUuids = std::move(*properties.uuids);
  }
  if (properties.serviceDataUuids)
    device.serviceDataUuids = std::move(*properties.serviceDataUuids);
  if (properties.rssi) device.rssi = *properties.rssi;
  const bool advertised = properties.manufacturerData || properties.uuids ||
                          properties.serviceDataUuids || properties.rssi;
  // Without an RSSI a cached device is not being heard, unless the monitor holds it found.
  const bool heard = device.rssi || foundDevices_.count(path) > 0;
  if (report && advertised && heard) this->report(path, device);
}

void BluezCentral::forgetAdapter() {
  dropMonitorApplication(false);  // its registration went with the adapter or bluetoothd
  monitorRefused_ = false;        // a new one may accept it
  adapter_.reset();
  deviceMatch_.reset();
  devices_.clear();
  discovering_ = false;
}

// --- BlueZ's advertisement monitor ------------------------------------------------

bool BluezCentral::monitorServedByBluez() const {
  return monitoringDemanded_ && adapter_ && adapter_->monitorManager && !monitorRefused_;
}

bool BluezCentral::monitorByDiscovery() const {
  return monitoringDemanded_ && !monitorServedByBluez();
}

void BluezCentral::updateMonitorApplication() {
  const bool wanted = monitorServedByBluez();
  if (wanted && !monitorApplication_) registerMonitor();
  if (!wanted && monitorApplication_) dropMonitorApplication(true);
}

void BluezCentral::registerMonitor() {
  std::weak_ptr<BluezCentral> weak = weak_from_this();
  BluezAdvertisementMonitor::Events events;
  events.deviceFound = [weak](const std::string& device) {
    if (auto self = weak.lock()) self->onMonitorDeviceFound(device);
  };
  events.deviceLost = [weak](const std::string& device) {
    if (auto self = weak.lock()) self->onMonitorDeviceLost(device);
  };
  events.released = [weak] {
    if (auto self = weak.lock()) self->fallBackToDiscovery("bluetoothd released the monitor");
  };
  std::string failure;
  auto application = BluezAdvertisementMonitor::create(bus_->connection(), iBeaconPatterns(),
                                                       options_.monitorLostAfterSeconds,
                                                       std::move(events), &failure);
  if (!application) {
    logMonitoring("Cannot export the advertisement monitor (" + failure +
                  "); using discovery instead");
    monitorRefused_ = true;
    return;
  }
  monitorApplication_ = application;
  bus_->call(kBluez, adapter_->path, kMonitorManagerIface, "RegisterMonitor",
             g_variant_new("(o)", application->rootPath().c_str()), options_.callTimeoutMs,
             [weak, application = std::weak_ptr(application)](
                 GVariant*, const std::optional<DbusError>& error) {
               auto self = weak.lock();
               if (!self || !self->monitorApplication_ ||
                   self->monitorApplication_ != application.lock()) {
                 return;
               }
               self->onMonitorRegistered(error);
             });
}

void BluezCentral::onMonitorRegistered(const std::optional<DbusError>& error) {
  if (error) {
    return fallBackToDiscovery("RegisterMonitor failed (" + error->name + ": " + error->message +
                               ")");
  }
  monitorRegistered_ = true;
  logMonitoring("Advertisement monitor registered on " + adapter_->path);
}

void BluezCentral::fallBackToDiscovery(const std::string& reason) {
  if (!monitorApplication_) return;
  logMonitoring(reason + "; using discovery instead");
  monitorRefused_ = true;
  dropMonitorApplication(monitorRegistered_);
  reconfigureDiscovery();
}

void BluezCentral::dropMonitorApplication(bool unregister) {
  if (!monitorApplication_) return;
  // Sent even while RegisterMonitor is in flight: bluetoothd handles both in order.
  if (unregister && bus_ && adapter_) {
    bus_->call(kBluez, adapter_->path, kMonitorManagerIface, "UnregisterMonitor",
               g_variant_new("(o)", monitorApplication_->rootPath().c_str()),
               options_.callTimeoutMs, [](GVariant*, const std::optional<DbusError>&) {});
  }
  monitorApplication_.reset();
  monitorRegistered_ = false;
  foundDevices_.clear();
  updateRefreshTimer();
}

void BluezCentral::onMonitorDeviceFound(const std::string& path) {
  if (!monitorApplication_) return;
  foundDevices_.insert(path);
  updateRefreshTimer();
  signals_->call(
      kBluez, path, kProperties, "GetAll", kDeviceIface, options_.callTimeoutMs,
      [weak = weak_from_this(), path, generation = ownerGeneration_](sd_bus_message* reply) {
        auto self = weak.lock();
        if (!self || generation != self->ownerGeneration_) return;
        if (auto properties = readDeviceProperties(reply)) {
          self->onDeviceProperties(path, *properties, true);
        }
      });
}

void BluezCentral::onMonitorDeviceLost(const std::string& path) {
  foundDevices_.erase(path);
  updateRefreshTimer();
}

void BluezCentral::updateRefreshTimer() {
  if (foundDevices_.empty()) {
    if (refreshTimer_) refreshTimer_->invalidate();
    refreshTimer_.reset();
    return;
  }
  if (refreshTimer_) return;
  std::weak_ptr<BluezCentral> weak = weak_from_this();
  refreshTimer_ = mainQueue_->scheduleTimer(options_.monitorRefreshSeconds, true, [weak](Timer&) {
    if (auto self = weak.lock()) self->onRefreshTick();
  });
}

void BluezCentral::onRefreshTick() {
  if (!monitoringDemanded_ || !monitor_) return;
  for (const auto& path : foundDevices_) {
    auto device = devices_.find(path);
    if (device == devices_.end()) continue;
    for (const auto& advertisement : advertisementsOf(device->second)) postToMonitor(advertisement);
  }
}

// --- Discovery -----------------------------------------------------------------

void BluezCentral::reconfigureDiscovery() {
  ++scanGeneration_;
  if (bus_) updateMonitorApplication();
  updateRestartTimer();
  if (discoveryWanted()) {
    startDiscovery();  // a running discovery takes the new filter
  } else {
    stopDiscovery();
  }
}

bool BluezCentral::discoveryWanted() const { return scanRequested_ || monitorByDiscovery(); }

bool BluezCentral::duplicatesWanted() const {
  return monitorByDiscovery() || (scanRequested_ && allowDuplicates_);
}

void BluezCentral::updateRestartTimer() {
  if (!duplicatesWanted()) return cancelRestartTimer();
  if (restartTimer_) return;  // keeps its rhythm across filter changes
  std::weak_ptr<BluezCentral> weak = weak_from_this();
  restartTimer_ = mainQueue_->scheduleTimer(options_.discoveryRestartSeconds, true, [weak](Timer&) {
    if (auto self = weak.lock()) self->onRestartTick();
  });
}

bool BluezCentral::canDiscover() const {
  return discoveryWanted() && bus_ && adapter_ && adapter_->powered && !denied_;
}

void BluezCentral::startDiscovery() {
  if (!canDiscover()) return;
  std::weak_ptr<BluezCentral> weak = weak_from_this();
  const std::string adapterPath = adapter_->path;
  const auto isCurrent = [generation = scanGeneration_, adapterPath](const BluezCentral& self) {
    return self.scanGeneration_ == generation && self.canDiscover() &&
           self.adapter_->path == adapterPath;
  };
  // A monitor fed by discovery needs every advertisement, so it widens the
  // filter to all services; the scan's services are then checked in report().
  const std::vector<std::string> noServices;
  bus_->call(
      kBluez, adapterPath, kAdapterIface, "SetDiscoveryFilter",
      discoveryFilter(monitorByDiscovery() ? noServices : serviceFilter_, duplicatesWanted()),
      options_.callTimeoutMs,
      [weak, isCurrent, adapterPath](GVariant*, const std::optional<DbusError>& error) {
        auto self = weak.lock();
        if (!self || !isCurrent(*self)) return;
        // A BlueZ that rejects part of the filter still scans; only a refusal stops us.
        if (error && isAccessError(*error)) return self->onDiscoveryError(*error);
        self->bus_->call(kBluez, adapterPath, kAdapterIface, "StartDiscovery", nullptr,
                         self->options_.callTimeoutMs,
                         [weak, isCurrent](GVariant*, const std::optional<DbusError>& error) {
                           auto self = weak.lock();
                           if (self) self->onDiscoveryStarted(isCurrent(*self), error);
                         });
      });
}

void BluezCentral::onDiscoveryStarted(bool current, const std::optional<DbusError>& error) {
  if (!current) {
    // Discovery was given up while this start was in flight: end the session it opened.
    if (!error && !discoveryWanted()) {
      discovering_ = true;
      stopDiscovery();
    }
    return;
  }
  if (error && error->name != "org.bluez.Error.InProgress") return onDiscoveryError(*error);
  discovering_ = true;
  loadManagedObjects(true);
}

void BluezCentral::onRestartTick() {
  if (!discovering_) return startDiscovery();  // also retries a start that failed
  std::weak_ptr<BluezCentral> weak = weak_from_this();
  bus_->call(kBluez, adapter_->path, kAdapterIface, "StopDiscovery", nullptr,
             options_.callTimeoutMs,
             [weak, generation = scanGeneration_](GVariant*, const std::optional<DbusError>&) {
               auto self = weak.lock();
               if (!self || self->scanGeneration_ != generation) return;
               self->discovering_ = false;
               self->startDiscovery();
             });
}

void BluezCentral::stopDiscovery() {
  if (!discovering_ || !adapter_) return;
  discovering_ = false;
  bus_->call(kBluez, adapter_->path, kAdapterIface, "StopDiscovery", nullptr,
             options_.callTimeoutMs, [](GVariant*, const std::optional<DbusError>&) {});
}

void BluezCentral::cancelRestartTimer() {
  if (restartTimer_) restartTimer_->invalidate();
  restartTimer_.reset();
}

void BluezCentral::onDiscoveryError(const DbusError& error) {
  discovering_ = false;
  if (isAccessError(error)) {
    denied_ = true;
    updateState();
  }
  // Other failures (NotReady while the radio powers down, Failed) are retried
  // by the restart timer or when the adapter reports Powered again.
}

// --- Reporting -----------------------------------------------------------------

bool BluezCentral::passesFilter(const Device& device) const {
  if (serviceFilter_.empty()) return true;
  const auto advertises = [&](const Uuid& uuid) {
    return std::find(device.serviceUuids.begin(), device.serviceUuids.end(), uuid) !=
               device.serviceUuids.end() ||
           std::find(device.serviceDataUuids.begin(), device.serviceDataUuids.end(), uuid) !=
               device.serviceDataUuids.end();
  };
  return std::any_of(services_.begin(), services_.end(), advertises);
}

bool BluezCentral::reportsToScan(const Device& device) {
  if (!scanRequested_ || !passesFilter(device)) return false;
  return allowDuplicates_ || reportedOnce_.insert(device.address).second;
}

bool BluezCentral::monitorHears(const std::string& path) const {
  if (!monitoringDemanded_ || !monitor_) return false;
  return monitorByDiscovery() || foundDevices_.count(path) > 0;
}

std::vector<AdvertisementData> BluezCentral::advertisementsOf(const Device& device) {
  AdvertisementData advertisement;
  advertisement.peripheralId = device.address;
  advertisement.serviceUuids = device.serviceUuidTexts;
  advertisement.rssi = device.rssi.value_or(0);
  if (device.manufacturerData.empty()) return {advertisement};
  // One advertisement per company: each entry reaches the parser on its own.
  std::vector<AdvertisementData> advertisements(device.manufacturerData.size() - 1, advertisement);
  advertisements.push_back(std::move(advertisement));
  for (std::size_t i = 0; i < advertisements.size(); ++i) {
    advertisements[i].manufacturerData = device.manufacturerData[i];
  }
  return advertisements;
}

void BluezCentral::postToMonitor(const AdvertisementData& advertisement) {
  mainQueue_->post([weak = weak_from_this(), advertisement] {
    auto self = weak.lock();
    if (self && self->monitoringDemanded_ && self->monitor_) self->monitor_(advertisement);
  });
}

void BluezCentral::report(const std::string& path, const Device& device) {
  const bool toMonitor = monitorHears(path);
  const bool toScan = reportsToScan(device);
  if (!toMonitor && !toScan) return;
  // One task serves both consumers: one main-loop turn and no copy per consumer.
  mainQueue_->post([weak = weak_from_this(), delegate = delegate_, toMonitor, toScan,
                    advertisements = advertisementsOf(device)] {
    for (const auto& advertisement : advertisements) {
      if (toMonitor) {
        auto self = weak.lock();
        if (self && self->monitoringDemanded_ && self->monitor_) self->monitor_(advertisement);
      }
      if (toScan) {
        if (auto target = delegate.lock()) target->centralDidDiscover(advertisement);
      }
    }
  });
}

std::int64_t BluezCentral::computeState() const {
  if (busUnavailable_) return kUnsupported;
  if (!ownerPresent_) return kUnknown;
  if (denied_) return kUnauthorized;
  if (!*ownerPresent_) return kPoweredOff;
  if (!objectsLoaded_) return state_;  // the last known state stands until BlueZ answers
  if (!adapter_) return kPoweredOff;
  return adapter_->powered ? kPoweredOn : kPoweredOff;
}

void BluezCentral::updateState() {
  const std::int64_t state = computeState();
  if (state == state_) return;
  state_ = state;
  mainQueue_->post([delegate = delegate_, state] {
    if (auto target = delegate.lock()) target->centralDidUpdateState(state);
  });
}

}  // namespace lumora::platform
