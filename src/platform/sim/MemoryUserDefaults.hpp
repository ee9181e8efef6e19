#pragma once

#include <map>
#include <mutex>
#include <string>

#include "platform/UserDefaults.hpp"

namespace lumora::platform {

/// A user-defaults store held in memory. Safe from any thread.
class MemoryUserDefaults : public UserDefaults {
 public:
  using Contents = std::map<std::string, std::string>;

  explicit MemoryUserDefaults(Contents initial = {});

  std::optional<std::string> stringForKey(const std::string& key) const override;
  void setString(const std::string& key, const std::string& value) override;
  void removeObject(const std::string& key) override;

  /// A copy of everything stored, by key.
  Contents snapshot() const;

 private:
  mutable std::mutex mutex_;
  Contents contents_;
};

}  // namespace lumora::platform
