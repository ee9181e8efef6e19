#include "platform/linux/PlistUserDefaults.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
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

  // The names in the store's folder that start with prefix, sorted.
  std::vector<std::string> filesNamed(const std::string& prefix) const {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(file.parent_path())) {
      if (entry.path().filename().string().starts_with(prefix)) {
        found.push_back(entry.path().filename().string());
      }
    }
    std::sort(found.begin(), found.end());
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

TEST_F(PlistUserDefaultsTest, ValuesSurviveNewStoreObjectsAndTemporaryFilesOfCrashedSavesGo) {
  // What a save killed between writing and renaming leaves behind.
  fs::create_directories(file.parent_path());
  for (const char* name : {"defaults.plist.tmp-a1B2c3", "defaults.plist.tmp-zzzzzz"}) {
    std::ofstream(file.parent_path() / name) << "<plist";
  }
  std::ofstream(file.parent_path() / "other.plist.tmp-a1B2c3") << "not ours";

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
  EXPECT_EQ(errorLines(), 0u);
  EXPECT_EQ(filesNamed(""), (std::vector<std::string>{"defaults.plist", "defaults.plist.lock",
                                                      "other.plist.tmp-a1B2c3"}));
}

// Anything but a flat dictionary of strings is set aside under a name the one
// error line gives, keeping the identifier when it is whole and never inventing
// one; the recovery is written back, so the store is whole again.
TEST_F(PlistUserDefaultsTest, HostileFilesAreSetAsideAndReportedOnce) {
  const std::string head = R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>)";
  const std::string id =
      std::string("<key>") + kUuidKey + "</key><string>" + kIdentifier + "</string>";
  const std::string tail = "</dict></plist>";
  std::string nested = "<key>deep</key>";
  for (int i = 0; i < 140000; ++i) nested += "<array>";
  for (int i = 0; i < 140000; ++i) nested += "</array>";
  store().setString(kUuidKey, kIdentifier);
  store().setString("LumoraBeaconSDK.Email", "a@example.com");
  const std::string whole = contents();
  const std::optional<std::string> none;
  const struct {
    const char* name;
    std::string text;
    std::optional<std::string> recovered = kIdentifier;
  } cases[] = {
      {"cut short after the identifier",
       whole.substr(0, whole.find("</string>", whole.find(kIdentifier)) + 9)},
      {"garbage", "\x01\x02 not a property list", none},
      {"a number", head + id + "<key>count</key><integer>7</integer>" + tail},
      // Deep enough to overflow the stack in the parser's recursion.
      {"arrays nested 140000 deep", head + id + nested + tail},
      {"past the size cap",
       head + id + "<key>big</key><string>" + std::string(1 << 20, 'x') + "</string>" + tail},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    overwrite(c.text);
    const auto before = filesNamed("defaults.plist.corrupt-");
    platform->log->clear();
    EXPECT_EQ(store().stringForKey(kUuidKey), c.recovered);
    EXPECT_EQ(store().stringForKey("LumoraBeaconSDK.Email"), std::nullopt);
    auto aside = filesNamed("defaults.plist.corrupt-");
    ASSERT_EQ(aside.size(), before.size() + 1);
    for (const auto& old : before) std::erase(aside, old);
    std::ostringstream kept;
    kept << std::ifstream(file.parent_path() / aside.at(0)).rdbuf();
    EXPECT_EQ(kept.str(), c.text);
    ASSERT_EQ(errorLines(), 1u);
    const auto record = platform->log->records().at(0);
    EXPECT_EQ(record.file, "PlistUserDefaults");
    EXPECT_NE(record.message.find((file.parent_path() / aside[0]).string()), std::string::npos)
        << record.message;
    EXPECT_LT(fs::file_size(file), 1024u) << "only the identifier is written back";
    EXPECT_EQ(contents().find(kIdentifier) != std::string::npos, c.recovered.has_value());
  }
}

TEST_F(PlistUserDefaultsTest, ALockHeldElsewhereNeitherBlocksNorLosesValues) {
  store().setString(kUuidKey, kIdentifier);
  // flock locks belong to the open file, so this one contends like another process.
  const int other = open((file.string() + ".lock").c_str(), O_RDWR);
  ASSERT_GE(other, 0);
  ASSERT_EQ(flock(other, LOCK_EX), 0);

  auto own = store();
  own.setString("LumoraBeaconSDK.Email", "a@example.com");
  own.setString("LumoraBeaconSDK.PhoneNumber", "+15550100");
  EXPECT_EQ(own.stringForKey("LumoraBeaconSDK.Email"), "a@example.com") << "kept in memory";
  EXPECT_EQ(own.stringForKey(kUuidKey), kIdentifier) << "the file is still read";
  EXPECT_EQ(contents().find("a@example.com"), std::string::npos) << "nothing written unlocked";
  EXPECT_EQ(errorLines(), 1u) << "one report for the whole contention";

  close(other);
  EXPECT_EQ(own.stringForKey(kUuidKey), kIdentifier);
  EXPECT_EQ(store().stringForKey("LumoraBeaconSDK.Email"), "a@example.com") << "written later";
  EXPECT_EQ(store().stringForKey("LumoraBeaconSDK.PhoneNumber"), "+15550100");
}

TEST_F(PlistUserDefaultsTest, WhenNothingCanBeWrittenValuesStayStableInMemory) {
  fs::create_directories(file.parent_path());
  ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
  platform::PlistUserDefaults own(file);
  EXPECT_EQ(own.stringForKey(kUuidKey), std::nullopt);
  own.setString(kUuidKey, kIdentifier);
  EXPECT_EQ(own.stringForKey(kUuidKey), kIdentifier);
  own.setString("LumoraBeaconSDK.Email", "a@example.com");
  own.removeObject("LumoraBeaconSDK.Email");
  EXPECT_EQ(own.stringForKey("LumoraBeaconSDK.Email"), std::nullopt);
  const auto records = platform->log->records();
  ASSERT_EQ(records.size(), 1u) << "a problem is reported once";
  EXPECT_NE(records[0].message.find("not a regular file"), std::string::npos) << records[0].message;
}

}  // namespace
}  // namespace lumora
