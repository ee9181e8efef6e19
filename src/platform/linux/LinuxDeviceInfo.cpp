#include "platform/linux/LinuxDeviceInfo.hpp"

#include <sys/utsname.h>

#include <cstring>
#include <fstream>
#include <optional>
#include <sstream>

namespace lumora::platform {
namespace {

utsname unameRecord() {
  utsname record{};
  uname(&record);  // on failure the record stays zeroed: empty texts
  return record;
}

// A NUL-terminated uname field as text.
template <std::size_t N>
std::string fieldText(const char (&field)[N]) {
  return std::string(field, strnlen(field, N));
}

std::string unameSystemName() { return fieldText(unameRecord().sysname); }
std::string unameRelease() { return fieldText(unameRecord().release); }

std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream contents;
  contents << in.rdbuf();
  return contents.str();
}

std::string readOsRelease(const std::filesystem::path& preferred) {
  if (!preferred.empty()) return readFile(preferred);
  for (const char* candidate : {"/etc/os-release", "/usr/lib/os-release"}) {
    if (std::filesystem::exists(candidate)) return readFile(candidate);
  }
  return {};
}

std::string_view trim(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return {};
  const auto last = text.find_last_not_of(" \t\r");
  return text.substr(first, last - first + 1);
}

// The value of one assignment, unquoted; nothing for an unterminated quote.
std::optional<std::string> unquote(std::string_view raw) {
  if (raw.empty() || (raw.front() != '"' && raw.front() != '\'')) return std::string(raw);
  const char quote = raw.front();
  std::string value;
  for (std::size_t i = 1; i < raw.size(); ++i) {
    const char c = raw[i];
    if (c == quote) return i + 1 == raw.size() ? std::optional(value) : std::nullopt;
    if (quote == '"' && c == '\\' && i + 1 < raw.size()) {
      value.push_back(raw[++i]);
    } else {
      value.push_back(c);
    }
  }
  return std::nullopt;
}

}  // namespace

LinuxDeviceInfo::LinuxDeviceInfo(std::filesystem::path osRelease)
    : osRelease_(parseOsRelease(readOsRelease(osRelease))) {}

std::string LinuxDeviceInfo::machineField() const {
  const utsname record = unameRecord();
  return std::string(record.machine, sizeof record.machine);
}

std::string LinuxDeviceInfo::systemName() const { return fieldOrUname("NAME", unameSystemName); }

std::string LinuxDeviceInfo::systemVersion() const {
  return fieldOrUname("VERSION_ID", unameRelease);
}

std::string LinuxDeviceInfo::fieldOrUname(const std::string& key, std::string (*fallback)()) const {
  const auto found = osRelease_.find(key);
  if (found != osRelease_.end() && !found->second.empty()) return found->second;
  return fallback();
}

std::map<std::string, std::string> LinuxDeviceInfo::parseOsRelease(std::string_view text) {
  std::map<std::string, std::string> fields;
  while (!text.empty()) {
    const auto end = text.find('\n');
    const std::string_view line = trim(text.substr(0, end));
    text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
    const auto equals = line.find('=');
    if (line.empty() || line.front() == '#' || equals == std::string_view::npos || equals == 0) {
      continue;
    }
    if (auto value = unquote(line.substr(equals + 1))) {
      fields[std::string(line.substr(0, equals))] = std::move(*value);
    }
  }
  return fields;
}

}  // namespace lumora::platform
