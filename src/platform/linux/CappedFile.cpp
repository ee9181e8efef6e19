#include "platform/linux/CappedFile.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace lumora::platform {
namespace {

CappedFile unreadable(const std::string& step, int error) {
  return {CappedFile::Status::unreadable, {}, step + std::generic_category().message(error)};
}

// Reads at most limit bytes; false with errno set on a read error.
bool readUpTo(int fd, std::size_t limit, std::string& contents) {
  char chunk[16384];
  while (contents.size() < limit) {
    const ssize_t got = ::read(fd, chunk, std::min(sizeof chunk, limit - contents.size()));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return false;
    if (got == 0) break;
    contents.append(chunk, static_cast<std::size_t>(got));
  }
  return true;
}

}  // namespace

CappedFile CappedFile::read(const std::filesystem::path& path, std::size_t maxBytes,
                            bool followLink) {
  const int flags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | (followLink ? 0 : O_NOFOLLOW);
  const int fd = open(path.c_str(), flags);
  if (fd < 0) {
    if (errno == ENOENT) return {};
    return unreadable("cannot open: ", errno);
  }
  CappedFile file;
  struct stat status {};
  if (fstat(fd, &status) != 0) {
    file = unreadable("cannot inspect: ", errno);
  } else if (!S_ISREG(status.st_mode)) {
    file = {Status::unreadable, {}, "not a regular file"};
  } else if (!readUpTo(fd, maxBytes + 1, file.contents)) {
    file = unreadable("cannot read: ", errno);
  } else if (file.contents.size() > maxBytes) {
    // The size is judged on what was read: the file may grow after fstat.
    file.contents.resize(maxBytes);
    file.status = Status::tooLarge;
  } else {
    file.status = Status::read;
  }
  close(fd);
  return file;
}

}  // namespace lumora::platform
