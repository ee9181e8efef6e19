#pragma once

#include <gtest/gtest.h>
#include <plist/plist.h>

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace lumora::testing {

/// A property-list tree built in a test and written as XML or binary bytes.
class SdkPlist {
 public:
  enum class Format { xml, binary };

  explicit SdkPlist(plist_t root) : root_(root, plist_free) {}

  /// A complete "sdk.plist": both endpoint groups and the beacon settings.
  static SdkPlist complete() {
    return SdkPlist(dict({
        {"APIEndpoints",
         dict({{"Stage", endpoints("stage")}, {"Production", endpoints("production")}})},
        {"BeaconSettings",
         dict({{"AppleBeacon", dict({{"UUID", str("E2C56DB5-DFFB-48D2-B060-D0F5A71096E0")},
                                     {"Identifier", str("com.example.store")}})},
               {"CustomBeacon",
                dict({{"ServiceUUID", str("0000FEAA-0000-1000-8000-00805F9B34FB")}})},
               {"Unrelated", str("ignored")}})},
        {"Version", plist_new_uint(3)},
    }));
  }

  /// A complete file whose two endpoint groups both send events to eventUrl
  /// and noTrackingUrl and fetch creatives from cdn (a host) in bucket.
  static SdkPlist pointingAt(const std::string& eventUrl, const std::string& noTrackingUrl,
                             const std::string& cdn, const std::string& bucket) {
    SdkPlist plist = complete();
    for (const char* group : {"Stage", "Production"}) {
      plist.set({"APIEndpoints", group}, "EventURL", str(eventUrl))
          .set({"APIEndpoints", group}, "NoTrackingEventURL", str(noTrackingUrl))
          .set({"APIEndpoints", group}, "CreativeCDNURL", str(cdn))
          .set({"APIEndpoints", group}, "CreativeBucketName", str(bucket));
    }
    return plist;
  }

  /// A complete file made larger than a resource may be.
  static SdkPlist oversized() {
    return std::move(complete().set({}, "Padding", str(std::string(1 << 20, 'p'))));
  }
  /// A complete file carrying arrays nested depth levels deep.
  static SdkPlist nested(int depth) {
    plist_t inner = plist_new_array();
    for (int level = 1; level < depth; ++level) {
      plist_t outer = plist_new_array();
      plist_array_append_item(outer, inner);
      inner = outer;
    }
    return std::move(complete().set({}, "Nested", inner));
  }

  static plist_t str(const std::string& text) { return plist_new_string(text.c_str()); }
  static std::vector<std::uint8_t> bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
  }
  static plist_t dict(std::initializer_list<std::pair<const char*, plist_t>> items) {
    plist_t node = plist_new_dict();
    for (const auto& [key, value] : items) plist_dict_set_item(node, key, value);
    return node;
  }

  /// The dictionary reached from the root by the keys in path.
  plist_t at(std::initializer_list<const char*> path) const {
    plist_t node = root_.get();
    for (const char* key : path) node = plist_dict_get_item(node, key);
    return node;
  }
  /// Sets (takes ownership of value) or, with nullptr, removes key in the
  /// dictionary at path.
  SdkPlist& set(std::initializer_list<const char*> path, const char* key, plist_t value) {
    if (value == nullptr) {
      plist_dict_remove_item(at(path), key);
    } else {
      plist_dict_set_item(at(path), key, value);
    }
    return *this;
  }

  std::vector<std::uint8_t> bytes(Format format) const {
    char* data = nullptr;
    std::uint32_t length = 0;
    if (format == Format::xml) {
      plist_to_xml(root_.get(), &data, &length);
    } else {
      plist_to_bin(root_.get(), &data, &length);
    }
    std::vector<std::uint8_t> result(data, data + length);
    format == Format::xml ? plist_to_xml_free(data) : plist_to_bin_free(data);
    return result;
  }
  std::string xml() const {
    const auto data = bytes(Format::xml);
    return {data.begin(), data.end()};
  }

 private:
  static plist_t endpoints(const std::string& name) {
    return dict({{"EventURL", str("https://events." + name + ".example.com/track")},
                 {"NoTrackingEventURL", str("https://events." + name + ".example.com/anon")},
                 {"CreativeCDNURL", str("cdn." + name + ".example.com")},
                 {"CreativeBucketName", str(name + "-bucket")}});
  }

  std::unique_ptr<void, decltype(&plist_free)> root_;
};

inline std::string formatName(const ::testing::TestParamInfo<SdkPlist::Format>& info) {
  return info.param == SdkPlist::Format::xml ? "Xml" : "Binary";
}

}  // namespace lumora::testing
