// Drives the two pure halves of a notification tap with arbitrary input: the
// payload a tapped notification carries back (TappedPayload::read over any
// user-info dictionary) and the notification server's signals about shown
// notifications (ShownNotifications under any sequence of Notify answers,
// ActionInvoked and NotificationClosed).
//
// Input: a sequence of records, each one opcode byte followed by its operands.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <variant>

#include "FuzzCheck.hpp"
#include "core/notify/TappedPayload.hpp"
#include "platform/linux/ShownNotifications.hpp"

namespace {

using lumora::fuzz::check;

using lumora::TappedPayload;
using lumora::platform::NotificationRequest;
using lumora::platform::NotificationUserInfo;
using lumora::platform::ShownNotifications;

constexpr const char* kKeys[] = {"bindingId",     "campaignId", "creativeId",  "appName",
                                 "data",          "spaceId",    "phoneNumber", "email",
                                 "advertisingId", "clientUUID", "other"};

class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
  bool empty() const { return offset_ >= size_; }
  std::uint8_t byte() { return empty() ? 0 : data_[offset_++]; }
  std::uint32_t u32() {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value = value << 8 | byte();
    return value;
  }
  std::int64_t i64() {
    std::uint64_t value = 0;
    for (int i = 0; i < 8; ++i) value = value << 8 | byte();
    return static_cast<std::int64_t>(value);
  }
  std::string text() {
    std::string value;
    for (std::size_t n = byte() % 16; n > 0 && !empty(); --n)
      value.push_back(static_cast<char>(byte()));
    return value;
  }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t offset_ = 0;
};

template <typename T>
bool holds(const NotificationUserInfo& userInfo, const char* key) {
  const auto found = userInfo.find(key);
  return found != userInfo.end() && std::holds_alternative<T>(found->second);
}

void checkPayload(const NotificationUserInfo& userInfo) {
  const auto payload = TappedPayload::read(userInfo);
  const bool ours =
      holds<std::int64_t>(userInfo, "bindingId") && holds<std::int64_t>(userInfo, "campaignId") &&
      holds<std::int64_t>(userInfo, "creativeId") && holds<std::string>(userInfo, "appName");
  check(payload.has_value() == ours);
  if (!payload) return;
  check(payload->phoneNumber.has_value() == holds<std::string>(userInfo, "phoneNumber"));
  check(payload->data.empty() || holds<std::string>(userInfo, "data"));

  // Written back the way a notification is scheduled, it reads the same.
  NotificationUserInfo written{{"bindingId", payload->bindingId},
                               {"campaignId", payload->campaignId},
                               {"creativeId", payload->creativeId},
                               {"appName", payload->appName},
                               {"data", payload->data},
                               {"spaceId", payload->spaceId}};
  if (payload->phoneNumber) written.emplace("phoneNumber", *payload->phoneNumber);
  if (payload->email) written.emplace("email", *payload->email);
  if (payload->advertisingId) written.emplace("advertisingId", *payload->advertisingId);
  check(TappedPayload::read(written) == payload);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  NotificationUserInfo userInfo;
  ShownNotifications shown;
  std::map<std::uint32_t, std::string> model;  // id -> identifier, without the capacity
  while (!input.empty()) {
    switch (input.byte() % 6) {
      case 0: {  // a payload entry
        const char* key = kKeys[input.byte() % std::size(kKeys)];
        if (input.byte() % 2) {
          userInfo.insert_or_assign(key, input.i64());
        } else {
          userInfo.insert_or_assign(key, input.text());
        }
        break;
      }
      case 1:
        checkPayload(userInfo);
        break;
      case 2: {  // Notify answered an id
        const auto id = input.u32();
        NotificationRequest request;
        request.identifier = input.text();
        request.userInfo = userInfo;
        shown.add(id, request);
        model.insert_or_assign(id, request.identifier);
        break;
      }
      case 3: {  // ActionInvoked
        const auto id = input.u32();
        const auto key = input.text();
        const auto response = shown.actionInvoked(id, key);
        if (response) {
          check(model.count(id) == 1 && response->request.identifier == model[id]);
          check(response->actionIdentifier == key);
        }
        break;
      }
      case 4: {  // NotificationClosed
        const auto id = input.u32();
        shown.closed(id);
        model.erase(id);
        check(!shown.actionInvoked(id, "default"));
        break;
      }
      default:
        shown.clear();
        model.clear();
        break;
    }
    check(shown.size() <= ShownNotifications::kCapacity && shown.size() <= model.size());
  }
  checkPayload(userInfo);
  return 0;
}
