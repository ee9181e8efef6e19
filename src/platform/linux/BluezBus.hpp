#pragma once

#include <glib.h>
#include <systemd/sd-bus.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace lumora::platform {

/// An sd-bus connection served by the default GLib main context: its file
/// descriptor is a GSource that processes every message sd-bus has ready.
/// BlueZ's advertisement signals arrive here, because sd-bus unpacks a signal
/// for a fraction of what a GDBus signal subscription costs; everything that
/// is not per-advertisement stays on GDBus (DbusClient).
///
/// Handlers run on the main context's thread. Destroying the bus removes its
/// matches and drops calls in flight without calling their handlers.
class BluezBus {
 public:
  /// Receives a matched signal or a method reply (possibly an error reply,
  /// see sd_bus_message_is_method_error). The message is valid during the call.
  using Handler = std::function<void(sd_bus_message* message)>;

  /// A match rule in force until destroyed.
  class Match {
   public:
    explicit Match(sd_bus_slot* slot) : slot_(slot) {}
    ~Match() { sd_bus_slot_unref(slot_); }
    Match(const Match&) = delete;
    Match& operator=(const Match&) = delete;

   private:
    sd_bus_slot* slot_;
  };

  /// Connects to the bus at `address`, or to the system bus. Answers nothing
  /// when no connection could be made; `failure` then holds why.
  static std::unique_ptr<BluezBus> connect(const std::optional<std::string>& address,
                                           std::string* failure);
  ~BluezBus();
  BluezBus(const BluezBus&) = delete;
  BluezBus& operator=(const BluezBus&) = delete;

  /// Adds `rule` (D-Bus match syntax) at the bus daemon; matching messages go
  /// to `handler`. Answers nothing when sd-bus refuses the rule.
  std::unique_ptr<Match> match(const std::string& rule, Handler handler);
  /// Calls a method with one string argument, or none when `argument` is
  /// null; `reply` gets the reply or the error (a timeout included), unless
  /// the bus is destroyed first.
  void call(const char* destination, const std::string& path, const char* iface, const char* method,
            const char* argument, int timeoutMs, Handler reply);

 private:
  explicit BluezBus(sd_bus* bus);

  sd_bus* bus_;
  GSource* source_;
};

}  // namespace lumora::platform
