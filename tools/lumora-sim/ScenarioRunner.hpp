#pragma once

#include <memory>
#include <optional>
#include <ostream>

#include <lumora/LumoraAdBeaconCallback.hpp>

#include "lumora-sim/LineOutput.hpp"
#include "lumora-sim/PrivateDirectory.hpp"
#include "platform/Clock.hpp"
#include "scenario/RecordSink.hpp"
#include "scenario/Scenario.hpp"

namespace lumora::platform {
class SimPhone;
}

namespace lumora::tools {

class DevServerEngine;

/// Runs one scenario: builds a simulated phone on virtual time, installs it as
/// the process's platform, plays the scenario's steps against the real SDK
/// through its public API, and writes every record to the sink, each step as
/// an ActionNote and each line the embedded server prints as a ServerNote;
/// at the end it hands the sink what the server received. A scenario whose
/// files cannot be used raises ScenarioError before anything runs. The
/// embedded server keeps its certificate and key in a private folder that
/// goes with the runner.
///
///   JsonLinesRecordWriter sink(out);
///   ScenarioRunner(ScenarioReader::read(path), sink, std::cerr).run();
class ScenarioRunner {
 public:
  ScenarioRunner(Scenario scenario, RecordSink& sink, std::ostream& diagnostics);
  ~ScenarioRunner();

  void run();

 private:
  void startEmbeddedServer();
  void buildPhone();
  void installBundle();
  void observe();
  void schedule();
  void perform(const ScenarioAction& action);
  std::optional<ServerTally> serverTally() const;
  double now() const;

  const Scenario scenario_;
  const platform::TimePoint start_;  // the wall clock at t = 0
  RecordSink& sink_;
  std::ostream& diagnostics_;
  // Declared before the server, which must stop before its folder goes.
  std::optional<PrivateDirectory> certificateFolder_;
  std::optional<LineOutput> serverOutput_;
  std::unique_ptr<DevServerEngine> server_;
  std::unique_ptr<platform::SimPhone> phone_;
  std::shared_ptr<LumoraAdBeaconCallback> callback_;
};

}  // namespace lumora::tools
