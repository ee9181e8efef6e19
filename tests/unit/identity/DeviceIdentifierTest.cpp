#include "core/identity/DeviceIdentifier.hpp"

#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <fstream>

#include "platform/linux/LinuxDeviceInfo.hpp"
#include "platform/sim/SimDeviceInfo.hpp"
#include "support/SimWorld.hpp"

namespace lumora {
namespace {

using namespace std::string_literals;

class DeviceIdentifierTest : public testing::SimWorld {
 protected:
  const std::shared_ptr<platform::SimDeviceInfo> device = phone.device;
};

// The model is the machine field without its zero bytes (the walk does not
// stop at one), high-bit bytes read as Latin-1 and written as UTF-8.
TEST_F(DeviceIdentifierTest, ModelIsTheMachineFieldWithoutItsZeroBytes) {
  device->setMachine("iPhone14,2");
  EXPECT_EQ(device->machineField().size(), platform::SimDeviceInfo::kMachineFieldSize);
  EXPECT_EQ(DeviceIdentifier::getDeviceModel(), "iPhone14,2");
  for (const auto& [field, model] :
       {std::pair{""s, ""s}, std::pair{"x8\0\0"s + "6_\0"s + "64\0"s, "x86_64"s},
        std::pair{"A\xE9\xFF\x80"s + "B\0"s, "A\xC3\xA9\xC3\xBF\xC2\x80"s + "B"s}}) {
    device->setMachineField(field);
    EXPECT_EQ(DeviceIdentifier::getDeviceModel(), model);
  }
  platform->device = nullptr;
  EXPECT_EQ(DeviceIdentifier::getDeviceModel(), "");
}

TEST(LinuxDeviceInfoTest, OsReleaseValuesAreUnquotedAndUnescapedAndUnameFillsTheGaps) {
  const auto fields = platform::LinuxDeviceInfo::parseOsRelease(
      "# comment\n"
      "NAME=\"Debian GNU/Linux\"\n"
      "VERSION_ID='12'\n"
      "  ID=debian  \r\n"
      "PRETTY_NAME=\"Say \\\"hi\\\" \\\\ \\$HOME\"\n"
      "BROKEN=\"unterminated\n"
      "\n"
      "EMPTY=");
  const std::map<std::string, std::string> expected{{"NAME", "Debian GNU/Linux"},
                                                    {"VERSION_ID", "12"},
                                                    {"ID", "debian"},
                                                    {"PRETTY_NAME", "Say \"hi\" \\ $HOME"},
                                                    {"EMPTY", ""}};
  EXPECT_EQ(fields, expected);

  utsname record{};
  ASSERT_EQ(uname(&record), 0);
  const auto file = std::filesystem::path(::testing::TempDir()) / "identity-os-release";

  std::ofstream(file) << "NAME=Arch\nVERSION_ID=\n";  // rolling releases have no version
  const platform::LinuxDeviceInfo arch(file);
  EXPECT_EQ(arch.systemName(), "Arch");
  EXPECT_EQ(arch.systemVersion(), record.release);

  const platform::LinuxDeviceInfo missing(file.string() + ".absent");
  EXPECT_EQ(missing.systemName(), record.sysname);

  const std::string field = missing.machineField();
  EXPECT_EQ(field.size(), sizeof record.machine);
  EXPECT_EQ(DeviceIdentifier::modelFromMachineField(field), record.machine);
  std::filesystem::remove(file);
}

}  // namespace
}  // namespace lumora
