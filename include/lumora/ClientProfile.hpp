#pragma once

#include <optional>
#include <string>

#include "lumora/export.hpp"

namespace lumora {

/// Who the user is. On construction the profile completes itself: phone number
/// and e-mail fall back to the values an earlier profile stored, the device
/// model and system come from the device, the advertising identifier from the
/// platform (when tracking is allowed), and the installation identifier is
/// created once and kept for good. Immutable afterwards.
class LUMORA_EXPORT ClientProfile {
 public:
  /// A profile from the host's values; an absent phone number or e-mail is
  /// taken from the stored one, a given one is stored. The advertising
  /// identifier given here wins over the platform's.
  ClientProfile(std::optional<std::string> phoneNumber, std::optional<std::string> email,
                std::string appName, std::optional<std::string> advertisingId);

  /// The phone number given, or the stored one.
  std::optional<std::string> getPhoneNumber() const;
  /// The e-mail address given, or the stored one.
  std::optional<std::string> getEmail() const;
  /// The host application's name, as given.
  std::string getAppName() const;
  /// The advertising identifier given, else the platform's when tracking is allowed.
  std::optional<std::string> getAdvertisingId() const;
  /// The hardware model identifier (the kernel's machine name).
  std::string getDeviceName() const;
  /// System name, one space, system version.
  std::string getSystemName() const;
  /// The installation identifier: 36 characters, upper-case hexadecimal.
  std::string getUUID() const;

  /// Forgets the stored phone number and e-mail; the installation identifier stays.
  static void clearPersistedData();

 private:
  std::optional<std::string> phoneNumber_;
  std::optional<std::string> email_;
  std::string deviceName_;
  std::string systemName_;
  std::string appName_;
  std::optional<std::string> advertisingId_;
  std::string uuid_;
};

}  // namespace lumora
