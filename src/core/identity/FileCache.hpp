#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

namespace lumora {

/// Why a FileCache operation failed.
class FileCacheError : public std::runtime_error {
 public:
  enum class Kind { notFound, readFailed, writeFailed, removeFailed };

  FileCacheError(Kind kind, const std::string& message);
  Kind kind() const noexcept;

 private:
  Kind kind_;
};

/// One string value kept in a file: <baseDirectory>/<folder>/<fileName>,
/// stored as the raw bytes of the string.
class FileCache {
 public:
  FileCache(const std::filesystem::path& baseDirectory, const std::string& folder,
            const std::string& fileName);

  /// Replaces the value, creating the folder when needed.
  /// Throws FileCacheError (writeFailed).
  void set(const std::string& value);
  /// The stored value. Throws FileCacheError: notFound when nothing is
  /// stored, readFailed when the file cannot be read.
  std::string get() const;
  /// Forgets the value; nothing stored is not an error.
  /// Throws FileCacheError (removeFailed).
  void remove();

  const std::filesystem::path& fileURL() const noexcept;

 private:
  std::filesystem::path fileURL_;
};

}  // namespace lumora
