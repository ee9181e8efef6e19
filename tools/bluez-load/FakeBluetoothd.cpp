#include "tools/bluez-load/FakeBluetoothd.hpp"

#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace lumora::tools {
namespace {

constexpr const char* kAdapterPath = "/org/bluez/hci0";
constexpr const char* kAdapterIface = "org.bluez.Adapter1";
constexpr const char* kDeviceIface = "org.bluez.Device1";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
constexpr std::uint16_t kApple = 0x004c;
constexpr std::uint16_t kCustomCompany = 0x1234;
constexpr std::uint16_t kForeignCompany = 0x0006;
/// Signals the bus may hold unsent before new ones are skipped: the reader is
/// then behind, and piling up more would only measure our own memory.
constexpr std::uint64_t kMaxQueued = 4096;
constexpr int kMaxBatch = 1024;

double monotonicSeconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

double cpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void check(int result, const char* what) {
  if (result < 0) throw std::runtime_error(std::string(what) + ": " + std::strerror(-result));
}

std::vector<std::uint8_t> hexBytes(const std::string& text) {
  std::vector<std::uint8_t> bytes;
  std::string digits;
  for (char c : text) {
    if (c != '-') digits.push_back(c);
  }
  if (digits.size() % 2 != 0) throw std::runtime_error("odd number of hexadecimal digits: " + text);
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

std::string addressOf(std::uint32_t index) {
  char text[18];
  std::snprintf(text, sizeof text, "AA:00:00:%02X:%02X:%02X", (index >> 16) & 0xff,
                (index >> 8) & 0xff, index & 0xff);
  return text;
}

std::string pathOf(const std::string& address) {
  std::string path = std::string(kAdapterPath) + "/dev_" + address;
  for (auto& c : path) {
    if (c == ':') c = '_';
  }
  return path;
}

/// Appends {name: variant} with a basic value to an open a{sv}.
template <typename T>
int appendEntry(sd_bus_message* m, const char* name, const char* type, T value) {
  int r = sd_bus_message_open_container(m, 'e', "sv");
  if (r >= 0) r = sd_bus_message_append(m, "s", name);
  if (r >= 0) r = sd_bus_message_append(m, "v", type, value);
  if (r >= 0) r = sd_bus_message_close_container(m);
  return r;
}

/// What an object callback answers: an error, or 1 (the call was answered).
int handled(int result) { return result < 0 ? result : 1; }

/// Takes org.bluez, waiting up to two seconds for a previous owner that just
/// exited: the bus daemon releases its names only once it has seen the exit.
int requestBluezName(sd_bus* bus) {
  int result = -EEXIST;
  for (int attempt = 0; attempt < 200 && result == -EEXIST; ++attempt) {
    if (attempt > 0) {
      const timespec pause{0, 10'000'000};
      nanosleep(&pause, nullptr);
    }
    result = sd_bus_request_name(bus, "org.bluez", 0);
  }
  return result;
}

}  // namespace

FakeBluetoothd::FakeBluetoothd(LoadPlan plan) : plan_(std::move(plan)) {
  if (plan_.busAddress.empty()) {
    check(sd_bus_open_system(&bus_), "cannot connect to the system bus");
  } else {
    check(sd_bus_new(&bus_), "sd_bus_new");
    check(sd_bus_set_address(bus_, plan_.busAddress.c_str()), "bad bus address");
    check(sd_bus_set_bus_client(bus_, 1), "sd_bus_set_bus_client");
    check(sd_bus_start(bus_), "cannot connect to the bus");
  }
  check(sd_bus_add_object(bus_, nullptr, "/", onRoot, this), "cannot serve /");
  check(sd_bus_add_object(bus_, nullptr, kAdapterPath, onAdapter, this),
        "cannot serve the adapter");
  check(requestBluezName(bus_), "cannot own org.bluez");

  iBeaconFrame_ = {0x02, 0x15};
  const auto uuid = hexBytes(plan_.iBeaconUuid);
  iBeaconFrame_.insert(iBeaconFrame_.end(), uuid.begin(), uuid.end());
  iBeaconFrame_.insert(iBeaconFrame_.end(), {0x00, 0x01, 0x00, 0x02, 0xc5});

  const auto iBeacons = static_cast<std::uint32_t>(std::lround(plan_.devices * plan_.iBeaconShare));
  const auto foreign = static_cast<std::uint32_t>(std::lround(plan_.devices * plan_.foreignShare));
  for (std::uint32_t i = 0; i < plan_.devices; ++i) {
    const Kind kind = i < iBeacons                   ? Kind::iBeacon
                      : i >= plan_.devices - foreign ? Kind::foreign
                                                     : Kind::custom;
    const auto address = addressOf(i);
    devices_.push_back({pathOf(address), address, kind});
  }
}

FakeBluetoothd::~FakeBluetoothd() { sd_bus_flush_close_unref(bus_); }

double FakeBluetoothd::firstBirth(const LoadPlan& plan, std::uint32_t slot) {
  return plan.identityLifetime * slot / plan.identities;
}

std::uint32_t FakeBluetoothd::slotAt(const LoadPlan& plan, std::uint64_t n, double seconds) {
  const auto born =
      static_cast<std::uint64_t>(seconds * plan.identities / plan.identityLifetime) + 1;
  // Births go in slot order, so a round visiting slots in that order would
  // meet every slot born since its last round in one run: a burst of new
  // identities each round. A prime stride above any slot count scatters the
  // visits, and new identities arrive at the rate they are born.
  constexpr std::uint64_t kStride = 1'000'003;
  return static_cast<std::uint32_t>(n * kStride % std::min<std::uint64_t>(born, plan.identities));
}

std::uint32_t FakeBluetoothd::bindingOf(const LoadPlan& plan, std::uint32_t slot, double seconds) {
  const double age = std::max(seconds - firstBirth(plan, slot), 0.0);
  const auto generation = static_cast<std::uint64_t>(age / plan.identityLifetime);
  return static_cast<std::uint32_t>((generation * plan.identities + slot + 1) & 0xffffff);
}

std::vector<std::uint8_t> FakeBluetoothd::frameFor(const Device& device, double seconds) {
  switch (device.kind) {
    case Kind::iBeacon:
      return iBeaconFrame_;
    case Kind::custom: {
      const std::uint32_t binding =
          bindingOf(plan_, slotAt(plan_, customSent_++, seconds), seconds);
      std::vector<std::uint8_t> frame{0x03, static_cast<std::uint8_t>(binding >> 16),
                                      static_cast<std::uint8_t>(binding >> 8),
                                      static_cast<std::uint8_t>(binding)};
      const auto space = hexBytes(plan_.spaceId);
      frame.insert(frame.end(), space.begin(), space.end());
      frame.resize(frame.size() + 11, 0x00);
      return frame;
    }
    case Kind::foreign:
      return {0x01, 0x09, 0x20, 0x02, static_cast<std::uint8_t>(sent_)};
  }
  return {};
}

void FakeBluetoothd::advertise(double seconds) {
  std::uint64_t queued = 0;
  if (sd_bus_get_n_queued_write(bus_, &queued) >= 0 && queued > kMaxQueued) {
    ++skipped_;
    return;
  }
  const Device& device = devices_[(sent_ + skipped_) % devices_.size()];
  const std::uint16_t company = device.kind == Kind::iBeacon  ? kApple
                                : device.kind == Kind::custom ? kCustomCompany
                                                              : kForeignCompany;
  const auto frame = frameFor(device, seconds);
  sd_bus_message* m = nullptr;
  int r =
      sd_bus_message_new_signal(bus_, &m, device.path.c_str(), kProperties, "PropertiesChanged");
  if (r >= 0) r = sd_bus_message_append(m, "s", kDeviceIface);
  if (r >= 0) r = sd_bus_message_open_container(m, 'a', "{sv}");
  if (r >= 0) r = sd_bus_message_open_container(m, 'e', "sv");
  if (r >= 0) r = sd_bus_message_append(m, "s", "ManufacturerData");
  if (r >= 0) r = sd_bus_message_open_container(m, 'v', "a{qv}");
  if (r >= 0) r = sd_bus_message_open_container(m, 'a', "{qv}");
  if (r >= 0) r = sd_bus_message_open_container(m, 'e', "qv");
  if (r >= 0) r = sd_bus_message_append(m, "q", company);
  if (r >= 0) r = sd_bus_message_open_container(m, 'v', "ay");
  if (r >= 0) r = sd_bus_message_append_array(m, 'y', frame.data(), frame.size());
  for (int i = 0; i < 5 && r >= 0; ++i) r = sd_bus_message_close_container(m);
  if (r >= 0) r = appendEntry(m, "RSSI", "n", static_cast<std::int16_t>(-40 - sent_ % 50));
  if (r >= 0) r = sd_bus_message_close_container(m);
  if (r >= 0) r = sd_bus_message_append(m, "as", 0);
  if (r >= 0) r = sd_bus_send(bus_, m, nullptr);
  sd_bus_message_unref(m);
  if (r >= 0) ++sent_;
}

LoadReport FakeBluetoothd::run(const volatile std::sig_atomic_t* stop) {
  const double start = monotonicSeconds();
  const double cpuAtStart = cpuSeconds();
  std::uint64_t slots = 0;
  double elapsed = 0;
  while (!*stop && (plan_.seconds <= 0 || elapsed < plan_.seconds)) {
    while (sd_bus_process(bus_, nullptr) > 0) {
    }
    elapsed = monotonicSeconds() - start;
    const auto due = static_cast<std::uint64_t>(plan_.rate * elapsed);
    for (int batch = 0; slots < due && batch < kMaxBatch; ++batch, ++slots) {
      if (discovering_) advertise(elapsed);
    }
    if (slots < due) continue;
    const double wait = static_cast<double>(slots + 1) / plan_.rate - elapsed;
    sd_bus_wait(bus_, static_cast<std::uint64_t>(std::max(wait, 0.0) * 1e6));
  }
  sd_bus_flush(bus_);
  return {sent_, skipped_, monotonicSeconds() - start, cpuSeconds() - cpuAtStart};
}

int FakeBluetoothd::onRoot(sd_bus_message* message, void* self, sd_bus_error*) {
  if (!sd_bus_message_is_method_call(message, "org.freedesktop.DBus.ObjectManager",
                                     "GetManagedObjects")) {
    return 0;
  }
  return static_cast<FakeBluetoothd*>(self)->replyManagedObjects(message);
}

int FakeBluetoothd::appendDevice(sd_bus_message* reply, const Device& device) {
  int r = sd_bus_message_open_container(reply, 'e', "oa{sa{sv}}");
  if (r >= 0) r = sd_bus_message_append(reply, "o", device.path.c_str());
  if (r >= 0) r = sd_bus_message_open_container(reply, 'a', "{sa{sv}}");
  if (r >= 0) r = sd_bus_message_open_container(reply, 'e', "sa{sv}");
  if (r >= 0) r = sd_bus_message_append(reply, "s", kDeviceIface);
  if (r >= 0) r = sd_bus_message_open_container(reply, 'a', "{sv}");
  if (r >= 0) r = appendEntry(reply, "Address", "s", device.address.c_str());
  if (r >= 0) r = appendEntry(reply, "Adapter", "o", kAdapterPath);
  if (r >= 0 && device.kind == Kind::custom) {
    r = sd_bus_message_open_container(reply, 'e', "sv");
    if (r >= 0) r = sd_bus_message_append(reply, "s", "UUIDs");
    if (r >= 0) r = sd_bus_message_append(reply, "v", "as", 1, plan_.serviceUuid.c_str());
    if (r >= 0) r = sd_bus_message_close_container(reply);
  }
  for (int i = 0; i < 4 && r >= 0; ++i) r = sd_bus_message_close_container(reply);
  return r;
}

int FakeBluetoothd::replyManagedObjects(sd_bus_message* call) {
  sd_bus_message* reply = nullptr;
  int r = sd_bus_message_new_method_return(call, &reply);
  if (r >= 0) r = sd_bus_message_open_container(reply, 'a', "{oa{sa{sv}}}");
  if (r >= 0) {
    r = sd_bus_message_append(reply, "{oa{sa{sv}}}", kAdapterPath, 1, kAdapterIface, 3, "Address",
                              "s", "00:00:00:00:00:01", "Powered", "b", 1, "Discovering", "b",
                              static_cast<int>(discovering_));
  }
  for (const auto& device : devices_) {
    if (r >= 0) r = appendDevice(reply, device);
  }
  if (r >= 0) r = sd_bus_message_close_container(reply);
  if (r >= 0) r = sd_bus_send(bus_, reply, nullptr);
  sd_bus_message_unref(reply);
  return handled(r);
}

int FakeBluetoothd::setDiscovering(sd_bus_message* call, bool discovering) {
  discovering_ = discovering;
  sd_bus_emit_signal(bus_, kAdapterPath, kProperties, "PropertiesChanged", "sa{sv}as",
                     kAdapterIface, 1, "Discovering", "b", static_cast<int>(discovering), 0);
  return handled(sd_bus_reply_method_return(call, nullptr));
}

int FakeBluetoothd::onAdapter(sd_bus_message* message, void* data, sd_bus_error*) {
  auto* self = static_cast<FakeBluetoothd*>(data);
  if (sd_bus_message_is_method_call(message, kAdapterIface, "SetDiscoveryFilter")) {
    return handled(sd_bus_reply_method_return(message, nullptr));
  }
  if (sd_bus_message_is_method_call(message, kAdapterIface, "StartDiscovery")) {
    return self->setDiscovering(message, true);
  }
  if (sd_bus_message_is_method_call(message, kAdapterIface, "StopDiscovery")) {
    return self->setDiscovering(message, false);
  }
  return 0;
}

}  // namespace lumora::tools
