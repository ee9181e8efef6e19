#include "lumora-sim/ScenarioRunner.hpp"

#include <lumora/lumora.hpp>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

#include "devserver/DevServerEngine.hpp"
#include "devserver/DevServerError.hpp"
#include "lumora-sim/CallbackRecorder.hpp"
#include "lumora-sim/EndpointRewriter.hpp"
#include "platform/sim/SimPhone.hpp"
#include "scenario/ScenarioError.hpp"

namespace lumora::tools {
namespace {

std::vector<std::uint8_t> readFile(const std::filesystem::path& path) {
  constexpr std::uintmax_t kMaxConfigBytes = 1024 * 1024;
  std::error_code error;
  std::ifstream in(path, std::ios::binary);
  if (!in) throw ScenarioError("cannot read config file " + path.string());
  if (std::filesystem::file_size(path, error) > kMaxConfigBytes || error) {
    throw ScenarioError("the config file " + path.string() + " is larger than 1 MiB");
  }
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

platform::TimePoint startTimeOf(const Scenario& scenario) {
  if (scenario.startTime) return platform::VirtualClock::fromSeconds(*scenario.startTime);
  return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
}

ClientProfile profileOf(const ScenarioProfile& profile) {
  return ClientProfile(profile.phoneNumber, profile.email, profile.appName, profile.advertisingId);
}

}  // namespace

ScenarioRunner::ScenarioRunner(Scenario scenario, RecordSink& sink, std::ostream& diagnostics)
    : scenario_(std::move(scenario)),
      start_(startTimeOf(scenario_)),
      sink_(sink),
      diagnostics_(diagnostics) {}

ScenarioRunner::~ScenarioRunner() {
  if (server_) server_->stop();
}

void ScenarioRunner::run() {
  startEmbeddedServer();
  buildPhone();
  installBundle();
  platform::Platform::install(phone_->platform);
  observe();
  callback_ = std::make_shared<CallbackRecorder>(sink_, [this] { return now(); });
  schedule();
  const auto start = phone_->platform->virtualClock->now();
  phone_->platform->virtualQueue->runUntil(
      start + std::chrono::duration_cast<platform::TimePoint::duration>(
                  std::chrono::duration<double>(scenario_.until)));
  sink_.write(DefaultsRecord{now(), phone_->defaults->snapshot()});
  sink_.finish(serverTally());
}

void ScenarioRunner::startEmbeddedServer() {
  if (!scenario_.embeddedServer) return;
  certificateFolder_.emplace();
  serverOutput_.emplace([this](std::string line) {
    sink_.note(ServerNote{now(), std::move(line)});
  });
  DevServerConfig config;
  config.creativesDir = *scenario_.creatives;
  config.certDir = certificateFolder_->path();
  config.console = &*serverOutput_;
  config.closeAfterEachRequest = true;
  server_ = std::make_unique<DevServerEngine>(config);
  try {
    server_->start();
  } catch (const DevServerError& error) {
    throw ScenarioError(std::string("cannot start the embedded server: ") + error.what());
  }
}

void ScenarioRunner::buildPhone() {
  platform::SimPhoneOptions options;
  options.start = start_;
  options.locationStatus = scenario_.initial.location;
  options.bluetoothState = scenario_.initial.bluetooth;
  options.notificationStatus = scenario_.initial.notifications;
  options.network = scenario_.initial.network;
  options.userDefaults = scenario_.userDefaults;
  options.machine = scenario_.device.machine;
  options.systemName = scenario_.device.systemName;
  options.systemVersion = scenario_.device.systemVersion;
  options.trackingAuthorized = scenario_.advertising.trackingAuthorized;
  if (scenario_.advertising.identifier) {
    options.advertisingIdentifier = *scenario_.advertising.identifier;
  }
  if (server_) {
    options.caFile = server_->caFile().string();
  } else if (scenario_.caFile) {
    options.caFile = scenario_.caFile->string();
  }
  phone_ = std::make_unique<platform::SimPhone>(options);
}

void ScenarioRunner::installBundle() {
  if (!scenario_.config) return;
  auto plist = readFile(*scenario_.config);
  if (server_) plist = EndpointRewriter::rewrite(plist, server_->hostAndPort());
  phone_->platform->bundle->setResource("sdk.plist", std::move(plist));
}

void ScenarioRunner::observe() {
  phone_->platform->log->setObserver([this](const platform::LogRecord& line) {
    sink_.write(LogLineRecord{now(), line});
  });
  phone_->central->setScanObserver([this](const platform::SimBleCentral::ScanRecord& scan) {
    const bool start = scan.action == platform::SimBleCentral::ScanRecord::Action::start;
    sink_.write(ScanRecord{now(), start, scan.serviceUuids, scan.allowDuplicates});
  });
  phone_->notifications->setAddObserver(
      [this](const platform::SimNotificationCenter::AddedNotification& added) {
        const auto& request = added.request;
        sink_.write(NotificationRecord{now(), request.identifier, request.title, request.body,
                                       request.userInfo, request.triggerInterval});
      });
}

void ScenarioRunner::schedule() {
  for (const auto& step : scenario_.steps) {
    bool first = true;
    for (double at : step.times()) {
      phone_->platform->virtualQueue->scheduleTimer(
          at, false, [this, &step, first](platform::Timer&) {
            if (first) sink_.note(ActionNote{now(), step.description});
            perform(step.action);
          });
      first = false;
    }
  }
}

void ScenarioRunner::perform(const ScenarioAction& action) {
  auto& sdk = LumoraAdBeaconSDK::shared();
  auto& phone = *phone_;
  std::visit(
      [&](const auto& step) {
        using Step = std::decay_t<decltype(step)>;
        if constexpr (std::is_same_v<Step, InitiateAction>) {
          sdk.initiate(profileOf(step.profile), callback_, step.environment);
        } else if constexpr (std::is_same_v<Step, StartAction>) {
          sdk.start();
        } else if constexpr (std::is_same_v<Step, StopAction>) {
          sdk.stop();
        } else if constexpr (std::is_same_v<Step, UpdateProfileAction>) {
          sdk.updateClientProfile(profileOf(step.profile));
        } else if constexpr (std::is_same_v<Step, ClearPersistedDataAction>) {
          ClientProfile::clearPersistedData();
        } else if constexpr (std::is_same_v<Step, DetectAction>) {
          sdk.onBeaconDetected(step.companyId, step.spaceId, step.bindingId);
        } else if constexpr (std::is_same_v<Step, IBeaconAction>) {
          phone.radio->transmit(platform::SimRadio::iBeaconAdvertisement(
              step.uuid, static_cast<std::uint16_t>(step.major),
              static_cast<std::uint16_t>(step.minor)));
        } else if constexpr (std::is_same_v<Step, AdvertiseAction>) {
          platform::AdvertisementData advertisement;
          advertisement.peripheralId = "sim-peripheral";
          advertisement.manufacturerData = step.manufacturerData;
          advertisement.serviceUuids = step.serviceUUIDs;
          phone.radio->transmit(advertisement);
        } else if constexpr (std::is_same_v<Step, SetLocationAction>) {
          phone.location->setAuthorizationStatus(step.status);
        } else if constexpr (std::is_same_v<Step, SetBluetoothAction>) {
          phone.central->simulateStateChange(step.state);
        } else if constexpr (std::is_same_v<Step, SetNotificationsAction>) {
          phone.notifications->setAuthorizationStatus(step.status);
        } else if constexpr (std::is_same_v<Step, SetNetworkAction>) {
          phone.reachability->setReachable(step.reachable);
        } else if constexpr (std::is_same_v<Step, TapNotificationAction>) {
          if (!phone.notifications->simulateTap(static_cast<std::size_t>(step.index))) {
            diagnostics_ << "lumora-sim: t=" << now() << "s: no delivered notification "
                         << step.index << " to tap\n";
          }
        } else if constexpr (std::is_same_v<Step, ProbeAction>) {
          sink_.write(StateRecord{now(), sdk.isScanning()});
        }
      },
      action);
}

std::optional<ServerTally> ScenarioRunner::serverTally() const {
  if (!server_) return std::nullopt;
  ServerTally tally;
  for (const ReceivedEvent& event : server_->events()) {
    if (!event.valid) {
      ++tally.rejected;
    } else if (event.body.is_object()) {
      const auto type = event.body.find("eventType");
      const bool named = type != event.body.end() && type->is_string();
      ++tally.acceptedByType[named ? type->get<std::string>() : "other"];
    }
  }
  return tally;
}

double ScenarioRunner::now() const {
  const auto elapsed = phone_->platform->virtualClock->now() - start_;
  return std::chrono::duration<double>(elapsed).count();
}

}  // namespace lumora::tools
