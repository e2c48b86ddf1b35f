// What is set through the backend reaches a program, and what a program does is
// seen in the state: a test for every model, named after its header.
#include <fcntl.h>
#include <linux/ethtool.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <linux/rtc.h>
#include <linux/sockios.h>
#include <linux/spi/spidev.h>
#include <mtd/mtd-user.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "board_hal_cpld.h"
#include "tests/virtual_board/backend/client.h"

namespace {

using nlohmann::json;
using virtual_board::OpenFile;
using Bytes = std::vector<uint8_t>;

class BackendFace : public board_test::BackendTest {
protected:
    // A program's open node, closed at the end.
    class Node {
    public:
        Node(virtual_board::Board &board, const std::string &path) : board_(board)
        {
            EXPECT_EQ(board.open(path, O_RDWR, file_), 0) << path;
        }
        ~Node() { board_.close(*file_); }
        Node(const Node &) = delete;
        Node &operator=(const Node &) = delete;

        // What a read of so many bytes answers; the record goes in before.
        Bytes read(Bytes record, size_t count)
        {
            record.resize(std::max<size_t>(300, count));
            const long got = board_.read(*file_, record.data(), count);
            record.resize(got > 0 ? static_cast<size_t>(got) : 0);
            return record;
        }
        long write(const Bytes &record)
        {
            return board_.write(*file_, record.data(), record.size());
        }
        long ioctl(unsigned long request, void *argument)
        {
            return board_.ioctl(*file_, static_cast<uint32_t>(request), argument);
        }

    private:
        virtual_board::Board &board_;
        std::shared_ptr<OpenFile> file_;
    };

    Node fpga() { return Node(board, "/dev/ipmc_fpga"); }
    uint32_t fpga_register(uint16_t address)
    {
        const Bytes word = fpga().read(
            {0x61, static_cast<uint8_t>(address), static_cast<uint8_t>(address >> 8)}, 7);
        return word[0] | uint32_t{word[1]} << 8 | uint32_t{word[2]} << 16 | uint32_t{word[3]} << 24;
    }
    void set_fpga_register(uint16_t address, uint8_t value)
    {
        fpga().write({0x61, static_cast<uint8_t>(address), static_cast<uint8_t>(address >> 8),
                      value, 0, 0, 0});
    }
    // A program's store.
    void store(uint32_t offset, uint8_t new_value)
    {
        const uint8_t before = board.cpld().get(offset);
        board.cpld().set(offset, new_value);
        board.stored(offset, before);
    }
    // A combined transfer on /dev/i2c-0: writes, then reads.
    Bytes i2c(uint16_t address, Bytes written, uint16_t count)
    {
        Bytes answer(count);
        i2c_msg messages[] = {{address, 0, static_cast<uint16_t>(written.size()), written.data()},
                              {address, I2C_M_RD, count, answer.data()}};
        i2c_rdwr_ioctl_data transfer = {messages, count > 0 ? 2U : 1U};
        if (Node(board, "/dev/i2c-0").ioctl(I2C_RDWR, &transfer) < 0) {
            return {};
        }
        return answer;
    }
    // A read through the FPGA's master.
    Bytes fpga_i2c(uint8_t channel, uint8_t address, uint8_t sent, uint8_t wanted)
    {
        return fpga().read(
            {0x21, channel, static_cast<uint8_t>(address << 1), wanted, 1, 0, 0, sent}, 71);
    }
    json ok(const json &request)
    {
        const json answer = ask(request);
        EXPECT_EQ(answer.value("ok", false), true) << answer;
        return answer;
    }
    void set_value(const std::string &name, const json &new_value)
    {
        ok({{"request", "set"}, {"name", name}, {"value", new_value}});
    }
};

TEST_F(BackendFace, adc)
{
    set_value("battery.adc_code", 0x0B34);
    Node adc(board, "/dev/spear_adc0");
    EXPECT_EQ(adc.read({}, 2), (Bytes{0x34, 0x0B}));
    uint32_t settings[] = {1, 0, 2500, 0, 0, 14000000, 0};
    EXPECT_EQ(value("battery.adc_configured"), false);
    EXPECT_EQ(adc.ioctl(0x401C4101, settings), 0);
    EXPECT_EQ(value("battery.adc_configured"), true);
}

TEST_F(BackendFace, bios_switch)
{
    EXPECT_EQ(value("bios_switch.owner"), "host");
    store(CPLD_REG_BIOS_FLASH, CPLD_BIOS_OWNER | CPLD_BIOS_WRITE_PROTECT);
    EXPECT_EQ(value("bios_switch.owner"), "controller");
    EXPECT_EQ(value("bios_switch.write_protected"), true);
}

TEST_F(BackendFace, black_box)
{
    set_fpga_register(292, 3);
    EXPECT_EQ(value("black_box.enabled"), true);
    ok({{"request", "host"}, {"action", "crash"}, {"bytes", "11 22 33 44 55"}});
    EXPECT_EQ(fpga_register(292), 0x13U);
    set_value("black_box.not_ready", 1);
    for (int fetch = 0; fetch < 2; ++fetch) {
        set_fpga_register(416, 1);
        set_fpga_register(416, 0);
        EXPECT_EQ(fpga_register(419), fetch == 0 ? 0U : 1U);
    }
    EXPECT_EQ(fpga_register(421), 0x44332211U);
}

TEST_F(BackendFace, cpld)
{
    set_value("cpld.POWER_STATE.ACPI_S4", 1);
    EXPECT_EQ(board.cpld().get(CPLD_REG_POWER_STATE), CPLD_ACPI_S4);
    store(CPLD_REG_TEST, 0x5A);
    EXPECT_EQ(value("cpld.TEST"), 0x5A);
}

TEST_F(BackendFace, cpld_programmer)
{
    EXPECT_EQ(value("cpld_programmer.loads"), 0);
    Bytes record(1024);
    Node(board, "/dev/ipmc_cpld").ioctl(0x40046B02, record.data());
    EXPECT_EQ(value("cpld_programmer.loads"), 1);
}

TEST_F(BackendFace, cpus)
{
    set_value("cpus.1.lines.thermal_trip", true);
    store(CPLD_REG_CPU1_STATUS, 0);
    EXPECT_EQ(board.cpld().get(CPLD_REG_CPU1_STATUS) & CPLD_CPU_THERMAL_TRIP,
              CPLD_CPU_THERMAL_TRIP);
    set_value("cpus.1.lines.thermal_trip", false);
    EXPECT_EQ(board.cpld().get(CPLD_REG_CPU1_STATUS) & CPLD_CPU_THERMAL_TRIP, 0);
    set_value("cpus.memory_events.0.5", true);
    EXPECT_EQ(board.cpld().get(CPLD_REG_MEMORY_EVENT_HIGH), CPLD_MEMORY_EVENT_SECOND);
    store(CPLD_REG_CPU0_ERROR, CPLD_CPU0_HOT_CONTROL_1);
    EXPECT_EQ(value("cpus.hot_controls"),
              (json{{"0", false}, {"1", true}, {"2", false}, {"3", false}, {"4", false}}));
}

TEST_F(BackendFace, disks)
{
    ok({{"request", "pull"}, {"part", "disk.0"}});
    set_value("disks.1.failed", true);
    EXPECT_EQ(board.cpld().get(CPLD_REG_DISK_STATUS_01), 0x0D);
    set_value("disks.1.flicker_period_us", 1000);
    board.slept(1000);
    EXPECT_EQ(value("disks.1.v"), false);
    set_value("disks.1.flickers_by_load", true);
    board.loaded(CPLD_REG_DISK_STATUS_01);
    EXPECT_EQ(value("disks.1.v"), true);
}

TEST_F(BackendFace, environment_partition)
{
    const std::string start("\1\2\3\4a=1\0b=2\0", 12);
    {
        Node environment(board, "/dev/mtdblock2");
        environment.write({start.begin(), start.end()});
        EXPECT_EQ(value("environment.opens"), 1);
    }
    EXPECT_EQ(value("environment.lines"), (json{"a=1", "b=2"}));
    EXPECT_EQ(value("environment.write_backs"), 1);
}

TEST_F(BackendFace, fpga)
{
    set_value("fpga.version.word", 0x33);
    set_value("fpga.version.result", -5);
    uint32_t word = 0;
    EXPECT_EQ(fpga().ioctl(0x80046B01, &word), -5);
    EXPECT_EQ(word, 0x33U);
    set_value("fpga.registers.9", 0x12345678);
    EXPECT_EQ(fpga_register(9), 0x12345678U);
    fpga().ioctl(0x40046B07, &word);
    EXPECT_EQ(value("fpga.watchdog_kicks"), 1);
    const json before = value("fpga.ram_crc32");
    fpga().write({0x51, 1});
    EXPECT_NE(value("fpga.ram_crc32"), before);
}

TEST_F(BackendFace, fpga_i2c)
{
    set_value("fpga_i2c.1.bus_status", 0x40);
    Bytes record = {0x24, 1};
    Node bus = fpga();
    EXPECT_EQ(bus.read(record, 1), (Bytes{0x40}));
    fpga_i2c(1, 0x11, 0, 1); // nobody there
    EXPECT_EQ(value("fpga_i2c.1.status"), 0x10);
    bus.write({0x23, 1});
    EXPECT_EQ(value("fpga_i2c.1.resets"), 1);
}

TEST_F(BackendFace, gpio)
{
    set_value("gpio.40.level", 1);
    Node(board, "/sys/class/gpio/export").write({'4', '0'});
    EXPECT_EQ(Node(board, "/sys/class/gpio/gpio40/value").read({}, 8), (Bytes{'1', '\n'}));
    Node(board, "/sys/class/gpio/gpio40/direction").write({'o', 'u', 't'});
    EXPECT_EQ(value("gpio.40.direction"), "out");
    Node(board, "/sys/class/gpio/gpio40/value").write({'0'});
    EXPECT_EQ(value("gpio.40"),
              (json{{"exported", true}, {"direction", "out"}, {"level", 0}, {"writes", 1}}));
}

TEST_F(BackendFace, host)
{
    ok({{"request", "host"}, {"action", "on"}});
    EXPECT_EQ(board.cpld().get(CPLD_REG_POWER_STATE) & CPLD_POWER_GOOD, CPLD_POWER_GOOD);
    set_value("host.power_delay_us", 10);
    store(CPLD_REG_POWER_BUTTON, CPLD_POWER_BUTTON_ENABLE | CPLD_POWER_BUTTON_PRESSED);
    store(CPLD_REG_POWER_BUTTON, CPLD_POWER_BUTTON_ENABLE);
    board.slept(10);
    EXPECT_EQ(value("host.powered"), false);
    EXPECT_EQ(value("host.counters.power_offs"), 1);
}

TEST_F(BackendFace, host_interface)
{
    set_value("host.bt.held_status", 0x77);
    EXPECT_EQ(fpga().read({0x72}, 1), (Bytes{0x77}));
    set_value("host.bt.held_status", nullptr);
    EXPECT_EQ(fpga().read({0x72}, 1), (Bytes{4}));
    set_value("host.bt.write_result", 10001);
    EXPECT_EQ(fpga().write({0x71, 1, 0}), 10001);
    set_value("host.bt.write_result", nullptr);
    fpga().write({0x71, 2, 0x1C, 0x01});
    EXPECT_EQ(value("host.bt.last_answer"), "1C 01");
}

TEST_F(BackendFace, i2c_bus)
{
    EXPECT_EQ(
        value("i2c"),
        (json{{"0", {{"0x50", "eeprom.0"}}},
              {"1", {{"0x2A", "peci_bridge"}}},
              {"2", {{"0x20", "raid_expander"}, {"0x48", "inlet_sensor"}, {"0x50", "eeprom.2"}}}}));
    ok({{"request", "pull"}, {"part", "eeprom.2"}});
    EXPECT_EQ(i2c(0x50, {0, 0}, 1), Bytes{});
    ok({{"request", "seat"}, {"part", "eeprom.2"}});
    EXPECT_EQ(i2c(0x50, {0, 0}, 1), Bytes{0xFF});
}

TEST_F(BackendFace, i2c_dev)
{
    ok({{"request", "fault"}, {"action", "add"}, {"text", "i2c-0:ioctl:error=EIO"}});
    EXPECT_EQ(i2c(0x48, {0}, 2), Bytes{});
    EXPECT_EQ(i2c(0x48, {0}, 2), (Bytes{0x19, 0}));
    EXPECT_EQ(value("faults")[0]["hits"], 1);
}

TEST_F(BackendFace, ipmb)
{
    ok({{"request", "host"}, {"action", "ipmb"}, {"channel", 1}, {"bytes", "20 18"}});
    const Bytes received = fpga().read({0x11, 0, 0, 0}, 4);
    EXPECT_EQ(received, (Bytes{1, 2, 0, 0, 0x20, 0x18}));
    EXPECT_EQ(fpga().write({0x11, 1, 1, 0, 9, 0x77}), 6);
    EXPECT_EQ(value("ipmb.1.last_received"), "77");
    EXPECT_EQ(value("ipmb.1.send_wait"), 9);
    set_value("ipmb.1.silent", true);
    EXPECT_EQ(fpga().write({0x11, 1, 1, 0, 9, 0x77}), 10005);
    set_value("ipmb.0.own_address", 0x82);
    EXPECT_EQ(fpga().read({0x13}, 1), Bytes{0x82});
}

TEST_F(BackendFace, leds)
{
    store(CPLD_REG_BOARD_LED_B, CPLD_LED_5);
    EXPECT_EQ(value("leds.5"), false);
    store(CPLD_REG_BOARD_LED_B, 0);
    EXPECT_EQ(value("leds.5"), true);
    EXPECT_EQ(ask({{"request", "set"}, {"name", "leds.5"}, {"value", false}})["error"],
              "leds.5 can only be read");
}

TEST_F(BackendFace, modules)
{
    EXPECT_EQ(value("modules.m25p80"), (json{{"loaded", false}, {"has_file", true}}));
    board.run({"insmod", "/ko/m25p80.ko"}, [] { return -1; });
    EXPECT_EQ(value("modules.m25p80.loaded"), true);
}

TEST_F(BackendFace, mtd_device)
{
    const json before = value("flash.partitions");
    EXPECT_EQ(Node(board, "/dev/mtd3").write({1, 2, 3}), 3);
    const json after = value("flash.partitions");
    EXPECT_EQ(after["mtd3"]["size"], 0x400000);
    EXPECT_EQ(after["mtd3"]["offset"], 0x90000);
    EXPECT_NE(after["mtd3"]["crc32"], before["mtd3"]["crc32"]);
    EXPECT_EQ(after["mtd4"]["crc32"], before["mtd4"]["crc32"]);
}

TEST_F(BackendFace, network_port)
{
    ethtool_value link = {.cmd = ETHTOOL_GLINK, .data = 0};
    set_value("network.link", 7);
    EXPECT_EQ(board.ethtool(&link), 0);
    EXPECT_EQ(link.data, 7U);
    set_value("network.answers_link_query", false);
    EXPECT_EQ(board.ethtool(&link), -EOPNOTSUPP);
}

TEST_F(BackendFace, nor_flash)
{
    erase_info_user block = {0, 0x10000};
    EXPECT_EQ(Node(board, "/dev/mtd0").ioctl(MEMERASE, &block), 0);
    EXPECT_EQ(value("flash.wear")[0], 1);
    EXPECT_EQ(value("flash.wear")[1], 0);
    set_value("flash.protected", true);
    EXPECT_EQ(Node(board, "/dev/mtd0").write({1}), -EIO);
    set_value("flash.protected", false);
    set_value("flash.cut_power_after", 2);
    EXPECT_EQ(Node(board, "/dev/mtd0").write({1, 2, 3}), -EIO);
    EXPECT_EQ(value("flash.powered"), false);
    EXPECT_EQ(value("flash.cut_power_after"), nullptr);
}

TEST_F(BackendFace, rtc)
{
    set_value("rtc.date", "2031-05-06 07:08:09");
    rtc_time date = {};
    EXPECT_EQ(Node(board, "/dev/rtc").ioctl(RTC_RD_TIME, &date), 0);
    EXPECT_EQ(date.tm_year, 131);
    EXPECT_EQ(date.tm_sec, 9);
    date.tm_sec = 10;
    Node(board, "/dev/rtc").ioctl(RTC_SET_TIME, &date);
    EXPECT_EQ(value("rtc.date"), "2031-05-06 07:08:10");
}

TEST_F(BackendFace, slot)
{
    set_value("slot.number", 6);
    EXPECT_EQ(fpga().read({0x82}, 1), Bytes{0x86});
    set_value("slot.bad_parity", true);
    EXPECT_EQ(fpga().read({0x82}, 1), Bytes{0x06});
    set_value("slot.other_pins", 6);
    EXPECT_EQ(fpga().read({0x82}, 1), Bytes{0x66});
    ok({{"request", "pull"}, {"part", "blade"}});
    EXPECT_EQ(fpga().read({0x83}, 1), Bytes{0x60});
    ok({{"request", "host"}, {"action", "post"}, {"code", 0xAA}});
    EXPECT_EQ(fpga().read({0x42}, 8), Bytes{0xAA});
    fpga().write({0x55, 3});
    EXPECT_EQ(value("slot.hdd_card_type"), 3);
}

TEST_F(BackendFace, sol)
{
    ok({{"request", "host"}, {"action", "print"}, {"text", "boot"}});
    EXPECT_EQ(fpga_register(332), 4U);
    set_value("console.settle_us", 5);
    set_fpga_register(328, 1);
    EXPECT_EQ(value("console.fetching"), true);
    EXPECT_EQ(fpga_register(323), 0U);
    board.slept(5);
    EXPECT_EQ(fpga_register(322), 0x746F6F62U);
    set_fpga_register(324, 1);
    EXPECT_EQ(value("console.pending"), 0);
}

TEST_F(BackendFace, spi)
{
    set_value("spi.expected_bytes", 4);
    uint8_t mode = 3;
    Node spi(board, "/dev/spi");
    EXPECT_EQ(spi.ioctl(SPI_IOC_WR_MODE, &mode), 0);
    EXPECT_EQ(value("spi.mode"), 3);
    const uint8_t stream[] = {1, 2, 3, 4};
    spi_ioc_transfer transfer = {};
    transfer.tx_buf = reinterpret_cast<uintptr_t>(stream);
    transfer.len = sizeof(stream);
    spi.ioctl(SPI_IOC_MESSAGE(1), &transfer);
    EXPECT_EQ(value("spi.stream_bytes"), 4);
    EXPECT_EQ(value("gpio.96.level"), 1);
}

TEST_F(BackendFace, serial_switch)
{
    const int port = ::open(board.uart().real_path()->c_str(), O_RDWR | O_NOCTTY);
    ASSERT_GE(port, 0);
    termios attributes = board.uart().attributes();
    cfmakeraw(&attributes);
    tcsetattr(port, TCSANOW, &attributes);
    // To the panel's connector, then to the host.
    set_value("cpld.SERIAL_ROUTING.SERIAL_ROUTE", 1);
    EXPECT_EQ(::write(port, "panel", 5), 5);
    EXPECT_EQ(board.serial_switch().panel_output(), "panel");
    set_value("cpld.SERIAL_ROUTING.SERIAL_ROUTE", 2);
    EXPECT_EQ(::write(port, "host", 4), 4);
    EXPECT_EQ(board.serial_switch().host_input(), "host");
    ::close(port);
}

TEST_F(BackendFace, text_list)
{
    ok({{"request", "fault"}, {"action", "add"}, {"text", "mtd-list:read:error=EIO"}});
    Node list(board, "/proc/mtd");
    EXPECT_EQ(list.read({}, 4), Bytes{});
    EXPECT_EQ(list.read({}, 4), (Bytes{'d', 'e', 'v', ':'}));
    EXPECT_EQ(value("open_files"), (json{{"/proc/mtd", 1}}));
}

TEST_F(BackendFace, uart)
{
    const int port = ::open(board.uart().real_path()->c_str(), O_RDWR | O_NOCTTY);
    ASSERT_GE(port, 0);
    termios attributes = board.uart().attributes();
    cfmakeraw(&attributes);
    cfsetspeed(&attributes, B9600);
    tcsetattr(port, TCSANOW, &attributes);
    EXPECT_EQ(value("uart.baud_rate"), 9600);
    ok({{"request", "host"}, {"action", "uart_send"}, {"text", "x"}});
    char byte = 0;
    EXPECT_EQ(::read(port, &byte, 1), 1);
    EXPECT_EQ(byte, 'x');
    ::close(port);
}

TEST_F(BackendFace, wall_clock)
{
    set_value("wall_clock.date", "2031-05-06 07:08:09");
    timeval now = {};
    board.get_time(&now, nullptr);
    EXPECT_EQ(now.tv_sec, 1935817689);
    now.tv_sec += 1;
    board.set_time(&now, nullptr);
    EXPECT_EQ(value("wall_clock.date"), "2031-05-06 07:08:10");
    EXPECT_EQ(value("wall_clock.times_set"), 1);
}

TEST_F(BackendFace, eeprom_24c)
{
    const json before = value("eeprom.2.crc32");
    i2c(0x50, {0, 5, 0xAB}, 0);
    EXPECT_EQ(value("eeprom.2.programming"), true);
    EXPECT_EQ(value("eeprom.2.write_cycles"), 1);
    EXPECT_NE(value("eeprom.2.crc32"), before);
    board.slept(5000);
    set_value("eeprom.2.write_protected", true);
    i2c(0x50, {0, 5, 0x11}, 0);
    EXPECT_EQ(i2c(0x50, {0, 5}, 1), Bytes{0xAB});
}

TEST_F(BackendFace, pca9555)
{
    set_value("raid_expander.1.input", 0x5A);
    EXPECT_EQ(i2c(0x20, {1}, 1), Bytes{0x5A});
    set_value("raid_expander.1.polarity", 0xFF);
    EXPECT_EQ(i2c(0x20, {1}, 1), Bytes{0xA5});
    set_value("raid_expander.loses_configuration", true);
    i2c(0x20, {6, 0x12}, 0);
    EXPECT_EQ(value("raid_expander.0.configuration"), 0xFF);
    set_value("raid_expander.loses_configuration", false);
    i2c(0x20, {6, 0x12}, 0);
    EXPECT_EQ(value("raid_expander.0.configuration"), 0x12);
}

TEST_F(BackendFace, peci_bridge)
{
    set_value("cpus.1.celsius", 71);
    EXPECT_EQ(fpga_i2c(1, 0x2A, 1, 2), (Bytes{71, 0}));
    EXPECT_EQ(value("peci_bridge.1.value"), 71);
    set_value("peci_bridge.1.always_answers", 0x8002);
    EXPECT_EQ(fpga_i2c(1, 0x2A, 1, 2), (Bytes{0x02, 0x80}));
}

TEST_F(BackendFace, temperature_sensor)
{
    set_value("inlet_sensor.celsius", -10.5);
    EXPECT_EQ(i2c(0x48, {0}, 2), (Bytes{0xF5, 0x80}));
    i2c(0x48, {3, 0x46, 0x80}, 0);
    EXPECT_EQ(value("inlet_sensor.limit"), 0x4680);
}

// Headers that are no model of hardware.
const std::set<std::string> no_models = {
    "board",       "bus",       "clock",       "device",        "fault",
    "fault_text",  "ipmi_text", "narrative",   "open_file",     "personality_file",
    "personality", "trace",     "host_script", "register_names"};

TEST(BackendFaces, EveryModelHasOne)
{
    std::set<std::string> models;
    for (const char *folder : {"", "/chips"}) {
        for (const auto &file :
             std::filesystem::directory_iterator(std::string(VIRTUAL_BOARD_MODELS) + folder)) {
            const std::string name = file.path().stem();
            if (file.path().extension() == ".h" && !no_models.contains(name)) {
                models.insert(name);
            }
        }
    }
    std::set<std::string> tested;
    const testing::UnitTest &all = *testing::UnitTest::GetInstance();
    for (int i = 0; i < all.total_test_suite_count(); ++i) {
        const testing::TestSuite &suite = *all.GetTestSuite(i);
        for (int test = 0;
             std::string(suite.name()) == "BackendFace" && test < suite.total_test_count();
             ++test) {
            tested.insert(suite.GetTestInfo(test)->name());
        }
    }
    EXPECT_EQ(tested, models);
    EXPECT_GT(models.size(), 25U);
}

} // namespace
