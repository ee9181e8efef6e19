#pragma once

#include <filesystem>
#include <functional>

#include "platform/UserDefaults.hpp"

namespace lumora::platform {

/// The user-defaults store on Linux: an XML property list, by default
/// $XDG_CONFIG_HOME/lumora/defaults.plist (~/.config/lumora/ when the variable
/// is unset or empty). Values are strings; entries of other types found in the
/// file are kept but not returned.
///
/// Every operation takes an exclusive flock on "<file>.lock", reads the file
/// afresh and, when it changes something, writes a temporary file in the same
/// folder, syncs it, renames it over the store and syncs the folder. Threads
/// and processes sharing the file therefore never lose each other's writes,
/// and a crash leaves either the old or the new file, never a mix.
///
/// A file that cannot be parsed (damaged or cut short) is renamed to
/// "<file>.corrupt-<UTC timestamp>" for inspection, reported as an error in
/// the log, and the store starts over empty, except for the installation
/// identifier ("LumoraBeaconSDK.UUID"): its value is searched for in the
/// damaged text and kept when a whole, well-formed identifier follows its key.
/// An identifier that the damage cut through is lost; it cannot be guessed.
class PlistUserDefaults : public UserDefaults {
 public:
  explicit PlistUserDefaults(std::filesystem::path file = defaultPath());

  /// The default file as described above.
  static std::filesystem::path defaultPath();

  std::optional<std::string> stringForKey(const std::string& key) const override;
  void setString(const std::string& key, const std::string& value) override;
  void removeObject(const std::string& key) override;

  const std::filesystem::path& path() const noexcept;

 private:
  using Dictionary = void*;  // a libplist dictionary node
  /// Runs change on the current contents under the lock; saves them when it
  /// answers true.
  void withContents(const std::function<bool(Dictionary)>& change) const;

  std::filesystem::path file_;
};

}  // namespace lumora::platform
