#pragma once

#include <map>
#include <mutex>
#include <string>

#include "platform/ResourceBundle.hpp"

namespace lumora::platform {

/// A resource bundle whose files live in memory.
class MemoryResourceBundle : public ResourceBundle {
 public:
  std::optional<std::vector<std::uint8_t>> resource(const std::string& name,
                                                    const std::string& type) const override;
  void setResource(const std::string& fileName, std::vector<std::uint8_t> contents);
  void setResource(const std::string& fileName, const std::string& contents);
  void removeResource(const std::string& fileName);

 private:
  mutable std::mutex mutex_;
  std::map<std::string, std::vector<std::uint8_t>> files_;
};

}  // namespace lumora::platform
