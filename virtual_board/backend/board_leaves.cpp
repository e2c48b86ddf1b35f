// Every value of the board that is shown or set, device by device.
#include <limits>

#include <termios.h>

#include "board_hal_cpld.h"
#include "virtual_board/backend/arguments.h"
#include "virtual_board/backend/leaves.h"
#include "virtual_board/backend/parts.h"
#include "virtual_board/backend/text.h"
#include "virtual_board/register_names.h"

namespace virtual_board {

using nlohmann::json;

namespace {

constexpr int64_t byte_max = 0xFF;
constexpr int64_t word_max = 0xFFFF;
constexpr int64_t long_max = 0xFFFFFFFF;
constexpr int64_t time_max_us = 3600LL * 1000000;
constexpr int64_t int_min = std::numeric_limits<int32_t>::min();
constexpr int64_t int_max = std::numeric_limits<int32_t>::max();

constexpr int64_t gpio_line_max = 255;

std::string join(const std::string &group, const std::string &name)
{
    return group + "." + name;
}

std::string join(const std::string &group, size_t number)
{
    return join(group, std::to_string(number));
}

uint8_t as_byte(int64_t value)
{
    return static_cast<uint8_t>(value);
}

template <typename Number> json or_null(const std::optional<Number> &value)
{
    return value ? json(*value) : json(nullptr);
}

template <typename Number> std::optional<int64_t> widened(const std::optional<Number> &value)
{
    return value ? std::optional<int64_t>(*value) : std::nullopt;
}

template <typename Number> std::optional<Number> narrowed(std::optional<int64_t> value)
{
    return value ? std::optional(static_cast<Number>(*value)) : std::nullopt;
}

json last_of(const std::vector<Message> &messages)
{
    return messages.empty() ? json(nullptr) : json(hexadecimal(messages.back()));
}

// A member that is what it is.
template <typename Number>
void plain_number(Leaves &leaves, const std::string &name, Number &member, int64_t min, int64_t max)
{
    leaves.number(name, static_cast<int64_t>(member), min, max,
                  [&member](int64_t value) { member = static_cast<Number>(value); });
}

void plain_truth(Leaves &leaves, const std::string &name, bool &member)
{
    leaves.truth(name, member, [&member](bool value) { member = value; });
}

void add_clock(Leaves &leaves, Board &board)
{
    leaves.shown("personality", board.personality().name);
    leaves.shown("clock.now_us", board.clock.now_us());
    leaves.shown("clock.mode",
                 board.clock.mode() == Clock::Mode::virtual_time ? "virtual" : "real");
}

void add_host_interface(Leaves &leaves, const std::string &name, HostInterface &side)
{
    leaves.shown(join(name, "status"), side.status());
    leaves.shown(join(name, "requests_pending"), side.requests_pending());
    leaves.shown(join(name, "answers"), side.answers().size());
    leaves.shown(join(name, "last_answer"), last_of(side.answers()));
    leaves.optional_number(join(name, "held_status"), widened(side.held_status()), 0, byte_max,
                           [&side](auto value) { side.set_status(narrowed<uint8_t>(value)); });
    leaves.truth(join(name, "never_idle"), side.is_never_idle(),
                 [&side](bool on) { side.never_idle(on); });
    leaves.optional_number(join(name, "read_result"), widened(side.read_result()), int_min, int_max,
                           [&side](auto value) { side.fail_reads(narrowed<long>(value)); });
    leaves.optional_number(join(name, "write_result"), widened(side.write_result()), int_min,
                           int_max,
                           [&side](auto value) { side.fail_writes(narrowed<long>(value)); });
}

void add_host(Leaves &leaves, Board &board)
{
    Host &host = board.host();
    leaves.truth("host.powered", host.powered(), [&host](bool on) { host.set_power(on); });
    plain_number(leaves, "host.power_delay_us", host.power_delay_us, 0, time_max_us);
    plain_number(leaves, "host.force_off_us", host.force_off_us, 0, time_max_us);
    leaves.shown("host.last_press_us", host.last_press_us());
    const Host::Counters &counters = host.counters();
    leaves.shown("host.counters.power_ons", counters.power_ons);
    leaves.shown("host.counters.power_offs", counters.power_offs);
    leaves.shown("host.counters.forced_offs", counters.forced_offs);
    leaves.shown("host.counters.resets", counters.resets);
    leaves.shown("host.counters.nmis", counters.nmis);
    leaves.shown("host.counters.cmos_clears", counters.cmos_clears);
    add_host_interface(leaves, "host.kcs", host.kcs);
    add_host_interface(leaves, "host.bt", host.bt);
}

void add_bits(Leaves &leaves, const std::string &name, Cpld &cpld, uint32_t offset)
{
    for (const NamedBits &bits : named_bits(offset)) {
        const uint8_t mask = bits.mask;
        const uint8_t low = static_cast<uint8_t>(mask & -mask);
        leaves.number(join(name + ".bits", bits.name), (cpld.get(offset) & mask) / low, 0,
                      mask / low, [&cpld, offset, mask, low](int64_t value) {
                          const auto others = static_cast<uint8_t>(cpld.get(offset) & ~mask);
                          cpld.set(offset, static_cast<uint8_t>(others | value * low));
                      });
    }
}

void add_cpld(Leaves &leaves, Board &board)
{
    Cpld &cpld = board.cpld();
    for (uint32_t offset = 0; offset < CPLD_REG_COUNT; ++offset) {
        const std::string known = register_name(offset);
        const std::string name = join("cpld", known.empty() ? hexadecimal(offset, 2) : known);
        leaves.shown(join(name, "offset"), offset);
        leaves.number(join(name, "value"), cpld.get(offset), 0, byte_max,
                      [&cpld, offset](int64_t value) { cpld.set(offset, as_byte(value)); });
        add_bits(leaves, name, cpld, offset);
    }
    leaves.shown("cpld_programmer.loads", cpld.programmer().loads().size());
}

struct LineName {
    const char *name;
    CpuLine line;
    bool first_socket_only;
};

constexpr LineName line_names[] = {
    {"thermal_trip", CpuLine::thermal_trip, false},
    {"hot_0", CpuLine::hot_0, false},
    {"hot_1", CpuLine::hot_1, false},
    {"error", CpuLine::error, false},
    {"indication_a", CpuLine::indication_a, false},
    {"indication_b", CpuLine::indication_b, false},
    {"iio_error", CpuLine::iio_error, true},
    {"status_9", CpuLine::status_9, true},
    {"status_10", CpuLine::status_10, true},
    {"internal_error", CpuLine::internal_error, true},
    {"machine_check", CpuLine::machine_check, true},
};

void add_cpus(Leaves &leaves, Board &board)
{
    Cpus &cpus = board.cpus();
    for (unsigned socket = 0; socket < Cpus::sockets; ++socket) {
        for (const LineName &row : line_names) {
            if (row.first_socket_only && socket != 0) {
                continue;
            }
            const CpuLine line = row.line;
            leaves.truth(join(join("cpus", socket) + ".lines", row.name), cpus.seen(socket, line),
                         [&cpus, socket, line](bool on) {
                             on ? cpus.hold(socket, line) : cpus.release(socket, line);
                         });
        }
    }
    const unsigned items[] = {8, 2};
    for (unsigned group = 0; group < std::size(items); ++group) {
        for (unsigned item = 0; item < items[group]; ++item) {
            leaves.truth(join(join("cpus.memory_events", group), item),
                         cpus.memory_event(group, item),
                         [&cpus, group, item](bool on) { cpus.set_memory_event(group, item, on); });
        }
    }
    for (unsigned output = 0; output < 5; ++output) {
        leaves.shown(join("cpus.hot_controls", output), cpus.hot_control(output));
    }
}

void add_disks(Leaves &leaves, Board &board)
{
    Disks &disks = board.disks();
    const struct {
        const char *name;
        bool DiskLines::*line;
    } lines[] = {{"present", &DiskLines::p},
                 {"failed", &DiskLines::f},
                 {"r", &DiskLines::r},
                 {"v", &DiskLines::v}};
    for (unsigned bay = 0; bay < Disks::bays; ++bay) {
        const std::string name = join("disks", bay);
        for (const auto &row : lines) {
            bool DiskLines::*const line = row.line;
            leaves.truth(join(name, row.name), disks.lines(bay).*line,
                         [&disks, bay, line](bool on) {
                             DiskLines changed = disks.lines(bay);
                             changed.*line = on;
                             disks.set_lines(bay, changed);
                         });
        }
        leaves.truth(join(name, "flickers_by_load"), disks.flickers_by_load(bay),
                     [&disks, bay](bool on) { disks.flicker_by_load(bay, on); });
        leaves.number(join(name, "flicker_period_us"),
                      static_cast<int64_t>(disks.flicker_period_us(bay)), 0, time_max_us,
                      [&disks, bay](int64_t period) {
                          disks.flicker_by_time(bay, static_cast<uint64_t>(period));
                      });
    }
}

void add_parts(Leaves &leaves, Board &board)
{
    for (const Part &part : parts_of(board)) {
        leaves.truth(join("parts", part.name), part.seated, part.seat);
    }
}

void add_panel(Leaves &leaves, Board &board)
{
    for (const int id : Leds::ids) {
        leaves.shown(join("leds", static_cast<size_t>(id)), board.leds().lit(id));
    }
    for (unsigned cable = 0; cable < 3; ++cable) {
        leaves.shown(join("leds.sas_cables", cable), board.leds().sas_cable_lit(cable));
    }
    const bool host = board.bios_switch().owner() == BiosSwitch::Owner::host;
    leaves.shown("bios_switch.owner", host ? "host" : "controller");
    leaves.shown("bios_switch.write_protected", board.bios_switch().write_protected());
}

void add_slot(Leaves &leaves, Board &board)
{
    Slot &slot = board.slot();
    leaves.number("slot.number", slot.number(), 0, 15,
                  [&slot](int64_t number) { slot.set_number(as_byte(number)); });
    leaves.truth("slot.bad_parity", slot.bad_parity(),
                 [&slot](bool bad) { slot.set_bad_parity(bad); });
    leaves.number("slot.other_pins", slot.other_pins() >> 4, 0, 7,
                  [&slot](int64_t pins) { slot.set_other_pins(as_byte(pins << 4)); });
    leaves.number("slot.insertion_byte", slot.insertion_byte(), 0, byte_max,
                  [&slot](int64_t byte) { slot.set_insertion_byte(as_byte(byte)); });
    plain_number(leaves, "slot.base_board_id", slot.base_board_id, 0, byte_max);
    plain_number(leaves, "slot.blade_pcb_version", slot.blade_pcb_version, 0, byte_max);
    leaves.shown("slot.slot_byte", slot.slot_byte());
    leaves.shown("slot.post_offset", slot.post_offset());
    leaves.shown("slot.hdd_card_type", or_null(slot.hdd_card_type()));
    leaves.shown("slot.hdd_led_test", or_null(slot.hdd_led_test()));
}

// What answers at each address of the three buses.
void add_buses(Leaves &leaves, Board &board)
{
    for (unsigned channel = 0; channel < 3; ++channel) {
        for (const auto &[address, chip] : board.i2c(channel).chips()) {
            std::string name = "unknown";
            for (const Board::BoardChip &known : board.chips()) {
                name = known.chip == chip ? known.name : name;
            }
            leaves.shown(join(join("i2c", channel), hexadecimal(address, 2)), name);
        }
    }
    for (unsigned number = 0; number < FpgaI2c::channel_count; ++number) {
        FpgaI2c::Channel &channel = board.fpga_i2c().channel(number);
        const std::string name = join("fpga_i2c", number);
        plain_number(leaves, join(name, "status"), channel.status, 0, byte_max);
        plain_number(leaves, join(name, "bus_status"), channel.bus_status, 0, byte_max);
        leaves.shown(join(name, "resets"), channel.resets);
    }
}

void add_sensor(Leaves &leaves, TemperatureSensor &sensor)
{
    leaves.real("inlet_sensor.celsius", sensor.celsius(), -55, 125,
                [&sensor](double celsius) { sensor.set_celsius(celsius); });
    const struct {
        const char *name;
        TemperatureSensor::Register number;
        int64_t max;
    } registers[] = {{"configuration", TemperatureSensor::configuration, byte_max},
                     {"hysteresis", TemperatureSensor::hysteresis, word_max},
                     {"limit", TemperatureSensor::limit, word_max}};
    for (const auto &row : registers) {
        const TemperatureSensor::Register number = row.number;
        leaves.number(
            join("inlet_sensor", row.name), sensor.get(number), 0, row.max,
            [&sensor, number](int64_t value) { sensor.set(number, static_cast<uint16_t>(value)); });
    }
    leaves.shown("inlet_sensor.temperature", sensor.get(TemperatureSensor::temperature));
}

void add_expander(Leaves &leaves, Pca9555 &expander)
{
    constexpr const char *names[] = {"output", "polarity", "configuration"};
    for (unsigned port = 0; port < 2; ++port) {
        const std::string name = join("raid_expander", port);
        leaves.number(
            join(name, "input"), expander.input(port), 0, byte_max,
            [&expander, port](int64_t value) { expander.set_input(port, as_byte(value)); });
        leaves.shown(join(name, "pins"), expander.pins(port));
        for (unsigned i = 0; i < std::size(names); ++i) {
            const auto number = static_cast<Pca9555::Register>(Pca9555::output_0 + 2 * i + port);
            leaves.number(
                join(name, names[i]), expander.get(number), 0, byte_max,
                [&expander, number](int64_t value) { expander.set(number, as_byte(value)); });
        }
    }
    leaves.truth("raid_expander.loses_configuration", expander.loses_configuration(),
                 [&expander](bool on) { expander.lose_configuration(on); });
}

void add_peci(Leaves &leaves, PeciBridge &bridge)
{
    for (uint8_t number = 0; number < PeciBridge::register_count; ++number) {
        const std::string name = join("peci_bridge", number);
        leaves.number(
            join(name, "value"), bridge.get(number), 0, word_max,
            [&bridge, number](int64_t value) { bridge.set(number, static_cast<uint16_t>(value)); });
        leaves.optional_number(join(name, "always_answers"), widened(bridge.always_answers(number)),
                               0, word_max, [&bridge, number](auto value) {
                                   bridge.answer_always(number, narrowed<uint16_t>(value));
                               });
    }
    for (uint8_t cpu = 0; cpu < Cpus::sockets; ++cpu) {
        leaves.number(
            join(join("cpus", cpu), "celsius"), bridge.get(cpu) & 0xFF, 0, byte_max,
            [&bridge, cpu](int64_t celsius) { bridge.set_cpu_temperature(cpu, as_byte(celsius)); });
    }
}

void add_eeprom(Leaves &leaves, const std::string &name, Eeprom24c &eeprom)
{
    leaves.shown(join(name, "size"), eeprom.memory().size());
    leaves.shown(join(name, "crc32"), [&eeprom] { return json(checksum(eeprom.memory())); });
    leaves.shown(join(name, "write_cycles"), eeprom.write_cycles());
    leaves.shown(join(name, "programming"), eeprom.programming());
    leaves.truth(join(name, "write_protected"), eeprom.write_protected(),
                 [&eeprom](bool on) { eeprom.write_protect(on); });
}

void add_clocks(Leaves &leaves, Board &board)
{
    Rtc &rtc = board.rtc();
    leaves.date("rtc.date", rtc.date(), [&rtc](const tm &date) { rtc.set_date(date); });
    plain_number(leaves, "rtc.daylight_flag", rtc.daylight_flag, int_min, int_max);

    WallClock &clock = board.wall_clock();
    const time_t seconds = clock.now().tv_sec;
    tm now = {};
    gmtime_r(&seconds, &now);
    leaves.date("wall_clock.date", now, [&clock](const tm &date) {
        tm normal = date;
        clock.set({timegm(&normal), 0});
    });
    plain_number(leaves, "wall_clock.minutes_west", clock.zone.tz_minuteswest, int_min, int_max);
    plain_truth(leaves, "wall_clock.refuses_zone_with_time", clock.refuses_zone_with_time);
    leaves.shown("wall_clock.times_set", clock.times_set());
}

// Baud rates that a line is in; others are shown by their code.
json baud_rate(const termios &attributes)
{
    const struct {
        speed_t code;
        unsigned rate;
    } rates[] = {{B1200, 1200},   {B2400, 2400},     {B4800, 4800},
                 {B9600, 9600},   {B19200, 19200},   {B38400, 38400},
                 {B57600, 57600}, {B115200, 115200}, {B230400, 230400}};
    for (const auto &row : rates) {
        if (row.code == cfgetospeed(&attributes)) {
            return row.rate;
        }
    }
    return nullptr;
}

void add_side_devices(Leaves &leaves, Board &board)
{
    plain_number(leaves, "battery.adc_code", board.adc().code, 0, word_max);
    leaves.shown("battery.adc_configured", board.adc().configuration().has_value());
    leaves.shown("battery.adc_channel_configured", board.adc().channel().has_value());

    leaves.shown("uart.baud_rate", baud_rate(board.uart().attributes()));

    Spi &spi = board.spi();
    plain_number(leaves, "spi.expected_bytes", spi.expected, 0, long_max);
    plain_truth(leaves, "spi.done_line_works", spi.done_line_works);
    leaves.shown("spi.stream_bytes", spi.stream().size());
    leaves.shown("spi.stream_crc32", [&spi] { return json(checksum(spi.stream())); });
    leaves.shown("spi.transfers", spi.transfers().size());
    leaves.shown("spi.mode", or_null(spi.mode()));
    leaves.shown("spi.bits_per_word", or_null(spi.bits_per_word()));
    leaves.shown("spi.speed_hz", or_null(spi.speed_hz()));

    NetworkPort &port = board.network();
    leaves.shown("network.name", port.name());
    leaves.number("network.link", port.link(), 0, long_max,
                  [&port](int64_t link) { port.set_link(static_cast<uint32_t>(link)); });
    leaves.truth("network.answers_link_query", port.knows_link_query(),
                 [&port](bool on) { port.answers_link_query(on); });
}

void add_gpio(Leaves &leaves, Board &board)
{
    Gpio &gpio = board.gpio();
    for (const auto &[number, line] : gpio.lines()) {
        const std::string name = join("gpio", static_cast<size_t>(number));
        leaves.shown(join(name, "exported"), gpio.exported(number));
        leaves.shown(join(name, "direction"), line.output ? "out" : "in");
        leaves.shown(join(name, "writes"), line.written.size());
        if (line.output) {
            leaves.shown(join(name, "level"), line.level);
        } else {
            plain_number(leaves, join(name, "level"), gpio.line(number).level, 0, 1);
        }
    }
}

void add_modules(Leaves &leaves, Board &board)
{
    for (const std::string &module : board.modules().names()) {
        leaves.shown(join(join("modules", module), "loaded"), board.modules().loaded(module));
        leaves.shown(join(join("modules", module), "has_file"), board.modules().has_file(module));
    }
}

void add_fpga(Leaves &leaves, Board &board)
{
    Fpga &fpga = board.fpga();
    const struct {
        const char *name;
        DriverWord *word;
    } words[] = {{"selftest", &fpga.selftest}, {"version", &fpga.version},
                 {"ddr_test", &fpga.ddr_test}, {"ddr_state", &fpga.ddr_state},
                 {"start", &fpga.start},       {"baud_divisor", &fpga.baud_divisor}};
    for (const auto &row : words) {
        const std::string name = join("fpga", row.name);
        plain_number(leaves, join(name, "word"), row.word->word, int_min, int_max);
        plain_number(leaves, join(name, "result"), row.word->result, int_min, int_max);
    }
    leaves.shown("fpga.communication_state", or_null(fpga.communication_state()));
    leaves.shown("fpga.watchdog_running", fpga.watchdog_running());
    leaves.shown("fpga.watchdog_kicks", fpga.watchdog_kicks());
    leaves.shown("fpga.jtag_resets", fpga.jtag_resets());
    leaves.shown("fpga.ram_crc32", [&fpga] { return json(checksum(fpga.ram())); });
    for (const auto &[address, value] : fpga.plain_registers()) {
        if (fpga.is_plain(address)) {
            leaves.number(join("fpga.registers", address), value, 0, long_max,
                          [&fpga, number = address](int64_t now) {
                              fpga.set_register(number, static_cast<uint32_t>(now));
                          });
        }
    }
}

void add_ipmb(Leaves &leaves, Board &board)
{
    Ipmb &ipmb = board.ipmb();
    for (unsigned number = 0; number < Ipmb::channel_count; ++number) {
        Ipmb::Channel &channel = ipmb.channel(number);
        const std::string name = join("ipmb", number);
        plain_number(leaves, join(name, "status"), channel.status, 0, byte_max);
        plain_truth(leaves, join(name, "enabled"), channel.enabled);
        plain_truth(leaves, join(name, "silent"), channel.silent);
        leaves.optional_number(
            join(name, "claimed_length"), widened(channel.claimed_length), 0, byte_max,
            [&channel](auto value) { channel.claimed_length = narrowed<uint8_t>(value); });
        leaves.optional_number(
            join(name, "write_result"), widened(channel.write_result), int_min, int_max,
            [&channel](auto value) { channel.write_result = narrowed<long>(value); });
        leaves.optional_number(
            join(name, "read_result"), widened(ipmb.read_result(number)), int_min, int_max,
            [&ipmb, number](auto value) { ipmb.fail_reads(number, narrowed<long>(value)); });
        leaves.number(join(name, "own_address"), ipmb.address(number), 0, byte_max,
                      [&ipmb, number](int64_t value) { ipmb.set_address(number, as_byte(value)); });
        leaves.shown(join(name, "received"), channel.received.size());
        leaves.shown(join(name, "last_received"), last_of(channel.received));
        leaves.shown(join(name, "waiting"), ipmb.waiting(number));
        leaves.shown(join(name, "resets"), channel.resets);
        leaves.shown(join(name, "send_wait"), channel.send_wait);
        leaves.shown(join(name, "receive_wait"), ipmb.receive_wait(number));
    }
}

void add_streams(Leaves &leaves, Board &board)
{
    Sol &sol = board.sol();
    leaves.shown("console.pending", sol.pending());
    leaves.shown("console.text", printable(sol.text()));
    leaves.shown("console.offset", sol.offset());
    leaves.shown("console.lost", sol.lost());
    leaves.shown("console.fetching", sol.fetching());
    plain_number(leaves, "console.settle_us", sol.settle_us, 0, time_max_us);
    plain_number(leaves, "console.not_ready", sol.not_ready, 0, long_max);

    BlackBox &box = board.black_box();
    leaves.shown("black_box.bytes", box.size());
    leaves.shown("black_box.enabled", box.enabled());
    leaves.shown("black_box.fetching", box.fetching());
    leaves.shown("black_box.first", box.first());
    leaves.shown("black_box.second", box.second());
    leaves.shown("black_box.releases", box.releases());
    plain_number(leaves, "black_box.not_ready", box.not_ready, 0, long_max);
}

json partitions(const FlashLayout &layout, NorFlash &flash)
{
    json all = json::object();
    size_t offset = 0;
    for (size_t i = 0; i < layout.partitions.size(); ++i) {
        const size_t size = layout.partitions[i];
        all["mtd" + std::to_string(i)] = {
            {"offset", offset},
            {"size", size},
            {"crc32", checksum({flash.contents().data() + offset, size})}};
        offset += size;
    }
    return all;
}

void add_chip(Leaves &leaves, const std::string &name, NorFlash &flash)
{
    leaves.shown(join(name, "size"), flash.geometry().size);
    leaves.shown(join(name, "erase_size"), flash.geometry().erase_size);
    leaves.shown(join(name, "wear"), [&flash] { return json(flash.wear()); });
    leaves.truth(join(name, "protected"), flash.is_protected(),
                 [&flash](bool on) { flash.protect(on); });
    leaves.shown(join(name, "powered"), flash.powered());
    leaves.optional_number(
        join(name, "cut_power_after"), widened(flash.power_lasts_for()), 0, long_max,
        [&flash](auto bytes) { flash.cut_power_after(narrowed<uint64_t>(bytes)); });
}

json environment_text(const EnvironmentPartition &environment)
{
    json lines = json::array();
    const EnvironmentPartition::Bytes bytes = environment.bytes();
    std::string line;
    // Behind the checksum, up to an empty text.
    for (size_t i = 4; i < bytes.size(); ++i) {
        if (bytes[i] != 0) {
            line += static_cast<char>(bytes[i]);
        } else if (line.empty()) {
            break;
        } else {
            lines.push_back(printable(line));
            line.clear();
        }
    }
    return lines;
}

void add_memories(Leaves &leaves, Board &board)
{
    add_chip(leaves, "flash", board.flash());
    leaves.shown("flash.partitions",
                 [&board] { return partitions(board.personality().flash, board.flash()); });
    add_chip(leaves, "bios_flash", board.bios_flash());
    leaves.shown("bios_flash.crc32",
                 [&board] { return json(checksum(board.bios_flash().contents())); });
    const EnvironmentPartition &environment = board.environment();
    leaves.shown("environment.crc32",
                 [&environment] { return json(checksum(environment.bytes())); });
    leaves.shown("environment.lines", [&environment] { return environment_text(environment); });
    leaves.shown("environment.opens", environment.opens());
    leaves.shown("environment.maps", environment.maps());
    leaves.shown("environment.mapped", environment.mapped());
    leaves.shown("environment.write_backs", environment.write_backs());
}

// By path, how many times.
json open_files(const Board &board)
{
    json files = json::object();
    for (const auto &[path, count] : board.open_paths()) {
        files[printable(path)] = count;
    }
    return files;
}

json faults(const Board &board)
{
    json all = json::array();
    for (const Fault &fault : board.faults.faults()) {
        all.push_back(fault_json(fault));
    }
    return all;
}

// The number behind a prefix, up to the next dot or the end.
std::optional<int64_t> number_behind(const std::string &name, const std::string &prefix)
{
    if (!name.starts_with(prefix)) {
        return {};
    }
    const std::string word =
        name.substr(prefix.size(), name.find('.', prefix.size()) - prefix.size());
    if (word.empty() || word.size() > 5 ||
        word.find_first_not_of("0123456789") != std::string::npos) {
        return {};
    }
    return std::stoll(word);
}

} // namespace

json fault_json(const Fault &fault)
{
    return {{"name", printable(fault.name)},
            {"device", printable(fault.device)},
            {"operation", to_string(fault.operation)},
            {"address", or_null(fault.address)},
            {"place", or_null(fault.place)},
            {"kind", to_string(fault.kind)},
            {"value", fault.value},
            {"skip", fault.skip},
            {"times", fault.times},
            {"per_mille", fault.per_mille},
            {"hits", fault.hits}};
}

Leaves leaves_of(Board &board)
{
    Leaves leaves;
    add_clock(leaves, board);
    add_host(leaves, board);
    add_cpld(leaves, board);
    add_cpus(leaves, board);
    add_disks(leaves, board);
    add_parts(leaves, board);
    add_panel(leaves, board);
    add_slot(leaves, board);
    add_buses(leaves, board);
    add_sensor(leaves, board.inlet_sensor());
    add_expander(leaves, board.raid_expander());
    add_peci(leaves, board.peci_bridge());
    add_eeprom(leaves, "eeprom.0", board.eeprom(0));
    add_eeprom(leaves, "eeprom.2", board.eeprom(2));
    add_clocks(leaves, board);
    add_side_devices(leaves, board);
    add_gpio(leaves, board);
    add_modules(leaves, board);
    add_fpga(leaves, board);
    add_ipmb(leaves, board);
    add_streams(leaves, board);
    add_memories(leaves, board);
    leaves.shown("open_files", open_files(board));
    leaves.shown("faults", faults(board));
    return leaves;
}

void touch(Board &board, const std::string &name)
{
    const std::optional<int64_t> line = number_behind(name, "gpio.");
    if (line && *line <= gpio_line_max) {
        board.gpio().line(static_cast<int>(*line));
    }
    const std::optional<int64_t> address = number_behind(name, "fpga.registers.");
    if (address && *address <= word_max && board.fpga().is_plain(static_cast<uint16_t>(*address))) {
        board.fpga().get_register(static_cast<uint16_t>(*address));
    }
}

} // namespace virtual_board
