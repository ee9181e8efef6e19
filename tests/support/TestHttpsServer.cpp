#include "support/TestHttpsServer.hpp"

#include <httplib.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <strings.h>

#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace lumora::testing {
namespace {

namespace fs = std::filesystem;

struct KeyFree {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
struct CertificateFree {
  void operator()(X509* certificate) const { X509_free(certificate); }
};
using Key = std::unique_ptr<EVP_PKEY, KeyFree>;
using Certificate = std::unique_ptr<X509, CertificateFree>;

void require(bool condition, const char* what) {
  if (!condition) throw std::runtime_error(std::string("TestHttpsServer: ") + what);
}

Key newKey() {
  Key key(EVP_EC_gen("P-256"));
  require(key != nullptr, "cannot generate a key");
  return key;
}

void addExtension(X509* certificate, X509V3_CTX* context, int nid, const char* value) {
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, context, nid, value);
  require(extension != nullptr, "cannot make a certificate extension");
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

// A CA certificate when issuer is null (self-signed), else a server
// certificate for 127.0.0.1 and localhost signed by issuer.
Certificate newCertificate(EVP_PKEY* key, const char* commonName, X509* issuer, EVP_PKEY* issuerKey,
                           long serial) {
  Certificate certificate(X509_new());
  X509* x = certificate.get();
  X509_set_version(x, X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(x), serial);
  X509_gmtime_adj(X509_getm_notBefore(x), -3600);
  X509_gmtime_adj(X509_getm_notAfter(x), 7L * 24 * 3600);
  X509_set_pubkey(x, key);
  X509_NAME_add_entry_by_txt(X509_get_subject_name(x), "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>(commonName), -1, -1, 0);
  X509* signer = issuer ? issuer : x;
  X509_set_issuer_name(x, X509_get_subject_name(signer));

  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, signer, x, nullptr, nullptr, 0);
  addExtension(x, &context, NID_subject_key_identifier, "hash");
  if (issuer) {
    addExtension(x, &context, NID_basic_constraints, "critical,CA:FALSE");
    addExtension(x, &context, NID_key_usage, "critical,digitalSignature,keyEncipherment");
    addExtension(x, &context, NID_ext_key_usage, "serverAuth");
    addExtension(x, &context, NID_subject_alt_name, "IP:127.0.0.1,DNS:localhost");
    addExtension(x, &context, NID_authority_key_identifier, "keyid:always");
  } else {
    addExtension(x, &context, NID_basic_constraints, "critical,CA:TRUE");
    addExtension(x, &context, NID_key_usage, "critical,keyCertSign,cRLSign");
  }
  require(X509_sign(x, issuerKey ? issuerKey : key, EVP_sha256()) > 0, "cannot sign");
  return certificate;
}

template <class Write>
void writePem(const fs::path& path, Write write) {
  FILE* file = std::fopen(path.c_str(), "w");
  require(file != nullptr, "cannot write a certificate file");
  const bool written = write(file) == 1;
  std::fclose(file);
  require(written, "cannot write PEM");
}

void writeCertificate(const fs::path& path, X509* certificate) {
  writePem(path, [&](FILE* file) { return PEM_write_X509(file, certificate); });
}

void writeKey(const fs::path& path, EVP_PKEY* key) {
  writePem(path, [&](FILE* file) {
    return PEM_write_PrivateKey(file, key, nullptr, nullptr, 0, nullptr, nullptr);
  });
}

// The name OpenSSL looks a CA up by in a hashed directory.
std::string hashedName(X509* certificate) {
  char name[16];
  std::snprintf(name, sizeof name, "%08lx.0",
                X509_NAME_hash_ex(X509_get_subject_name(certificate), nullptr, nullptr, nullptr));
  return name;
}

fs::path makeTemporaryDirectory() {
  std::string pattern = (fs::temp_directory_path() / "lumora-https-XXXXXX").string();
  require(mkdtemp(pattern.data()) != nullptr, "cannot create a temporary directory");
  return pattern;
}

struct CertificateFiles {
  fs::path directory;
  std::string caFile, otherCaFile, caDirectory, serverCertificate, serverKey;
};

CertificateFiles generateCertificates() {
  CertificateFiles files;
  files.directory = makeTemporaryDirectory();
  const Key caKey = newKey(), otherKey = newKey(), serverKey = newKey();
  const Certificate ca = newCertificate(caKey.get(), "Lumora Test CA", nullptr, nullptr, 1);
  const Certificate other =
      newCertificate(otherKey.get(), "Lumora Other Test CA", nullptr, nullptr, 2);
  const Certificate server = newCertificate(serverKey.get(), "127.0.0.1", ca.get(), caKey.get(), 3);

  files.caFile = files.directory / "ca.pem";
  files.otherCaFile = files.directory / "other-ca.pem";
  files.caDirectory = files.directory / "hashed";
  files.serverCertificate = files.directory / "server.pem";
  files.serverKey = files.directory / "server-key.pem";
  fs::create_directory(files.caDirectory);
  writeCertificate(files.caFile, ca.get());
  writeCertificate(files.otherCaFile, other.get());
  writeCertificate(fs::path(files.caDirectory) / hashedName(ca.get()), ca.get());
  writeCertificate(files.serverCertificate, server.get());
  writeKey(files.serverKey, serverKey.get());
  return files;
}

}  // namespace

std::vector<std::string> TestHttpsServer::Request::headerValues(std::string_view name) const {
  std::vector<std::string> values;
  for (const auto& [key, value] : headers) {
    if (key.size() == name.size() && strncasecmp(key.data(), name.data(), name.size()) == 0) {
      values.push_back(value);
    }
  }
  return values;
}

// One listening server on 127.0.0.1 and the thread that runs it.
class Listener {
 public:
  explicit Listener(std::unique_ptr<httplib::Server> server) : server_(std::move(server)) {
    require(server_->is_valid(), "cannot load the server certificate");
  }
  ~Listener() { stop(); }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  // Every method to handler, then listens on an ephemeral port.
  void start(const httplib::Server::Handler& handler) {
    server_->Get(".*", handler);
    server_->Post(".*", handler);
    server_->Put(".*", handler);
    server_->Patch(".*", handler);
    server_->Delete(".*", handler);
    server_->Options(".*", handler);
    port_ = server_->bind_to_any_port("127.0.0.1");
    require(port_ > 0, "cannot bind to 127.0.0.1");
    auto listening = std::make_shared<std::atomic<bool>>(true);
    thread_ = std::thread([server = server_.get(), listening] {
      server->listen_after_bind();
      *listening = false;
    });
    while (!server_->is_running() && *listening) std::this_thread::yield();
    if (!*listening) {
      thread_.join();
      require(false, "cannot listen on 127.0.0.1");
    }
  }

  void stop() {
    if (thread_.joinable()) {
      server_->stop();
      thread_.join();
    }
  }

  int port() const { return port_; }

 private:
  std::unique_ptr<httplib::Server> server_;
  int port_ = -1;
  std::thread thread_;
};

struct TestHttpsServer::State {
  CertificateFiles files = generateCertificates();
  Listener secure{std::make_unique<httplib::SSLServer>(files.serverCertificate.c_str(),
                                                       files.serverKey.c_str())};
  std::unique_ptr<Listener> cleartext;

  mutable std::mutex mutex;
  mutable std::condition_variable changed;
  bool stopping = false;                      // guarded by mutex
  std::map<std::string, Response> responses;  // guarded by mutex
  std::vector<Request> requests;              // guarded by mutex

  Response record(const httplib::Request& incoming, bool overCleartext) {
    Request request;
    request.cleartext = overCleartext;
    request.method = incoming.method;
    request.target = incoming.target;
    const auto question = incoming.target.find('?');
    request.path = incoming.target.substr(0, question);
    if (question != std::string::npos) request.query = incoming.target.substr(question + 1);
    request.headers.assign(incoming.headers.begin(), incoming.headers.end());
    request.body = incoming.body;
    request.remotePort = incoming.remote_port;

    std::lock_guard lock(mutex);
    const auto found = responses.find(request.path);
    const Response reply = found != responses.end() ? found->second : Response(404);
    requests.push_back(std::move(request));
    changed.notify_all();
    return reply;
  }

  // Holds the handler thread as scripted; true when it is to answer.
  bool hold(const Response& reply) {
    std::unique_lock lock(mutex);
    if (reply.neverAnswer) {
      changed.wait(lock, [&] { return stopping; });
      return false;
    }
    changed.wait_for(lock, reply.delay, [&] { return stopping; });
    return !stopping;
  }

  void handle(const httplib::Request& incoming, httplib::Response& outgoing, bool overCleartext) {
    const Response reply = record(incoming, overCleartext);
    if (!hold(reply)) {
      outgoing.status = 503;
      return;
    }
    outgoing.status = reply.status;
    if (!reply.location.empty()) outgoing.set_header("Location", reply.location);
    // A 204 or 304 reply has no body by definition; sending one anyway would
    // corrupt the next reply on a kept-alive connection.
    const bool bodiless = reply.status == 204 || reply.status == 304;
    if (!reply.body.empty() && !bodiless) {
      outgoing.set_content(reply.body, reply.contentType.c_str());
    }
  }
};

TestHttpsServer::TestHttpsServer(Listeners listeners) : state_(std::make_unique<State>()) {
  State* state = state_.get();
  state->secure.start([state](const httplib::Request& request, httplib::Response& response) {
    state->handle(request, response, false);
  });
  if (listeners == Listeners::httpsAndCleartext) {
    state->cleartext = std::make_unique<Listener>(std::make_unique<httplib::Server>());
    state->cleartext->start([state](const httplib::Request& request, httplib::Response& response) {
      state->handle(request, response, true);
    });
  }
}

TestHttpsServer::~TestHttpsServer() {
  {
    std::lock_guard lock(state_->mutex);
    state_->stopping = true;
  }
  state_->changed.notify_all();
  // Stopped before the state their handlers use goes away.
  if (state_->cleartext) state_->cleartext->stop();
  state_->secure.stop();
  std::error_code ignored;
  fs::remove_all(state_->files.directory, ignored);
}

int TestHttpsServer::port() const { return state_->secure.port(); }

std::string TestHttpsServer::hostAndPort() const { return "127.0.0.1:" + std::to_string(port()); }

std::string TestHttpsServer::url(std::string_view pathAndQuery) const {
  return "https://" + hostAndPort() + std::string(pathAndQuery);
}

std::string TestHttpsServer::cleartextUrl(std::string_view pathAndQuery) const {
  require(state_->cleartext != nullptr, "no cleartext listener");
  return "http://127.0.0.1:" + std::to_string(state_->cleartext->port()) +
         std::string(pathAndQuery);
}

const std::string& TestHttpsServer::caFile() const { return state_->files.caFile; }
const std::string& TestHttpsServer::otherCaFile() const { return state_->files.otherCaFile; }
const std::string& TestHttpsServer::caDirectory() const { return state_->files.caDirectory; }

void TestHttpsServer::respond(const std::string& path, Response response) {
  std::lock_guard lock(state_->mutex);
  state_->responses[path] = std::move(response);
}

std::vector<TestHttpsServer::Request> TestHttpsServer::requests() const {
  std::lock_guard lock(state_->mutex);
  return state_->requests;
}

bool TestHttpsServer::waitForRequests(std::size_t count, std::chrono::seconds limit) const {
  std::unique_lock lock(state_->mutex);
  return state_->changed.wait_for(lock, limit, [&] { return state_->requests.size() >= count; });
}

}  // namespace lumora::testing
