// What update services share: progress and mode words, versions, the clock.

#include <atomic>
#include <errno.h>
#include <stdint.h>
#include <sys/time.h>

#include "board_hal.h"
#include "platform/vos.h"

namespace {

constexpr uint8_t library_major = 1;
constexpr uint8_t library_minor = 0;
constexpr char build_date[] = "Dec 19 2016";
constexpr char build_time[] = "17:58:08";
constexpr uint32_t board_count = 8;
constexpr uint8_t no_version = 255;

// Two plain words each, without a lock: either is read and written whole, the
// pair is not.
class WordPair {
public:
    void set(uint32_t first, uint32_t second)
    {
        first_.store(first, std::memory_order_relaxed);
        second_.store(second, std::memory_order_relaxed);
    }
    void get(uint32_t *first, uint32_t *second) const
    {
        *first = first_.load(std::memory_order_relaxed);
        *second = second_.load(std::memory_order_relaxed);
    }

private:
    std::atomic<uint32_t> first_ = 0;
    std::atomic<uint32_t> second_ = 0;
};

constinit WordPair upgrade_status; // progress in percent, state
constinit WordPair upgrade_mode;   // both without a meaning to the library

// Where the version of a logic unit comes from.
struct LogicUnit {
    uint32_t unit;
    uint32_t type;
    int (*get_version)(uint8_t *version);
};
constexpr LogicUnit logic_units[] = {
    {0, 0, get_cpld_version},
    {0, 1, get_fpga_version},
};

} // namespace

extern "C" {

void set_upgrade_status(uint32_t progress, uint32_t state)
{
    upgrade_status.set(progress, state);
}

int get_upgrade_status(uint32_t *progress, uint32_t *state)
{
    upgrade_status.get(progress, state);
    return 0;
}

void set_upgrade_mode(uint32_t mode, uint32_t value)
{
    upgrade_mode.set(mode, value);
}

int get_upgrade_mode(uint32_t *mode, uint32_t *value)
{
    upgrade_mode.get(mode, value);
    return 0;
}

int get_drv_lib_version(uint8_t *major, uint8_t *minor)
{
    *major = library_major;
    *minor = library_minor;
    return 0;
}

int get_drv_build_time(char *date, uint32_t date_size, char *time, uint32_t time_size)
{
    // A text that does not fit is not copied at all, and that is no error.
    vos_memcpy(date, date_size, build_date, sizeof(build_date));
    vos_memcpy(time, time_size, build_time, sizeof(build_time));
    return 0;
}

int get_max_board_num(uint32_t *count)
{
    *count = board_count;
    return 0;
}

int set_cur_time_stamp(uint32_t seconds)
{
    struct timeval now = {};
    struct timezone zone = {};
    gettimeofday(&now, &zone);
    now.tv_sec = static_cast<time_t>(seconds);
    const int result = settimeofday(&now, &zone);
    if (result != 0 && errno == EINVAL) {
        // Newer C libraries refuse the time and the zone in one call. The time
        // alone leaves the kernel's zone as it is, which is what is wanted.
        return settimeofday(&now, nullptr);
    }
    return result;
}

int get_unit_logic_version(uint32_t unit, uint32_t type, uint8_t *version)
{
    for (const LogicUnit &known : logic_units) {
        if (known.unit == unit && known.type == type && known.get_version(version) == 0) {
            return 0;
        }
    }
    *version = no_version;
    return -1;
}

int get_lcd_upgrade_state(void)
{
    return -1;
}

int check_spi_bios_guid(void)
{
    return 0;
}

} // extern "C"
