#include "devserver/SelfSignedCertificate.hpp"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "devserver/DevServerError.hpp"

namespace lumora::tools {
namespace {

constexpr long kValiditySeconds = 365L * 24 * 60 * 60;

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
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

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

CertPtr makeCertificate(EVP_PKEY* key) {
  CertPtr cert(X509_new());
  require(cert != nullptr && X509_set_version(cert.get(), 2) == 1, "certificate");
  setRandomSerial(cert.get());
  X509_gmtime_adj(X509_getm_notBefore(cert.get()), -60 * 60);
  X509_gmtime_adj(X509_getm_notAfter(cert.get()), kValiditySeconds);
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
  addExtension(cert.get(), NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1");
  require(X509_sign(cert.get(), key, EVP_sha256()) > 0, "signing");
  return cert;
}

FilePtr openForWriting(const std::filesystem::path& path) {
  FilePtr file(std::fopen(path.c_str(), "w"));
  if (!file) {
    throw DevServerError("cannot write " + path.string());
  }
  return file;
}

}  // namespace

SelfSignedCertificate::SelfSignedCertificate(std::filesystem::path certFile,
                                             std::filesystem::path keyFile)
    : certFile_(std::move(certFile)), keyFile_(std::move(keyFile)) {}

SelfSignedCertificate SelfSignedCertificate::generate(const std::filesystem::path& directory) {
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  if (error) {
    throw DevServerError("cannot create certificate directory " + directory.string() + ": " +
                         error.message());
  }
  KeyPtr key(EVP_EC_gen("P-256"));
  require(key != nullptr, "key generation");
  CertPtr cert = makeCertificate(key.get());

  SelfSignedCertificate result(directory / "cert.pem", directory / "key.pem");
  {
    FilePtr keyOut = openForWriting(result.keyFile_);
    std::filesystem::permissions(
        result.keyFile_, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    require(
        PEM_write_PrivateKey(keyOut.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1,
        "writing the key");
  }
  FilePtr certOut = openForWriting(result.certFile_);
  require(PEM_write_X509(certOut.get(), cert.get()) == 1, "writing the certificate");
  return result;
}

}  // namespace lumora::tools
