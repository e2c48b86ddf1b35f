#include "virtual_board/board.h"

#include <string.h>

#include <algorithm>
#include <array>
#include <functional>

#include "board_hal_cpld.h"
#include "virtual_board/i2c_dev.h"

namespace virtual_board {

namespace {

// A node that opens and does nothing else.
class BareNode : public Device {
public:
    using Device::Device;
};

// Everything below these is the board's; a name is matched up to its number.
constexpr std::string_view board_devices[] = {
    "/dev/ipmc_", "/dev/i2c-", "/dev/rtc", "/dev/spear_adc", "/dev/spi", "/dev/ttyS", "/dev/mtd",
};
constexpr std::string_view board_trees[] = {Gpio::root, "/ko/"};

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

// Longest piece of a transfer that a trace keeps.
constexpr size_t trace_max = 512;

} // namespace

Board::Board(const Personality &personality, Clock::Mode mode)
    : clock(mode), cpld_(std::make_shared<Cpld>()), fpga_(std::make_shared<Fpga>(clock)),
      host_(std::make_unique<Host>(clock, *cpld_, *fpga_)), cpus_(*cpld_), disks_(clock, *cpld_),
      leds_(*cpld_), bios_switch_(*cpld_), slot_(*fpga_),
      fpga_i2c_(*fpga_, clock, {&i2c_[0], &i2c_[1]}), raid_expander_(std::make_shared<Pca9555>()),
      inlet_sensor_(std::make_shared<TemperatureSensor>()),
      peci_bridge_(std::make_shared<PeciBridge>())
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
    plug_chips();
    if (!personality.raid_card_fitted) {
        i2c_[2].unplug(raid_expander_address);
    }
    attach("/dev/i2c-0", std::make_shared<I2cDev>("i2c-0", 0, i2c_[2]));
    attach("/dev/rtc", std::make_shared<BareNode>("rtc"));
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
        i2c_[channel].plug(eeprom_address, eeproms_[channel]);
    }
    i2c_[1].plug(peci_bridge_address, peci_bridge_);
    raid_expander_->set_input(0, raid_card_straps);
    i2c_[2].plug(raid_expander_address, raid_expander_);
    i2c_[2].plug(inlet_sensor_address, inlet_sensor_);
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
    nodes_[path] = std::move(device);
}

bool Board::owns(std::string_view path)
{
    const auto begins = [path](std::string_view prefix) { return path.starts_with(prefix); };
    return std::any_of(std::begin(board_devices), std::end(board_devices), begins) ||
           std::any_of(std::begin(board_trees), std::end(board_trees), begins);
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
    if (!opened->device) {
        return finish(std::move(event), -ENOENT);
    }
    const Fault *fault = faults.strike(event.device, Operation::open, event.address);
    const long result =
        fault != nullptr ? -static_cast<long>(fault->value) : opened->device->open(*opened);
    if (result >= 0) {
        ++open_files_;
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
    return finish(event(Operation::close, file, 0, 0), 0);
}

// One transfer with the faults that strike it. `answers` tells a read, whose
// buffer holds the answer afterwards.
long Board::move(OpenFile &file, Event &event, size_t count, bool answers, void *buffer,
                 const std::function<long(size_t)> &transfer)
{
    const Fault *fault = faults.strike(event.device, event.operation, event.address);
    if (fault == nullptr) {
        return transfer(count);
    }
    switch (fault->kind) {
    case Fault::Kind::error:
        return -static_cast<long>(fault->value);
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
        const long result = transfer(count);
        const auto bit = static_cast<size_t>(fault->value);
        if (answers && result > 0 && bit / 8 < static_cast<size_t>(result)) {
            static_cast<uint8_t *>(buffer)[bit / 8] ^= static_cast<uint8_t>(1U << bit % 8);
        }
        return result;
    }
    case Fault::Kind::delay:
        clock.advance_us(static_cast<uint64_t>(fault->value));
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
    event.bytes = bytes_of(buffer, std::min(file.device->request_length(buffer, count), trace_max));
    const long result = move(file, event, count, true, buffer, [&](size_t allowed) {
        return file.device->read(file, buffer, allowed);
    });
    if (result > 0 && result <= 9999) {
        // Register reads answer four bytes into a call that asked for one.
        event.answer = bytes_of(buffer, std::min(static_cast<size_t>(result), trace_max));
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
    const long result = move(file, event, count, false, nullptr, [&](size_t allowed) {
        return file.device->write(file, buffer, allowed);
    });
    return finish(std::move(event), result);
}

long Board::ioctl(OpenFile &file, uint32_t request, void *argument)
{
    const std::lock_guard guard(lock_);
    synchronise();
    Event event = this->event(Operation::ioctl, file, request, 0);
    event.bytes = file.device->request_record(request, argument);
    bool reached = false;
    const long result = move(file, event, 0, false, nullptr, [&](size_t) {
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
    const Fault *fault = faults.strike(event.device, Operation::seek, event.address);
    const long long result = fault == nullptr ? file.device->seek(file, offset, whence)
                             : fault->kind == Fault::Kind::error ? -fault->value
                                                                 : fault->value;
    event.result = result;
    trace.add(std::move(event));
    return result;
}

long Board::map(OpenFile &file, size_t length, Mapping &mapping)
{
    const std::lock_guard guard(lock_);
    synchronise();
    Event event = this->event(Operation::map, file, 0, length);
    const Fault *fault = faults.strike(event.device, Operation::map, 0);
    if (fault == nullptr) {
        return finish(std::move(event), file.device->map(file, length, mapping));
    }
    if (fault->kind == Fault::Kind::result) {
        mapping.forced_address = static_cast<uintptr_t>(fault->value);
        return finish(std::move(event), 0);
    }
    return finish(std::move(event), -static_cast<long>(fault->value));
}

void Board::unmapped(const std::string &device, size_t length)
{
    const std::lock_guard guard(lock_);
    synchronise();
    Event event = this->event(Operation::unmap, device, 0, length);
    trace.add(std::move(event));
}

long Board::status(const std::string &path, struct stat &status)
{
    const std::lock_guard guard(lock_);
    const std::shared_ptr<Device> device = find(path);
    if (!device) {
        return -ENOENT;
    }
    status = {};
    device->describe(status);
    return 0;
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

void Board::slept(uint64_t duration_us)
{
    const std::lock_guard guard(lock_);
    synchronise();
    trace.add(event(Operation::sleep, "", 0, duration_us));
    clock.advance_us(duration_us);
}

void Board::synchronise()
{
    const std::lock_guard guard(lock_);
    if (!stores_are_watched_) {
        cpld_->find_stores([this](uint32_t offset, uint8_t before) { stored(offset, before); });
    }
    clock.run_due();
}

void Board::note(Operation operation, std::string device)
{
    const std::lock_guard guard(lock_);
    trace.add(event(operation, std::move(device), 0, 0));
}

} // namespace virtual_board
