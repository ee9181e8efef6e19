#include "platform/linux/BluezCentral.hpp"

#include <algorithm>
#include <utility>

#include "platform/linux/DbusValues.hpp"

namespace lumora::platform {
namespace {

constexpr const char* kBluez = "org.bluez";
constexpr const char* kObjectManager = "org.freedesktop.DBus.ObjectManager";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
constexpr const char* kAdapterIface = "org.bluez.Adapter1";
constexpr const char* kDeviceIface = "org.bluez.Device1";

constexpr std::int64_t kUnknown = 0;
constexpr std::int64_t kUnsupported = 2;
constexpr std::int64_t kUnauthorized = 3;
constexpr std::int64_t kPoweredOff = 4;
constexpr std::int64_t kPoweredOn = 5;

bool isAccessError(const DbusError& error) {
  return error.name == "org.bluez.Error.NotAuthorized" ||
         error.name == "org.freedesktop.DBus.Error.AccessDenied";
}

/// Looks up `key` in an a{sv} dictionary; the caller owns the result.
GVariant* lookup(GVariant* dictionary, const char* key) {
  return g_variant_lookup_value(dictionary, key, nullptr);
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

BluezCentral::~BluezCentral() { cancelRestartTimer(); }

void BluezCentral::connect() {
  std::string failure;
  bus_ = DbusClient::connect(G_BUS_TYPE_SYSTEM, options_.busAddress, &failure);
  if (!bus_) {
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

void BluezCentral::subscribeSignals() {
  std::weak_ptr<BluezCentral> weak = weak_from_this();
  bus_->subscribe(kBluez, kObjectManager, "InterfacesAdded", "",
                  [weak](const std::string&, const std::string&, GVariant* parameters) {
                    if (auto self = weak.lock()) self->onInterfacesAdded(parameters);
                  });
  bus_->subscribe(kBluez, kObjectManager, "InterfacesRemoved", "",
                  [weak](const std::string&, const std::string&, GVariant* parameters) {
                    if (auto self = weak.lock()) self->onInterfacesRemoved(parameters);
                  });
  bus_->subscribe(kBluez, kProperties, "PropertiesChanged", "",
                  [weak](const std::string& path, const std::string&, GVariant* parameters) {
                    if (auto self = weak.lock()) self->onPropertiesChanged(path, parameters);
                  });
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
  for (const auto& uuid : serviceUuids) services_.push_back(upperCased(uuid));
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
  std::weak_ptr<BluezCentral> weak = weak_from_this();
  bus_->call(kBluez, "/", kObjectManager, "GetManagedObjects", nullptr, options_.callTimeoutMs,
             [weak, reportDevices, generation = ownerGeneration_](
                 GVariant* result, const std::optional<DbusError>& error) {
               auto self = weak.lock();
               if (!self || generation != self->ownerGeneration_) return;
               self->objectsLoaded_ = true;
               if (error) {
                 self->denied_ = isAccessError(*error);
               } else {
                 GVariant* objects = g_variant_get_child_value(result, 0);
                 self->onManagedObjects(objects, reportDevices);
                 g_variant_unref(objects);
               }
               self->updateState();
             });
}

void BluezCentral::onManagedObjects(GVariant* objects, bool reportDevices) {
  GVariantIter iter;
  const gchar* path = nullptr;
  GVariant* interfaces = nullptr;
  g_variant_iter_init(&iter, objects);
  while (g_variant_iter_next(&iter, "{&o@a{sa{sv}}}", &path, &interfaces)) {
    onObject(path, interfaces, reportDevices);
    g_variant_unref(interfaces);
  }
}

void BluezCentral::onInterfacesAdded(GVariant* parameters) {
  if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(oa{sa{sv}})"))) return;
  const gchar* path = nullptr;
  GVariant* interfaces = nullptr;
  g_variant_get(parameters, "(&o@a{sa{sv}})", &path, &interfaces);
  onObject(path, interfaces, true);
  g_variant_unref(interfaces);
  updateState();
}

void BluezCentral::onObject(const std::string& path, GVariant* interfaces, bool reportDevices) {
  if (GVariant* adapter = lookup(interfaces, kAdapterIface)) {
    if (!adapter_) onAdapterProperties(path, adapter);
    g_variant_unref(adapter);
  }
  if (GVariant* device = lookup(interfaces, kDeviceIface)) {
    onDeviceProperties(path, device, reportDevices);
    g_variant_unref(device);
  }
}

void BluezCentral::onInterfacesRemoved(GVariant* parameters) {
  if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(oas)"))) return;
  const gchar* path = nullptr;
  GVariant* interfaces = nullptr;
  g_variant_get(parameters, "(&o@as)", &path, &interfaces);
  const auto removed = stringList(interfaces);
  g_variant_unref(interfaces);
  const auto has = [&](const char* iface) {
    return std::find(removed.begin(), removed.end(), iface) != removed.end();
  };
  if (has(kDeviceIface)) devices_.erase(path);
  if (has(kAdapterIface) && adapter_ && adapter_->path == path) {
    forgetAdapter();
    loadManagedObjects(false);  // another adapter may take over
  }
  updateState();
}

void BluezCentral::onPropertiesChanged(const std::string& path, GVariant* parameters) {
  if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sa{sv}as)"))) return;
  const gchar* iface = nullptr;
  GVariant* changed = nullptr;
  GVariant* invalidated = nullptr;
  g_variant_get(parameters, "(&s@a{sv}@as)", &iface, &changed, &invalidated);
  const std::string interfaceName = iface;
  if (interfaceName == kAdapterIface && adapter_ && adapter_->path == path) {
    onAdapterProperties(path, changed);
  } else if (interfaceName == kDeviceIface) {
    auto device = devices_.find(path);
    if (device != devices_.end() && g_variant_n_children(invalidated) > 0) {
      // BlueZ invalidates advertisement fields that expired; keep the rest.
      for (const auto& name : stringList(invalidated)) {
        if (name == "ManufacturerData") device->second.manufacturerData.reset();
        if (name == "RSSI") device->second.rssi.reset();
      }
    }
    onDeviceProperties(path, changed, true);
  }
  g_variant_unref(changed);
  g_variant_unref(invalidated);
  updateState();
}

void BluezCentral::onAdapterProperties(const std::string& path, GVariant* properties) {
  if (!adapter_) adapter_ = Adapter{path, false};
  GVariant* powered = lookup(properties, "Powered");
  if (powered == nullptr) return;
  const bool wasPowered = adapter_->powered;
  adapter_->powered =
      g_variant_is_of_type(powered, G_VARIANT_TYPE_BOOLEAN) && g_variant_get_boolean(powered);
  g_variant_unref(powered);
  if (adapter_->powered == wasPowered) return;
  if (adapter_->powered) {
    startDiscovery();  // resumes a requested scan
  } else {
    discovering_ = false;  // BlueZ ends every discovery session when the radio goes off
  }
}

void BluezCentral::onDeviceProperties(const std::string& path, GVariant* properties, bool report) {
  Device& device = devices_[path];
  bool advertised = false;
  GVariantIter iter;
  const gchar* key = nullptr;
  GVariant* value = nullptr;
  g_variant_iter_init(&iter, properties);
  while (g_variant_iter_next(&iter, "{&sv}", &key, &value)) {
    const std::string name = key;
    if (name == "Address" && g_variant_is_of_type(value, G_VARIANT_TYPE_STRING)) {
      device.address = g_variant_get_string(value, nullptr);
    } else if (name == "ManufacturerData") {
      device.manufacturerData = manufacturerDataBytes(value);
      advertised = true;
    } else if (name == "UUIDs") {
      device.serviceUuids = uuidList(value);
      advertised = true;
    } else if (name == "ServiceData") {
      device.serviceDataUuids = uuidKeys(value);
      advertised = true;
    } else if (name == "RSSI" && g_variant_is_of_type(value, G_VARIANT_TYPE_INT16)) {
      device.rssi = g_variant_get_int16(value);
      advertised = true;
    }
    g_variant_unref(value);
  }
  if (report && advertised && device.rssi) this->report(device);
}

void BluezCentral::forgetAdapter() {
  adapter_.reset();
  devices_.clear();
  discovering_ = false;
}

// --- Discovery -----------------------------------------------------------------

void BluezCentral::reconfigureDiscovery() {
  ++scanGeneration_;
  updateRestartTimer();
  if (discoveryWanted()) {
    startDiscovery();  // a running discovery takes the new filter
  } else {
    stopDiscovery();
  }
}

bool BluezCentral::discoveryWanted() const { return scanRequested_ || monitoringDemanded_; }

bool BluezCentral::duplicatesWanted() const {
  return monitoringDemanded_ || (scanRequested_ && allowDuplicates_);
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
  // The monitor needs every advertisement, so its demand widens the filter to
  // all services; the scan's services are then checked in report().
  const std::vector<std::string> noServices;
  bus_->call(kBluez, adapterPath, kAdapterIface, "SetDiscoveryFilter",
             discoveryFilter(monitoringDemanded_ ? noServices : services_, duplicatesWanted()),
             options_.callTimeoutMs,
             [weak, isCurrent, adapterPath](GVariant*, const std::optional<DbusError>& error) {
               auto self = weak.lock();
               if (!self || !isCurrent(*self)) return;
               // A BlueZ that rejects part of the filter still scans; only a refusal stops us.
               if (error && isAccessError(*error)) return self->onDiscoveryError(*error);
               self->bus_->call(
                   kBluez, adapterPath, kAdapterIface, "StartDiscovery", nullptr,
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
  if (services_.empty()) return true;
  const auto advertises = [&](const std::string& uuid) {
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

void BluezCentral::report(const Device& device) {
  const bool toMonitor = monitoringDemanded_ && monitor_;
  const bool toScan = reportsToScan(device);
  if (!toMonitor && !toScan) return;
  AdvertisementData advertisement;
  advertisement.peripheralId = device.address;
  advertisement.manufacturerData = device.manufacturerData;
  advertisement.serviceUuids = device.serviceUuids;
  advertisement.rssi = device.rssi.value_or(0);
  if (toMonitor) {
    mainQueue_->post([weak = weak_from_this(), advertisement] {
      auto self = weak.lock();
      if (self && self->monitoringDemanded_ && self->monitor_) self->monitor_(advertisement);
    });
  }
  if (toScan) {
    mainQueue_->post([delegate = delegate_, advertisement = std::move(advertisement)] {
      if (auto target = delegate.lock()) target->centralDidDiscover(advertisement);
    });
  }
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
