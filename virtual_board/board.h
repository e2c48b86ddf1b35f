// The virtual board: its devices, the paths that lead to them, its faults and
// its trace.
#ifndef VIRTUAL_BOARD_BOARD_H
#define VIRTUAL_BOARD_BOARD_H

#include <stddef.h>
#include <stdint.h>
#include <sys/stat.h>

#include <array>
#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "virtual_board/adc.h"
#include "virtual_board/bios_switch.h"
#include "virtual_board/black_box.h"
#include "virtual_board/bus.h"
#include "virtual_board/chips/eeprom_24c.h"
#include "virtual_board/chips/pca9555.h"
#include "virtual_board/chips/peci_bridge.h"
#include "virtual_board/chips/temperature_sensor.h"
#include "virtual_board/clock.h"
#include "virtual_board/cpld.h"
#include "virtual_board/cpus.h"
#include "virtual_board/device.h"
#include "virtual_board/disks.h"
#include "virtual_board/environment_partition.h"
#include "virtual_board/fault.h"
#include "virtual_board/fpga.h"
#include "virtual_board/fpga_i2c.h"
#include "virtual_board/gpio.h"
#include "virtual_board/host.h"
#include "virtual_board/i2c_bus.h"
#include "virtual_board/ipmb.h"
#include "virtual_board/leds.h"
#include "virtual_board/modules.h"
#include "virtual_board/mtd_device.h"
#include "virtual_board/network_port.h"
#include "virtual_board/nor_flash.h"
#include "virtual_board/personality.h"
#include "virtual_board/rtc.h"
#include "virtual_board/serial_switch.h"
#include "virtual_board/slot.h"
#include "virtual_board/sol.h"
#include "virtual_board/spi.h"
#include "virtual_board/trace.h"
#include "virtual_board/uart.h"
#include "virtual_board/wall_clock.h"

namespace virtual_board {

class Board : public Bus {
public:
    explicit Board(const Personality &personality = {},
                   Clock::Mode mode = Clock::Mode::virtual_time);
    ~Board() override;

    Board(const Board &) = delete;
    Board &operator=(const Board &) = delete;

    // Backend face. While programs run in other threads, go through act().
    Clock clock;
    Trace trace;
    FaultPlan faults;
    Cpld &cpld() { return *cpld_; }
    Fpga &fpga() { return *fpga_; }
    EnvironmentPartition &environment() { return *environment_; }
    Gpio &gpio() { return gpio_; }
    Host &host() { return *host_; }
    Ipmb &ipmb() { return ipmb_; }
    Sol &sol() { return sol_; }
    BlackBox &black_box() { return black_box_; }
    Rtc &rtc() { return *rtc_; }
    Adc &adc() { return *adc_; }
    Spi &spi() { return *spi_; }
    Uart &uart() { return *uart_; }
    SerialSwitch &serial_switch() { return serial_switch_; }
    Modules &modules() { return modules_; }
    WallClock &wall_clock() { return wall_clock_; }
    Cpus &cpus() { return cpus_; }
    Disks &disks() { return disks_; }
    const Leds &leds() const { return leds_; }
    BiosSwitch &bios_switch() { return bios_switch_; }
    Slot &slot() { return slot_; }
    // Channels 0 and 1 belong to the FPGA, 2 is /dev/i2c-0.
    I2cBus &i2c(unsigned channel);
    FpgaI2c &fpga_i2c() { return fpga_i2c_; }
    Pca9555 &raid_expander() { return *raid_expander_; }
    TemperatureSensor &inlet_sensor() { return *inlet_sensor_; }
    PeciBridge &peci_bridge() { return *peci_bridge_; }
    // On channels 0 and 2.
    Eeprom24c &eeprom(unsigned channel);
    // The controller's own flash, and the host's BIOS flash.
    NorFlash &flash() { return flash_; }
    NorFlash &bios_flash() { return bios_flash_; }
    NetworkPort &network() { return network_; }

    const Personality &personality() const { return personality_; }

    // The chips that this kind of board is built with, plugged in or not.
    struct BoardChip {
        std::string name;
        unsigned channel;
        uint8_t address;
        std::shared_ptr<I2cChip> chip;
    };
    const std::vector<BoardChip> &chips() const { return chips_; }

    // Puts a device at a path, or takes it away.
    void attach(const std::string &path, std::shared_ptr<Device> device);
    void detach(const std::string &path) { nodes_.erase(path); }

    // The window and its registers as a program in another process has them
    // accessed: at once, with what follows from it.
    std::vector<uint8_t> registers();
    std::vector<uint8_t> load(uint32_t offset);
    void store(uint32_t offset, uint8_t value);

    // While this is held, the board stands still for everyone else.
    std::unique_lock<std::recursive_mutex> hold() { return std::unique_lock(lock_); }
    // Runs a piece of the backend with the board standing still.
    template <typename Action> auto act(Action &&action)
    {
        const std::lock_guard guard(lock_);
        return std::forward<Action>(action)();
    }

    // Bus face: what the shim calls, each with the board's lock held; real calls
    // and programs run without it, because they may wait.
    long open(const std::string &path, int flags, std::shared_ptr<OpenFile> &file) override;
    long close(OpenFile &file) override;
    long read(OpenFile &file, void *buffer, size_t count) override;
    long write(OpenFile &file, const void *buffer, size_t count) override;
    long pread(OpenFile &file, void *buffer, size_t count, long long offset) override;
    long pwrite(OpenFile &file, const void *buffer, size_t count, long long offset) override;
    long pass(OpenFile &file, Operation operation, uint32_t address, uint64_t count,
              const std::function<long()> &transfer) override;
    long ioctl(OpenFile &file, uint32_t request, void *argument) override;
    long long seek(OpenFile &file, long long offset, int whence) override;
    long status(const std::string &path, struct stat &status) override;
    long status(const OpenFile &file, struct stat &status) override;
    void stores_are_watched(bool watched) override { stores_are_watched_ = watched; }
    long map(OpenFile &file, size_t length, Mapping &mapping) override;
    void unmapped(const std::string &device, size_t length) override;
    void mapped_at(const void *address, const OpenFile &file) override;
    void unmapped_at(const void *address, size_t length) override;
    void loaded(uint32_t offset) override;
    void stored(uint32_t offset, uint8_t before) override;
    void find_stores() override;
    void synchronise() override;
    const std::string &network_port() const override { return network_.name(); }
    long control_socket() override;
    long ethtool(void *record) override;
    bool time_is_virtual() const override { return clock.mode() == Clock::Mode::virtual_time; }
    void slept(uint64_t duration_us) override;
    long get_time(timeval *time, struct timezone *zone) override;
    long set_time(const timeval *time, const struct timezone *zone) override;
    int run(const std::vector<std::string> &command, const std::function<int()> &really) override;
    // The board's lock is held over a fork. The child's is made anew, since the
    // owner's thread has another number there.
    void before_fork() override;
    void after_fork_in_parent() override;
    void after_fork_in_child() override;

    // Takes note of something that is no access, such as a lock.
    void note(Operation operation, std::string device);

    // Opens not yet closed.
    size_t open_files() const { return open_files_; }
    std::map<std::string, size_t> open_paths() const;
    const std::map<std::string, std::shared_ptr<Device>, std::less<>> &nodes() const
    {
        return nodes_;
    }

private:
    void fit(const Personality &personality);
    void plug_chips();
    std::shared_ptr<Device> find(std::string_view path);
    Event event(Operation operation, std::string device, uint32_t address, uint64_t count) const;
    Event event(Operation operation, const OpenFile &file, uint32_t address, uint64_t count) const;
    long finish(Event &&event, long result);
    void attach_flash(const FlashLayout &layout);
    std::string list_flash() const;
    long status_of(const Device &device, struct stat &status);
    const Fault *strike(const Event &event, std::optional<uint64_t> place = {});
    long move(OpenFile &file, Event &event, const Fault *fault, size_t count, void *answer,
              const std::function<long(size_t)> &transfer);

    std::recursive_mutex lock_;
    const Personality personality_;
    std::shared_ptr<Cpld> cpld_;
    std::shared_ptr<Fpga> fpga_;
    std::shared_ptr<EnvironmentPartition> environment_ = std::make_shared<EnvironmentPartition>();
    Gpio gpio_;
    std::unique_ptr<Host> host_;
    Ipmb ipmb_;
    Sol sol_;
    BlackBox black_box_;
    std::shared_ptr<Rtc> rtc_;
    std::shared_ptr<Adc> adc_;
    std::shared_ptr<Spi> spi_;
    std::shared_ptr<Uart> uart_;
    SerialSwitch serial_switch_;
    Modules modules_;
    WallClock wall_clock_;
    Cpus cpus_;
    Disks disks_;
    Leds leds_;
    BiosSwitch bios_switch_;
    Slot slot_;
    std::array<I2cBus, 3> i2c_;
    FpgaI2c fpga_i2c_;
    std::shared_ptr<Pca9555> raid_expander_;
    std::shared_ptr<TemperatureSensor> inlet_sensor_;
    std::shared_ptr<PeciBridge> peci_bridge_;
    std::map<unsigned, std::shared_ptr<Eeprom24c>> eeproms_; // by channel
    std::vector<BoardChip> chips_;
    NorFlash flash_;
    NorFlash bios_flash_;
    NetworkPort network_;
    std::map<std::string, std::shared_ptr<Device>, std::less<>> nodes_;
    std::set<std::string, std::less<>> gone_; // devices that a fault took away
    std::map<const void *, std::shared_ptr<Device>> mappings_;
    size_t open_files_ = 0;
    std::map<std::string, size_t> open_paths_;
    std::atomic<bool> stores_are_watched_ = false; // told at each mapping, without the lock
};

} // namespace virtual_board

#endif
