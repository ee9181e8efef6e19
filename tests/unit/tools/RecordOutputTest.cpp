#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "scenario/JsonLinesRecordWriter.hpp"
#include "scenario/RecordSink.hpp"
#include "scenario/TimelinePrinter.hpp"

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

TEST(TimelinePrinterTest, VerbosePrintsOneAlignedLinePerRecord) {
  std::ostringstream out;
  TimelinePrinter printer(out, TimelinePrinter::Detail::everything);
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

LogLineRecord debugLine(double t, const std::string& message) {
  platform::LogRecord line;
  line.level = 0;
  line.message = message;
  line.text = "[DEBUG] - " + message;
  return {t, line};
}

TEST(TimelinePrinterTest, StoryShowsGateChangesSightingsAndProblemsThenASummary) {
  std::ostringstream out;
  TimelinePrinter printer(out);
  const std::vector<SimRecord> records = {
      debugLine(0, "Exited iBeacon region: store"),  // the initial state: no change
      debugLine(5, "Entered iBeacon region: store"),
      debugLine(6, "Processing beacon data: companyId=1, spaceId=a, bindingId=2"),
      debugLine(6.5, "Skipping duplicate beacon data: companyId=1, spaceId=a, bindingId=2"),
      debugLine(6.5, "Entered iBeacon region: store"),
      CallbackRecord{7, "onCreativeReceived", kCreative, std::nullopt},
      CallbackRecord{8, "onError", std::nullopt,
                     LumoraAdBeaconError(LumoraAdBeaconErrorType::frequencyCapExceeded)},
      CallbackRecord{9, "onError", std::nullopt,
                     LumoraAdBeaconError(LumoraAdBeaconErrorType::unknown, "Failed to send event")},
      LogLineRecord{9, logLine()},
      debugLine(9, "Failed to send event: timeout"),
      debugLine(20, "Exited iBeacon region: store"),
  };
  for (const SimRecord& record : records) printer.write(record);
  printer.note(ActionNote{10, "tapNotification index=0"});
  printer.note(ServerNote{10, "POST /e/device_events  click -> 200"});
  printer.finish(ServerTally{{{"click", 1}, {"request", 2}}, 1});
  const std::string expected =
      "     5.000s  gate          Entered iBeacon region: store\n"
      "     6.000s  beacon        Processing beacon data: companyId=1, spaceId=a, bindingId=2\n"
      "     7.000s  callback      onCreativeReceived creativeId=345 bindingId=1234 campaignId=12 "
      "spaceId=\"0a1b2c3d4e5f6071\" data=\"{\\\"offer\\\":\\\"A\\\"}\"\n"
      "     8.000s  callback      onError code=11 message=\"Frequency cap exceeded. This beacon "
      "has "
      "been processed too many times within the specified interval.\"\n"
      "     9.000s  callback      onError code=12 message=\"Failed to send event\"\n"
      "     9.000s  warning       Bluetooth is off\n"
      "    20.000s  gate          Exited iBeacon region: store\n"
      "    10.000s  action        tapNotification index=0\n"
      "    10.000s  server        POST /e/device_events  click -> 200\n"
      "  summary\n"
      "    creatives delivered  1 (0 notifications, 0 tapped)\n"
      "    suppressed           1: frequency cap 1\n"
      "    errors by code       11 frequencyCapExceeded: 1, 12 unknown: 1\n"
      "    events               3 accepted by the server (click 1, request 2), 1 rejected, 1 "
      "failed to send\n"
      "    log                  1 warnings, 0 errors\n"
      "  (4 debug and info log lines not shown: --verbose shows them)\n";
  EXPECT_EQ(out.str(), expected);
}

}  // namespace
}  // namespace lumora::tools
