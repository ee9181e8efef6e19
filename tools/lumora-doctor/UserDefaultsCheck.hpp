#pragma once

#include "lumora-doctor/Check.hpp"

namespace lumora::doctor {

/// "user-defaults": the folder of the SDK's persisted client identity
/// ($XDG_CONFIG_HOME/lumora, else ~/.config/lumora) can take the SDK's
/// writes: when it exists, a temporary file is created in it and removed;
/// when it does not, its nearest existing parent must let the SDK create it.
class UserDefaultsCheck {
 public:
  static Check run();
};

}  // namespace lumora::doctor
