#include "devserver/DevServerRouter.hpp"

#include <nlohmann/json.hpp>

namespace lumora::tools {
namespace {

DevServerReply plain(int status, std::string text) {
  return {status, "text/plain", std::move(text), {}};
}

}  // namespace

DevServerRouter::DevServerRouter(const CreativeTree& tree, EventLog& events,
                                 std::size_t maxBodyBytes)
    : tree_(tree), events_(events), maxBodyBytes_(maxBodyBytes) {}

DevServerReply DevServerRouter::handle(std::string_view method, std::string_view path,
                                       std::string_view body) const {
  if (body.size() > maxBodyBytes_) {
    return refuseBody(true);
  }
  if (method == "GET" || method == "HEAD") {
    CreativeLookup found = tree_.lookup(path);
    return {found.status,
            found.status == 200 ? "application/json" : "text/plain",
            std::move(found.body),
            {}};
  }
  if (method == "POST") {
    return receiveEvent(path, body);
  }
  return plain(405, "only GET (creatives) and POST (events) are served\n");
}

DevServerReply DevServerRouter::refuseBody(bool tooLong) const {
  if (tooLong) {
    return plain(413, "bodies are limited to " + std::to_string(maxBodyBytes_) + " bytes\n");
  }
  return plain(400, "the body could not be read\n");
}

DevServerReply DevServerRouter::receiveEvent(std::string_view path, std::string_view body) const {
  if (!path.ends_with("/device_events")) {
    return plain(404, "events are posted to .../device_events\n");
  }
  const ReceivedEvent event = events_.receive(std::string(path), body);
  const nlohmann::json reply =
      event.valid ? nlohmann::json::object() : nlohmann::json{{"problems", event.problems}};
  return {event.valid ? 200 : 400, "application/json", reply.dump(), EventLog::summary(event)};
}

}  // namespace lumora::tools
