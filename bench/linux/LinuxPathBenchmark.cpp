// lumora-linux-bench: the whole Linux path (BlueZ signals -> sd-bus -> core ->
// pipeline) against lumora-bluez-load on a private bus, beside the floor: a
// minimal sd-bus subscriber that only unpacks ManufacturerData. Each side has
// a bus of its own and the two take turns at every rate; CPU is that of the
// whole process (every thread) from the load's start until it is idle again.
//
//   lumora-linux-bench                 CPU per advertisement at 1,000 / 5,000 /
//                                      20,000 per second and the highest rate
//                                      sustained, SDK and floor, with the ratio
//   lumora-linux-bench --soak [MIN]    MIN minutes (10) at 2,000 per second over
//                                      10,000 rotating identities: memory,
//                                      fetches per identity, backlog

#include <fcntl.h>
#include <glib.h>
#include <httplib.h>
#include <malloc.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <regex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "core/SdkFacade.hpp"
#include "devserver/SelfSignedCertificate.hpp"
#include "lumora/LumoraAdBeaconCallback.hpp"
#include "platform/linux/LinuxPlatform.hpp"
#include "tools/bluez-load/FakeBluetoothd.hpp"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

FILE* out = stdout;  // results; the SDK's own log lines go to /dev/null

/// CPU time of every thread of this process, and how often they went to sleep.
struct Usage {
  double cpuSeconds = 0;
  long sleeps = 0;
};

Usage usage() {
  rusage self{};
  getrusage(RUSAGE_SELF, &self);
  const auto seconds = [](const timeval& t) { return t.tv_sec + t.tv_usec / 1e6; };
  return {seconds(self.ru_utime) + seconds(self.ru_stime), self.ru_nvcsw};
}

double cpuSeconds() { return usage().cpuSeconds; }

double residentMegabytes() {
  long pages = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> pages >> resident;
  return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1048576.0;
}

/// Open descriptors, or 0 when none is left to count them with.
std::size_t openDescriptors() {
  std::error_code error;
  fs::directory_iterator entries("/proc/self/fd", error);
  if (error) return 0;
  return static_cast<std::size_t>(std::distance(entries, fs::directory_iterator()));
}

pid_t spawn(const std::vector<std::string>& argv, int stdoutFd) {
  std::vector<char*> args;
  for (const auto& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (stdoutFd >= 0) posix_spawn_file_actions_adddup2(&actions, stdoutFd, STDOUT_FILENO);
  pid_t pid = -1;
  const int result = posix_spawn(&pid, args[0], &actions, nullptr, args.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (result != 0) throw std::runtime_error("cannot start " + argv[0]);
  return pid;
}

std::string readAll(int fd) {
  std::string text;
  char buffer[4096];
  ssize_t n = 0;
  while ((n = read(fd, buffer, sizeof buffer)) > 0) text.append(buffer, static_cast<size_t>(n));
  return text;
}

/// A private dbus-daemon in a temporary directory.
class PrivateBus {
 public:
  explicit PrivateBus(const fs::path& directory) {
    int fds[2];
    if (pipe(fds) != 0) throw std::runtime_error("pipe");
    pid_ = spawn({"/usr/bin/dbus-daemon", "--session", "--nofork", "--print-address",
                  "--address=unix:path=" + (directory / "bus").string()},
                 fds[1]);
    close(fds[1]);
    std::string line;
    char c = 0;
    while (read(fds[0], &c, 1) == 1 && c != '\n') line.push_back(c);
    close(fds[0]);
    if (line.empty()) throw std::runtime_error("dbus-daemon did not start");
    address_ = line;
  }
  ~PrivateBus() {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
  }
  const std::string& address() const { return address_; }

 private:
  pid_t pid_ = -1;
  std::string address_;
};

/// lumora-bluez-load as a child process.
class Load {
 public:
  struct Result {
    std::uint64_t sent = 0;
    std::uint64_t skipped = 0;
    double cpuMicrosPerSignal = 0;
  };

  Load(const fs::path& tool, const std::vector<std::string>& options) {
    int fds[2];
    if (pipe(fds) != 0) throw std::runtime_error("pipe");
    std::vector<std::string> argv{tool.string()};
    argv.insert(argv.end(), options.begin(), options.end());
    pid_ = spawn(argv, fds[1]);
    close(fds[1]);
    fd_ = fds[0];
  }
  ~Load() {
    if (pid_ > 0) finish();
  }
  /// Waits for the planned run to end and reads its totals.
  Result finish() {
    const std::string text = readAll(fd_);
    close(fd_);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
    Result result;
    std::smatch match;
    static const std::regex totals(
        R"(sent (\d+) signals.*skipped (\d+), CPU [0-9.]+ s \(([0-9.]+) us per signal\))");
    if (std::regex_search(text, match, totals)) {
      result.sent = std::stoull(match[1]);
      result.skipped = std::stoull(match[2]);
      result.cpuMicrosPerSignal = std::stod(match[3]);
    }
    return result;
  }
  bool running() const {
    int status = 0;
    return waitpid(pid_, &status, WNOHANG) == 0;
  }

 private:
  pid_t pid_ = -1;
  int fd_ = -1;
};

/// HTTPS creatives and events on 127.0.0.1, counting fetches per binding in
/// memory allocated up front, so that it does not grow the process.
/// The creative and event server, in a child process of its own so that the
/// bench process's memory and CPU figures are the SDK's alone. Fetches per
/// binding are counted in memory shared with that child.
class CreativeServer {
 public:
  explicit CreativeServer(const fs::path& directory)
      : certificate_(lumora::tools::SelfSignedCertificate::generate(directory / "tls")),
        server_(certificate_.certFile().c_str(), certificate_.keyFile().c_str()),
        fetches_(static_cast<std::atomic<std::uint8_t>*>(
            mmap(nullptr, kBindings, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {
    if (fetches_ == MAP_FAILED) throw std::runtime_error("server: no shared memory");
    server_.Get(R"(/bucket/binding/([0-9/]+)/ios\.json)", [this](const auto& request, auto& reply) {
      std::string digits = request.matches[1];
      digits.erase(std::remove(digits.begin(), digits.end(), '/'), digits.end());
      const auto binding = std::stoul(digits);
      if (binding < kBindings) fetches_[binding].fetch_add(1);
      reply.set_content(R"({"campaignId":1,"creativeId":)" + digits +
                            R"(,"title":"Offer","message":"Today only","data":"x"})",
                        "application/json");
    });
    server_.Post(R"(/.*device_events)",
                 [](const auto&, auto& reply) { reply.set_content("{}", "application/json"); });
    // Connections stay open for many requests, as a CDN keeps them: the SDK
    // holds a few open and reuses them, and there are more workers than it
    // ever opens, so none waits behind an idle connection.
    server_.set_keep_alive_max_count(100000);
    // A reply goes out as two writes (head, body): without TCP_NODELAY the body
    // waits for the client's delayed acknowledgement, up to 40 ms a request.
    server_.set_tcp_nodelay(true);
    server_.new_task_queue = [] { return new httplib::ThreadPool(64); };
    port_ = server_.bind_to_any_port("127.0.0.1");
    child_ = fork();
    if (child_ < 0) throw std::runtime_error("server: cannot fork");
    if (child_ == 0) {
      server_.listen_after_bind();
      _exit(0);
    }
  }
  ~CreativeServer() {
    kill(child_, SIGTERM);
    waitpid(child_, nullptr, 0);
    munmap(fetches_, kBindings);
  }
  std::string hostAndPort() const { return "127.0.0.1:" + std::to_string(port_); }
  fs::path caFile() const { return certificate_.certFile(); }
  std::uint8_t fetchesOf(std::uint32_t binding) const { return fetches_[binding].load(); }

 private:
  lumora::tools::SelfSignedCertificate certificate_;
  httplib::SSLServer server_;
  static constexpr std::size_t kBindings = std::size_t{1} << 24;
  std::atomic<std::uint8_t>* fetches_;
  int port_ = 0;
  pid_t child_ = -1;
};

class QuietCallback : public lumora::LumoraAdBeaconCallback {
 public:
  void onInitialized() override {}
  void onCreativeReceived(const lumora::LumoraAdCreative&) override { ++creatives; }
  void onError(const lumora::LumoraAdBeaconError& error) override {
    // By code and the message's first words: numbers and names vary per error.
    const auto& message = error.message();
    ++errors[{lumora::rawValue(error.code()),
              message.substr(0, message.find_first_of("0123456789:"))}];
  }
  void onNotificationClicked(const lumora::LumoraAdCreative&) override {}
  /// The errors the host heard: how many of each kind.
  void printErrors() const {
    for (const auto& [kind, count] : errors) {
      std::fprintf(out, "host heard error %lld x %llu: %s...\n", static_cast<long long>(kind.first),
                   static_cast<unsigned long long>(count), kind.second.c_str());
    }
  }
  std::uint64_t creatives = 0;

 private:
  std::map<std::pair<std::int64_t, std::string>, std::uint64_t> errors;
};

constexpr const char* kIBeaconUuid = "E2C56DB5-DFFB-48D2-B060-D0F5A71096E0";
constexpr const char* kServiceUuid = "0000FEAA-0000-1000-8000-00805F9B34FB";

void writeSdkPlist(const fs::path& file, const std::string& server) {
  const auto entry = [](const std::string& key, const std::string& value) {
    return "<key>" + key + "</key><string>" + value + "</string>";
  };
  const std::string group = "<dict>" + entry("EventURL", "https://" + server + "/events") +
                            entry("NoTrackingEventURL", "https://" + server + "/nt") +
                            entry("CreativeCDNURL", server) +
                            entry("CreativeBucketName", "bucket") + "</dict>";
  std::ofstream(file) << "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>"
                         "<key>APIEndpoints</key><dict><key>Stage</key>"
                      << group << "<key>Production</key>" << group
                      << "</dict><key>BeaconSettings</key><dict><key>AppleBeacon</key><dict>"
                      << entry("UUID", kIBeaconUuid) << entry("Identifier", "bench")
                      << "</dict><key>CustomBeacon</key><dict>"
                      << entry("ServiceUUID", kServiceUuid) << "</dict></dict></dict></plist>";
}

/// The real facade on the real Linux platform, on the bench's main context.
class Sdk {
 public:
  Sdk(const fs::path& directory, const PrivateBus& bus, const CreativeServer& server) {
    fs::create_directories(directory / "bundle");
    writeSdkPlist(directory / "bundle" / "sdk.plist", server.hostAndPort());
    lumora::platform::LinuxPlatformOptions options;
    options.bluetoothBusAddress = bus.address();
    options.notificationBusAddress = bus.address();
    options.userDefaultsFile = directory / "defaults.plist";
    options.bundleDirectory = directory / "bundle";
    options.http.extraCaFile = server.caFile();
    options.locationAuthorization = 3;
    platform_ = std::make_shared<lumora::platform::LinuxPlatform>(options);
    lumora::platform::Platform::install(platform_);
    facade_ = lumora::SdkFacade::create(platform_);
    facade_->initiate(lumora::ClientProfile("+15550100", "a@example.com", "Bench", std::nullopt),
                      callback_, lumora::Environment::stage);
    facade_->start();
  }
  const QuietCallback& callback() const { return *callback_; }
  ~Sdk() {
    facade_.reset();
    lumora::platform::Platform::install(nullptr);
    platform_.reset();
  }

 private:
  std::shared_ptr<lumora::platform::LinuxPlatform> platform_;
  std::shared_ptr<QuietCallback> callback_ = std::make_shared<QuietCallback>();
  std::shared_ptr<lumora::SdkFacade> facade_;
};

/// The floor: an sd-bus subscriber that only unpacks ManufacturerData.
class FloorSubscriber {
 public:
  explicit FloorSubscriber(const std::string& address) {
    sd_bus_new(&bus_);
    sd_bus_set_address(bus_, address.c_str());
    sd_bus_set_bus_client(bus_, 1);
    if (sd_bus_start(bus_) < 0) throw std::runtime_error("floor: cannot connect");
    sd_bus_add_match(bus_, nullptr,
                     "type='signal',sender='org.bluez',interface='org.freedesktop.DBus."
                     "Properties',member='PropertiesChanged',arg0='org.bluez.Device1',"
                     "path_namespace='/org/bluez/hci0'",
                     onSignal, this);
  }
  ~FloorSubscriber() { sd_bus_flush_close_unref(bus_); }
  /// Answers whether the adapter took it (the load may not own org.bluez yet).
  bool startDiscovery() {
    return sd_bus_call_method(bus_, "org.bluez", "/org/bluez/hci0", "org.bluez.Adapter1",
                              "StartDiscovery", nullptr, nullptr, nullptr) >= 0;
  }
  /// Processes what is ready, waiting up to `seconds` for more.
  void runFor(double seconds) {
    while (sd_bus_process(bus_, nullptr) > 0) {
    }
    sd_bus_wait(bus_, static_cast<std::uint64_t>(seconds * 1e6));
    while (sd_bus_process(bus_, nullptr) > 0) {
    }
  }
  std::uint64_t received = 0;
  std::uint64_t bytes = 0;

 private:
  static int onSignal(sd_bus_message* m, void* data, sd_bus_error*) {
    auto* self = static_cast<FloorSubscriber*>(data);
    ++self->received;
    const char* iface = nullptr;
    if (sd_bus_message_read(m, "s", &iface) < 0) return 0;
    if (sd_bus_message_enter_container(m, 'a', "{sv}") <= 0) return 0;
    while (sd_bus_message_enter_container(m, 'e', "sv") > 0) {
      const char* key = nullptr;
      sd_bus_message_read(m, "s", &key);
      if (std::string_view(key) == "ManufacturerData" &&
          sd_bus_message_enter_container(m, 'v', "a{qv}") > 0 &&
          sd_bus_message_enter_container(m, 'a', "{qv}") > 0) {
        while (sd_bus_message_enter_container(m, 'e', "qv") > 0) {
          std::uint16_t company = 0;
          const void* data = nullptr;
          size_t size = 0;
          sd_bus_message_read(m, "q", &company);
          sd_bus_message_enter_container(m, 'v', "ay");
          sd_bus_message_read_array(m, 'y', &data, &size);
          self->bytes += size;
          sd_bus_message_exit_container(m);
          sd_bus_message_exit_container(m);
        }
        sd_bus_message_exit_container(m);
        sd_bus_message_exit_container(m);
      } else {
        sd_bus_message_skip(m, "v");
      }
      sd_bus_message_exit_container(m);
    }
    return 0;
  }
  sd_bus* bus_ = nullptr;
};

void iterateMainContext(double seconds) {
  bool done = false;
  g_timeout_add(
      static_cast<guint>(seconds * 1000),
      [](gpointer flag) -> gboolean {
        *static_cast<bool*>(flag) = true;
        return G_SOURCE_REMOVE;
      },
      &done);
  while (!done) g_main_context_iteration(nullptr, TRUE);
}

struct Phase {
  double cpuMicrosPerAdvertisement = 0;
  double sleepsPerAdvertisement = 0;  // voluntary context switches, all threads
  double drainSeconds = 0;            // from the load's end until this process is idle again
  Load::Result load;
  bool sustained() const { return load.sent > 0 && load.skipped == 0 && drainSeconds < 0.5; }
};

/// Runs `turn(seconds)` (one slice of the process's work) while lumora-bluez-load
/// plays `plan`, then until the process is idle.
Phase measure(const fs::path& tool, const PrivateBus& bus, const lumora::tools::LoadPlan& plan,
              const std::function<void(double)>& turn) {
  const Usage before = usage();
  Load load(tool, {"--bus", bus.address(), "--rate", std::to_string(plan.rate), "--seconds",
                   std::to_string(plan.seconds), "--identities", std::to_string(plan.identities),
                   "--identity-lifetime", std::to_string(plan.identityLifetime), "--ibeacon-share",
                   std::to_string(plan.iBeaconShare), "--foreign-share",
                   std::to_string(plan.foreignShare)});
  while (load.running()) turn(0.05);
  Phase phase;
  const auto loadEnd = Clock::now();
  constexpr double kSlice = 0.1;
  for (int i = 0; i < 300; ++i) {  // at most 30 s to drain
    const double before = cpuSeconds();
    const auto sliceStart = Clock::now();
    turn(kSlice);
    const double wall = std::chrono::duration<double>(Clock::now() - sliceStart).count();
    if (cpuSeconds() - before < 0.05 * wall) break;
    phase.drainSeconds = std::chrono::duration<double>(Clock::now() - loadEnd).count();
  }
  phase.load = load.finish();
  if (phase.load.sent > 0) {
    const Usage after = usage();
    const auto sent = static_cast<double>(phase.load.sent);
    phase.cpuMicrosPerAdvertisement = (after.cpuSeconds - before.cpuSeconds) * 1e6 / sent;
    phase.sleepsPerAdvertisement = static_cast<double>(after.sleeps - before.sleeps) / sent;
  }
  return phase;
}

void printPhase(const char* who, double rate, const Phase& phase) {
  std::fprintf(out,
               "%-6s %6.0f/s  sent %8llu  CPU %6.2f us/adv  sleeps %4.2f/adv  drain %5.2f s  "
               "skipped %llu  %s  (load tool %.2f us/signal)\n",
               who, rate, static_cast<unsigned long long>(phase.load.sent),
               phase.cpuMicrosPerAdvertisement, phase.sleepsPerAdvertisement, phase.drainSeconds,
               static_cast<unsigned long long>(phase.load.skipped),
               phase.sustained() ? "sustained" : "BACKLOG", phase.load.cpuMicrosPerSignal);
  std::fflush(out);
}

/// One side of the comparison, on a bus of its own: while one side is
/// measured the other hears nothing, so the two can take turns rate by rate
/// and see the same machine load.
struct Side {
  const char* name;
  const PrivateBus& bus;
  std::function<void()> beforePhase;
  std::function<void(double)> turn;
  double bestRate = 0;
  bool saturated = false;

  Phase run(const fs::path& tool, const lumora::tools::LoadPlan& plan) {
    beforePhase();
    return measure(tool, bus, plan, turn);
  }
};

int runRates(const fs::path& tool, const fs::path& directory) {
  fs::create_directories(directory / "floor-bus");
  fs::create_directories(directory / "sdk-bus");
  const PrivateBus floorBus(directory / "floor-bus"), sdkBus(directory / "sdk-bus");
  CreativeServer server(directory);
  FloorSubscriber floorSubscriber(floorBus.address());
  bool discovering = false;
  Side floor{"floor", floorBus, [&] { discovering = false; },
             [&](double seconds) {
               if (!discovering) discovering = floorSubscriber.startDiscovery();
               floorSubscriber.runFor(seconds);
             }};
  Sdk sdkInstance(directory / "sdk", sdkBus, server);
  iterateMainContext(1);  // bus names, adapter, discovery
  Side sdk{"sdk", sdkBus, [] {}, iterateMainContext};

  const auto planAt = [](double rate, double seconds) {
    lumora::tools::LoadPlan plan;  // few identities: the per-advertisement path dominates
    plan.rate = rate;
    plan.seconds = seconds;
    plan.identities = 50;
    plan.identityLifetime = 1e6;
    return plan;
  };
  // Both sides first hear a short unmeasured run, so that one-time work
  // (connections, the SDK's first fetches of every identity) stays out of the
  // figures.
  floor.run(tool, planAt(1000, 2));
  sdk.run(tool, planAt(1000, 2));
  for (double rate : {1000, 2000, 5000, 10000, 20000, 30000, 40000}) {
    double cost[2] = {0, 0};
    Side* sides[2] = {&floor, &sdk};
    for (int i = 0; i < 2; ++i) {
      Side& side = *sides[i];
      if (side.saturated) continue;
      const auto phase = side.run(tool, planAt(rate, 5));
      printPhase(side.name, rate, phase);
      cost[i] = phase.cpuMicrosPerAdvertisement;
      if (phase.sustained()) side.bestRate = rate;
      side.saturated = rate >= 20000 && !phase.sustained();
    }
    if (cost[0] > 0 && cost[1] > 0) {
      std::fprintf(out, "       ratio sdk/floor at %.0f/s: %.2fx\n", rate, cost[1] / cost[0]);
    }
    if (floor.saturated && sdk.saturated) break;
  }
  std::fprintf(out, "highest rate sustained: sdk %.0f/s, floor %.0f/s\n", sdk.bestRate,
               floor.bestRate);
  return 0;
}

/// Fetches per identity born during a soak: each one heard for more than
/// `settle` seconds must have been fetched exactly once.
void reportFetches(const lumora::tools::LoadPlan& plan, const CreativeServer& server,
                   double settle) {
  std::uint64_t due = 0, once = 0, missing = 0, repeated = 0;
  using lumora::tools::FakeBluetoothd;
  for (std::uint32_t slot = 0; slot < plan.identities; ++slot) {
    for (double birth = FakeBluetoothd::firstBirth(plan, slot); birth < plan.seconds - settle;
         birth += plan.identityLifetime) {
      const auto fetches = server.fetchesOf(FakeBluetoothd::bindingOf(plan, slot, birth + 1e-6));
      ++due;
      once += fetches == 1;
      missing += fetches == 0;
      repeated += fetches > 1;
    }
  }
  std::fprintf(out,
               "identities due %llu: fetched once %llu, never %llu, more than once %llu -> %s\n",
               static_cast<unsigned long long>(due), static_cast<unsigned long long>(once),
               static_cast<unsigned long long>(missing), static_cast<unsigned long long>(repeated),
               once == due ? "OK" : "FAIL");
}

void printFlatness(const char* name, const std::vector<double>& samples, double warmUp) {
  if (samples.empty()) return;
  const auto [low, high] = std::minmax_element(samples.begin(), samples.end());
  const double growth = (*high - *low) / *low * 100;
  std::fprintf(out, "%s after %.0f s warm-up: %.1f .. %.1f MB (%.1f%%) -> %s\n", name, warmUp, *low,
               *high, growth, growth <= 5 ? "flat" : "GROWING");
}

/// The heap in use rises and falls with the requests in flight; what must not
/// grow is its floor: the least of the first minute against that of the last.
void printFloor(const char* name, const std::vector<double>& samples) {
  constexpr std::size_t kMinute = 6;  // samples
  if (samples.size() < 2 * kMinute) return;
  const double first = *std::min_element(samples.begin(), samples.begin() + kMinute);
  const double last = *std::min_element(samples.end() - kMinute, samples.end());
  const double growth = (last - first) / first * 100;
  std::fprintf(out,
               "%s: %.1f .. %.1f MB; floor %.1f MB in the first minute, %.1f MB in the last "
               "(%+.1f%%) -> %s\n",
               name, *std::min_element(samples.begin(), samples.end()),
               *std::max_element(samples.begin(), samples.end()), first, last, growth,
               growth <= 5 ? "flat" : "GROWING");
}

int runSoak(const fs::path& tool, const fs::path& directory, double minutes) {
  PrivateBus bus(directory);
  CreativeServer server(directory);
  Sdk sdk(directory / "sdk", bus, server);
  iterateMainContext(1);
  lumora::tools::LoadPlan plan;
  plan.rate = 2000;
  plan.seconds = minutes * 60;
  plan.identities = 10000;
  // An identity lives as long as the deduplication window: each one must be
  // fetched exactly once (heard again later, it would be a new sighting).
  plan.identityLifetime = 30;
  plan.iBeaconShare = 0.1;
  plan.foreignShare = 0.1;
  const double warmUp = std::min(120.0, plan.seconds / 3);
  std::vector<double> resident, heap;
  std::fprintf(out, "soak: %.0f min at %.0f/s, %u identities living %.0f s\n", minutes, plan.rate,
               plan.identities, plan.identityLifetime);
  const auto phase = measure(tool, bus, plan, [&, start = Clock::now()](double seconds) {
    iterateMainContext(seconds);
    const double now = std::chrono::duration<double>(Clock::now() - start).count();
    if (now >= warmUp && now - warmUp >= 10.0 * static_cast<double>(resident.size())) {
      resident.push_back(residentMegabytes());
      heap.push_back(static_cast<double>(mallinfo2().uordblks) / 1048576.0);
      std::fprintf(out, "  %5.0f s  RSS %.1f MB  heap in use %.1f MB  descriptors %zu\n", now,
                   resident.back(), heap.back(), openDescriptors());
      std::fflush(out);
    }
  });
  printPhase("soak", plan.rate, phase);
  // Resident memory keeps the allocator's high-water mark (pages freed after
  // a burst of requests stay mapped); the heap in use is what is still held.
  printFlatness("RSS", resident, warmUp);
  printFloor("heap in use", heap);
  reportFetches(plan, server, 15);
  sdk.callback().printErrors();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  // Results on our own descriptor; the SDK logs every advertisement to stdout.
  out = fdopen(dup(STDOUT_FILENO), "w");
  const int devnull = open("/dev/null", O_WRONLY);
  dup2(devnull, STDOUT_FILENO);
  const fs::path tool = fs::canonical("/proc/self/exe").parent_path() / "lumora-bluez-load";
  char pattern[] = "/tmp/lumora-linux-bench-XXXXXX";
  if (!mkdtemp(pattern)) return 1;
  const fs::path directory = pattern;
  int status = 0;
  try {
    const bool soak = argc >= 2 && std::string(argv[1]) == "--soak";
    status = soak ? runSoak(tool, directory, argc >= 3 ? std::stod(argv[2]) : 10)
                  : runRates(tool, directory);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "lumora-linux-bench: %s\n", error.what());
    status = 1;
  }
  std::error_code ignored;
  fs::remove_all(directory, ignored);
  return status;
}
