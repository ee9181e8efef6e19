#include "platform/linux/PlistUserDefaults.hpp"

#include <fcntl.h>
#include <plist/plist.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <span>
#include <system_error>
#include <thread>
#include <utility>

#include "core/config/PropertyListScreen.hpp"
#include "core/util/LumoraLogger.hpp"
#include "core/util/Uuid.hpp"
#include "platform/linux/CappedFile.hpp"

namespace lumora::platform {

class PlistUserDefaults::FileDescriptor {
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

// What one reading of the file gives.
struct PlistUserDefaults::Reading {
  /// The file's contents (recovered ones for a damaged file); nothing when the
  /// file cannot be read, and then nothing may be written over it.
  std::optional<Contents> contents;
  /// The contents were recovered and must be written back.
  bool rewrite = false;
};

namespace {

constexpr std::string_view kLogFile = "PlistUserDefaults";
constexpr std::string_view kProtectedKey = "LumoraBeaconSDK.UUID";
// One dictionary: the store holds nothing nested.
constexpr PropertyListScreen kScreen({PlistUserDefaults::kMaxFileSize, 1});
constexpr std::chrono::milliseconds kLongestPause{25};

struct PlistFree {
  void operator()(plist_t node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistFree>;

std::string errnoText(int error) { return std::generic_category().message(error); }

std::filesystem::path folderOf(const std::filesystem::path& file) {
  return file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
}

// Takes the lock, pausing between attempts for at most budget in all. On
// failure errno tells why (EWOULDBLOCK: another holder).
bool lockWithin(int fd, std::chrono::milliseconds budget) {
  std::chrono::milliseconds waited{0};
  std::chrono::milliseconds pause{1};
  while (flock(fd, LOCK_EX | LOCK_NB) != 0) {
    if (errno == EINTR) continue;
    if (errno != EWOULDBLOCK || waited >= budget) return false;
    const auto step = std::min(pause, budget - waited);
    std::this_thread::sleep_for(step);
    waited += step;
    pause = std::min(pause * 2, kLongestPause);
  }
  return true;
}

bool writeAll(int fd, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t written = write(fd, data, size);
    if (written < 0 && errno == EINTR) continue;
    if (written == 0) errno = EIO;
    if (written <= 0) return false;
    data += written;
    size -= static_cast<std::size_t>(written);
  }
  return true;
}

void syncFolder(const std::filesystem::path& folder) {
  const int dir = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dir < 0) return;
  fsync(dir);
  close(dir);
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

bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

std::size_t skipSpace(std::string_view text, std::size_t at) {
  while (at < text.size() && isSpace(text[at])) ++at;
  return at;
}

// The installation identifier in a damaged XML text: a complete well-formed
// identifier right after its key, ended by the next tag or by the cut.
std::optional<std::string> recoverIdentifier(std::string_view damaged) {
  const std::string key = "<key>" + std::string(kProtectedKey) + "</key>";
  constexpr std::string_view kOpen = "<string>";
  constexpr std::size_t kLength = 36;
  for (auto found = damaged.find(key); found != std::string_view::npos;
       found = damaged.find(key, found + 1)) {
    std::size_t at = skipSpace(damaged, found + key.size());
    if (damaged.substr(at, kOpen.size()) != kOpen) continue;
    at = skipSpace(damaged, at + kOpen.size());
    const auto candidate = damaged.substr(at, kLength);
    const std::size_t end = skipSpace(damaged, at + candidate.size());
    if (candidate.size() == kLength && Uuid::parse(candidate) &&
        (end == damaged.size() || damaged[end] == '<')) {
      return std::string(candidate);
    }
  }
  return std::nullopt;
}

std::string stringValue(plist_t node) {
  std::uint64_t length = 0;
  const char* text = plist_get_string_ptr(node, &length);
  return text ? std::string(text, length) : std::string();
}

// The contents when the text is a dictionary of strings and nothing else.
std::optional<std::map<std::string, std::string>> parseFlat(const std::string& text) {
  const std::span bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
  if (text.empty() || !kScreen.admits(bytes)) return std::nullopt;
  plist_t root = nullptr;
  plist_from_memory(text.data(), static_cast<std::uint32_t>(text.size()), &root);
  const PlistPtr owner(root);
  if (!root || plist_get_node_type(root) != PLIST_DICT) return std::nullopt;
  std::map<std::string, std::string> contents;
  plist_dict_iter iterator = nullptr;
  plist_dict_new_iter(root, &iterator);
  const std::unique_ptr<void, decltype(&std::free)> iteratorOwner(iterator, &std::free);
  while (true) {
    char* key = nullptr;
    plist_t value = nullptr;
    plist_dict_next_item(root, iterator, &key, &value);
    const std::unique_ptr<char, decltype(&std::free)> keyOwner(key, &std::free);
    if (!key || !value) return contents;
    if (plist_get_node_type(value) != PLIST_STRING) return std::nullopt;
    contents.emplace(key, stringValue(value));
  }
}

std::optional<std::string> toXml(const std::map<std::string, std::string>& contents) {
  const PlistPtr dictionary(plist_new_dict());
  for (const auto& [key, value] : contents) {
    plist_dict_set_item(dictionary.get(), key.c_str(), plist_new_string(value.c_str()));
  }
  char* xml = nullptr;
  std::uint32_t length = 0;
  plist_to_xml(dictionary.get(), &xml, &length);
  if (!xml) return std::nullopt;
  std::string text(xml, length);
  plist_to_xml_free(xml);
  return text;
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
  const std::lock_guard guard(mutex_);
  const Contents contents = synchronize();
  const auto found = contents.find(key);
  if (found == contents.end()) return std::nullopt;
  return found->second;
}

void PlistUserDefaults::setString(const std::string& key, const std::string& value) {
  const std::lock_guard guard(mutex_);
  unwritten_[key] = value;
  synchronize();
}

void PlistUserDefaults::removeObject(const std::string& key) {
  const std::lock_guard guard(mutex_);
  unwritten_[key] = std::nullopt;
  synchronize();
}

const std::filesystem::path& PlistUserDefaults::path() const noexcept { return file_; }

PlistUserDefaults::Contents PlistUserDefaults::synchronize() const {
  const auto lockFile = lock();
  const bool locked = lockFile.has_value();
  if (locked && !swept_) sweepTemporaryFiles();
  const Reading reading = read(locked);
  Contents merged = reading.contents.value_or(Contents{});
  for (const auto& [key, value] : unwritten_) {
    if (value) {
      merged[key] = *value;
    } else {
      merged.erase(key);
    }
  }
  if (!locked || !reading.contents) return merged;
  const bool unchanged = merged == *reading.contents && !reading.rewrite;
  if (unchanged || save(merged)) {
    unwritten_.clear();
    lastProblem_.clear();
  }
  return merged;
}

std::optional<PlistUserDefaults::FileDescriptor> PlistUserDefaults::lock() const {
  std::error_code created;
  std::filesystem::create_directories(folderOf(file_), created);
  if (created) {
    report("lock()",
           "Cannot create the folder " + folderOf(file_).string() + ": " + created.message() +
               "; keeping the values in memory",
           __LINE__);
    return std::nullopt;
  }
  const std::string lockPath = file_.string() + ".lock";
  FileDescriptor fd(
      open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
  struct stat status {};
  if (!fd.valid() || fstat(fd.get(), &status) != 0) {
    report("lock()",
           "Cannot open " + lockPath + ": " + errnoText(errno) + "; keeping the values in memory",
           __LINE__);
    return std::nullopt;
  }
  if (!S_ISREG(status.st_mode)) {
    report("lock()",
           "Cannot lock " + lockPath + ": not a regular file; keeping the values in memory",
           __LINE__);
    return std::nullopt;
  }
  // After a wait that ran out, a busy lock is tried once more without waiting
  // until it has been had again: the caller may be the host's main thread.
  if (!lockWithin(fd.get(), lockContended_ ? std::chrono::milliseconds{0} : kLockWait)) {
    const int error = errno;
    lockContended_ = lockContended_ || error == EWOULDBLOCK;
    report("lock()",
           error == EWOULDBLOCK
               ? "Another process holds " + lockPath + "; keeping the values in memory"
               : "Cannot lock " + lockPath + ": " + errnoText(error) +
                     "; keeping the values in memory",
           __LINE__);
    return std::nullopt;
  }
  lockContended_ = false;
  return fd;
}

PlistUserDefaults::Reading PlistUserDefaults::read(bool locked) const {
  const auto file = CappedFile::read(file_, kMaxFileSize, false);
  if (file.status == CappedFile::Status::absent) return {Contents{}, false};
  if (file.status == CappedFile::Status::unreadable) {
    report("load()",
           "Cannot read " + file_.string() + ": " + file.failure + "; keeping the values in memory",
           __LINE__);
    return {};
  }
  if (file.status == CappedFile::Status::read) {
    if (auto contents = parseFlat(file.contents)) return {std::move(*contents), false};
  }
  Contents recovered;
  const auto identifier = recoverIdentifier(file.contents);
  if (identifier) recovered.emplace(kProtectedKey, *identifier);
  const std::string what =
      file.status == CappedFile::Status::tooLarge
          ? "larger than " + std::to_string(kMaxFileSize) + " bytes"
          : "not a dictionary of strings, " + std::to_string(file.contents.size()) + " bytes";
  if (!locked) {
    // Only the lock's holder may move the file: another process may be
    // replacing it right now.
    report("load()",
           "The user defaults at " + file_.string() + " could not be read (" + what +
               "); using what could be recovered until the store can be locked",
           __LINE__);
    return {std::move(recovered), false};
  }
  const std::string stamped = file_.string() + ".corrupt-" + utcStamp();
  std::string aside = stamped;
  std::error_code ignored;
  for (int n = 1; std::filesystem::exists(aside, ignored); ++n) {
    aside = stamped + "-" + std::to_string(n);
  }
  const bool moved = rename(file_.c_str(), aside.c_str()) == 0;
  LUMORA_LOG(LogLevel::error, kLogFile, "load()",
             "The user defaults at " + file_.string() + " could not be read (" + what + "); " +
                 (moved ? "kept as " + aside : "could not move it aside: " + errnoText(errno)) +
                 "; starting over " +
                 (identifier ? "with the recovered installation identifier"
                             : "without an installation identifier"));
  return {std::move(recovered), true};
}

bool PlistUserDefaults::save(const Contents& contents) const {
  const auto xml = toXml(contents);
  const std::filesystem::path folder = folderOf(file_);
  std::string temporary = file_.string() + ".tmp-XXXXXX";
  FileDescriptor fd(xml ? mkostemp(temporary.data(), O_CLOEXEC) : -1);
  if (!fd.valid()) {
    report("save()",
           "Cannot create a temporary file in " + folder.string() + ": " +
               (xml ? errnoText(errno) : "the values cannot be written as XML"),
           __LINE__);
    return false;
  }
  std::string failure;
  if (!writeAll(fd.get(), xml->data(), xml->size())) {
    failure = "Cannot write " + temporary + ": " + errnoText(errno);
  } else if (fsync(fd.get()) != 0) {
    failure = "Cannot sync " + temporary + ": " + errnoText(errno);
  } else if (rename(temporary.c_str(), file_.c_str()) != 0) {
    failure = "Cannot rename " + temporary + " to " + file_.string() + ": " + errnoText(errno);
  }
  if (!failure.empty()) {
    unlink(temporary.c_str());
    report("save()", failure + "; keeping the values in memory", __LINE__);
    return false;
  }
  syncFolder(folder);
  return true;
}

void PlistUserDefaults::sweepTemporaryFiles() const {
  swept_ = true;
  const std::string prefix = file_.filename().string() + ".tmp-";
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folderOf(file_), error), end;
       !error && entry != end; entry.increment(error)) {
    if (entry->path().filename().string().starts_with(prefix)) unlink(entry->path().c_str());
  }
}

void PlistUserDefaults::report(std::string_view function, const std::string& message,
                               int line) const {
  if (message == lastProblem_) return;
  lastProblem_ = message;
  LumoraLogger::shared().log(message, LogLevel::error, kLogFile, line, function);
}

}  // namespace lumora::platform
