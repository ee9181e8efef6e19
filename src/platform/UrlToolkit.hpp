#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lumora::platform {

/// URL parsing and forming. Every operation answers nothing for a URL that
/// does not parse.
class UrlToolkit {
 public:
  using QueryItems = std::vector<std::pair<std::string, std::string>>;

  virtual ~UrlToolkit() = default;
  virtual std::optional<std::string> normalized(const std::string& url) const = 0;
  /// Appends one path component: exactly one "/" separates it from the path,
  /// and characters not allowed in a path are percent-encoded.
  virtual std::optional<std::string> appendingPathComponent(const std::string& url,
                                                            const std::string& component) const = 0;
  /// Replaces the whole query with the given items.
  virtual std::optional<std::string> replacingQuery(const std::string& url,
                                                    const QueryItems& items) const = 0;
};

}  // namespace lumora::platform
