#include "core/identity/FileCache.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

namespace lumora {
namespace {

namespace fs = std::filesystem;

class FileCacheTest : public ::testing::Test {
 protected:
  FileCacheTest()
      : base(fs::path(::testing::TempDir()) / ("identity-cache-" + std::to_string(getpid()))) {
    fs::remove_all(base);
  }
  ~FileCacheTest() override { fs::remove_all(base); }

  static FileCacheError::Kind failureOf(const std::function<void()>& operation) {
    try {
      operation();
    } catch (const FileCacheError& error) {
      return error.kind();
    }
    ADD_FAILURE() << "expected FileCacheError";
    return FileCacheError::Kind::notFound;
  }

  fs::path base;
};

TEST_F(FileCacheTest, ValueRoundTripsThroughItsFileAndFailuresAreReportedByKind) {
  FileCache cache(base, "cache", "value.txt");
  EXPECT_EQ(cache.fileURL(), base / "cache" / "value.txt");
  cache.set(std::string("first\0line\n", 11));
  cache.set("second");
  EXPECT_EQ(FileCache(base, "cache", "value.txt").get(), "second");
  cache.set("");
  EXPECT_EQ(cache.get(), "");
  cache.remove();
  cache.remove();  // nothing stored is not an error
  EXPECT_EQ(failureOf([&] { cache.get(); }), FileCacheError::Kind::notFound);

  std::ofstream(base / "plain") << "a file where a folder should be";
  FileCache blocked(base, "plain", "value.txt");
  EXPECT_EQ(failureOf([&] { blocked.set("x"); }), FileCacheError::Kind::writeFailed);
  // A full disk refuses the bytes only when the file is flushed and closed.
  FileCache full("/dev", "", "full");
  EXPECT_EQ(failureOf([&] { full.set("x"); }), FileCacheError::Kind::writeFailed);

  fs::create_directories(base / "cache" / "value.txt" / "child");
  FileCache directory(base, "cache", "value.txt");
  EXPECT_EQ(failureOf([&] { directory.get(); }), FileCacheError::Kind::readFailed);
  EXPECT_EQ(failureOf([&] { directory.remove(); }), FileCacheError::Kind::removeFailed);
}

}  // namespace
}  // namespace lumora
