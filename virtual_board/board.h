// The virtual board: its devices, the paths that lead to them, its faults and
// its trace.
#ifndef VIRTUAL_BOARD_BOARD_H
#define VIRTUAL_BOARD_BOARD_H

#include <stddef.h>
#include <stdint.h>
#include <sys/stat.h>

#include <array>
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
#include "virtual_board/slot.h"
#include "virtual_board/sol.h"
#include "virtual_board/spi.h"
#include "virtual_board/trace.h"
#include "virtual_board/uart.h"
#include "virtual_board/wall_clock.h"

namespace virtual_board {

class Board {
public:
    explicit Board(const Personality &personality = {},
                   Clock::Mode mode = Clock::Mode::virtual_time);
    ~Board();

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

    // Puts a device at a path, or takes it away.
    void attach(const std::string &path, std::shared_ptr<Device> device);
    void detach(const std::string &path) { nodes_.erase(path); }

    // Runs a piece of the backend with the board standing still.
    template <typename Action> auto act(Action &&action)
    {
        const std::lock_guard guard(lock_);
        return std::forward<Action>(action)();
    }

    // Bus face: what the shim calls. Results are a driver's (see Device).

    // Whether the path is in the board's name space: no such path ever reaches
    // the machine that the board runs on.
    static bool owns(std::string_view path);
    long open(const std::string &path, int flags, std::shared_ptr<OpenFile> &file);
    long close(OpenFile &file);
    long read(OpenFile &file, void *buffer, size_t count);
    long write(OpenFile &file, const void *buffer, size_t count);
    // A call on a device with a real node behind it: `transfer` makes it, without
    // the board's lock, because it may wait. A fault here is an error or, of any
    // other kind, a result.
    long pass(OpenFile &file, Operation operation, uint32_t address, uint64_t count,
              const std::function<long()> &transfer);
    long ioctl(OpenFile &file, uint32_t request, void *argument);
    long long seek(OpenFile &file, long long offset, int whence);
    long map(OpenFile &file, size_t length, Mapping &mapping);
    void unmapped(const std::string &device, size_t length);
    // Where in the program a device's memory lies, and that it goes. Of the
    // program's other memory the board knows nothing.
    void mapped_at(const void *address, const OpenFile &file);
    void unmapped_at(const void *address, size_t length);
    long status(const std::string &path, struct stat &status);
    long status(const OpenFile &file, struct stat &status);
    // A control socket for the network port; the result is 0 or an error.
    long control_socket();
    long ethtool(void *record);
    // Whether each load and store of a mapped register is reported; if not, the
    // board looks for changes whenever it is synchronised.
    void stores_are_watched(bool watched) { stores_are_watched_ = watched; }
    // A load or a store of a mapped register, as it happens.
    void loaded(uint32_t offset);
    void stored(uint32_t offset, uint8_t before);
    // Finds stores that were not reported one by one.
    void find_stores();
    // A sleep; in real time the caller has slept.
    void slept(uint64_t duration_us);
    // A program that is started: the board's own runs here, others through
    // `really`. The result is a wait status, or -1 if it cannot be started.
    int run(const std::vector<std::string> &command, const std::function<int()> &really);
    long get_time(timeval *time, struct timezone *zone);
    long set_time(const timeval *time, const struct timezone *zone);
    // Finds unwatched stores and runs what is due; called between the program's
    // accesses.
    void synchronise();
    // Takes note of something that is no access, such as a lock.
    void note(Operation operation, std::string device);

    // Opens not yet closed.
    size_t open_files() const { return open_files_; }

    // For fork: the board's lock is held over it and free in both processes. The
    // child's is made anew, since the owner's thread has another number there.
    void before_fork();
    void after_fork_in_parent();
    void after_fork_in_child();

private:
    void fit(const Personality &personality);
    void plug_chips();
    std::shared_ptr<Device> find(std::string_view path);
    Event event(Operation operation, std::string device, uint32_t address, uint64_t count) const;
    Event event(Operation operation, const OpenFile &file, uint32_t address, uint64_t count) const;
    long finish(Event &&event, long result);
    void attach_flash(const FlashLayout &layout);
    long status_of(const Device &device, struct stat &status);
    const Fault *strike(const Event &event, std::optional<uint64_t> place = {});
    long move(OpenFile &file, Event &event, const Fault *fault, size_t count, void *answer,
              const std::function<long(size_t)> &transfer);

    std::recursive_mutex lock_;
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
    NorFlash flash_;
    NorFlash bios_flash_;
    NetworkPort network_;
    std::map<std::string, std::shared_ptr<Device>, std::less<>> nodes_;
    std::set<std::string, std::less<>> gone_; // devices that a fault took away
    std::map<const void *, std::shared_ptr<Device>> mappings_;
    size_t open_files_ = 0;
    bool stores_are_watched_ = false;
};

} // namespace virtual_board

#endif
