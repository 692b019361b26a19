#include <host/tool/machine/DiskTraffic.hpp>
#include <host/tool/machine/LoadAverage.hpp>
#include <host/tool/machine/MemoryUse.hpp>
#include <host/tool/machine/NetworkTraffic.hpp>
#include <host/tool/machine/ProcessorTime.hpp>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace vexa::host {
namespace {

TEST(LoadAverage, IsReadFromItsFirstThreeFields)
{
    const auto load = readLoadAverage("0.39 0.56 1.34 3/100 7647\n");

    ASSERT_TRUE(load);
    EXPECT_EQ(load->one, 0.39);
    EXPECT_EQ(load->five, 0.56);
    EXPECT_EQ(load->fifteen, 1.34);
}

TEST(LoadAverage, IsAbsentFromOtherTexts)
{
    for (const char* text : {"", "\n", "0.39", "0.39 0.56", "0.39 0.56\n1.34", "0.39 x 1.34", "0.39 0.56 1.34x"}) {
        EXPECT_FALSE(readLoadAverage(text)) << text;
    }
}

constexpr const char* statOfTwoCores = R"(cpu  37465 0 8724 286565 539 0 67 59 0 0
cpu0 17486 5 4272 144799 90 3 12 29 100 7
cpu1 19978 0 4451 141765 449 0 55 29 0 0
intr 316831 0 0 0 33 134 0
ctxt 462922
btime 1795252080
processes 7648
procs_running 3
softirq 86374 0 12031 1 6 0
)";

TEST(ProcessorTime, IsReadForEachCore)
{
    const auto times = readProcessorTimes(statOfTwoCores);

    ASSERT_EQ(times.size(), 2U);
    EXPECT_EQ(times[0].core, 0);
    EXPECT_EQ(times[0].busy, 17486U + 5 + 4272 + 3 + 12 + 29);
    EXPECT_EQ(times[0].total, times[0].busy + 144799 + 90);
    EXPECT_EQ(times[1].core, 1);
    EXPECT_EQ(times[1].busy, 19978U + 4451 + 55 + 29);
}

TEST(ProcessorTime, IsReadFromOldKernelsWithFewerFields)
{
    const auto times = readProcessorTimes("cpu  10 20 30 40\ncpu0 1 2 3 4\n");

    ASSERT_EQ(times.size(), 1U);
    EXPECT_EQ(times[0].busy, 6U);
    EXPECT_EQ(times[0].total, 10U);
}

TEST(ProcessorTime, PassesOverLinesOfAnotherForm)
{
    EXPECT_TRUE(readProcessorTimes("").empty());
    EXPECT_TRUE(readProcessorTimes("cpu0 1 2 3\ncpu1 1 2 3 x\ncpux 1 2 3 4\ncpu 1 2 3 4\nintr 1 2 3 4").empty());
    EXPECT_EQ(readProcessorTimes("cpu0 1 2 -3 4\ncpu7 1 2 3 4").size(), 1U) << "without an end of line";
    EXPECT_TRUE(readProcessorTimes("cpu0 99999999999999999999999 2 3 4\n").empty());
}

TEST(MemoryUse, IsWhatTheKernelSaysIsAvailable)
{
    const auto memory = readMemoryUse(R"(MemTotal:       24684084 kB
MemFree:        22837304 kB
MemAvailable:   24104364 kB
Buffers:            4368 kB
Cached:          1430460 kB
HugePages_Total:       0
)");

    ASSERT_TRUE(memory);
    EXPECT_EQ(memory->total, std::uint64_t{24684084} * 1024);
    EXPECT_EQ(memory->available, std::uint64_t{24104364} * 1024);
}

TEST(MemoryUse, IsEstimatedOnKernelsThatDoNotSay)
{
    const auto memory = readMemoryUse("MemTotal: 1000 kB\nMemFree: 100 kB\nBuffers: 20 kB\nCached: 3 kB\n");

    ASSERT_TRUE(memory);
    EXPECT_EQ(memory->available, 123U * 1024);
}

TEST(MemoryUse, IsNeverMoreThanThereIs)
{
    const auto memory = readMemoryUse("MemTotal: 1000 kB\nMemAvailable: 2000 kB\n");

    ASSERT_TRUE(memory);
    EXPECT_EQ(memory->available, memory->total);
}

TEST(MemoryUse, IsAbsentFromOtherTexts)
{
    for (const char* text : {"", "MemTotal: 1000 kB\n", "MemAvailable: 1000 kB\n", "MemTotal: 0 kB\nMemFree: 0 kB\n",
                             "MemTotal: x kB\nMemFree: 1 kB\n", "MemTotal: 1000\nMemFree: 1\n"}) {
        EXPECT_FALSE(readMemoryUse(text)) << text;
    }
}

constexpr const char* networkOfFourInterfaces =
    R"(Inter-|   Receive                                                |  Transmit
 face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets errs drop fifo colls carrier compressed
    lo:    3267      29    0    0    0     0          0         0     3267      29    0    0    0     0       0          0
  eth0:38850896    1095    0    0    0     0          0         0    54974     707    0    0    0     0       0          0
eth0:1:     5       1    0    0    0     0          0         0        6       1    0    0    0     0       0          0
 wlan0: 0 0 0 0 0 0 0 0
)";

TEST(NetworkTraffic, IsReadForEachInterface)
{
    const auto interfaces = readNetworkTraffic(networkOfFourInterfaces);

    ASSERT_EQ(interfaces.size(), 3U) << "the last line is too short";
    EXPECT_EQ(interfaces[0].interface, "lo");
    EXPECT_EQ(interfaces[0].received, 3267U);
    EXPECT_EQ(interfaces[0].sent, 3267U);
    EXPECT_EQ(interfaces[1].interface, "eth0");
    EXPECT_EQ(interfaces[1].received, 38850896U);
    EXPECT_EQ(interfaces[1].sent, 54974U);
    EXPECT_EQ(interfaces[2].interface, "eth0:1");
    EXPECT_EQ(interfaces[2].sent, 6U);
}

TEST(NetworkTraffic, IsAbsentFromOtherTexts)
{
    EXPECT_TRUE(readNetworkTraffic("").empty());
    EXPECT_TRUE(readNetworkTraffic("eth0 1 2 3 4 5 6 7 8 9\n: 1 2 3 4 5 6 7 8 9\neth0: a 2 3 4 5 6 7 8 9").empty());
}

constexpr const char* disksOfOneMachine = R"(   7       0 loop0 12 0 24 0 0 0 0 0 0 0 0
   1       0 ram0 5 0 40 0 0 0 0 0 0 0 0
   8       0 sda 100 2 2000 30 50 6 700 8 0 9 10
   8       1 sda1 90 2 1800 30 50 6 700 8 0 9 10
   8      16 sdaa 1 0 8 0 0 0 0 0 0 0 0
 259       0 nvme0n1 10 0 16 0 0 0 0 0 0 0 0 0 0 0 0
 259       1 nvme0n1p1 10 0 16 0 0 0 0 0 0 0 0 0 0 0 0
 259       2 nvme0n12 3 0 4 0 0 0 0 0 0 0 0
 253       0 zram0 1 0 8 0 0 0 0 0 0 0 0
 254       0 vdb 0 0 0 0 0 0 0 0 0 0 0
  11       0 sr0 7
)";

TEST(DiskTraffic, IsReadForUsedDisksWithoutTheirPartitions)
{
    const auto disks = readDiskTraffic(disksOfOneMachine);

    std::vector<std::string> names;
    for (const DiskTraffic& disk : disks) {
        names.push_back(disk.device);
    }
    ASSERT_EQ(names, (std::vector<std::string>{"sda", "sdaa", "nvme0n1", "nvme0n12"}));
    EXPECT_EQ(disks[0].read, 2000U * 512);
    EXPECT_EQ(disks[0].written, 700U * 512);
}

TEST(DiskTraffic, KeepsAPartitionWhoseDiskIsNotThere)
{
    const auto disks = readDiskTraffic("   8       1 sda1 90 2 1800 30 50 6 700 8 0 9 10\n");

    ASSERT_EQ(disks.size(), 1U);
    EXPECT_EQ(disks[0].device, "sda1");
}

TEST(DiskTraffic, IsAbsentFromOtherTexts)
{
    EXPECT_TRUE(readDiskTraffic("").empty());
    EXPECT_TRUE(readDiskTraffic("8 0 sda 1 2 x 4 5 6 7 8\n8 0 sda 1 2 3\n").empty());
}

} // namespace
} // namespace vexa::host
