#include <gtest/gtest.h>

#include <string>

#include "tests/unit/collector/made_up_device.h"

namespace tarnwick {
namespace {

constexpr const char* kTemp = "/sys/class/power_supply/battery/temp";

class BatterySource : public MadeUpDevice {
 protected:
  static std::string batteryLine(const std::string& report) {
    return section(report, "body_temp=", "uptime=");
  }
};

TEST_F(BatterySource, temperatureIsZeroAtFirst) {
  EXPECT_EQ(collector_.batteryTemp, 0);
}

TEST_F(BatterySource, temperatureIsRead) {
  set(kTemp, "312\n");
  collector_.readBatteryTemp();
  EXPECT_EQ(collector_.batteryTemp, 312);
}

TEST_F(BatterySource, missingFileIsNotReported) {
  collector_.readBatteryTemp();
  EXPECT_TRUE(logRecords().empty());
}

TEST_F(BatterySource, fileOf512DigitsIsReadNoFurtherThanItsBuffer) {
  set(kTemp, std::string(511, ' ') + "78");
  collector_.readBatteryTemp();
  EXPECT_EQ(collector_.batteryTemp, 7);
}

TEST_F(BatterySource, lineHasTheTemperatureAsItIsRead) {
  set(kTemp, "312\n");
  EXPECT_EQ(batteryLine(measure()), "body_temp=312\n");
}

TEST_F(BatterySource, lineHasANegativeTemperature) {
  set(kTemp, "-50\n");
  EXPECT_EQ(batteryLine(measure()), "body_temp=-50\n");
}

TEST_F(BatterySource, lineIsPrintedWithoutATemperature) {
  EXPECT_EQ(batteryLine(measure()), "body_temp=0\n");
}

TEST_F(BatterySource, temperatureIsThatOfTheAfterSnapshot) {
  set(kTemp, "312\n");
  collector_.beginSample();
  set(kTemp, "318\n");
  EXPECT_EQ(batteryLine(endMeasurement()), "body_temp=318\n");
}

TEST_F(BatterySource, temperatureThatCannotBeReadIsThatOfTheReportBefore) {
  set(kTemp, "312\n");
  measure();
  remove(kTemp);
  EXPECT_EQ(batteryLine(measure()), "body_temp=312\n");
}

TEST_F(BatterySource, temperatureOutlivesItsMeasurement) {
  set(kTemp, "312\n");
  measure();
  EXPECT_EQ(collector_.batteryTemp, 312);
}

}  // namespace
}  // namespace tarnwick
