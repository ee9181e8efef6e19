#pragma once

#include <optional>
#include <string>

namespace lumora::platform {

/// The host's persistent key-value store (strings only). Any thread.
class UserDefaults {
 public:
  virtual ~UserDefaults() = default;
  virtual std::optional<std::string> stringForKey(const std::string& key) const = 0;
  virtual void setString(const std::string& key, const std::string& value) = 0;
  virtual void removeObject(const std::string& key) = 0;
};

}  // namespace lumora::platform
