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

  std::vector<std::uint8_t> write(const std::string& name, const std::string& text) {
    std::ofstream(root / name, std::ios::binary) << text;
    return {text.begin(), text.end()};
  }

  fs::path root;
};

TEST_F(LinuxResourceBundleTest, ReadsNameDotTypeFromTheGivenDirectoryAndNothingElse) {
  const auto plist = write("sdk.plist", "<plist/>");
  LinuxResourceBundle bundle(root);
  EXPECT_EQ(bundle.resource("sdk", "plist"), plist);
  EXPECT_EQ(bundle.resource("sdk", "json"), std::nullopt);
  EXPECT_EQ(bundle.resource("other", "plist"), std::nullopt);
  // Neither a FIFO (which would block a plain open) nor a file past the cap is a resource.
  ASSERT_EQ(mkfifo((root / "fifo.plist").c_str(), 0600), 0);
  EXPECT_EQ(bundle.resource("fifo", "plist"), std::nullopt);
  write("big.plist", std::string(ResourceBundle::kMaxResourceSize + 1, ' '));
  EXPECT_EQ(bundle.resource("big", "plist"), std::nullopt);
  const auto atCap = write("big.plist", std::string(ResourceBundle::kMaxResourceSize, ' '));
  EXPECT_EQ(bundle.resource("big", "plist"), atCap);
}

TEST_F(LinuxResourceBundleTest, SearchesTheBinarysDirectoryThenThePrefixUnlessTheHostChoseOne) {
  // The test executable links the library statically, so its own file is the
  // binary that holds the library's code. A multiarch library directory,
  // <prefix>/lib/<triplet>, sits one level deeper than <prefix>/lib.
  const fs::path binaryDir = fs::canonical("/proc/self/exe").parent_path();
  EXPECT_EQ(LinuxResourceBundle::libraryDirectory(), binaryDir);
  EXPECT_EQ(LinuxResourceBundle().searchDirectories(),
            (std::vector<fs::path>{
                binaryDir, (binaryDir.parent_path() / "share/lumora").lexically_normal(),
                (binaryDir.parent_path().parent_path() / "share/lumora").lexically_normal()}));

  const auto copy = write("sdk.plist", "host copy");
  setBundleDirectory(root.string());
  LinuxResourceBundle bundle;
  EXPECT_EQ(bundle.searchDirectories(), std::vector<fs::path>{root});
  EXPECT_EQ(bundle.resource("sdk", "plist"), copy);
  // Bundles opened earlier keep their directories; restore the default for other tests.
  setBundleDirectory(LinuxResourceBundle::libraryDirectory().string());
}

}  // namespace
}  // namespace lumora::platform
