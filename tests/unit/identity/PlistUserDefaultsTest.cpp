#include "platform/linux/PlistUserDefaults.hpp"

#include <gtest/gtest.h>
#include <plist/plist.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "support/SimWorld.hpp"

namespace lumora {
namespace {

namespace fs = std::filesystem;
constexpr const char* kUuidKey = "LumoraBeaconSDK.UUID";
constexpr const char* kIdentifier = "0A1B2C3D-4E5F-1011-8213-141516171819";

class PlistUserDefaultsTest : public testing::SimWorld {
 protected:
  PlistUserDefaultsTest() {
    folder = fs::path(::testing::TempDir()) / ("identity-defaults-" + std::to_string(getpid()));
    fs::remove_all(folder);
    file = folder / "lumora" / "defaults.plist";
  }
  ~PlistUserDefaultsTest() override { fs::remove_all(folder); }

  platform::PlistUserDefaults store() const { return platform::PlistUserDefaults(file); }

  std::string contents() const {
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
  }

  void overwrite(const std::string& text) const { std::ofstream(file, std::ios::trunc) << text; }

  std::vector<fs::path> asideFiles() const {
    std::vector<fs::path> found;
    for (const auto& entry : fs::directory_iterator(file.parent_path())) {
      if (entry.path().filename().string().starts_with("defaults.plist.corrupt-")) {
        found.push_back(entry.path());
      }
    }
    return found;
  }

  std::size_t errorLines() const {
    std::size_t count = 0;
    for (const auto& record : platform->log->records()) count += record.levelName == "ERROR";
    return count;
  }

  fs::path folder;
  fs::path file;
};

TEST_F(PlistUserDefaultsTest, ValuesSurviveNewStoreObjectsAndAreAnXmlPropertyList) {
  store().setString(kUuidKey, kIdentifier);
  store().setString("LumoraBeaconSDK.Email", "<a&b>@example.com");
  store().setString("LumoraBeaconSDK.PhoneNumber", "+15550100");
  store().removeObject("LumoraBeaconSDK.PhoneNumber");
  store().removeObject("never.stored");

  const auto reopened = store();
  EXPECT_EQ(reopened.stringForKey(kUuidKey), kIdentifier);
  EXPECT_EQ(reopened.stringForKey("LumoraBeaconSDK.Email"), "<a&b>@example.com");
  EXPECT_EQ(reopened.stringForKey("LumoraBeaconSDK.PhoneNumber"), std::nullopt);
  EXPECT_NE(contents().find("<plist"), std::string::npos);
  EXPECT_TRUE(asideFiles().empty());
  EXPECT_EQ(errorLines(), 0u);
  // No temporary files are left behind.
  for (const auto& entry : fs::directory_iterator(file.parent_path())) {
    EXPECT_EQ(entry.path().string().find(".tmp-"), std::string::npos) << entry.path();
  }
}

TEST_F(PlistUserDefaultsTest, EntriesOfOtherTypesAreKeptButNotReturned) {
  fs::create_directories(file.parent_path());
  overwrite(R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>count</key><integer>7</integer></dict></plist>)");
  EXPECT_EQ(store().stringForKey("count"), std::nullopt);
  store().setString("name", "x");
  EXPECT_NE(contents().find("<integer>7</integer>"), std::string::npos);
  EXPECT_TRUE(asideFiles().empty());
}

TEST_F(PlistUserDefaultsTest, DamagedFileIsSetAsideLoggedAndTheIdentifierRecovered) {
  store().setString(kUuidKey, kIdentifier);
  store().setString("LumoraBeaconSDK.Email", "a@example.com");
  const std::string whole = contents();
  const auto cut = whole.find("LumoraBeaconSDK.Email");
  ASSERT_NE(cut, std::string::npos);
  overwrite(whole.substr(0, cut));  // cut short after the identifier

  EXPECT_EQ(store().stringForKey(kUuidKey), kIdentifier);
  EXPECT_EQ(store().stringForKey("LumoraBeaconSDK.Email"), std::nullopt);
  const auto aside = asideFiles();
  ASSERT_EQ(aside.size(), 1u);
  std::ostringstream kept;
  kept << std::ifstream(aside[0]).rdbuf();
  EXPECT_EQ(kept.str(), whole.substr(0, cut));
  ASSERT_EQ(errorLines(), 1u);
  const auto record = platform->log->records().at(0);
  EXPECT_EQ(record.file, "PlistUserDefaults");
  EXPECT_NE(record.message.find(aside[0].string()), std::string::npos) << record.message;
  // The recovery was written back: the store is whole again.
  EXPECT_NE(contents().find(kIdentifier), std::string::npos);
}

TEST_F(PlistUserDefaultsTest, IdentifierCutThroughOrGarbageIsNotInvented) {
  store().setString(kUuidKey, kIdentifier);
  const std::string whole = contents();
  overwrite(whole.substr(0, whole.find(kIdentifier) + 20));
  EXPECT_EQ(store().stringForKey(kUuidKey), std::nullopt);

  overwrite("\x01\x02 not a property list");
  EXPECT_EQ(store().stringForKey(kUuidKey), std::nullopt);
  overwrite("");
  EXPECT_EQ(store().stringForKey(kUuidKey), std::nullopt);
  EXPECT_EQ(asideFiles().size(), 3u);
  EXPECT_EQ(errorLines(), 3u);
}

TEST_F(PlistUserDefaultsTest, ConcurrentWritersInTwoProcessesLoseNothing) {
  constexpr int kKeys = 40;
  store().setString(kUuidKey, kIdentifier);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  const std::string prefix = child == 0 ? "child." : "parent.";
  for (int i = 0; i < kKeys; ++i) {
    platform::PlistUserDefaults own(file);  // a separate object per write, as separate runs would
    own.setString(prefix + std::to_string(i), std::to_string(i));
  }
  if (child == 0) _exit(0);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);

  const auto reopened = store();
  for (int i = 0; i < kKeys; ++i) {
    EXPECT_EQ(reopened.stringForKey("child." + std::to_string(i)), std::to_string(i));
    EXPECT_EQ(reopened.stringForKey("parent." + std::to_string(i)), std::to_string(i));
  }
  EXPECT_EQ(reopened.stringForKey(kUuidKey), kIdentifier);
}

}  // namespace
}  // namespace lumora
