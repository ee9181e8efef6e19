#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "lumora/LinuxBundle.hpp"
#include "platform/linux/LinuxResourceBundle.hpp"

namespace lumora::platform {
namespace {

namespace fs = std::filesystem;

class LinuxResourceBundleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/lumora-bundle-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    root = pattern;
  }
  void TearDown() override { fs::remove_all(root); }

  void write(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
  }

  static std::string text(const std::optional<std::vector<std::uint8_t>>& bytes) {
    return bytes ? std::string(bytes->begin(), bytes->end()) : "<none>";
  }

  fs::path root;
};

TEST_F(LinuxResourceBundleTest, ReadsNameDotTypeFromTheGivenDirectoryAndNothingElse) {
  write(root / "sdk.plist", "<plist/>");
  LinuxResourceBundle bundle(root);
  EXPECT_EQ(text(bundle.resource("sdk", "plist")), "<plist/>");
  EXPECT_EQ(bundle.resource("sdk", "json"), std::nullopt);
  EXPECT_EQ(bundle.resource("other", "plist"), std::nullopt);
  // A directory named like the file is not a resource.
  fs::create_directories(root / "dir.plist");
  EXPECT_EQ(bundle.resource("dir", "plist"), std::nullopt);
  // Neither is a FIFO (which would block a plain open) nor a file past the cap.
  ASSERT_EQ(mkfifo((root / "fifo.plist").c_str(), 0600), 0);
  EXPECT_EQ(bundle.resource("fifo", "plist"), std::nullopt);
  write(root / "big.plist", std::string(ResourceBundle::kMaxResourceSize + 1, ' '));
  EXPECT_EQ(bundle.resource("big", "plist"), std::nullopt);
  write(root / "big.plist", std::string(ResourceBundle::kMaxResourceSize, ' '));
  EXPECT_EQ(bundle.resource("big", "plist")->size(), ResourceBundle::kMaxResourceSize);
}

TEST_F(LinuxResourceBundleTest, ByDefaultSearchesTheBinarysDirectoryThenThePrefixShareLumora) {
  // The test executable links the library statically, so its own file is the
  // binary that holds the library's code.
  const fs::path exe = fs::canonical("/proc/self/exe");
  EXPECT_EQ(LinuxResourceBundle::libraryDirectory(), exe.parent_path());
  LinuxResourceBundle bundle;
  ASSERT_EQ(bundle.searchDirectories().size(), 3u);
  EXPECT_EQ(bundle.searchDirectories()[0], exe.parent_path());
  EXPECT_EQ(bundle.searchDirectories()[1],
            (exe.parent_path().parent_path() / "share" / "lumora").lexically_normal());
  // A multiarch library directory, <prefix>/lib/<triplet>, sits one level deeper.
  EXPECT_EQ(
      bundle.searchDirectories()[2],
      (exe.parent_path().parent_path().parent_path() / "share" / "lumora").lexically_normal());
}

TEST_F(LinuxResourceBundleTest, HostChosenDirectoryReplacesTheDefaultSearch) {
  write(root / "sdk.plist", "host copy");
  setBundleDirectory(root.string());
  LinuxResourceBundle bundle;
  EXPECT_EQ(bundle.searchDirectories(), std::vector<fs::path>{root});
  EXPECT_EQ(text(bundle.resource("sdk", "plist")), "host copy");
  // Bundles opened earlier keep their directories; restore the default for other tests.
  setBundleDirectory(LinuxResourceBundle::libraryDirectory().string());
}

}  // namespace
}  // namespace lumora::platform
