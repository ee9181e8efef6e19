#include "platform/net/PemCertificates.hpp"

#include <fcntl.h>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <stdexcept>
#include <system_error>

namespace lumora::platform {
namespace {

struct Descriptor {
  explicit Descriptor(int fd) : fd(fd) {}
  ~Descriptor() {
    if (fd >= 0) close(fd);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int fd;
};

[[noreturn]] void fail(const std::string& reason) { throw std::runtime_error(reason); }

[[noreturn]] void failWithErrno() { fail(std::generic_category().message(errno)); }

// Opened without blocking, so that a FIFO in the file's place cannot hold the
// caller; only a regular file within the size limit is read.
std::string readRegularFile(const std::string& path) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (file.fd < 0) failWithErrno();
  struct stat status {};
  if (fstat(file.fd, &status) != 0) failWithErrno();
  if (!S_ISREG(status.st_mode)) fail("not a regular file");
  if (static_cast<std::size_t>(status.st_size) > PemCertificates::kMaxFileBytes) {
    fail("larger than " + std::to_string(PemCertificates::kMaxFileBytes) + " bytes");
  }
  std::string text(static_cast<std::size_t>(status.st_size), '\0');
  std::size_t filled = 0;
  while (filled < text.size()) {
    const ssize_t got = ::read(file.fd, text.data() + filled, text.size() - filled);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) failWithErrno();
    if (got == 0) break;  // the file shrank while being read
    filled += static_cast<std::size_t>(got);
  }
  text.resize(filled);
  return text;
}

struct InfoStackFree {
  void operator()(STACK_OF(X509_INFO) * infos) const {
    sk_X509_INFO_pop_free(infos, X509_INFO_free);
  }
};

// Loads the text the way the TLS layer will: every PEM block must decode, and
// at least one must be a certificate.
std::size_t certificateCount(const std::string& text) {
  const std::unique_ptr<BIO, decltype(&BIO_free)> input(
      BIO_new_mem_buf(text.data(), static_cast<int>(text.size())), &BIO_free);
  if (!input) fail("out of memory");
  const std::unique_ptr<STACK_OF(X509_INFO), InfoStackFree> infos(
      PEM_X509_INFO_read_bio(input.get(), nullptr, nullptr, nullptr));
  ERR_clear_error();  // leave no failure behind for the TLS layer's next report
  if (!infos) return 0;
  std::size_t count = 0;
  for (int i = 0; i < sk_X509_INFO_num(infos.get()); ++i) {
    if (sk_X509_INFO_value(infos.get(), i)->x509) ++count;
  }
  return count;
}

}  // namespace

std::string PemCertificates::read(const std::string& path) {
  std::string text = readRegularFile(path);
  if (certificateCount(text) == 0) fail("no PEM certificate could be loaded from it");
  return text;
}

}  // namespace lumora::platform
