#include "platform/linux/BluezBus.hpp"

#include <poll.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

namespace lumora::platform {
namespace {

/// Messages processed per main-loop turn, so that a flood of signals cannot
/// starve the host's other sources; the rest waits for the next turn.
constexpr int kMessagesPerDispatch = 64;

struct BusSource {
  GSource base;
  sd_bus* bus;
  gpointer fd;       // the tag of the connection's descriptor
  int events;        // the poll events last asked for
  bool dispatching;  // inside sd_bus_process, which cannot be entered again
};

GIOCondition conditionFor(int events) {
  int condition = G_IO_ERR | G_IO_HUP;
  if (events & POLLIN) condition |= G_IO_IN;
  if (events & POLLOUT) condition |= G_IO_OUT;
  return static_cast<GIOCondition>(condition);
}

/// Milliseconds until sd-bus wants to run (0: now; -1: only on I/O).
gint millisecondsUntilDue(sd_bus* bus) {
  std::uint64_t due = 0;
  if (sd_bus_get_timeout(bus, &due) <= 0 || due == std::numeric_limits<std::uint64_t>::max()) {
    return -1;
  }
  // Both clocks are CLOCK_MONOTONIC in microseconds.
  const auto now = static_cast<std::uint64_t>(g_get_monotonic_time());
  if (due <= now) return 0;
  const std::uint64_t wait = (due - now + 999) / 1000;
  return wait > static_cast<std::uint64_t>(G_MAXINT) ? G_MAXINT : static_cast<gint>(wait);
}

gboolean prepare(GSource* source, gint* timeout) {
  auto* self = reinterpret_cast<BusSource*>(source);
  // Changing the events wakes the main context up, so only a real change is
  // made. A main loop run from inside a handler (nested) does not watch the
  // connection at all: sd-bus could not process it there.
  const int events = self->dispatching ? 0 : sd_bus_get_events(self->bus);
  if (events >= 0 && events != self->events) {
    self->events = events;
    g_source_modify_unix_fd(source, self->fd, conditionFor(events));
  }
  *timeout = self->dispatching ? -1 : millisecondsUntilDue(self->bus);
  return *timeout == 0;
}

gboolean check(GSource* source) {
  auto* self = reinterpret_cast<BusSource*>(source);
  if (self->dispatching) return FALSE;
  return g_source_query_unix_fd(source, self->fd) != 0 || millisecondsUntilDue(self->bus) == 0;
}

gboolean dispatch(GSource* source, GSourceFunc, gpointer) {
  auto* self = reinterpret_cast<BusSource*>(source);
  self->dispatching = true;
  int processed = 0;
  for (int i = 0; i < kMessagesPerDispatch; ++i) {
    processed = sd_bus_process(self->bus, nullptr);
    if (processed <= 0) break;
  }
  self->dispatching = false;
  // A closed connection stays readable forever: stop watching it.
  return processed < 0 ? G_SOURCE_REMOVE : G_SOURCE_CONTINUE;
}

GSourceFuncs kBusSourceFuncs = {prepare, check, dispatch, nullptr, nullptr, nullptr};

int deliver(sd_bus_message* message, void* data, sd_bus_error*) {
  (*static_cast<BluezBus::Handler*>(data))(message);
  return 0;
}

int ignoreInstallReply(sd_bus_message*, void*, sd_bus_error*) { return 0; }

void deleteHandler(void* data) { delete static_cast<BluezBus::Handler*>(data); }

/// The slot's handler (its userdata) is freed with the slot.
void freeHandlerWith(sd_bus_slot* slot) { sd_bus_slot_set_destroy_callback(slot, deleteHandler); }

sd_bus* open(const std::optional<std::string>& address, std::string* failure) {
  sd_bus* bus = nullptr;
  int result = 0;
  if (!address) {
    result = sd_bus_open_system(&bus);
  } else if ((result = sd_bus_new(&bus)) >= 0) {
    if ((result = sd_bus_set_address(bus, address->c_str())) >= 0 &&
        (result = sd_bus_set_bus_client(bus, 1)) >= 0) {
      result = sd_bus_start(bus);
    }
    if (result < 0) bus = sd_bus_unref(bus);
  }
  if (result < 0) {
    if (failure) *failure = std::strerror(-result);
    return nullptr;
  }
  return bus;
}

}  // namespace

std::unique_ptr<BluezBus> BluezBus::connect(const std::optional<std::string>& address,
                                            std::string* failure) {
  sd_bus* bus = open(address, failure);
  if (!bus) return nullptr;
  return std::unique_ptr<BluezBus>(new BluezBus(bus));
}

BluezBus::BluezBus(sd_bus* bus)
    : bus_(bus), source_(g_source_new(&kBusSourceFuncs, sizeof(BusSource))) {
  auto* source = reinterpret_cast<BusSource*>(source_);
  source->bus = bus_;
  source->events = POLLIN;
  source->dispatching = false;
  source->fd = g_source_add_unix_fd(source_, sd_bus_get_fd(bus_), conditionFor(POLLIN));
  // GLib blocks a source that cannot recurse during each dispatch by taking its
  // descriptor out of the poll set and putting it back, which wakes the main
  // context up twice per dispatch: one extra loop turn per signal. The source
  // keeps itself out of nested loops instead (see prepare).
  g_source_set_can_recurse(source_, TRUE);
  g_source_attach(source_, nullptr);
}

BluezBus::~BluezBus() {
  g_source_destroy(source_);
  g_source_unref(source_);
  sd_bus_flush_close_unref(bus_);
}

std::unique_ptr<BluezBus::Match> BluezBus::match(const std::string& rule, Handler handler) {
  auto* box = new Handler(std::move(handler));
  sd_bus_slot* slot = nullptr;
  if (sd_bus_add_match_async(bus_, &slot, rule.c_str(), deliver, ignoreInstallReply, box) < 0) {
    delete box;
    return nullptr;
  }
  freeHandlerWith(slot);
  return std::make_unique<Match>(slot);
}

void BluezBus::call(const char* destination, const std::string& path, const char* iface,
                    const char* method, const char* argument, int timeoutMs, Handler reply) {
  sd_bus_message* message = nullptr;
  if (sd_bus_message_new_method_call(bus_, &message, destination, path.c_str(), iface, method) <
      0) {
    return;
  }
  if (argument && sd_bus_message_append(message, "s", argument) < 0) {
    sd_bus_message_unref(message);
    return;
  }
  auto* box = new Handler(std::move(reply));
  sd_bus_slot* slot = nullptr;
  const auto usec = static_cast<std::uint64_t>(timeoutMs) * 1000;
  if (sd_bus_call_async(bus_, &slot, message, deliver, box, usec) < 0) {
    delete box;
  } else {
    freeHandlerWith(slot);
    // The bus keeps the slot until the reply came or the bus is gone.
    sd_bus_slot_set_floating(slot, 1);
    sd_bus_slot_unref(slot);
  }
  sd_bus_message_unref(message);
}

}  // namespace lumora::platform
