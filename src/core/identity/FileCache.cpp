#include "core/identity/FileCache.hpp"

#include <fstream>
#include <system_error>

namespace lumora {

FileCacheError::FileCacheError(Kind kind, const std::string& message)
    : std::runtime_error(message), kind_(kind) {}

FileCacheError::Kind FileCacheError::kind() const noexcept { return kind_; }

FileCache::FileCache(const std::filesystem::path& baseDirectory, const std::string& folder,
                     const std::string& fileName)
    : fileURL_(baseDirectory / folder / fileName) {}

void FileCache::set(const std::string& value) {
  std::error_code error;
  std::filesystem::create_directories(fileURL_.parent_path(), error);
  if (error) {
    throw FileCacheError(
        FileCacheError::Kind::writeFailed,
        "Cannot create " + fileURL_.parent_path().string() + ": " + error.message());
  }
  std::ofstream out(fileURL_, std::ios::binary | std::ios::trunc);
  out.write(value.data(), static_cast<std::streamsize>(value.size()));
  out.close();
  if (!out) {
    throw FileCacheError(FileCacheError::Kind::writeFailed, "Cannot write " + fileURL_.string());
  }
}

std::string FileCache::get() const {
  std::error_code error;
  if (!std::filesystem::exists(fileURL_, error)) {
    throw FileCacheError(FileCacheError::Kind::notFound, "Nothing cached at " + fileURL_.string());
  }
  const auto size = std::filesystem::file_size(fileURL_, error);
  std::ifstream in(fileURL_, std::ios::binary);
  std::string value(error ? 0 : size, '\0');
  if (error || !in.read(value.data(), static_cast<std::streamsize>(value.size()))) {
    throw FileCacheError(FileCacheError::Kind::readFailed, "Cannot read " + fileURL_.string());
  }
  return value;
}

void FileCache::remove() {
  std::error_code error;
  std::filesystem::remove(fileURL_, error);
  if (error) {
    throw FileCacheError(FileCacheError::Kind::removeFailed,
                         "Cannot remove " + fileURL_.string() + ": " + error.message());
  }
}

const std::filesystem::path& FileCache::fileURL() const noexcept { return fileURL_; }

}  // namespace lumora
