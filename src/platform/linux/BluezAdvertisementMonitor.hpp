#pragma once

#include <gio/gio.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace lumora::platform {

/// The D-Bus side of an advertisement monitor application for BlueZ's
/// org.bluez.AdvertisementMonitorManager1: an org.freedesktop.DBus.ObjectManager
/// exported at a root path of our own, with one org.bluez.AdvertisementMonitor1
/// object of type "or_patterns" below it. Whoever registers the root with
/// RegisterMonitor (the owner of this object) makes bluetoothd read the tree,
/// activate the monitor and then call DeviceFound and DeviceLost for the devices
/// whose advertisements match a pattern, with or without a discovery running.
///
/// RSSI settings: a device is found once it has been heard for a second at any
/// strength, and lost after `lostAfterSeconds` without a matching advertisement;
/// every packet of a found device is passed on to its Device1 object.
///
/// The objects are exported while this object lives. Call on the main queue;
/// bluetoothd's calls arrive there too.
class BluezAdvertisementMonitor : public std::enable_shared_from_this<BluezAdvertisementMonitor> {
 public:
  /// One or-pattern: `content` must appear at `startPosition` of an AD
  /// structure of type `adType`.
  struct Pattern {
    std::uint8_t startPosition = 0;
    std::uint8_t adType = 0;
    std::vector<std::uint8_t> content;
  };
  struct Events {
    std::function<void(const std::string& devicePath)> deviceFound;
    std::function<void(const std::string& devicePath)> deviceLost;
    /// bluetoothd could not activate the monitor, or deactivated it.
    std::function<void()> released;
  };

  /// Exports the tree on `connection` at a root path unique in this process;
  /// answers nothing when the export fails (`failure` then says why).
  static std::shared_ptr<BluezAdvertisementMonitor> create(GDBusConnection* connection,
                                                           std::vector<Pattern> patterns,
                                                           std::uint16_t lostAfterSeconds,
                                                           Events events, std::string* failure);
  ~BluezAdvertisementMonitor();
  BluezAdvertisementMonitor(const BluezAdvertisementMonitor&) = delete;
  BluezAdvertisementMonitor& operator=(const BluezAdvertisementMonitor&) = delete;

  /// The application root to pass to RegisterMonitor and UnregisterMonitor.
  const std::string& rootPath() const { return rootPath_; }

 private:
  BluezAdvertisementMonitor(GDBusConnection* connection, std::vector<Pattern> patterns,
                            std::uint16_t lostAfterSeconds, Events events);
  bool exportObjects(std::string* failure);
  guint exportObject(const std::string& path, const char* iface, std::string* failure);

  static void onMethodCall(GDBusConnection* connection, const gchar* sender, const gchar* path,
                           const gchar* iface, const gchar* method, GVariant* parameters,
                           GDBusMethodInvocation* invocation, gpointer data);
  static GVariant* onGetProperty(GDBusConnection* connection, const gchar* sender,
                                 const gchar* path, const gchar* iface, const gchar* name,
                                 GError** error, gpointer data);
  void handleMethod(const std::string& method, GVariant* parameters,
                    GDBusMethodInvocation* invocation);
  GVariant* property(const std::string& name) const;
  GVariant* managedObjects() const;

  GDBusConnection* const connection_;
  const std::vector<Pattern> patterns_;
  const std::uint16_t lostAfterSeconds_;
  const Events events_;
  const std::string rootPath_;
  const std::string monitorPath_;
  std::vector<guint> registrations_;
};

}  // namespace lumora::platform
