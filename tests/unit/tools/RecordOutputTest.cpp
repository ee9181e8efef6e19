#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "scenario/JsonLinesRecordWriter.hpp"
#include "scenario/RecordSink.hpp"
#include "scenario/TimelinePrinter.hpp"

namespace lumora::tools {
namespace {

LogLineRecord warningLine() {
  platform::LogRecord line;
  line.level = 2;
  line.levelName = "WARNING";
  line.file = "BeaconManager";
  line.line = 88;
  line.function = "startScanning(completion:)";
  line.message = "Bluetooth is off";
  line.text = "[WARNING] [BeaconManager:88 startScanning(completion:)] - Bluetooth is off";
  return {14, line};
}

// Each kind of record as its JSON line (time and kind first) and as its verbose timeline line.
TEST(RecordOutputTest, EachRecordIsOneJsonLineAndOneAlignedTimelineLine) {
  const struct {
    SimRecord record;
    std::string json, timeline;
  } cases[] = {
      {CallbackRecord{0.25, "onInitialized", std::nullopt, std::nullopt},
       R"({"t":0.25,"kind":"callback","name":"onInitialized"})",
       "     0.250s  callback      onInitialized"},
      {CallbackRecord{
           12, "onCreativeReceived",
           LumoraAdCreative(std::string("{\"offer\":\"A\"}"), 345, 1234, 12, "0a1b2c3d4e5f6071"),
           std::nullopt},
       R"({"t":12.0,"kind":"callback","name":"onCreativeReceived","creative":{"data":"{\"offer\":\"A\"}","creativeId":345,"bindingId":1234,"campaignId":12,"spaceId":"0a1b2c3d4e5f6071"}})",
       "    12.000s  callback      onCreativeReceived creativeId=345 bindingId=1234 campaignId=12 "
       "spaceId=\"0a1b2c3d4e5f6071\" data=\"{\\\"offer\\\":\\\"A\\\"}\""},
      {CallbackRecord{12.5, "onError", std::nullopt,
                      LumoraAdBeaconError(LumoraAdBeaconErrorType::notFoundCreative,
                                          "Creative data not found.")},
       R"({"t":12.5,"kind":"callback","name":"onError","code":6,"message":"Creative data not found."})",
       "    12.500s  callback      onError code=6 message=\"Creative data not found.\""},
      {NotificationRecord{13,
                          "com.lumora.beacon.notification.345",
                          "Title",
                          "Body",
                          {{"creativeId", std::int64_t{345}}, {"spaceId", std::string("0a1b")}},
                          1},
       R"({"t":13.0,"kind":"notification","identifier":"com.lumora.beacon.notification.345","title":"Title","body":"Body","userInfo":{"creativeId":345,"spaceId":"0a1b"},"delay":1.0})",
       "    13.000s  notification  identifier=com.lumora.beacon.notification.345 title=\"Title\" "
       "body=\"Body\" delay=1.0 userInfo={\"creativeId\":345,\"spaceId\":\"0a1b\"}"},
      {warningLine(),
       R"j({"t":14.0,"kind":"log","level":"warning","file":"BeaconManager","function":"startScanning(completion:)","message":"Bluetooth is off","text":"[WARNING] [BeaconManager:88 startScanning(completion:)] - Bluetooth is off"})j",
       "    14.000s  log           [WARNING] [BeaconManager:88 startScanning(completion:)] - "
       "Bluetooth is off"},
      {ScanRecord{15, true, {"6E4A0001-8C2B-4F3D-9A57-1B0C3D2E4F60"}, false},
       R"({"t":15.0,"kind":"scan","action":"start","services":["6E4A0001-8C2B-4F3D-9A57-1B0C3D2E4F60"],"allowDuplicates":false})",
       "    15.000s  scan          start services=[\"6E4A0001-8C2B-4F3D-9A57-1B0C3D2E4F60\"] "
       "allowDuplicates=false"},
      {StateRecord{17, true}, R"({"t":17.0,"kind":"state","isScanning":true})",
       "    17.000s  state         isScanning=true"},
      {DefaultsRecord{120, {{"LumoraBeaconSDK.UUID", "5B0E"}, {"LumoraBeaconSDK.Email", "a@b"}}},
       R"({"t":120.0,"kind":"defaults","store":{"LumoraBeaconSDK.Email":"a@b","LumoraBeaconSDK.UUID":"5B0E"}})",
       "   120.000s  defaults      LumoraBeaconSDK.Email=\"a@b\" LumoraBeaconSDK.UUID=\"5B0E\""},
  };
  for (const auto& c : cases) {
    std::ostringstream jsonLines, timeline;
    JsonLinesRecordWriter(jsonLines).write(c.record);
    TimelinePrinter(timeline, TimelinePrinter::Detail::everything).write(c.record);
    EXPECT_EQ(jsonLines.str(), c.json + "\n");
    EXPECT_EQ(timeline.str(), c.timeline + "\n");
  }
}

}  // namespace
}  // namespace lumora::tools
