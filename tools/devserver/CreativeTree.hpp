#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace lumora::tools {

/// What the server answers for one creative request.
struct CreativeLookup {
  int status = 404;  // 200, 403 or 404
  std::string body;  // the file's contents for 200, a short explanation otherwise
};

/// A directory of creative files laid out as the SDK requests them:
///   <bucket>/binding/<one digit per folder>/ios.json
/// e.g. "demo/binding/1/2/3/4/ios.json" for binding 1234 (a negative binding
/// keeps its "-" as a folder of its own). Read-only; safe from any thread.
class CreativeTree {
 public:
  /// Throws DevServerError when root is not a directory.
  explicit CreativeTree(const std::filesystem::path& root);

  /// urlPath: the decoded request path, starting with "/". A path with a ".."
  /// segment, or one that resolves outside the tree, is refused with 403;
  /// anything that is not a creative path, or names no file, is 404.
  CreativeLookup lookup(std::string_view urlPath) const;

  const std::filesystem::path& root() const noexcept { return root_; }

 private:
  bool staysInside(const std::filesystem::path& file) const;

  std::filesystem::path root_;  // canonical
};

}  // namespace lumora::tools
