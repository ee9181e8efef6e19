#pragma once

#include <gio/gio.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace lumora::doctor {

/// A D-Bus connection on which every step is bounded: connecting gives up
/// after the timeout, and every call carries it. The bus address comes from
/// the usual environment (DBUS_SYSTEM_BUS_ADDRESS, DBUS_SESSION_BUS_ADDRESS,
/// else the system socket or $XDG_RUNTIME_DIR/bus); a session bus is never
/// launched.
class DoctorBus {
 public:
  using VariantPtr = std::unique_ptr<GVariant, void (*)(GVariant*)>;

  /// The reply of a call, or why there is none.
  struct Reply {
    VariantPtr value{nullptr, g_variant_unref};
    std::string errorName;  // the remote D-Bus error name, when the peer sent one
    std::string errorMessage;
    bool ok() const { return value != nullptr; }
  };

  /// Nothing, with `failure` set, when the bus cannot be reached in time.
  static std::unique_ptr<DoctorBus> connect(GBusType type, std::chrono::milliseconds timeout,
                                            std::string* failure);
  ~DoctorBus();
  DoctorBus(const DoctorBus&) = delete;
  DoctorBus& operator=(const DoctorBus&) = delete;

  /// `params` may be null; a floating reference is consumed.
  Reply call(const std::string& destination, const std::string& path, const std::string& iface,
             const std::string& method, GVariant* params = nullptr) const;
  bool nameHasOwner(const std::string& name) const;

 private:
  DoctorBus(GDBusConnection* connection, std::chrono::milliseconds timeout);

  GDBusConnection* connection_;
  std::chrono::milliseconds timeout_;
};

}  // namespace lumora::doctor
