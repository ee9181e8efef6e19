#pragma once

#include <cstddef>
#include <string>

namespace lumora::platform {

/// A file of CA certificates in PEM form, read and checked in one go so that a
/// bad file is found once, up front, instead of failing every connection.
class PemCertificates {
 public:
  /// Files past this size are refused unread.
  static constexpr std::size_t kMaxFileBytes = 4 * 1024 * 1024;

  /// The file's text. Throws std::runtime_error naming the cause when the file
  /// cannot be read (missing, unreadable, not a regular file, too large) or
  /// holds no certificate the TLS library can load.
  static std::string read(const std::string& path);
};

}  // namespace lumora::platform
