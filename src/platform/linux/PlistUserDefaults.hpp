#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "platform/UserDefaults.hpp"

namespace lumora::platform {

/// The user-defaults store on Linux: an XML property list holding one flat
/// dictionary of strings, by default $XDG_CONFIG_HOME/lumora/defaults.plist
/// (~/.config/lumora/ when the variable is unset or empty).
///
/// Every operation takes an exclusive flock on "<file>.lock", reads the file
/// afresh and, when something changed, writes a temporary file in the same
/// folder, syncs it, renames it over the store and syncs the folder. Threads
/// and processes sharing the file never lose each other's writes, and a crash
/// leaves either the old or the new file, never a mix. Temporary files left by
/// a crashed save are removed under the lock, where no other save can be under
/// way.
///
/// The store never blocks its caller for long: another process holding the
/// lock is waited for at most kLockWait (and not again until the lock has been
/// had once more), a FIFO or device in the file's place is refused without
/// waiting, and the file is read only up to kMaxFileSize. Whatever cannot be
/// written is kept in memory and answered from there, so the values set in
/// this process, the installation identifier first of all, stay stable; they
/// are written with the next operation that can.
///
/// A file that is not a flat dictionary of strings (damaged, cut short, too
/// large, nested, other value types, another root) is renamed to
/// "<file>.corrupt-<UTC timestamp>" for inspection, reported as an error in
/// the log, and the store starts over empty, except for the installation
/// identifier ("LumoraBeaconSDK.UUID"): its value is searched for in the
/// damaged text and kept when a whole, well-formed identifier follows its key.
/// An identifier that the damage cut through is lost; it cannot be guessed.
class PlistUserDefaults : public UserDefaults {
 public:
  /// The longest wait for another process's lock.
  static constexpr std::chrono::milliseconds kLockWait{200};
  /// The largest file read; a larger one counts as damaged.
  static constexpr std::size_t kMaxFileSize = std::size_t{1} << 20;

  explicit PlistUserDefaults(std::filesystem::path file = defaultPath());

  /// The default file as described above.
  static std::filesystem::path defaultPath();

  std::optional<std::string> stringForKey(const std::string& key) const override;
  void setString(const std::string& key, const std::string& value) override;
  void removeObject(const std::string& key) override;

  const std::filesystem::path& path() const noexcept;

 private:
  using Contents = std::map<std::string, std::string>;
  class FileDescriptor;
  struct Reading;

  /// Brings file and memory together: reads the file, writes the changes not
  /// yet written when it holds the lock, and answers the contents as this
  /// process sees them.
  Contents synchronize() const;
  std::optional<FileDescriptor> lock() const;
  Reading read(bool locked) const;
  bool save(const Contents& contents) const;
  void sweepTemporaryFiles() const;
  /// Logs a problem once, until an operation succeeds again, with the line
  /// of the step that met it.
  void report(std::string_view function, const std::string& message, int line) const;

  const std::filesystem::path file_;
  mutable std::mutex mutex_;
  /// Changes not yet written to the file (nothing = removal).
  mutable std::map<std::string, std::optional<std::string>> unwritten_;
  mutable bool lockContended_ = false;
  mutable bool swept_ = false;
  mutable std::string lastProblem_;
};

}  // namespace lumora::platform
