#pragma once

#include <filesystem>

namespace lumora::tools {

/// A fresh key and a self-signed certificate for "localhost" and 127.0.0.1,
/// written as PEM files ("cert.pem", "key.pem") into a directory. The
/// certificate is its own CA, so a client trusts the server by using
/// certFile() as its CA file.
class SelfSignedCertificate {
 public:
  /// Creates the directory if needed. Throws DevServerError when the key, the
  /// certificate or a file cannot be made.
  static SelfSignedCertificate generate(const std::filesystem::path& directory);

  const std::filesystem::path& certFile() const noexcept { return certFile_; }
  const std::filesystem::path& keyFile() const noexcept { return keyFile_; }

 private:
  SelfSignedCertificate(std::filesystem::path certFile, std::filesystem::path keyFile);

  std::filesystem::path certFile_;
  std::filesystem::path keyFile_;
};

}  // namespace lumora::tools
