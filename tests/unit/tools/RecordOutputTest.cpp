#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "sim/JsonLinesRecordWriter.hpp"
#include "sim/TimelinePrinter.hpp"

namespace lumora::tools {
namespace {

using nlohmann::json;

const LumoraAdCreative kCreative(std::string("{\"offer\":\"A\"}"), 345, 1234, 12,
                                 "0a1b2c3d4e5f6071");

platform::LogRecord logLine() {
  platform::LogRecord line;
  line.level = 2;
  line.levelName = "WARNING";
  line.file = "BeaconManager";
  line.line = 88;
  line.function = "startScanning(completion:)";
  line.message = "Bluetooth is off";
  line.text =
      "2023-11-14 22:13:20 [WARNING] [BeaconManager:88 startScanning(completion:)] - "
      "Bluetooth is off";
  return line;
}

/// Every kind of record, in the order the table of kinds lists them.
std::vector<SimRecord> allRecords() {
  return {
      CallbackRecord{0.25, "onInitialized", std::nullopt, std::nullopt},
      CallbackRecord{12, "onCreativeReceived", kCreative, std::nullopt},
      CallbackRecord{12.5, "onError", std::nullopt,
                     LumoraAdBeaconError(LumoraAdBeaconErrorType::notFoundCreative,
                                         "Creative data not found.")},
      NotificationRecord{13,
                         "com.lumora.beacon.notification.345",
                         "Title",
                         "Body",
                         {{"creativeId", std::int64_t{345}}, {"spaceId", std::string("0a1b")}},
                         1},
      LogLineRecord{14, logLine()},
      ScanRecord{15, true, {"6E4A0001-8C2B-4F3D-9A57-1B0C3D2E4F60"}, false},
      ScanRecord{16, false, {}, false},
      StateRecord{17, true},
      DefaultsRecord{120, {{"LumoraBeaconSDK.UUID", "5B0E"}, {"LumoraBeaconSDK.Email", "a@b"}}},
  };
}

std::vector<json> writtenLines() {
  std::ostringstream out;
  JsonLinesRecordWriter writer(out);
  for (const SimRecord& record : allRecords()) {
    writer.write(record);
  }
  std::vector<json> lines;
  std::istringstream in(out.str());
  for (std::string line; std::getline(in, line);) {
    lines.push_back(json::parse(line));
  }
  return lines;
}

TEST(JsonLinesRecordWriterTest, WritesOneObjectPerLineWithTheDocumentedKeys) {
  const std::vector<json> lines = writtenLines();
  ASSERT_EQ(lines.size(), 9u);

  EXPECT_EQ(lines[0], json::parse(R"({"t":0.25,"kind":"callback","name":"onInitialized"})"));
  EXPECT_EQ(lines[1], json::parse(R"({"t":12.0,"kind":"callback","name":"onCreativeReceived",
      "creative":{"data":"{\"offer\":\"A\"}","creativeId":345,"bindingId":1234,
                  "campaignId":12,"spaceId":"0a1b2c3d4e5f6071"}})"));
  EXPECT_EQ(lines[2], json::parse(R"({"t":12.5,"kind":"callback","name":"onError","code":6,
      "message":"Creative data not found."})"));
  EXPECT_EQ(lines[3], json::parse(R"({"t":13.0,"kind":"notification",
      "identifier":"com.lumora.beacon.notification.345","title":"Title","body":"Body",
      "userInfo":{"creativeId":345,"spaceId":"0a1b"},"delay":1.0})"));
  EXPECT_EQ(lines[4], json::parse(R"j({"t":14.0,"kind":"log","level":"warning",
      "file":"BeaconManager","function":"startScanning(completion:)",
      "message":"Bluetooth is off","text":"2023-11-14 22:13:20 [WARNING] [BeaconManager:88 startScanning(completion:)] - Bluetooth is off"})j"));
  EXPECT_EQ(lines[5], json::parse(R"({"t":15.0,"kind":"scan","action":"start",
      "services":["6E4A0001-8C2B-4F3D-9A57-1B0C3D2E4F60"],"allowDuplicates":false})"));
  EXPECT_EQ(lines[6], json::parse(R"({"t":16.0,"kind":"scan","action":"stop"})"));
  EXPECT_EQ(lines[7], json::parse(R"({"t":17.0,"kind":"state","isScanning":true})"));
  EXPECT_EQ(lines[8], json::parse(R"({"t":120.0,"kind":"defaults",
      "store":{"LumoraBeaconSDK.Email":"a@b","LumoraBeaconSDK.UUID":"5B0E"}})"));
}

TEST(JsonLinesRecordWriterTest, AbsentCreativeDataIsNullAndTimeAndKindComeFirst) {
  std::ostringstream out;
  JsonLinesRecordWriter writer(out);
  writer.write(CallbackRecord{3, "onNotificationClicked",
                              LumoraAdCreative(std::nullopt, 1, 2, 3, "s"), std::nullopt});
  const std::string line = out.str();
  EXPECT_EQ(line.rfind(R"({"t":3.0,"kind":"callback",)", 0), 0u) << line;
  EXPECT_EQ(line.back(), '\n');
  EXPECT_TRUE(json::parse(line)["creative"]["data"].is_null());
}

TEST(TimelinePrinterTest, PrintsOneAlignedLinePerRecord) {
  std::ostringstream out;
  TimelinePrinter printer(out);
  for (const SimRecord& record : allRecords()) {
    printer.write(record);
  }
  const std::string expected =
      "     0.250s  callback      onInitialized\n"
      "    12.000s  callback      onCreativeReceived creativeId=345 bindingId=1234 campaignId=12 "
      "spaceId=\"0a1b2c3d4e5f6071\" data=\"{\\\"offer\\\":\\\"A\\\"}\"\n"
      "    12.500s  callback      onError code=6 message=\"Creative data not found.\"\n"
      "    13.000s  notification  identifier=com.lumora.beacon.notification.345 title=\"Title\" "
      "body=\"Body\" delay=1.0 userInfo={\"creativeId\":345,\"spaceId\":\"0a1b\"}\n"
      "    14.000s  log           2023-11-14 22:13:20 [WARNING] [BeaconManager:88 "
      "startScanning(completion:)] - Bluetooth is off\n"
      "    15.000s  scan          start services=[\"6E4A0001-8C2B-4F3D-9A57-1B0C3D2E4F60\"] "
      "allowDuplicates=false\n"
      "    16.000s  scan          stop\n"
      "    17.000s  state         isScanning=true\n"
      "   120.000s  defaults      LumoraBeaconSDK.Email=\"a@b\" LumoraBeaconSDK.UUID=\"5B0E\"\n";
  EXPECT_EQ(out.str(), expected);
  EXPECT_EQ(TimelinePrinter::line(DefaultsRecord{1, {}}), "     1.000s  defaults      (empty)");
}

}  // namespace
}  // namespace lumora::tools
