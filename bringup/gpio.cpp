// GPIO lines through sysfs, and the heartbeat LED on GPIO 95.

#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include "board_hal.h"
#include "bringup/gpio_files.h"
#include "platform/vos.h"
#include "support/mutex_guard.h"

using namespace board_hal;

namespace {

constexpr char heartbeat_direction_path[] = "/sys/class/gpio/gpio95/direction";
constexpr char heartbeat_value_path[] = "/sys/class/gpio/gpio95/value";

pthread_mutex_t heartbeat_led_lock = PTHREAD_MUTEX_INITIALIZER;
// The level that the next blink does not write.
uint8_t heartbeat_led_state;

// A GPIO file, open from the start, closed with the scope.
class GpioFile {
public:
    GpioFile(const char *path, const char *mode)
    {
        char name[128] = {};
        vos_snprintf(name, sizeof(name), "%s", path);
        file_ = fopen(name, mode);
        if (file_ != nullptr) {
            rewind(file_);
        }
    }
    ~GpioFile()
    {
        if (file_ != nullptr) {
            fclose(file_);
        }
    }

    GpioFile(const GpioFile &) = delete;
    GpioFile &operator=(const GpioFile &) = delete;

    explicit operator bool() const { return file_ != nullptr; }
    // Without the terminator. The result is not looked at: only a file that
    // does not open is an error.
    void write(const char *text) { fwrite(text, 1, strlen(text), file_); }
    void read(char *level) { fread(level, 1, 1, file_); }

private:
    FILE *file_;
};

// How a kind of GPIO file is opened, and what is said when that fails.
struct GpioFileKind {
    const char *mode;
    const char *missing_argument;
    const char *open_failed;
};

constexpr GpioFileKind export_file = {"ab", "export file is null or str is null.",
                                      "can not open export file."};
constexpr GpioFileKind line_file = {"rb+", "gpionum file is null or str is null.",
                                    "can not open gpionum file."};

template <typename Data, typename Access>
int access_file(const GpioFileKind &kind, const char *path, Data *data, Access access)
{
    if (path == nullptr || data == nullptr) {
        puts(kind.missing_argument);
        return -1;
    }
    GpioFile file(path, kind.mode);
    if (!file) {
        puts(kind.open_failed);
        return -1;
    }
    access(file, data);
    return 0;
}

void write_text(GpioFile &file, const char *text)
{
    file.write(text);
}

void read_level(GpioFile &file, char *level)
{
    file.read(level);
}

} // namespace

namespace board_hal {

int gpio_export_write(const char *path, const char *text)
{
    return access_file(export_file, path, text, write_text);
}

int gpio_line_write(const char *path, const char *text)
{
    return access_file(line_file, path, text, write_text);
}

int gpio_line_read(const char *path, char *level)
{
    return access_file(line_file, path, level, read_level);
}

} // namespace board_hal

extern "C" {

int gpio_init(void)
{
    // A board without the lines still starts: the results do not count.
    gpio_export_write(gpio_export_path, "95");
    gpio_line_write(heartbeat_direction_path, "out");
    return 0;
}

void gpio_clean(void) {}

int set_heart_beat_led(const char *level)
{
    const MutexGuard guard(heartbeat_led_lock);
    gpio_line_write(heartbeat_value_path, level);
    return 0;
}

int blink_heart_beat_led(void)
{
    // Read and inverted without the lock: meant for one periodic caller.
    const int result = set_heart_beat_led(heartbeat_led_state != 0 ? "1" : "0");
    heartbeat_led_state = heartbeat_led_state == 0 ? 1 : 0;
    return result;
}

long get_file_length(const char *path)
{
    struct stat status;
    return stat(path, &status) == 0 ? static_cast<long>(status.st_size) : -1;
}

// Not fitted on this board.

int gpio_port_config(uint32_t)
{
    return 0;
}

int dump_gpio_regester(uint32_t, uint8_t *, int32_t)
{
    return 0;
}

int get_pcmcia_input_port(uint32_t, uint32_t, uint8_t *)
{
    return 0;
}

int get_neighbors_exist(uint32_t, uint8_t *)
{
    return 0;
}

int reset_kvm_module(uint8_t)
{
    return 0;
}

int get_base_type(uint32_t, uint8_t *)
{
    return 0;
}

int get_pm_present(uint32_t, uint8_t *)
{
    return 0;
}

} // extern "C"
