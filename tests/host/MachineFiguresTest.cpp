#include <host/tool/machine/Growth.hpp>
#include <host/tool/machine/MachineFigures.hpp>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include <unistd.h>

namespace vexa::host {
namespace {

TEST(Growth, IsMeasuredOverTheLastStretch)
{
    Growth growth{1.0};

    EXPECT_EQ(growth.perSecond(10.0, 100), 0);
    EXPECT_EQ(growth.perSecond(10.5, 110), 20);
    EXPECT_EQ(growth.perSecond(11.0, 130), 30);
    EXPECT_EQ(growth.perSecond(11.5, 130), 20) << "since 10.5";
    EXPECT_EQ(growth.perSecond(15.0, 165), 10) << "since 11.5, the only earlier reading left";
}

TEST(Growth, BeginsAnewWhenTheCounterFalls)
{
    Growth growth{1.0};
    EXPECT_EQ(growth.perSecond(10.0, 100), 0);

    EXPECT_EQ(growth.perSecond(10.5, 4), 0);
    EXPECT_EQ(growth.perSecond(11.0, 8), 8);
}

TEST(Growth, IsNoneWithinOneMoment)
{
    Growth growth{1.0};
    EXPECT_EQ(growth.perSecond(10.0, 100), 0);
    EXPECT_EQ(growth.perSecond(10.0, 200), 0);
}

/// A folder with files of the kernel's form.
class KernelFolder {
public:
    KernelFolder() : path{std::filesystem::path{::testing::TempDir()} / ("kernel-" + std::to_string(::getpid()))}
    {
        std::filesystem::create_directories(path / "net");
    }
    ~KernelFolder() { std::filesystem::remove_all(path); }
    KernelFolder(const KernelFolder&) = delete;
    KernelFolder& operator=(const KernelFolder&) = delete;

    void write(std::string_view name, std::string_view text) const { std::ofstream{path / name} << text; }

    const std::filesystem::path path;
};

/// The figures of one topic.
std::vector<Figure> ofTopic(const std::vector<Figure>& figures, std::string_view topic)
{
    std::vector<Figure> chosen;
    for (const Figure& figure : figures) {
        if (figure.topic == topic) {
            chosen.push_back(figure);
        }
    }
    return chosen;
}

Parameters parameter(std::string_view key, Value value)
{
    Dictionary parameters;
    parameters[boost::json::string_view{key.data(), key.size()}] = std::move(value);
    return parameters;
}

TEST(MachineFigures, AreTakenFromTheKernelsFiles)
{
    const KernelFolder folder;
    MachineFigures machine{folder.path};
    folder.write("loadavg", "0.50 1.50 2.50 1/2 3\n");
    folder.write("stat", "cpu 0 0 0 0\ncpu0 100 0 0 100\ncpu1 0 0 0 100\n");
    folder.write("meminfo", "MemTotal: 1000 kB\nMemAvailable: 250 kB\n");
    folder.write("net/dev", " eth0: 1000 0 0 0 0 0 0 0 500 0\n idle0: 0 0 0 0 0 0 0 0 0 0\n");
    folder.write("diskstats", "8 0 sda 1 0 10 0 1 0 20 0 0 0 0\n");
    const auto first = machine.sample(10.0);
    folder.write("stat", "cpu 0 0 0 0\ncpu0 130 0 0 170\ncpu1 0 0 0 200\n");
    folder.write("net/dev", " eth0: 3000 0 0 0 0 0 0 0 600 0\n idle0: 0 0 0 0 0 0 0 0 0 0\n");
    folder.write("diskstats", "8 0 sda 1 0 12 0 1 0 24 0 0 0 0\n");
    const auto second = machine.sample(11.0);

    const auto load = ofTopic(first, "load");
    ASSERT_EQ(load.size(), 3U);
    EXPECT_EQ(load[1].parameters, parameter("minutes", 5));
    EXPECT_EQ(load[1].value, 1.5);

    const auto cores = ofTopic(second, "processor");
    ASSERT_EQ(cores.size(), 2U);
    EXPECT_EQ(cores[0].parameters, parameter("core", 0));
    EXPECT_EQ(cores[0].value, 30.0);
    EXPECT_EQ(cores[1].value, 0.0);
    EXPECT_EQ(ofTopic(first, "processor").at(0).value, 0.0);

    const auto memory = ofTopic(second, "memory");
    ASSERT_EQ(memory.size(), 1U);
    EXPECT_EQ(memory[0].parameters, std::nullopt);
    EXPECT_EQ(memory[0].value, 75.0);
    EXPECT_EQ(memory[0].details, (Dictionary{{"totalBytes", 1024000}, {"availableBytes", 256000}}));

    const auto network = ofTopic(second, "network");
    ASSERT_EQ(network.size(), 1U) << "nothing went through the other interface";
    EXPECT_EQ(network[0].parameters, parameter("interface", "eth0"));
    EXPECT_EQ(network[0].value, 2100.0);
    EXPECT_EQ(network[0].details, (Dictionary{{"receivedPerSecond", 2000.0}, {"sentPerSecond", 100.0}}));

    const auto disks = ofTopic(second, "disk");
    ASSERT_EQ(disks.size(), 1U);
    EXPECT_EQ(disks[0].parameters, parameter("device", "sda"));
    EXPECT_EQ(disks[0].value, 6.0 * 512);
}

TEST(MachineFigures, AreThoseOfTheProcessAloneWithoutAnyFile)
{
    MachineFigures machine{"/nonexistent"};

    const auto figures = machine.sample(10.0);

    ASSERT_EQ(figures.size(), 1U);
    EXPECT_EQ(figures[0].topic, "process");
    EXPECT_EQ(figures[0].parameters, parameter("id", ::getpid()));
    EXPECT_EQ(figures[0].unit, Unit::percent);
}

TEST(MachineFigures, LeaveOutAFileOfAnotherForm)
{
    const KernelFolder folder;
    folder.write("loadavg", "not today");
    folder.write("stat", "cpu0 1 2 3 4\n");
    folder.write("meminfo", "");
    MachineFigures machine{folder.path};

    const auto figures = machine.sample(10.0);

    ASSERT_EQ(figures.size(), 2U);
    EXPECT_EQ(figures[0].topic, "processor");
    EXPECT_EQ(figures[1].topic, "process");
}

} // namespace
} // namespace vexa::host
