#include "platform/linux/PlistUserDefaults.hpp"

#include <fcntl.h>
#include <plist/plist.h>
#include <pwd.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <regex>
#include <system_error>
#include <utility>

#include "core/util/LumoraLogger.hpp"

namespace lumora::platform {
namespace {

constexpr std::string_view kLogFile = "PlistUserDefaults";
constexpr const char* kProtectedKey = "LumoraBeaconSDK.UUID";

struct PlistFree {
  void operator()(plist_t node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistFree>;

std::string errnoText(int error) { return std::generic_category().message(error); }

void logError(std::string_view function, const std::string& message) {
  LUMORA_LOG(LogLevel::error, kLogFile, function, message);
}

class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  ~FileDescriptor() {
    if (fd_ >= 0) close(fd_);
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  int get() const { return fd_; }
  bool valid() const { return fd_ >= 0; }

 private:
  int fd_;
};

// Holds the store's lock file exclusively for its lifetime. Closing the
// descriptor releases the lock.
FileDescriptor lockStore(const std::filesystem::path& file) {
  std::error_code ignored;
  std::filesystem::create_directories(file.parent_path(), ignored);
  const auto lockPath = file.string() + ".lock";
  FileDescriptor lock(open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  if (!lock.valid()) {
    logError("lock()", "Cannot open " + lockPath + ": " + errnoText(errno));
    return lock;
  }
  while (flock(lock.get(), LOCK_EX) != 0) {
    if (errno != EINTR) {
      logError("lock()", "Cannot lock " + lockPath + ": " + errnoText(errno));
      break;
    }
  }
  return lock;
}

bool writeAll(int fd, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t written = write(fd, data, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    data += written;
    size -= static_cast<std::size_t>(written);
  }
  return true;
}

// Reads the whole file; nothing when it does not exist. Throws
// std::system_error when it exists but cannot be read.
std::optional<std::string> readFile(const std::filesystem::path& file) {
  FileDescriptor fd(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd.valid()) {
    if (errno == ENOENT) return std::nullopt;
    throw std::system_error(errno, std::generic_category(), "open");
  }
  std::string contents;
  char chunk[8192];
  while (true) {
    const ssize_t got = read(fd.get(), chunk, sizeof chunk);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throw std::system_error(errno, std::generic_category(), "read");
    if (got == 0) return contents;
    contents.append(chunk, static_cast<std::size_t>(got));
  }
}

void syncFolder(const std::filesystem::path& folder) {
  FileDescriptor dir(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (dir.valid()) fsync(dir.get());
}

// Writes the dictionary as XML through a synced temporary file renamed over
// the store.
void save(const std::filesystem::path& file, plist_t dictionary) {
  char* xml = nullptr;
  uint32_t length = 0;
  plist_to_xml(dictionary, &xml, &length);
  const std::unique_ptr<char, void (*)(char*)> xmlOwner(xml, plist_to_xml_free);
  std::string temporary = file.string() + ".tmp-XXXXXX";
  FileDescriptor fd(mkostemp(temporary.data(), O_CLOEXEC));
  if (!fd.valid()) {
    logError("save()", "Cannot create " + temporary + ": " + errnoText(errno));
    return;
  }
  if (!xml || !writeAll(fd.get(), xml, length) || fsync(fd.get()) != 0 ||
      rename(temporary.c_str(), file.c_str()) != 0) {
    logError("save()", "Cannot write " + file.string() + ": " + errnoText(errno));
    unlink(temporary.c_str());
    return;
  }
  syncFolder(file.parent_path());
}

std::string utcStamp() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  const auto micros =
      std::chrono::duration_cast<std::chrono::microseconds>(now.time_since_epoch()).count() %
      1'000'000;
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[32];
  std::strftime(text, sizeof text, "%Y%m%dT%H%M%S", &utc);
  char fraction[16];
  std::snprintf(fraction, sizeof fraction, ".%06lldZ", static_cast<long long>(micros));
  return std::string(text) + fraction;
}

// The installation identifier in a damaged XML text: a complete canonical
// identifier right after its key, ended by the next tag or by the cut.
std::optional<std::string> recoverIdentifier(const std::string& damaged) {
  static const std::regex pattern(
      R"(<key>LumoraBeaconSDK\.UUID</key>\s*<string>\s*)"
      R"(([0-9A-Fa-f]{8}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{12})\s*(?=<|$))");
  std::smatch match;
  if (!std::regex_search(damaged, match, pattern)) return std::nullopt;
  return match[1].str();
}

// Moves a damaged store aside and answers the fresh contents: empty but for a
// recovered identifier, saved at once so that the recovery itself persists.
PlistPtr setAside(const std::filesystem::path& file, const std::string& damaged) {
  const std::string stamped = file.string() + ".corrupt-" + utcStamp();
  std::string aside = stamped;
  for (int n = 1; std::filesystem::exists(aside); ++n) aside = stamped + "-" + std::to_string(n);
  const bool moved = rename(file.c_str(), aside.c_str()) == 0;
  const auto identifier = recoverIdentifier(damaged);
  PlistPtr fresh(plist_new_dict());
  if (identifier)
    plist_dict_set_item(fresh.get(), kProtectedKey, plist_new_string(identifier->c_str()));
  logError("load()",
           "The user defaults at " + file.string() + " could not be read (" +
               std::to_string(damaged.size()) + " bytes); " +
               (moved ? "kept as " + aside : "could not move it aside: " + errnoText(errno)) +
               "; starting over " +
               (identifier ? "with the recovered installation identifier"
                           : "without an installation identifier"));
  save(file, fresh.get());
  return fresh;
}

// The store's contents, read under the lock: an empty dictionary when there
// is no file yet, the recovered contents for a damaged one, nothing when the
// file exists but cannot be read at all (then nothing may be written over it).
PlistPtr load(const std::filesystem::path& file) {
  std::optional<std::string> contents;
  try {
    contents = readFile(file);
  } catch (const std::system_error& error) {
    logError("load()", "Cannot read " + file.string() + ": " + error.code().message());
    return nullptr;
  }
  if (!contents) return PlistPtr(plist_new_dict());
  plist_t parsed = nullptr;
  if (!contents->empty()) {
    plist_from_memory(contents->data(), static_cast<uint32_t>(contents->size()), &parsed);
  }
  PlistPtr dictionary(parsed);
  if (dictionary && plist_get_node_type(dictionary.get()) == PLIST_DICT) return dictionary;
  return setAside(file, *contents);
}

std::string homeFolder() {
  if (const char* home = std::getenv("HOME"); home && *home) return home;
  const passwd* entry = getpwuid(getuid());
  return entry && entry->pw_dir ? entry->pw_dir : "/tmp";
}

}  // namespace

PlistUserDefaults::PlistUserDefaults(std::filesystem::path file) : file_(std::move(file)) {}

std::filesystem::path PlistUserDefaults::defaultPath() {
  const char* config = std::getenv("XDG_CONFIG_HOME");
  const std::filesystem::path base = config && *config
                                         ? std::filesystem::path(config)
                                         : std::filesystem::path(homeFolder()) / ".config";
  return base / "lumora" / "defaults.plist";
}

std::optional<std::string> PlistUserDefaults::stringForKey(const std::string& key) const {
  std::optional<std::string> value;
  withContents([&](Dictionary dictionary) {
    plist_t node = plist_dict_get_item(dictionary, key.c_str());
    if (node && plist_get_node_type(node) == PLIST_STRING) {
      uint64_t length = 0;
      const char* text = plist_get_string_ptr(node, &length);
      value.emplace(text, length);
    }
    return false;
  });
  return value;
}

void PlistUserDefaults::setString(const std::string& key, const std::string& value) {
  withContents([&](Dictionary dictionary) {
    plist_dict_set_item(dictionary, key.c_str(), plist_new_string(value.c_str()));
    return true;
  });
}

void PlistUserDefaults::removeObject(const std::string& key) {
  withContents([&](Dictionary dictionary) {
    if (!plist_dict_get_item(dictionary, key.c_str())) return false;
    plist_dict_remove_item(dictionary, key.c_str());
    return true;
  });
}

const std::filesystem::path& PlistUserDefaults::path() const noexcept { return file_; }

void PlistUserDefaults::withContents(const std::function<bool(Dictionary)>& change) const {
  const FileDescriptor lock = lockStore(file_);
  const PlistPtr dictionary = load(file_);
  if (dictionary && change(dictionary.get())) save(file_, dictionary.get());
}

}  // namespace lumora::platform
