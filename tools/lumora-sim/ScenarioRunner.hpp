#pragma once

#include <memory>
#include <ostream>

#include <lumora/LumoraAdBeaconCallback.hpp>

#include "sim/RecordSink.hpp"
#include "sim/Scenario.hpp"

namespace lumora::platform {
class SimPhone;
}

namespace lumora::tools {

class DevServerEngine;

/// Runs one scenario: builds a simulated phone on virtual time, installs it as
/// the process's platform, plays the scenario's steps against the real SDK
/// through its public API, and writes every record to the sink. A scenario
/// whose files cannot be used raises ScenarioError before anything runs.
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
  double now() const;

  const Scenario scenario_;
  RecordSink& sink_;
  std::ostream& diagnostics_;
  std::unique_ptr<DevServerEngine> server_;
  std::unique_ptr<platform::SimPhone> phone_;
  std::shared_ptr<LumoraAdBeaconCallback> callback_;
};

}  // namespace lumora::tools
