#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lumora::platform {

/// The library's own resources ("sdk.plist").
class ResourceBundle {
 public:
  /// Resources are small files: a larger one is not read at all.
  static constexpr std::size_t kMaxResourceSize = std::size_t{1} << 20;

  virtual ~ResourceBundle() = default;
  /// The contents of resource name.type, or nothing when there is no such
  /// resource, it is larger than kMaxResourceSize, or it cannot be read.
  virtual std::optional<std::vector<std::uint8_t>> resource(const std::string& name,
                                                            const std::string& type) const = 0;
};

}  // namespace lumora::platform
