#pragma once

#include <filesystem>

#include "platform/ResourceBundle.hpp"

namespace lumora::doctor {

/// A bundle whose "sdk.plist" is one given file, whatever its name (for
/// --config FILE). Files over 4 MiB are treated as unreadable: no sdk.plist
/// comes near that size.
class ConfigFileBundle : public platform::ResourceBundle {
 public:
  explicit ConfigFileBundle(std::filesystem::path file);

  std::optional<std::vector<std::uint8_t>> resource(const std::string& name,
                                                    const std::string& type) const override;

 private:
  std::filesystem::path file_;
};

}  // namespace lumora::doctor
