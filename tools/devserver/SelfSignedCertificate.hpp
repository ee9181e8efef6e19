#pragma once

#include <chrono>
#include <filesystem>
#include <string_view>

namespace lumora::tools {

/// A key and a self-signed certificate for "localhost", 127.0.0.1, ::1 and
/// the address the server listens on, as PEM files ("cert.pem" and
/// "key.pem", the key readable by its owner only) in a directory. The
/// certificate is its own CA, so a client trusts the server by using
/// certFile() as its CA file.
class SelfSignedCertificate {
 public:
  static constexpr std::chrono::seconds kValidity{365L * 24 * 60 * 60};
  /// A kept certificate closer than this to its end is replaced.
  static constexpr std::chrono::seconds kRenewBefore{24L * 60 * 60};

  /// Makes a fresh pair. A missing directory is created readable by its
  /// owner only. Throws DevServerError when the key, the certificate or a
  /// file cannot be made.
  static SelfSignedCertificate generate(const std::filesystem::path& directory,
                                        std::string_view address = "127.0.0.1",
                                        std::chrono::seconds validity = kValidity);

  /// Keeps the pair already in directory when both files read back as a
  /// matching key and certificate that names address and stays valid for
  /// kRenewBefore; otherwise generates a new one. Two servers starting at
  /// once on one directory take turns.
  static SelfSignedCertificate loadOrGenerate(const std::filesystem::path& directory,
                                              std::string_view address);

  const std::filesystem::path& certFile() const noexcept { return certFile_; }
  const std::filesystem::path& keyFile() const noexcept { return keyFile_; }

 private:
  explicit SelfSignedCertificate(const std::filesystem::path& directory);

  std::filesystem::path certFile_;
  std::filesystem::path keyFile_;
};

}  // namespace lumora::tools
