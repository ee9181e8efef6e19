// lumora-sim SCENARIO.json [--jsonl OUT.jsonl] [--svg OUT.svg] [--verbose]
//
// Runs the SDK on a simulated phone as the scenario scripts it. Prints a
// timeline (the story by default, every log line with --verbose), or writes
// one JSON object per line to OUT.jsonl; --svg also draws the run. Exit
// status: 0 when the scenario ran to its end and every output was written,
// 2 (with one line on stderr) when the scenario cannot be used, 1 (with one
// line on stderr) when an output cannot be written or the run fails.

#include <csignal>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "lumora-sim/ScenarioRunner.hpp"
#include "scenario/JsonLinesRecordWriter.hpp"
#include "scenario/RecordFanout.hpp"
#include "scenario/ScenarioError.hpp"
#include "scenario/ScenarioReader.hpp"
#include "scenario/SvgTimeline.hpp"
#include "scenario/TimelinePrinter.hpp"

namespace {

constexpr int kFailed = 1;
constexpr int kUnusable = 2;

struct Arguments {
  std::string scenario;
  std::optional<std::string> jsonl;
  std::optional<std::string> svg;
  bool verbose = false;
};

std::optional<Arguments> parseArguments(int argc, char** argv) {
  Arguments arguments;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--jsonl" && i + 1 < argc && !arguments.jsonl) {
      arguments.jsonl = argv[++i];
    } else if (argument == "--svg" && i + 1 < argc && !arguments.svg) {
      arguments.svg = argv[++i];
    } else if (argument == "--verbose") {
      arguments.verbose = true;
    } else if (!argument.starts_with("--") && arguments.scenario.empty()) {
      arguments.scenario = argument;
    } else {
      return std::nullopt;
    }
  }
  if (arguments.scenario.empty()) return std::nullopt;
  return arguments;
}

/// Prints "lumora-sim: message" as exactly one line, whatever the message holds.
int fail(std::string message, int status) {
  for (char& c : message) {
    if (static_cast<unsigned char>(c) < 0x20) c = ' ';
  }
  std::cerr << "lumora-sim: " << message << std::endl;
  return status;
}

void open(std::ofstream& file, const std::string& path) {
  file.open(path, std::ios::binary);
  if (!file) throw lumora::tools::ScenarioError("cannot write " + path);
}

/// Whether everything written to the stream reached its file.
bool written(std::ostream& out) {
  out.flush();
  return static_cast<bool>(out);
}

int run(const Arguments& arguments) {
  using namespace lumora::tools;
  auto scenario = ScenarioReader::read(arguments.scenario);
  std::ofstream jsonlFile;
  std::ofstream svgFile;
  std::unique_ptr<RecordSink> main;
  std::ostream& mainOut = arguments.jsonl ? jsonlFile : std::cout;
  if (arguments.jsonl) {
    open(jsonlFile, *arguments.jsonl);
    main = std::make_unique<JsonLinesRecordWriter>(jsonlFile);
  } else {
    main = std::make_unique<TimelinePrinter>(std::cout, arguments.verbose
                                                            ? TimelinePrinter::Detail::everything
                                                            : TimelinePrinter::Detail::story);
  }
  std::vector<RecordSink*> sinks{main.get()};
  std::optional<SvgTimeline> picture;
  if (arguments.svg) {
    open(svgFile, *arguments.svg);
    picture.emplace(
        svgFile, "lumora-sim " +
                     (scenario.file.parent_path().filename() / scenario.file.filename()).string());
    sinks.push_back(&*picture);
  }
  RecordFanout fanout(sinks);
  ScenarioRunner(std::move(scenario), fanout, std::cerr).run();
  if (!written(mainOut)) {
    return fail("cannot write " + arguments.jsonl.value_or("the timeline to standard output"),
                kFailed);
  }
  if (arguments.svg && !written(svgFile)) return fail("cannot write " + *arguments.svg, kFailed);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  // A reader that goes away is reported as a write error, not a silent death.
  std::signal(SIGPIPE, SIG_IGN);
  const auto arguments = parseArguments(argc, argv);
  if (!arguments) {
    return fail("usage: lumora-sim SCENARIO.json [--jsonl OUT.jsonl] [--svg OUT.svg] [--verbose]",
                kUnusable);
  }
  try {
    return run(*arguments);
  } catch (const lumora::tools::ScenarioError& error) {
    return fail(error.what(), kUnusable);
  } catch (const std::exception& error) {
    return fail(error.what(), kFailed);
  }
}
