#include <gtest/gtest.h>

#include <string>

#include "tests/unit/collector/made_up_device.h"

namespace tarnwick {
namespace {

constexpr const char* kNetDev = "/proc/net/dev";
const std::string kHead = "Inter-|   Receive\n face |bytes    packets\n";

class NetworkSource : public MadeUpDevice {
 protected:
  NetDevMap netDevOf(const std::string& text) {
    set(kNetDev, text);
    NetDevMap map;
    collector_.readNetDev(map);
    return map;
  }

  // One interface that has received so many packets.
  static void setPackets(int packets) {
    set(kNetDev, kHead + "    lo: 0 " + std::to_string(packets) + " 0 0 0 0 0 0 0 0\n");
  }

  static std::string networkSection(const std::string& report) {
    const std::string tail = section(report, "body_temp=", "uptime=");
    return tail.substr(tail.find('\n') + 1);
  }
};

TEST_F(NetworkSource, netDevIsReadIntoTheMap) {
  EXPECT_EQ(netDevOf(kHead + "    lo: 0 7 0 0 0 0 0 0 0 0\n").at("    lo")->rx_packets, 7);
}

TEST_F(NetworkSource, missingNetDevLeavesTheMapAsItIs) {
  NetDevMap map = netDevOf(kHead + "    lo: 0 7 0 0 0 0 0 0 0 0\n");
  remove(kNetDev);
  collector_.readNetDev(map);
  EXPECT_EQ(map.at("    lo")->rx_packets, 7);
}

TEST_F(NetworkSource, missingNetDevIsNotReported) {
  NetDevMap map;
  collector_.readNetDev(map);
  EXPECT_TRUE(logRecords().empty());
}

TEST_F(NetworkSource, numberAtTheEndOf4096BytesIsCut) {
  const std::string filler(4096 - kHead.size() - 24, 'f');
  EXPECT_EQ(netDevOf(kHead + filler + "\na: 0 5 0 0 0 0 0 0 0 678\n").at("a")->tx_packets, 67);
}

TEST_F(NetworkSource, reportOfARealInterval) {
  madeUpFiles().texts = filesOfFixture("linux-6.12-arm64/t0");
  collector_.beginSample();
  madeUpFiles().texts = filesOfFixture("linux-6.12-arm64/t1");
  EXPECT_EQ(networkSection(endMeasurement()),
            "    lo: rx_kb=0      rx_packets=4      tx_kb=0      tx_packets=4     \n"
            " wlan0: rx_kb=0      rx_packets=0      tx_kb=0      tx_packets=1     \n");
}

TEST_F(NetworkSource, reportWithoutTheFileIsEmpty) {
  EXPECT_EQ(networkSection(measure()), "");
}

TEST_F(NetworkSource, threeMeasurementsInARowMeetEndToEnd) {
  setPackets(1);
  std::string figures;
  for (const int packets : {2, 12, 112}) {
    collector_.beginSample();
    setPackets(packets);
    figures += section(endMeasurement(), "rx_packets=", " tx_kb=");
  }
  EXPECT_EQ(figures, "rx_packets=1     rx_packets=10    rx_packets=100   ");
}

TEST_F(NetworkSource, interfaceThatComesUpIsPrintedFromItsSecondMeasurementOn) {
  std::string figures;
  for (const int packets : {5, 12}) {
    collector_.beginSample();
    setPackets(packets);
    figures += networkSection(endMeasurement());
  }
  EXPECT_EQ(figures, "    lo: rx_kb=0      rx_packets=7      tx_kb=0      tx_packets=0     \n");
}

}  // namespace
}  // namespace tarnwick
