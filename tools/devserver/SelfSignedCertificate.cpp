#include "devserver/SelfSignedCertificate.hpp"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <fcntl.h>
#include <openssl/err.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <optional>
#include <string>

#include "devserver/DevServerError.hpp"

namespace lumora::tools {
namespace {

constexpr std::size_t kMaxPemBytes = 64 * 1024;

struct KeyDeleter {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
struct CertDeleter {
  void operator()(X509* cert) const { X509_free(cert); }
};
struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using KeyPtr = std::unique_ptr<EVP_PKEY, KeyDeleter>;
using CertPtr = std::unique_ptr<X509, CertDeleter>;
struct BioDeleter {
  void operator()(BIO* bio) const { BIO_free(bio); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;
using BioPtr = std::unique_ptr<BIO, BioDeleter>;

/// A file descriptor closed when it goes.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) {
      close(fd_);
    }
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

bool isWildcard(std::string_view address) { return address == "0.0.0.0" || address == "::"; }

/// The address a client on this machine reaches the server by.
std::string reachableAddress(std::string_view address) {
  return isWildcard(address) ? "127.0.0.1" : std::string(address);
}

void require(bool ok, const std::string& what) {
  if (!ok) {
    throw DevServerError("cannot generate the self-signed certificate: " + what + " failed");
  }
}

void setRandomSerial(X509* cert) {
  unsigned char bytes[16];
  require(RAND_bytes(bytes, sizeof bytes) == 1, "random serial");
  bytes[0] &= 0x7f;  // a positive serial
  BIGNUM* serial = BN_bin2bn(bytes, sizeof bytes, nullptr);
  const bool ok =
      serial != nullptr && BN_to_ASN1_INTEGER(serial, X509_get_serialNumber(cert)) != nullptr;
  BN_free(serial);
  require(ok, "serial number");
}

void addExtension(X509* cert, int nid, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, cert, cert, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value);
  const bool ok = extension != nullptr && X509_add_ext(cert, extension, -1) == 1;
  X509_EXTENSION_free(extension);
  require(ok, OBJ_nid2sn(nid));
}

std::string subjectAltNames(std::string_view address) {
  std::string names = "DNS:localhost,IP:127.0.0.1,IP:::1";
  const std::string reachable = reachableAddress(address);
  if (reachable != "127.0.0.1" && reachable != "::1") {
    names += ",IP:" + reachable;
  }
  return names;
}

CertPtr makeCertificate(EVP_PKEY* key, std::string_view address, std::chrono::seconds validity) {
  CertPtr cert(X509_new());
  require(cert != nullptr && X509_set_version(cert.get(), 2) == 1, "certificate");
  setRandomSerial(cert.get());
  X509_gmtime_adj(X509_getm_notBefore(cert.get()), -60 * 60);
  X509_gmtime_adj(X509_getm_notAfter(cert.get()), static_cast<long>(validity.count()));
  require(X509_set_pubkey(cert.get(), key) == 1, "public key");

  X509_NAME* name = X509_get_subject_name(cert.get());
  X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>("Lumora development server"),
                             -1, -1, 0);
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>("localhost"), -1, -1, 0);
  require(X509_set_issuer_name(cert.get(), name) == 1, "issuer name");

  // Its own CA, so that clients can name this very file as their CA file.
  addExtension(cert.get(), NID_basic_constraints, "critical,CA:TRUE");
  addExtension(cert.get(), NID_key_usage, "critical,digitalSignature,keyCertSign");
  addExtension(cert.get(), NID_ext_key_usage, "serverAuth");
  addExtension(cert.get(), NID_subject_key_identifier, "hash");
  addExtension(cert.get(), NID_subject_alt_name, subjectAltNames(address).c_str());
  require(X509_sign(cert.get(), key, EVP_sha256()) > 0, "signing");
  return cert;
}

/// Creates path afresh for writing with exactly mode. Whatever was there
/// before (a stale file, a link, a FIFO) is removed, never opened.
FilePtr openForWriting(const std::filesystem::path& path, mode_t mode) {
  unlink(path.c_str());
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
  FilePtr file(fd >= 0 && fchmod(fd, mode) == 0 ? fdopen(fd, "w") : nullptr);
  if (!file) {
    const std::string reason = std::strerror(errno);
    if (fd >= 0) {
      close(fd);
    }
    throw DevServerError("cannot write " + path.string() + ": " + reason);
  }
  return file;
}

/// Creates directory (its own folder owner-only) when missing.
void prepareDirectory(const std::filesystem::path& directory) {
  std::error_code error;
  if (directory.has_parent_path()) {
    std::filesystem::create_directories(directory.parent_path(), error);
  }
  if (!error && mkdir(directory.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
    error = std::error_code(errno, std::generic_category());
  }
  if (!error && !std::filesystem::is_directory(directory, error) && !error) {
    error = std::make_error_code(std::errc::not_a_directory);
  }
  if (error) {
    throw DevServerError("cannot create certificate directory " + directory.string() + ": " +
                         error.message());
  }
}

/// The contents of a small regular file; nullopt for anything else (missing,
/// unreadable, a FIFO, a directory, too large). Never blocks.
std::optional<std::string> readSmallFile(const std::filesystem::path& path) {
  const Descriptor fd(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
  struct stat status {};
  if (fd.get() < 0 || fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
      status.st_size > static_cast<off_t>(kMaxPemBytes)) {
    return std::nullopt;
  }
  std::string contents(static_cast<std::size_t>(status.st_size), '\0');
  const ssize_t got = read(fd.get(), contents.data(), contents.size());
  if (got != static_cast<ssize_t>(contents.size())) {
    return std::nullopt;
  }
  return contents;
}

BioPtr memoryBio(const std::string& text) {
  return BioPtr(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

/// True when the pair in these files can serve address for a while yet.
bool isReusable(const std::filesystem::path& certFile, const std::filesystem::path& keyFile,
                std::string_view address) {
  const std::optional<std::string> certPem = readSmallFile(certFile);
  const std::optional<std::string> keyPem = readSmallFile(keyFile);
  if (!certPem || !keyPem) {
    return false;
  }
  const BioPtr certBio = memoryBio(*certPem);
  const BioPtr keyBio = memoryBio(*keyPem);
  const CertPtr cert(certBio ? PEM_read_bio_X509(certBio.get(), nullptr, nullptr, nullptr)
                             : nullptr);
  const KeyPtr key(keyBio ? PEM_read_bio_PrivateKey(keyBio.get(), nullptr, nullptr, nullptr)
                          : nullptr);
  std::time_t renewal = std::time(nullptr) + SelfSignedCertificate::kRenewBefore.count();
  const bool reusable = cert && key && X509_check_private_key(cert.get(), key.get()) == 1 &&
                        X509_cmp_time(X509_get0_notAfter(cert.get()), &renewal) > 0 &&
                        X509_check_ip_asc(cert.get(), reachableAddress(address).c_str(), 0) == 1;
  ERR_clear_error();  // what failed to parse is of no further interest
  return reusable;
}

}  // namespace

SelfSignedCertificate::SelfSignedCertificate(const std::filesystem::path& directory)
    : certFile_(directory / "cert.pem"), keyFile_(directory / "key.pem") {}

SelfSignedCertificate SelfSignedCertificate::generate(const std::filesystem::path& directory,
                                                      std::string_view address,
                                                      std::chrono::seconds validity) {
  prepareDirectory(directory);
  KeyPtr key(EVP_EC_gen("P-256"));
  require(key != nullptr, "key generation");
  CertPtr cert = makeCertificate(key.get(), address, validity);

  SelfSignedCertificate result(directory);
  {
    FilePtr keyOut = openForWriting(result.keyFile_, S_IRUSR | S_IWUSR);
    require(
        PEM_write_PrivateKey(keyOut.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1,
        "writing the key");
  }
  FilePtr certOut = openForWriting(result.certFile_, S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH);
  require(PEM_write_X509(certOut.get(), cert.get()) == 1, "writing the certificate");
  return result;
}

SelfSignedCertificate SelfSignedCertificate::loadOrGenerate(const std::filesystem::path& directory,
                                                            std::string_view address) {
  prepareDirectory(directory);
  const Descriptor lock(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (lock.get() < 0 || flock(lock.get(), LOCK_EX) != 0) {
    throw DevServerError("cannot lock certificate directory " + directory.string() + ": " +
                         std::strerror(errno));
  }
  const SelfSignedCertificate kept(directory);
  if (isReusable(kept.certFile_, kept.keyFile_, address)) {
    return kept;
  }
  return generate(directory, address);
}

}  // namespace lumora::tools
