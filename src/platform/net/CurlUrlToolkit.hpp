#pragma once

#include "platform/UrlToolkit.hpp"

namespace lumora::platform {

/// URL parsing and forming on libcurl's URL API. A URL parses when it is
/// absolute (has a scheme, any scheme) and holds no characters that must be
/// percent-encoded; its path is kept as written (no dot-segment removal).
class CurlUrlToolkit : public UrlToolkit {
 public:
  std::optional<std::string> normalized(const std::string& url) const override;
  std::optional<std::string> appendingPathComponent(const std::string& url,
                                                    const std::string& component) const override;
  /// The items are percent-encoded (names and values alike: everything except
  /// letters, digits and "-._~"); no items removes the query and its "?".
  std::optional<std::string> replacingQuery(const std::string& url,
                                            const QueryItems& items) const override;
};

}  // namespace lumora::platform
