// lumora-sim SCENARIO.json [--jsonl OUT.jsonl]
//
// Runs the SDK on a simulated phone as the scenario scripts it. Prints a
// timeline, or writes one JSON object per line to OUT. Exit status: 0 when the
// scenario ran to its end, 2 (with one line on stderr) when it cannot be used.

#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "lumora-sim/ScenarioRunner.hpp"
#include "sim/JsonLinesRecordWriter.hpp"
#include "sim/ScenarioError.hpp"
#include "sim/ScenarioReader.hpp"
#include "sim/TimelinePrinter.hpp"

namespace {

constexpr int kUnusable = 2;

struct Arguments {
  std::string scenario;
  std::optional<std::string> jsonl;
};

std::optional<Arguments> parseArguments(int argc, char** argv) {
  Arguments arguments;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--jsonl" && i + 1 < argc) {
      arguments.jsonl = argv[++i];
    } else if (!argument.starts_with("--") && arguments.scenario.empty()) {
      arguments.scenario = argument;
    } else {
      return std::nullopt;
    }
  }
  if (arguments.scenario.empty()) return std::nullopt;
  return arguments;
}

int fail(const std::string& message) {
  std::cerr << "lumora-sim: " << message << '\n';
  return kUnusable;
}

}  // namespace

int main(int argc, char** argv) {
  const auto arguments = parseArguments(argc, argv);
  if (!arguments) return fail("usage: lumora-sim SCENARIO.json [--jsonl OUT.jsonl]");
  try {
    auto scenario = lumora::tools::ScenarioReader::read(arguments->scenario);
    std::ofstream file;
    std::unique_ptr<lumora::tools::RecordSink> sink;
    if (arguments->jsonl) {
      file.open(*arguments->jsonl);
      if (!file) return fail("cannot write " + *arguments->jsonl);
      sink = std::make_unique<lumora::tools::JsonLinesRecordWriter>(file);
    } else {
      sink = std::make_unique<lumora::tools::TimelinePrinter>(std::cout);
    }
    lumora::tools::ScenarioRunner(std::move(scenario), *sink, std::cerr).run();
  } catch (const lumora::tools::ScenarioError& error) {
    return fail(error.what());
  }
  std::cout.flush();
  return 0;
}
