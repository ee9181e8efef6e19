// Feeds arbitrary requests to the development server's request handling
// (routing, body limit, event parsing and checking, recording, the request
// log line), without sockets. Input: "METHOD PATH\n" then the body.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "FuzzCheck.hpp"
#include "devserver/CreativeTree.hpp"
#include "devserver/DevServerRouter.hpp"
#include "devserver/EscapedText.hpp"
#include "devserver/EventLog.hpp"
#include "devserver/RequestLog.hpp"

namespace {

using lumora::fuzz::check;

using lumora::tools::EscapedText;

constexpr std::size_t kMaxBody = 512;
constexpr std::string_view kCreative = R"({"campaignId":1,"creativeId":2})";

/// A small creative tree, removed at exit.
struct Tree {
  std::filesystem::path root;
  Tree() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "lumora-fuzz-devserver-XXXXXX").string();
    check(mkdtemp(pattern.data()) != nullptr);
    root = pattern;
    std::filesystem::create_directories(root / "b/binding/1/2");
    std::ofstream(root / "b/binding/1/2/ios.json") << kCreative;
    std::ofstream(root / "secret.json") << "{}";
  }
  ~Tree() {
    std::error_code ignored;
    std::filesystem::remove_all(root, ignored);
  }
};

/// The inverse of EscapedText::of.
std::string unescaped(std::string_view text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      bytes += text[i];
    } else if (text.at(i + 1) == '\\') {
      bytes += '\\';
      ++i;
    } else {
      check(text.at(i + 1) == 'x');
      bytes += static_cast<char>(std::stoi(std::string(text.substr(i + 2, 2)), nullptr, 16));
      i += 3;
    }
  }
  return bytes;
}

bool hasControlByte(std::string_view text) {
  for (const char c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) return true;
  }
  return false;
}

void checkEscaping(std::string_view bytes) {
  const std::string escaped = EscapedText::of(bytes);
  check(EscapedText::isValidUtf8(escaped));
  check(!hasControlByte(escaped));
  check(unescaped(escaped) == bytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Tree tree;
  static const lumora::tools::CreativeTree creatives(tree.root);

  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::size_t lineEnd = std::min(input.find('\n'), input.size());
  const std::string_view requestLine = input.substr(0, lineEnd);
  const std::size_t space = std::min(requestLine.find(' '), requestLine.size());
  const std::string_view method = requestLine.substr(0, space);
  const std::string_view path = requestLine.substr(std::min(space + 1, requestLine.size()));
  const std::string_view body = input.substr(std::min(lineEnd + 1, input.size()));

  lumora::tools::EventLog events(std::nullopt);
  const lumora::tools::DevServerRouter router(creatives, events, kMaxBody);
  const lumora::tools::DevServerReply reply = router.handle(method, path, body);

  const bool isEvent = method == "POST" && path.ends_with("/device_events");
  const bool recorded = isEvent && body.size() <= kMaxBody;
  const std::vector<lumora::tools::ReceivedEvent> received = events.events();
  check(received.size() == (recorded ? 1u : 0u));
  if (body.size() > kMaxBody) {
    check(reply.status == 413);
  } else if (recorded) {
    const auto answer = nlohmann::json::parse(reply.body);
    const lumora::tools::ReceivedEvent& event = received.front();
    check(reply.status == (event.valid ? 200 : 400));
    check(event.valid == event.problems.empty());
    check(event.valid ? answer.empty() : answer.at("problems") == event.problems);
    check(!lumora::tools::EventLog::toJsonLine(event).dump().empty());
  } else if (reply.status == 200) {
    check((method == "GET" || method == "HEAD") && reply.body == kCreative);
  } else {
    check(reply.status == 403 || reply.status == 404 || reply.status == 405);
  }

  const std::string line =
      lumora::tools::RequestLog::line(method, path, reply.status, reply.body.size(), reply.note);
  check(EscapedText::isValidUtf8(line) && line.find('\n') == std::string::npos);
  checkEscaping(path);
  checkEscaping(body);
  return 0;
}
