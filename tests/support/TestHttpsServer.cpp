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

void require(bool condition, const char* what) {
  if (!condition) throw std::runtime_error(std::string("TestHttpsServer: ") + what);
}

struct CertificateFiles {
  fs::path directory;
  std::string caFile, otherCaFile, caDirectory, serverKey;
};

// A key and a certificate for 127.0.0.1 and localhost that is its own CA, as
// PEM files; the certificate's file name in a hashed CA directory.
std::string writeSelfSigned(const char* name, const fs::path& certificateFile,
                            const fs::path& keyFile) {
  std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY*)> key(EVP_EC_gen("P-256"), EVP_PKEY_free);
  std::unique_ptr<X509, void (*)(X509*)> certificate(X509_new(), X509_free);
  X509* x = certificate.get();
  require(key && x, "cannot make a key");
  X509_set_version(x, X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(x), 1);
  X509_gmtime_adj(X509_getm_notBefore(x), -3600);
  X509_gmtime_adj(X509_getm_notAfter(x), 7L * 24 * 3600);
  X509_set_pubkey(x, key.get());
  X509_NAME_add_entry_by_txt(X509_get_subject_name(x), "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>(name), -1, -1, 0);
  X509_set_issuer_name(x, X509_get_subject_name(x));
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, x, x, nullptr, nullptr, 0);
  for (const auto& [nid, value] : {std::pair{NID_basic_constraints, "critical,CA:TRUE"},
                                   {NID_subject_key_identifier, "hash"},
                                   {NID_subject_alt_name, "IP:127.0.0.1,DNS:localhost"}}) {
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value);
    require(extension != nullptr && X509_add_ext(x, extension, -1) == 1, "cannot add extension");
    X509_EXTENSION_free(extension);
  }
  require(X509_sign(x, key.get(), EVP_sha256()) > 0, "cannot sign");
  FILE* certificateOut = std::fopen(certificateFile.c_str(), "w");
  FILE* keyOut = std::fopen(keyFile.c_str(), "w");
  const bool written =
      certificateOut && keyOut && PEM_write_X509(certificateOut, x) == 1 &&
      PEM_write_PrivateKey(keyOut, key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1;
  if (certificateOut) std::fclose(certificateOut);
  if (keyOut) std::fclose(keyOut);
  require(written, "cannot write PEM files");
  char hashed[16];
  std::snprintf(hashed, sizeof hashed, "%08lx.0",
                X509_NAME_hash_ex(X509_get_subject_name(x), nullptr, nullptr, nullptr));
  return hashed;
}

// The server's certificate is its own CA; a second one signed nothing.
CertificateFiles generateCertificates() {
  CertificateFiles files;
  std::string pattern = (fs::temp_directory_path() / "lumora-https-XXXXXX").string();
  require(mkdtemp(pattern.data()) != nullptr, "cannot create a temporary directory");
  files.directory = pattern;
  files.caFile = files.directory / "ca.pem";
  files.otherCaFile = files.directory / "other-ca.pem";
  files.caDirectory = files.directory / "hashed";
  files.serverKey = files.directory / "server-key.pem";
  const std::string hashed = writeSelfSigned("Lumora Test CA", files.caFile, files.serverKey);
  writeSelfSigned("Lumora Other Test CA", files.otherCaFile, files.directory / "other-key.pem");
  fs::create_directory(files.caDirectory);
  fs::copy_file(files.caFile, fs::path(files.caDirectory) / hashed);
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

  // Every method to handler, then listens on an ephemeral port.
  void start(const httplib::Server::Handler& handler) {
    server_->Get(".*", handler);
    server_->Post(".*", handler);
    server_->Delete(".*", handler);
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
  Listener secure{
      std::make_unique<httplib::SSLServer>(files.caFile.c_str(), files.serverKey.c_str())};
  std::unique_ptr<Listener> cleartext;

  mutable std::mutex mutex;
  mutable std::condition_variable changed;
  bool stopping = false;                      // guarded by mutex
  std::map<std::string, Response> responses;  // guarded by mutex
  std::vector<Request> requests;              // guarded by mutex

  Response record(const httplib::Request& incoming) {
    const auto question = incoming.target.find('?');
    Request request{incoming.method,
                    incoming.target,
                    incoming.target.substr(0, question),
                    std::nullopt,
                    {incoming.headers.begin(), incoming.headers.end()},
                    incoming.body,
                    incoming.remote_port};
    if (question != std::string::npos) request.query = incoming.target.substr(question + 1);

    std::lock_guard lock(mutex);
    const auto found = responses.find(request.path);
    const Response reply = found != responses.end() ? found->second : Response(404);
    requests.push_back(std::move(request));
    changed.notify_all();
    return reply;
  }

  void handle(const httplib::Request& incoming, httplib::Response& outgoing) {
    const Response reply = record(incoming);
    if (reply.neverAnswer) {  // held until the server stops
      std::unique_lock lock(mutex);
      changed.wait(lock, [&] { return stopping; });
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
  const auto handler = [state = state_.get()](const httplib::Request& request,
                                              httplib::Response& response) {
    state->handle(request, response);
  };
  state_->secure.start(handler);
  if (listeners == Listeners::httpsAndCleartext) {
    state_->cleartext = std::make_unique<Listener>(std::make_unique<httplib::Server>());
    state_->cleartext->start(handler);
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

std::string TestHttpsServer::hostAndPort() const {
  return "127.0.0.1:" + std::to_string(state_->secure.port());
}

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
