#include "lumora-sim/EndpointRewriter.hpp"

#include <plist/plist.h>

#include <memory>

#include "core/config/PropertyList.hpp"
#include "core/config/PropertyListScreen.hpp"
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

// libplist parses recursively: the same screen as the SDK's own reading keeps
// a deeply nested or oversized file away from it.
void checkShape(const std::vector<std::uint8_t>& bytes) {
  if (!PropertyListScreen(PropertyList::kLimits).admits(bytes)) {
    throw ScenarioError("the config file is nested too deeply or too large to be an sdk.plist");
  }
}

}  // namespace

std::vector<std::uint8_t> EndpointRewriter::rewrite(const std::vector<std::uint8_t>& bytes,
                                                    const std::string& hostAndPort) {
  checkShape(bytes);
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
