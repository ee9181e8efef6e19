#pragma once

#include <stdexcept>
#include <string>

namespace lumora::tools {

/// A development-server failure with a one-line, human-readable message: a
/// bad command-line argument, a missing creative tree, an unusable
/// certificate, a port that cannot be bound.
class DevServerError : public std::runtime_error {
 public:
  explicit DevServerError(const std::string& message) : std::runtime_error(message) {}
};

}  // namespace lumora::tools
