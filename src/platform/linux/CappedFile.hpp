#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

namespace lumora::platform {

/// One reading of a small file that may be hostile: opened without blocking
/// (a FIFO or device in its place is refused, never waited on), only a regular
/// file is read, and never more than a size cap.
struct CappedFile {
  enum class Status {
    read,        ///< contents holds the whole file
    absent,      ///< no file at the path
    tooLarge,    ///< larger than the cap; contents holds its first maxBytes
    unreadable,  ///< failure says why
  };

  /// Reads path. With followLink false, a symbolic link at path is unreadable.
  static CappedFile read(const std::filesystem::path& path, std::size_t maxBytes, bool followLink);

  Status status = Status::absent;
  std::string contents;
  /// What went wrong, e.g. "cannot open: Permission denied" or "not a regular file".
  std::string failure;
};

}  // namespace lumora::platform
