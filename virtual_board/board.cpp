#include "virtual_board/board.h"

#include <linux/sockios.h>
#include <string.h>

#include <algorithm>
#include <array>
#include <functional>
#include <new>
#include <numeric>

#include "board_hal_cpld.h"
#include "virtual_board/i2c_dev.h"
#include "virtual_board/text_list.h"

namespace virtual_board {

namespace {

// Slave addresses in 7-bit form.
constexpr uint8_t eeprom_address = 0xA0 >> 1;
constexpr uint8_t peci_bridge_address = 0x54 >> 1;
constexpr uint8_t raid_expander_address = 0x40 >> 1;
constexpr uint8_t inlet_sensor_address = 0x90 >> 1;

// How the RAID card straps its expander: board id 3, PCB version 1, the last pin
// open.
constexpr uint8_t raid_card_straps = 0x93;

std::vector<uint8_t> bytes_of(const void *data, size_t count)
{
    const auto *bytes = static_cast<const uint8_t *>(data);
    return {bytes, bytes + count};
}

// The controller's flash, by number; the BIOS flash comes after it.
constexpr std::array<const char *, 6> partition_labels = {
    "boot", "boot-spare", "environment", "kernel", "filesystem", "data",
};
constexpr unsigned environment_number = 2;
constexpr unsigned bios_number = 6;

std::string label_of(unsigned number)
{
    return number < partition_labels.size() ? partition_labels[number]
                                            : "part" + std::to_string(number);
}

// The lines of the kernel's list of buses.
constexpr char i2c_buses[] =
    "i2c-0\tsmbus     \tboard I2C controller            \tNon-I2C SMBus adapter           \n";

// Input of the controller that tells that the FPGA has started.
constexpr int fpga_done_line = 96;

// Longest piece of a transfer that a trace keeps.
constexpr size_t trace_max = 512;

// What a call answers that a fault keeps from its device.
long refusal(const Fault &fault)
{
    return fault.kind == Fault::Kind::vanish ? -ENODEV : -static_cast<long>(fault.value);
}

uint32_t sum(const std::vector<uint32_t> &sizes)
{
    return std::accumulate(sizes.begin(), sizes.end(), 0U);
}

} // namespace

Board::Board(const Personality &personality, Clock::Mode mode)
    : clock(mode), personality_(personality), cpld_(std::make_shared<Cpld>()),
      fpga_(std::make_shared<Fpga>(clock)), host_(std::make_unique<Host>(clock, *cpld_, *fpga_)),
      ipmb_(*fpga_), sol_(clock, *fpga_), black_box_(*fpga_), rtc_(std::make_shared<Rtc>(clock)),
      adc_(std::make_shared<Adc>(0)),
      spi_(std::make_shared<Spi>([this](bool level) { gpio_.line(fpga_done_line).level = level; })),
      uart_(std::make_shared<Uart>(0)), serial_switch_(*cpld_, *uart_), wall_clock_(clock),
      cpus_(*cpld_), disks_(clock, *cpld_), leds_(*cpld_), bios_switch_(*cpld_), slot_(*fpga_),
      fpga_i2c_(*fpga_, clock, {&i2c_[0], &i2c_[1]}), raid_expander_(std::make_shared<Pca9555>()),
      inlet_sensor_(std::make_shared<TemperatureSensor>()),
      peci_bridge_(std::make_shared<PeciBridge>()),
      flash_(clock, {sum(personality.flash.partitions), personality.flash.erase_size}),
      bios_flash_(clock, personality.bios_flash)
{
    cpld_->set(CPLD_REG_BOARD_ID, personality.board_id);
    cpld_->set(CPLD_REG_PCB_VERSION, personality.pcb_version);
    cpld_->set(CPLD_REG_BOM_VERSION, personality.bom_version);
    cpld_->set(CPLD_REG_PRODUCT_ID, personality.product_id);
    cpld_->set(CPLD_REG_CPLD_VERSION, personality.cpld_version);
    for (uint32_t i = 0; i < personality.cpld_compile_time.size(); ++i) {
        cpld_->set(CPLD_REG_COMPILE_TIME_0 + i, personality.cpld_compile_time[i]);
    }
    cpld_->set(CPLD_REG_POWER_BUTTON,
               personality.power_button_locked ? 0 : CPLD_POWER_BUTTON_ENABLE);
    if (personality.host_powered) {
        cpld_->set(CPLD_REG_POWER_STATE, CPLD_POWER_GOOD);
        cpld_->set(CPLD_REG_CHIPSET, CPLD_CHIPSET_STATUS);
    }
    fit(personality);
    attach("/dev/ipmc_cpld", cpld_);
    attach("/dev/ipmc_fpga", fpga_);
    for (const char *name : {"/dev/rtc", "/dev/rtc0"}) { // the first is a link to the second
        attach(name, rtc_);
    }
    attach("/dev/spear_adc0", adc_);
    attach("/dev/spi", spi_);
    attach("/dev/ttyS0", uart_);
    modules_.add("load_fpga", [this] { spi_->await_bitstream(); });
    plug_chips();
    if (!personality.raid_card_fitted) {
        i2c_[2].unplug(raid_expander_address);
    }
    attach("/dev/i2c-0", std::make_shared<I2cDev>("i2c-0", 0, i2c_[2]));
    attach("/dev/mtdblock2", environment_);
    attach_flash(personality.flash);
    attach("/proc/mtd", std::make_shared<TextList>("mtd-list", [this] { return list_flash(); }));
    attach("/proc/bus/i2c", std::make_shared<TextList>("i2c-list", [] { return i2c_buses; }));
}

void Board::attach_flash(const FlashLayout &layout)
{
    uint32_t offset = 0;
    for (unsigned number = 0; number < layout.partitions.size(); ++number) {
        const MtdDevice::Partition partition = {offset, layout.partitions[number],
                                                label_of(number)};
        const auto device = std::make_shared<MtdDevice>(number, flash_, partition);
        device->check_access(layout.checks_access);
        attach("/dev/" + device->name(), device);
        if (number == environment_number && partition.size >= EnvironmentPartition::size) {
            environment_->lie_in(flash_, offset);
        }
        offset += partition.size;
    }
    // The driver finds the chip whoever owns it; the chip hears the controller
    // only while the CPLD switches it over.
    const auto wired = [this] { return bios_switch_.owner() == BiosSwitch::Owner::controller; };
    bios_flash_.wire_protect([this] { return bios_switch_.write_protected(); });
    const auto bios = std::make_shared<MtdDevice>(
        bios_number, bios_flash_, MtdDevice::Partition{0, bios_flash_.geometry().size, "bios"},
        wired);
    bios->check_access(layout.checks_access);
    modules_.add(
        "m25p80", [this, bios] { attach("/dev/mtd6", bios); }, [this] { detach("/dev/mtd6"); });
}

std::string Board::list_flash() const
{
    std::string lines = "dev:    size   erasesize  name\n";
    for (const auto &[path, device] : nodes_) {
        const auto *part = dynamic_cast<const MtdDevice *>(device.get());
        if (part != nullptr && !gone_.contains(part->name())) {
            lines += part->listing();
        }
    }
    return lines;
}

Board::~Board() = default;

// What is plugged into the board.
void Board::fit(const Personality &personality)
{
    for (unsigned socket = 0; socket < Cpus::sockets; ++socket) {
        if (personality.cpus_fitted[socket]) {
            cpus_.fit(socket, personality.cpu_generation);
        }
    }
    for (unsigned bay = 0; bay < Disks::bays; ++bay) {
        if (personality.disks_fitted[bay]) {
            disks_.insert(bay);
        }
    }
    const auto &ports = personality.hdd_backplane_ports;
    const struct {
        uint8_t offset;
        int value;
    } registers[] = {
        {CPLD_REG_HDD_BACKPLANE_01, ports[0] << 4 | ports[1]},
        {CPLD_REG_HDD_BACKPLANE_2, ports[2] << 4},
        {CPLD_REG_BOARD_2, personality.board_2_pcb_version << 4},
        {CPLD_REG_BOARD_3, personality.board_3_pcb_version << 4 | personality.board_3_id},
        {CPLD_REG_BOARD_6, personality.board_6_fitted ? CPLD_BOARD_6_PRESENT : 0},
        {CPLD_REG_AMC_PRESENCE, personality.amc_modules},
        {CPLD_REG_SERIAL_ROUTING, personality.serial_route},
        {CPLD_REG_RAID_STATUS, personality.raid_card_fitted ? CPLD_RAID_NO_ERROR : 0},
    };
    for (const auto &row : registers) {
        cpld_->set(row.offset, static_cast<uint8_t>(row.value));
    }
    slot_.set_number(personality.slot_number);
    slot_.base_board_id = personality.base_board_id;
    slot_.blade_pcb_version = personality.blade_pcb_version;
}

// Every chip as the board is built; tests and people plug and pull more.
void Board::plug_chips()
{
    for (const unsigned channel : {0U, 2U}) {
        eeproms_[channel] = std::make_shared<Eeprom24c>(clock);
    }
    raid_expander_->set_input(0, raid_card_straps);
    chips_ = {
        {"eeprom.0", 0, eeprom_address, eeproms_[0]},
        {"eeprom.2", 2, eeprom_address, eeproms_[2]},
        {"peci_bridge", 1, peci_bridge_address, peci_bridge_},
        {"raid_expander", 2, raid_expander_address, raid_expander_},
        {"inlet_sensor", 2, inlet_sensor_address, inlet_sensor_},
    };
    for (const BoardChip &one : chips_) {
        i2c_[one.channel].plug(one.address, one.chip);
    }
}

I2cBus &Board::i2c(unsigned channel)
{
    return i2c_.at(channel);
}

Eeprom24c &Board::eeprom(unsigned channel)
{
    return *eeproms_.at(channel);
}

void Board::attach(const std::string &path, std::shared_ptr<Device> device)
{
    gone_.erase(device->name());
    nodes_[path] = std::move(device);
}

std::shared_ptr<Device> Board::find(std::string_view path)
{
    const auto node = nodes_.find(path);
    if (node != nodes_.end()) {
        return node->second;
    }
    return path.starts_with(Gpio::root) ? gpio_.find(path) : nullptr;
}

Event Board::event(Operation operation, std::string device, uint32_t address, uint64_t count) const
{
    Event event;
    event.time_us = clock.now_us();
    event.operation = operation;
    event.device = std::move(device);
    event.address = address;
    event.count = count;
    return event;
}

Event Board::event(Operation operation, const OpenFile &file, uint32_t address,
                   uint64_t count) const
{
    return event(operation, file.device->name(), address, count);
}

long Board::finish(Event &&event, long result)
{
    event.result = result;
    trace.add(std::move(event));
    return result;
}

// A device that is gone strikes by itself, and for good.
const Fault *Board::strike(const Event &event, std::optional<uint64_t> place)
{
    static const Fault gone = {.name = "gone", .device = {}, .kind = Fault::Kind::vanish};
    if (gone_.contains(event.device)) {
        return &gone;
    }
    const Fault *fault = faults.strike(event.device, event.operation, event.address, place);
    if (fault != nullptr && fault->kind == Fault::Kind::vanish) {
        gone_.insert(event.device);
    }
    return fault;
}

long Board::open(const std::string &path, int flags, std::shared_ptr<OpenFile> &file)
{
    const std::lock_guard guard(lock_);
    synchronise();
    auto opened = std::make_shared<OpenFile>();
    opened->path = path;
    opened->flags = flags;
    opened->device = find(path);
    Event event = this->event(Operation::open, opened->device ? opened->device->name() : path,
                              static_cast<uint32_t>(flags), 0);
    if (!opened->device || gone_.contains(event.device)) {
        return finish(std::move(event), -ENOENT);
    }
    const Fault *fault = strike(event);
    const long result = fault != nullptr ? refusal(*fault) : opened->device->open(*opened);
    if (result >= 0) {
        ++open_files_;
        ++open_paths_[path];
        opened->real_node = opened->device->real_path();
        file = std::move(opened);
    }
    return finish(std::move(event), result);
}

long Board::close(OpenFile &file)
{
    const std::lock_guard guard(lock_);
    synchronise();
    file.device->release(file);
    --open_files_;
    --open_paths_[file.path];
    return finish(event(Operation::close, file, 0, 0), 0);
}

// One transfer with the fault that strikes it, if any. The answer is a read's
// buffer.
long Board::move(OpenFile &file, Event &event, const Fault *fault, size_t count, void *answer,
                 const std::function<long(size_t)> &transfer)
{
    if (fault == nullptr) {
        return transfer(count);
    }
    switch (fault->kind) {
    case Fault::Kind::error:
    case Fault::Kind::vanish:
        return refusal(*fault);
    case Fault::Kind::result:
        return static_cast<long>(fault->value);
    case Fault::Kind::late_result:
        transfer(count);
        return static_cast<long>(fault->value);
    case Fault::Kind::short_count:
        return transfer(std::min(count, static_cast<size_t>(fault->value)));
    case Fault::Kind::lie:
        file.offset += static_cast<long long>(count);
        return static_cast<long>(count);
    case Fault::Kind::bit_flip: {
        const long long start = file.offset;
        const long result = transfer(count);
        const long long byte = fault->value / 8;
        const auto bit = static_cast<unsigned>(fault->value % 8);
        if (byte < result && answer != nullptr) {
            static_cast<uint8_t *>(answer)[byte] ^= static_cast<uint8_t>(1U << bit);
        } else if (byte < result && event.operation == Operation::write) {
            file.device->flip_stored_bit(start + byte, bit);
        }
        return result;
    }
    case Fault::Kind::delay:
        clock.wait_us(static_cast<uint64_t>(fault->value));
        return transfer(count);
    }
    return -EIO;
}

long Board::read(OpenFile &file, void *buffer, size_t count)
{
    const std::lock_guard guard(lock_);
    synchronise();
    Event event =
        this->event(Operation::read, file, file.device->address_of(file, buffer, count), count);
    const size_t request = file.device->request_length(buffer, count);
    event.bytes = bytes_of(buffer, std::min(request, trace_max));
    const long result = move(file, event, strike(event), count, buffer, [&](size_t allowed) {
        return file.device->read(file, buffer, allowed);
    });
    if (result > 0 && result <= 9999) {
        // Register reads answer four bytes into a call that asked for one; a
        // result that a fault made up says nothing about the buffer.
        const size_t room = std::max(count, request);
        event.answer = bytes_of(buffer, std::min({static_cast<size_t>(result), room, trace_max}));
    }
    return finish(std::move(event), result);
}

long Board::write(OpenFile &file, const void *buffer, size_t count)
{
    const std::lock_guard guard(lock_);
    synchronise();
    Event event =
        this->event(Operation::write, file, file.device->address_of(file, buffer, count), count);
    event.bytes = bytes_of(buffer, std::min(file.device->record_length(buffer, count), trace_max));
    const long result = move(file, event, strike(event), count, nullptr, [&](size_t allowed) {
        return file.device->write(file, buffer, allowed);
    });
    return finish(std::move(event), result);
}

long Board::pread(OpenFile &file, void *buffer, size_t count, long long offset)
{
    OpenFile elsewhere = file;
    elsewhere.offset = offset;
    return read(elsewhere, buffer, count);
}

long Board::pwrite(OpenFile &file, const void *buffer, size_t count, long long offset)
{
    OpenFile elsewhere = file;
    elsewhere.offset = offset;
    return write(elsewhere, buffer, count);
}

long Board::pass(OpenFile &file, Operation operation, uint32_t address, uint64_t count,
                 const std::function<long()> &transfer)
{
    std::unique_lock guard(lock_);
    synchronise();
    Event event = this->event(operation, file, address, count);
    const Fault *fault = faults.strike(event.device, operation, address);
    if (fault != nullptr) {
        const bool fails = fault->kind == Fault::Kind::error;
        const auto value = static_cast<long>(fault->value);
        return finish(std::move(event), fails ? -value : value);
    }
    guard.unlock();
    const long result = transfer();
    guard.lock();
    return finish(std::move(event), result);
}

long Board::ioctl(OpenFile &file, uint32_t request, void *argument)
{
    const std::lock_guard guard(lock_);
    synchronise();
    Event event = this->event(Operation::ioctl, file, request, 0);
    event.bytes = file.device->request_record(request, argument);
    const Fault *fault = strike(event, file.device->place_of(request, argument));
    bool reached = false;
    const long result = move(file, event, fault, 0, nullptr, [&](size_t) {
        reached = true;
        return file.device->ioctl(file, request, argument);
    });
    if (reached && result >= 0) {
        event.answer = file.device->answer_record(request, argument);
    }
    return finish(std::move(event), result);
}

long long Board::seek(OpenFile &file, long long offset, int whence)
{
    const std::lock_guard guard(lock_);
    synchronise();
    Event event = this->event(Operation::seek, file, static_cast<uint32_t>(offset), 0);
    const Fault *fault = strike(event);
    const long long result = fault == nullptr ? file.device->seek(file, offset, whence)
                             : fault->kind == Fault::Kind::result ? fault->value
                                                                  : refusal(*fault);
    event.result = result;
    trace.add(std::move(event));
    return result;
}

long Board::map(OpenFile &file, size_t length, Mapping &mapping)
{
    const std::lock_guard guard(lock_);
    synchronise();
    Event event = this->event(Operation::map, file, 0, length);
    const Fault *fault = strike(event);
    if (fault == nullptr) {
        return finish(std::move(event), file.device->map(file, length, mapping));
    }
    if (fault->kind == Fault::Kind::result) {
        mapping.forced_address = static_cast<uintptr_t>(fault->value);
        return finish(std::move(event), 0);
    }
    return finish(std::move(event), refusal(*fault));
}

void Board::unmapped(const std::string &device, size_t length)
{
    const std::lock_guard guard(lock_);
    synchronise();
    Event event = this->event(Operation::unmap, device, 0, length);
    trace.add(std::move(event));
}

void Board::mapped_at(const void *address, const OpenFile &file)
{
    const std::lock_guard guard(lock_);
    mappings_[address] = file.device;
}

void Board::unmapped_at(const void *address, size_t length)
{
    const std::lock_guard guard(lock_);
    const auto mapping = mappings_.extract(address);
    if (!mapping.empty()) {
        unmapped(mapping.mapped()->name(), length);
        mapping.mapped()->unmapped();
    }
}

long Board::status(const std::string &path, struct stat &status)
{
    const std::lock_guard guard(lock_);
    const std::shared_ptr<Device> device = find(path);
    if (!device || gone_.contains(device->name())) {
        return -ENOENT;
    }
    return status_of(*device, status);
}

long Board::status(const OpenFile &file, struct stat &status)
{
    const std::lock_guard guard(lock_);
    return status_of(*file.device, status);
}

long Board::status_of(const Device &device, struct stat &status)
{
    const Fault *fault = strike(event(Operation::status, device.name(), 0, 0));
    if (fault != nullptr) {
        return refusal(*fault);
    }
    status = {};
    device.describe(status);
    return 0;
}

long Board::control_socket()
{
    const std::lock_guard guard(lock_);
    synchronise();
    Event event = this->event(Operation::open, network_.name(), 0, 0);
    const Fault *fault = strike(event);
    return finish(std::move(event), fault != nullptr ? refusal(*fault) : 0);
}

long Board::ethtool(void *record)
{
    const std::lock_guard guard(lock_);
    synchronise();
    Event event = this->event(Operation::ioctl, network_.name(), SIOCETHTOOL, 0);
    const Fault *fault = strike(event);
    return finish(std::move(event), fault != nullptr ? refusal(*fault) : network_.ethtool(record));
}

void Board::loaded(uint32_t offset)
{
    const std::lock_guard guard(lock_);
    Event event = this->event(Operation::load, cpld_->name(), offset, 1);
    event.result = cpld_->get(offset);
    trace.add(std::move(event));
    cpld_->loaded(offset);
}

void Board::stored(uint32_t offset, uint8_t before)
{
    const std::lock_guard guard(lock_);
    Event event = this->event(Operation::store, cpld_->name(), offset, 1);
    event.result = cpld_->get(offset);
    event.bytes = {before, cpld_->get(offset)};
    trace.add(std::move(event));
    cpld_->stored(offset, before);
}

void Board::find_stores()
{
    const std::lock_guard guard(lock_);
    cpld_->find_stores([this](uint32_t offset, uint8_t before) { stored(offset, before); });
}

std::vector<uint8_t> Board::registers()
{
    const std::lock_guard guard(lock_);
    std::vector<uint8_t> all(CPLD_WINDOW_SIZE);
    for (uint32_t offset = 0; offset < all.size(); ++offset) {
        all[offset] = cpld_->get(offset);
    }
    return all;
}

// What follows from the load comes after it.
std::vector<uint8_t> Board::load(uint32_t offset)
{
    const std::lock_guard guard(lock_);
    std::vector<uint8_t> seen = registers();
    loaded(offset);
    return seen;
}

void Board::store(uint32_t offset, uint8_t value)
{
    const std::lock_guard guard(lock_);
    const uint8_t before = cpld_->get(offset);
    cpld_->set(offset, value);
    stored(offset, before);
}

void Board::slept(uint64_t duration_us)
{
    const std::lock_guard guard(lock_);
    synchronise();
    trace.add(event(Operation::sleep, "", 0, duration_us));
    clock.advance_us(duration_us);
}

int Board::run(const std::vector<std::string> &command, const std::function<int()> &really)
{
    std::unique_lock guard(lock_);
    synchronise();
    std::string line;
    for (const std::string &word : command) {
        line += (line.empty() ? "" : " ") + word;
    }
    Event event = this->event(Operation::run, std::move(line), 0, 0);
    const Fault *fault = faults.strike(event.device, Operation::run, 0);
    if (fault != nullptr) {
        const bool started = fault->kind != Fault::Kind::error;
        return static_cast<int>(
            finish(std::move(event), started ? static_cast<long>(fault->value) : -1));
    }
    if (Modules::owns(command)) {
        // A wait status carries the exit code in its second byte.
        return static_cast<int>(finish(std::move(event), modules_.run(command) << 8));
    }
    guard.unlock();
    const int status = really();
    guard.lock();
    return static_cast<int>(finish(std::move(event), status));
}

long Board::get_time(timeval *time, struct timezone *zone)
{
    const std::lock_guard guard(lock_);
    return wall_clock_.get(time, zone);
}

long Board::set_time(const timeval *time, const struct timezone *zone)
{
    const std::lock_guard guard(lock_);
    synchronise();
    Event event = this->event(Operation::set_time, "wall-clock", 0, 0);
    const Fault *fault = faults.strike(event.device, Operation::set_time, 0);
    return finish(std::move(event), fault != nullptr ? -static_cast<long>(fault->value)
                                                     : wall_clock_.set(time, zone));
}

std::map<std::string, size_t> Board::open_paths() const
{
    std::map<std::string, size_t> open = open_paths_;
    std::erase_if(open, [](const auto &path) { return path.second == 0; });
    return open;
}

void Board::synchronise()
{
    const std::lock_guard guard(lock_);
    if (!stores_are_watched_) {
        find_stores();
    }
    clock.run_due();
}

void Board::before_fork()
{
    lock_.lock();
}

void Board::after_fork_in_parent()
{
    lock_.unlock();
}

void Board::after_fork_in_child()
{
    new (&lock_) std::recursive_mutex;
}

void Board::note(Operation operation, std::string device)
{
    const std::lock_guard guard(lock_);
    trace.add(event(operation, std::move(device), 0, 0));
}

} // namespace virtual_board
