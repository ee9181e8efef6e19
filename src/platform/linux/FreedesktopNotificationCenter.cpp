#include "platform/linux/FreedesktopNotificationCenter.hpp"

#include <algorithm>
#include <utility>

#include "platform/linux/DbusValues.hpp"

namespace lumora::platform {
namespace {

constexpr const char* kName = "org.freedesktop.Notifications";
constexpr const char* kPath = "/org/freedesktop/Notifications";
constexpr const char* kIface = "org.freedesktop.Notifications";
constexpr const char* kAppName = "LumoraBeaconSDK";
// The freedesktop sound theme's name for the arrival of a new message.
constexpr const char* kNewMessageSound = "message-new-instant";
constexpr std::uint64_t kAlert = 4;
constexpr std::int64_t kDenied = 1;
constexpr std::int64_t kAuthorized = 2;

PlatformError unavailableError(const std::string& reason) {
  return PlatformError{kName, 1, "No notification server is available: " + reason};
}

std::string escapedMarkup(const std::string& text) {
  gchar* escaped = g_markup_escape_text(text.c_str(), static_cast<gssize>(text.size()));
  std::string result = escaped;
  g_free(escaped);
  return result;
}

}  // namespace

FreedesktopNotificationCenter::FreedesktopNotificationCenter(std::shared_ptr<MainQueue> mainQueue,
                                                             Options options)
    : mainQueue_(std::move(mainQueue)), options_(std::move(options)) {}

std::shared_ptr<FreedesktopNotificationCenter> FreedesktopNotificationCenter::create(
    std::shared_ptr<MainQueue> mainQueue, Options options) {
  std::shared_ptr<FreedesktopNotificationCenter> center(
      new FreedesktopNotificationCenter(std::move(mainQueue), std::move(options)));
  center->connect();
  return center;
}

void FreedesktopNotificationCenter::connect() {
  bus_ = DbusClient::connect(G_BUS_TYPE_SESSION, options_.busAddress, &connectFailure_);
  if (!bus_) return;
  std::weak_ptr<FreedesktopNotificationCenter> weak = weak_from_this();
  bus_->subscribe(kName, kIface, "ActionInvoked", kPath,
                  [weak](const std::string&, const std::string&, GVariant* parameters) {
                    if (auto self = weak.lock()) self->onActionInvoked(parameters);
                  });
  bus_->subscribe(kName, kIface, "NotificationClosed", kPath,
                  [weak](const std::string&, const std::string&, GVariant* parameters) {
                    if (auto self = weak.lock()) self->onClosed(parameters);
                  });
  // A restarted server numbers its notifications afresh.
  bus_->watchName(kName, [weak](bool owned) {
    if (auto self = weak.lock(); self && !owned) self->shown_.clear();
  });
}

void FreedesktopNotificationCenter::setDelegate(
    std::weak_ptr<NotificationCenterDelegate> delegate) {
  std::lock_guard lock(delegateMutex_);
  delegate_ = std::move(delegate);
}

std::weak_ptr<NotificationCenterDelegate> FreedesktopNotificationCenter::delegate() const {
  std::lock_guard lock(delegateMutex_);
  return delegate_;
}

void FreedesktopNotificationCenter::requestAuthorization(
    std::uint64_t, std::function<void(bool, std::optional<PlatformError>)> completion) {
  onMain([completion = std::move(completion)](FreedesktopNotificationCenter& self) {
    self.probe([completion](std::optional<PlatformError> unavailable) {
      const bool granted = !unavailable.has_value();
      completion(granted, std::move(unavailable));
    });
  });
}

void FreedesktopNotificationCenter::getNotificationSettings(
    std::function<void(std::int64_t)> completion) {
  onMain([completion = std::move(completion)](FreedesktopNotificationCenter& self) {
    self.probe([completion](std::optional<PlatformError> unavailable) {
      completion(unavailable ? kDenied : kAuthorized);
    });
  });
}

void FreedesktopNotificationCenter::add(
    const NotificationRequest& request,
    std::function<void(std::optional<PlatformError>)> completion) {
  onMain([request, completion = std::move(completion)](FreedesktopNotificationCenter& self) {
    std::weak_ptr<FreedesktopNotificationCenter> weak = self.weak_from_this();
    self.probe([weak, request, completion](std::optional<PlatformError> unavailable) {
      auto center = weak.lock();
      if (!center) return;
      if (!unavailable) {
        center->mainQueue_->scheduleTimer(request.triggerInterval, request.repeats,
                                          [weak, request](Timer& timer) {
                                            auto owner = weak.lock();
                                            if (!owner) return timer.invalidate();
                                            owner->deliver(request);
                                          });
      }
      if (completion) completion(std::move(unavailable));
    });
  });
}

void FreedesktopNotificationCenter::onMain(
    std::function<void(FreedesktopNotificationCenter&)> work) {
  std::weak_ptr<FreedesktopNotificationCenter> weak = weak_from_this();
  mainQueue_->post([weak, work = std::move(work)] {
    if (auto self = weak.lock()) work(*self);
  });
}

void FreedesktopNotificationCenter::probe(ProbeResult result) {
  if (!bus_) return result(unavailableError(connectFailure_));
  std::weak_ptr<FreedesktopNotificationCenter> weak = weak_from_this();
  bus_->call(
      kName, kPath, kIface, "GetCapabilities", nullptr, options_.callTimeoutMs,
      [weak, result = std::move(result)](GVariant* reply, const std::optional<DbusError>& error) {
        auto self = weak.lock();
        if (!self) return;
        if (error) return result(unavailableError(error->message));
        GVariant* capabilities = g_variant_get_child_value(reply, 0);
        const auto list = stringList(capabilities);
        g_variant_unref(capabilities);
        const auto offers = [&list](const char* capability) {
          return std::find(list.begin(), list.end(), capability) != list.end();
        };
        self->bodyMarkup_ = offers("body-markup");
        self->sound_ = offers("sound");
        result(std::nullopt);
      });
}

void FreedesktopNotificationCenter::deliver(const NotificationRequest& request) {
  auto target = delegate().lock();
  if (!target) return notify(request);
  std::weak_ptr<FreedesktopNotificationCenter> weak = weak_from_this();
  target->willPresent(request, [weak, request](std::uint64_t options) {
    if ((options & kAlert) == 0) return;
    if (auto self = weak.lock()) {
      self->onMain([request](FreedesktopNotificationCenter& center) { center.notify(request); });
    }
  });
}

void FreedesktopNotificationCenter::notify(const NotificationRequest& request) {
  if (!bus_) return;
  const std::string body = bodyMarkup_ ? escapedMarkup(request.body) : request.body;
  const gchar* actions[] = {"default", "Open", nullptr};
  GVariantBuilder hints;
  g_variant_builder_init(&hints, G_VARIANT_TYPE("a{sv}"));
  if (request.defaultSound && sound_) {
    g_variant_builder_add(&hints, "{sv}", "sound-name", g_variant_new_string(kNewMessageSound));
  }
  GVariant* params = g_variant_new("(susss^as@a{sv}i)", kAppName, 0u, "", request.title.c_str(),
                                   body.c_str(), actions, g_variant_builder_end(&hints), -1);
  std::weak_ptr<FreedesktopNotificationCenter> weak = weak_from_this();
  bus_->call(kName, kPath, kIface, "Notify", params, options_.callTimeoutMs,
             [weak, request](GVariant* reply, const std::optional<DbusError>& error) {
               auto self = weak.lock();
               if (!self || error) return;  // the server went away: nothing was shown
               guint32 id = 0;
               g_variant_get(reply, "(u)", &id);
               self->shown_.add(id, request);
             });
}

void FreedesktopNotificationCenter::onActionInvoked(GVariant* parameters) {
  if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(us)"))) return;
  guint32 id = 0;
  const gchar* action = nullptr;
  g_variant_get(parameters, "(u&s)", &id, &action);
  auto response = shown_.actionInvoked(id, action);
  if (!response) return;  // another application's notification
  auto target = delegate().lock();
  if (!target) return;
  target->didReceive(*response, [] {});
}

void FreedesktopNotificationCenter::onClosed(GVariant* parameters) {
  if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(uu)"))) return;
  guint32 id = 0;
  guint32 reason = 0;
  g_variant_get(parameters, "(uu)", &id, &reason);
  shown_.closed(id);
}

}  // namespace lumora::platform
