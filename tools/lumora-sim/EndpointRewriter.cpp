#include "lumora-sim/EndpointRewriter.hpp"

#include <plist/plist.h>

#include <algorithm>
#include <memory>
#include <string_view>

#include "scenario/ScenarioError.hpp"

namespace lumora::tools {
namespace {

using Plist = std::unique_ptr<void, decltype(&plist_free)>;

void setString(plist_t dict, const char* key, const std::string& value) {
  plist_dict_set_item(dict, key, plist_new_string(value.c_str()));
}

void pointGroupAt(plist_t group, const std::string& hostAndPort) {
  if (plist_get_node_type(group) != PLIST_DICT) return;
  setString(group, "EventURL", "https://" + hostAndPort + "/events");
  setString(group, "NoTrackingEventURL", "https://" + hostAndPort + "/events-nt");
  setString(group, "CreativeCDNURL", hostAndPort);
}

// libplist parses recursively: a file nested deeply enough overflows the
// stack. A configuration is a few levels deep; these bounds keep far away.
constexpr int kMaxXmlDepth = 64;
constexpr std::uint64_t kMaxBinaryObjects = 10000;

/// The deepest nesting of <dict> and <array> in XML text (self-closing ones do not nest).
int xmlDepth(std::string_view text) {
  int depth = 0;
  int deepest = 0;
  for (std::size_t at = text.find('<'); at != std::string_view::npos; at = text.find('<', at + 1)) {
    const std::string_view tag = text.substr(at, text.find('>', at) - at);
    if (tag.starts_with("</dict") || tag.starts_with("</array")) {
      --depth;
    } else if ((tag.starts_with("<dict") || tag.starts_with("<array")) && !tag.ends_with("/")) {
      deepest = std::max(deepest, ++depth);
    }
  }
  return deepest;
}

/// The object count in a binary property list's trailer (its last 32 bytes).
std::uint64_t binaryObjects(const std::vector<std::uint8_t>& bytes) {
  constexpr std::size_t kTrailer = 32;
  constexpr std::size_t kCountOffset = 8;
  if (bytes.size() < kTrailer) return 0;
  std::uint64_t count = 0;
  for (std::size_t i = 0; i < 8; ++i) {
    count = count << 8 | bytes[bytes.size() - kTrailer + kCountOffset + i];
  }
  return count;
}

void checkNesting(const std::vector<std::uint8_t>& bytes) {
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  const bool binary = text.starts_with("bplist");
  if ((binary && binaryObjects(bytes) > kMaxBinaryObjects) ||
      (!binary && xmlDepth(text) > kMaxXmlDepth)) {
    throw ScenarioError("the config file is nested too deeply to be an sdk.plist");
  }
}

}  // namespace

std::vector<std::uint8_t> EndpointRewriter::rewrite(const std::vector<std::uint8_t>& bytes,
                                                    const std::string& hostAndPort) {
  checkNesting(bytes);
  plist_t parsed = nullptr;
  plist_from_memory(reinterpret_cast<const char*>(bytes.data()),
                    static_cast<std::uint32_t>(bytes.size()), &parsed);
  Plist root(parsed, plist_free);
  if (!root || plist_get_node_type(root.get()) != PLIST_DICT) {
    throw ScenarioError("the config file is not a property list with a dictionary at its root");
  }
  plist_t endpoints = plist_dict_get_item(root.get(), "APIEndpoints");
  if (endpoints && plist_get_node_type(endpoints) == PLIST_DICT) {
    for (const char* environment : {"Stage", "Production"}) {
      if (plist_t group = plist_dict_get_item(endpoints, environment)) {
        pointGroupAt(group, hostAndPort);
      }
    }
  }
  char* xml = nullptr;
  std::uint32_t length = 0;
  plist_to_xml(root.get(), &xml, &length);
  std::vector<std::uint8_t> result(xml, xml + length);
  plist_to_xml_free(xml);
  return result;
}

}  // namespace lumora::tools
