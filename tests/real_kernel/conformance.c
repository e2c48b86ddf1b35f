/*
 * Drives the library through a board's life on a real kernel, on the public
 * header alone. The board is the module beside this file; what its drivers were
 * asked for, and what the host does, goes through /proc/test_board.
 * Prints a line for each check, and fails if one of them does.
 */
#include <board_hal.h>
#include <errno.h>
#include <fcntl.h>
#include <net/if.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#define IMAGE "/tmp/image"
#define IMAGE_SIZE 100000
#define PART_SIZE (256 * 1024)
#define ENVIRONMENT_SIZE 8192
#define EEPROM 0xA0
#define SAID_MAX 16384

static uint8_t image[IMAGE_SIZE];
static unsigned checks;
static unsigned failures;
static char said[SAID_MAX];
static int console = -1;
static int listener = -1;

/* The library's words go into a file while it is driven. */
static void listen_to_library(void)
{
    fflush(stdout);
    console = dup(STDOUT_FILENO);
    listener = open("/tmp/said", O_RDWR | O_CREAT | O_TRUNC, 0600);
    dup2(listener, STDOUT_FILENO);
}

/* Takes what the library said since the last call. */
static const char *take_said(void)
{
    fflush(stdout);
    lseek(listener, 0, SEEK_SET);
    ssize_t length = read(listener, said, sizeof(said) - 1);
    said[length > 0 ? length : 0] = '\0';
    if (ftruncate(listener, 0) != 0) {
        abort();
    }
    lseek(listener, 0, SEEK_SET);
    return said;
}

__attribute__((format(printf, 1, 2))) static void report(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    vdprintf(console, format, arguments);
    va_end(arguments);
}

static int check(int good, const char *what)
{
    ++checks;
    failures += !good;
    report("%s %s\n", good ? "ok  " : "FAIL", what);
    return good;
}

static void check_number(long got, long wanted, const char *what)
{
    if (!check(got == wanted, what)) {
        report("     got %ld, wanted %ld\n", got, wanted);
    }
}

static void report_text(const char *name, const char *text)
{
    report("     %s: \"", name);
    for (; *text != '\0'; ++text) {
        const char *plain = *text == '\n' ? "\\n" : *text == '\r' ? "\\r" : NULL;
        if (plain != NULL) {
            report("%s", plain);
        } else {
            report(*text >= ' ' ? "%c" : "\\%03o", *text);
        }
    }
    report("\"\n");
}

static void check_text(const char *got, const char *wanted, const char *what)
{
    if (!check(strcmp(got, wanted) == 0, what)) {
        report_text("got", got);
        report_text("wanted", wanted);
    }
}

static size_t read_file(const char *path, void *buffer, size_t size)
{
    const int file = open(path, O_RDONLY);
    const ssize_t length = file < 0 ? 0 : read(file, buffer, size);
    if (file >= 0) {
        close(file);
    }
    return length > 0 ? (size_t)length : 0;
}

static int write_file(const char *path, const void *data, size_t size)
{
    const int file = open(path, O_WRONLY | O_CREAT, 0600);
    const ssize_t length = file < 0 ? -1 : write(file, data, size);
    if (file >= 0) {
        close(file);
    }
    return length == (ssize_t)size;
}

static void bench(const char *command)
{
    if (!write_file("/proc/test_board/control", command, strlen(command))) {
        check(0, command);
    }
}

/* What the drivers were asked for since the last call. */
static const char *take_trace(void)
{
    static char trace[32768];
    trace[read_file("/proc/test_board/trace", trace, sizeof(trace) - 1)] = '\0';
    write_file("/proc/test_board/trace", "clear", 5);
    return trace;
}

static uint8_t cpld_register(unsigned offset)
{
    uint8_t registers[256] = {0};
    read_file("/proc/test_board/cpld", registers, sizeof(registers));
    return registers[offset];
}

static long read_number(const char *path)
{
    char text[32] = "";
    read_file(path, text, sizeof(text) - 1);
    return strtol(text, NULL, 10);
}

static void start_up(void)
{
    take_trace();
    check_number(ipmc_driver_init(), 0, "ipmc_driver_init");
    check_text(take_said(), "", "ipmc_driver_init says nothing");
    check_text(take_trace(), "gpio 95 out 0\n", "ipmc_driver_init exports GPIO 95 as an output");
    check_number(product_id, 0x02, "product id read from the mapped window");
    check_number(fpga_Init(), -4, "fpga_Init a second time");
    check_text(take_said(), "fpga_init: fpga device already opened\n", "fpga_Init says so");
}

static void drive_cpld(void)
{
    uint8_t value = 0;
    uint8_t faults = 0;
    uint8_t registers[256] = {0};

    check_number(set_cpld_test_reg_val(0x5A), 0, "set_cpld_test_reg_val");
    check_number(cpld_register(0x06), 0x5A, "the store reached the CPLD");
    bench("register 06 c3");
    check_number(get_cpld_test_reg_val(&value), 0, "get_cpld_test_reg_val");
    check_number(value, 0xC3, "the load sees what the CPLD changed");
    check_number(heartbeat_to_cpld(), 0, "heartbeat_to_cpld");
    check_number(cpld_register(0xEC), 0x04, "the heartbeat bit reached the CPLD");
    check_number(dump_cpld_regester(registers, 256), 0, "dump_cpld_regester");
    check(registers[0x03] == 0x02 && registers[0x06] == 0xC3, "the dump holds the registers");
    check_number(cpld_self_test(&faults), 0, "cpld_self_test");
    check_number(faults, 0, "cpld_self_test finds no fault");
    check_text(take_said(),
               "\r\nStart CPLD test..............................................."
               "[  \033[0;32mPass\033[0m   ]\r\n",
               "cpld_self_test says so");
    check_number(get_cpld_reg(257, &value), -1, "get_cpld_reg beyond the registers");
    check_text(take_said(), "get_cpld_reg reg 257 invalid\n", "get_cpld_reg says so");
}

static void program_cpld(void)
{
    take_trace();
    check_number(cpld_cmd(1, 0), 0, "cpld_cmd type 1");
    check_number(cpld_cmd(2, 6), 0, "cpld_cmd type 2, component 6");
    check(write_file("/tmp/program", image, 1000), "a program");
    check_number(load_cpld("/tmp/program", 0x105, 0, 0), 0, "load_cpld");
    check_text(take_trace(),
               "cpld ioctl 40046b02 78 00 00 00 81 00 00 00 + 120 + 00 43 05\n"
               "cpld ioctl 40046b01 86 00 00 00 81 00 00 00 + 134 + 00 43 06\n"
               "cpld ioctl 40046b01 e8 03 00 00 83 00 00 00 + 1000 + 00 43 05\n",
               "the records of the programs");
    take_said();
}

static void drive_fpga(void)
{
    uint8_t version = 0;
    uint32_t value = 0x12345678;
    uint32_t jiffies = 0;

    take_trace();
    check_number(fpga_start(), 0, "fpga_start");
    check_number(get_fpga_version(&version), 0, "get_fpga_version");
    check_number(version, 0x21, "the version word");
    check_number(set_fpga_com_state(7), 0, "set_fpga_com_state");
    check_number(set_fpga_regester(0x1C2, &value), 0, "set_fpga_regester");
    value = 0;
    check_number(get_fpga_regester(0x1C2, &value), 0, "get_fpga_regester");
    check_number((long)value, 0x12345678, "the register holds its value");
    check_number(get_jiffies(&jiffies), 0, "get_jiffies");
    check(jiffies != 0, "the driver's counter runs");
    check_number(clear_hardware_watchdog(), 0, "clear_hardware_watchdog");
    check_number(stop_hardware_watchdog(), 0, "stop_hardware_watchdog");
    check_number(reset_cpld_jtag(), 0, "reset_cpld_jtag");
    check_text(take_trace(),
               "fpga write 2: 80 07\n"
               "fpga write 1: 61 c2 01 78 56 34 12\n"
               "fpga read 1: 61 c2 01 00 00 00 00\n"
               "fpga ioctl 40046b07 0\n"
               "fpga ioctl 40046b08 0\n"
               "fpga ioctl 40046b09 0\n",
               "the records and requests to the FPGA");
    check_text(take_said(), "", "the FPGA operations say nothing");
}

static void use_reserved_ram(void)
{
    const uint8_t data[] = {1, 2, 3, 4};
    uint8_t got[4] = {0};

    take_trace();
    check_number(reserved_ram_write(1020, data, 4), 4, "reserved_ram_write");
    check_number(reserved_ram_read(1020, got, 4), 4, "reserved_ram_read");
    check(memcmp(got, data, 4) == 0, "the reserved RAM holds its bytes");
    check_text(take_trace(), "fpga write 5: 51 01 02 03 04\nfpga read 4: 51\n",
               "the records of the reserved RAM");
}

static void serve_host(void)
{
    const uint8_t request[] = {0x18, 0x01};
    const uint8_t answer[] = {0x1C, 0x01, 0x00};
    uint8_t status = 0;
    uint8_t message[100] = {0};

    take_trace();
    check_number(get_kcs_status(0, &status), 0, "get_kcs_status");
    check_number(status, 4, "KCS is idle");
    bench("kcs 18 01");
    get_kcs_status(0, &status);
    check_number(status, 1, "KCS has a request");
    check_number(kcs_write(answer, 3), -9, "kcs_write while KCS is not idle");
    check_number(kcs_read(message, 100), 2, "kcs_read");
    check(memcmp(message, request, 2) == 0, "the host's request");
    check_number(kcs_write(answer, 3), 5, "kcs_write");
    check_text(take_trace(),
               "fpga read 1: 32\n"
               "fpga read 1: 32\n"
               "fpga read 1: 32\n"
               "fpga read 100: 31\n"
               "fpga read 1: 32\n"
               "fpga write 5: 31 03 1c 01 00\n",
               "the records of KCS");
}

static void use_bt(void)
{
    uint8_t message[] = {0, 0, 0x10, 0x18, 0x01};
    uint8_t got[100] = {0};
    uint8_t status = 0;

    take_trace();
    check_number(bt_write(message, 5), 5, "bt_write");
    check_number(get_bt_status(0, &status), 0, "get_bt_status");
    check_number(status, 1, "BT has what came back");
    check_number(bt_write(message, 5), -9, "bt_write while BT is not idle");
    check_number(bt_read(got, 100), 3, "bt_read");
    check(memcmp(got, message + 2, 3) == 0, "the message that came back");
    check_text(take_trace(),
               "fpga read 1: 72\n"
               "fpga write 5: 71 03 10 18 01\n"
               "fpga read 1: 72\n"
               "fpga read 1: 72\n"
               "fpga read 100: 71\n",
               "the records of BT");
}

static void use_ipmb(void)
{
    const uint8_t message[] = {0x20, 0x18, 0xC8, 0x81};
    uint8_t got[254] = {0};
    uint8_t channel = 7;
    uint8_t address = 0;
    uint8_t enabled = 0;
    int32_t status = 7;
    char wanted[64];

    take_trace();
    check_number(set_ipmb_addr_config(0x24, 0), 0, "set_ipmb_addr_config");
    check_number(get_ipmb_addr_config(&address), 0, "get_ipmb_addr_config");
    check_number(address, 0x24, "the slave address");
    check_number(set_ipmb_enable(1, 1), 0, "set_ipmb_enable");
    check_number(get_ipmb_enable(1, &enabled), 0, "get_ipmb_enable");
    check_number(enabled, 2, "the enable bit");
    check_number(get_ipmb_status(1, &status), 0, "get_ipmb_status");
    check_number(status, 0, "no fault on the channel");
    check_number(ipmb_reset(1), 0, "ipmb_reset");
    check_number(ipmb_write(1, message, 4, 0x102), 64, "ipmb_write");
    check_number(ipmb_read(got, 254, &channel, 0x102), 4, "ipmb_read");
    check(channel == 1 && memcmp(got, message, 4) == 0, "the message that came back");
    check_text(take_trace(),
               "fpga write 1: 13 24\n"
               "fpga read 1: 13\n"
               "fpga write 4: 15 01 01 00\n"
               "fpga read 1: 15\n"
               "fpga read 1: 12 01\n"
               "fpga write 1: 14 01\n"
               "fpga write 64: 11 01 04 01 02 20 18 c8 81\n"
               "fpga read 254: 11 01 02 00\n",
               "the records of IPMB");
    take_said();
    errno = 0;
    check_number(ipmb_read(got, 254, &channel, 0), 0, "ipmb_read without a message");
    snprintf(wanted, sizeof(wanted), "ipmb_read return 0 0 %s\n", strerror(0));
    check_text(take_said(), wanted, "ipmb_read says so");
}

static void use_own_i2c(void)
{
    const uint8_t data[] = {0x01, 0x20, 'b', 'o', 'a', 'r', 'd'};
    const uint8_t offset[] = {0x01, 0x22};
    uint8_t buffer[7] = {0x01, 0x20};
    uint8_t got[3] = {0};

    take_trace();
    check_number(i2c_write(2, EEPROM, data, 7, 0), 5, "i2c_write on channel 2");
    check_number(i2c_read(2, EEPROM, buffer, 5, 0), 5, "i2c_read on channel 2");
    check(memcmp(buffer, data, 7) == 0, "the bytes behind the offset");
    check_number(i2c_write_read(2, EEPROM, offset, 2, got, 3, 0), 3, "i2c_write_read on channel 2");
    check(memcmp(got, "ard", 3) == 0, "the bytes of the write-read");
    check_text(take_trace(),
               "i2c 50 write 01 20 62 6f 61 72 64\n"
               "i2c 50 write 01 20\n"
               "i2c 50 read 5\n"
               "i2c 50 write 01 22\n"
               "i2c 50 read 3\n",
               "the messages on the bus");
    check_number(i2c_write(2, 0x42, data, 7, 0), -1, "i2c_write to no chip");
    check_text(take_trace(),
               "i2c 21 write 01 20 62 6f 61 72 64\n"
               "i2c 21 write 01 20 62 6f 61 72 64\n"
               "i2c 21 write 01 20 62 6f 61 72 64\n"
               "i2c 21 write 01 20 62 6f 61 72 64\n"
               "i2c 21 write 01 20 62 6f 61 72 64\n",
               "five attempts");
}

static void use_fpga_i2c(void)
{
    const uint8_t data[] = {0x02, 0x00, 0xA5, 0x5A};
    uint8_t got[2] = {0};
    uint32_t status = 1;

    take_trace();
    check_number(i2c_write(0, EEPROM, data, 4, 3), 4, "i2c_write on channel 0");
    check_number(i2c_write_read(0, EEPROM, data, 2, got, 2, 3), 2, "i2c_write_read on channel 0");
    check(got[0] == 0xA5 && got[1] == 0x5A, "the bytes of the write-read");
    check_number(i2c_read(0, 0x42, got, 2, 0), 10010, "i2c_read from no chip");
    check_number(get_i2c_status(0, &status), 0, "get_i2c_status");
    check_number(get_i2c_bus_status(0, &status), 0, "get_i2c_bus_status");
    check_number(i2c_reset(1), 0, "i2c_reset");
    check_text(take_trace(),
               "fpga write 64: 21 00 a0 04 00 03 02 00 a5 5a\n"
               "fpga read 64: 21 00 a0 02 02 00 03 02 00\n"
               "fpga read 64: 21 00 42 02 00 00 00\n"
               "fpga read 1: 22 00\n"
               "fpga read 1: 24 00\n"
               "fpga write 1: 23 01\n",
               "the records of the FPGA's masters");
}

static void blink(void)
{
    take_trace();
    check_number(blink_heart_beat_led(), 0, "blink_heart_beat_led");
    check_number(blink_heart_beat_led(), 0, "blink_heart_beat_led again");
    check_number(set_heart_beat_led("0"), 0, "set_heart_beat_led");
    check_text(take_trace(), "gpio 95 = 0\ngpio 95 = 1\ngpio 95 = 0\n", "the levels of GPIO 95");
    check_text(take_said(), "", "the LED operations say nothing");
}

static void use_rtc(void)
{
    const time_t winter = 1600000000;
    time_t read_back = 0;

    setenv("TZ", "CET-1", 1);
    tzset();
    check_number(rtc_init(), 0, "rtc_init");
    check_number(set_rtc_time(winter), 0, "set_rtc_time");
    const long held = read_number("/sys/class/rtc/rtc0/since_epoch");
    check(held - winter - 3600 >= 0 && held - winter - 3600 < 5, "the RTC holds local time");
    check_number(get_rtc_time(&read_back), 0, "get_rtc_time");
    check(read_back - winter >= 0 && read_back - winter < 5, "the time comes back");
    check_number(synch_rtc_to_sys(), 0, "synch_rtc_to_sys");
    check(time(NULL) - winter >= 0 && time(NULL) - winter < 10, "the system clock follows");
    check_number(set_cur_time_stamp(1700000000), 0, "set_cur_time_stamp");
    check(time(NULL) - 1700000000 >= 0 && time(NULL) - 1700000000 < 5, "the system clock is set");
    check_text(take_said(), "", "the clock operations say nothing");
}

static void sample_battery(void)
{
    uint32_t raw = 0;

    take_trace();
    check_number(adc_init(0), 0, "adc_init");
    check_number(get_battery_voltage(&raw), 2, "get_battery_voltage");
    check_number((long)raw, 0x234, "the raw code");
    check_text(take_trace(),
               "adc ioctl 401c4101 01 00 00 00 00 00 00 00 c4 09 00 00 00 00 00 00 00 00 00 00 "
               "80 9f d5 00 00 00 00 00\n"
               "adc ioctl 40104102 00 00 00 00 01 00 00 00 14 00 00 00 01 00 00 00\n",
               "the configuration of the ADC");
}

static void check_environment(const char *entries, size_t length, const char *what)
{
    static uint8_t block[ENVIRONMENT_SIZE];
    const size_t got = read_file("/dev/mtd2", block, sizeof(block));
    const uint32_t crc = (uint32_t)block[0] | (uint32_t)block[1] << 8 | (uint32_t)block[2] << 16 |
                         (uint32_t)block[3] << 24;
    check(got == sizeof(block) && memcmp(block + 4, entries, length) == 0 &&
              crc == crc32(0, block + 4, ENVIRONMENT_SIZE - 4),
          what);
}

static void use_environment(void)
{
    static const uint8_t empty[ENVIRONMENT_SIZE];
    char value[32] = "unchanged";

    check_number(get_uboot_env("ipaddr", value, sizeof(value)), -1, "get_uboot_env, flash erased");
    check_text(take_said(), "get_uboot_env: error, environment not terminated\n",
               "get_uboot_env says so");
    check(write_file("/dev/mtdblock2", empty, sizeof(empty)), "an empty environment");
    check_number(set_uboot_env("ipaddr", "10.0.0.1"), 0, "set_uboot_env");
    check_number(set_uboot_env("bootdelay", "3"), 0, "set_uboot_env, a second variable");
    check_environment("ipaddr=10.0.0.1\0bootdelay=3\0", 29, "the flash holds both, with their CRC");
    check_number(set_uboot_env("ipaddr", "10.0.0.27"), 0, "set_uboot_env, another value");
    check_environment("bootdelay=3\0ipaddr=10.0.0.27\0", 30, "the flash holds it at the end");
    check_number(get_uboot_env("ipaddr", value, sizeof(value)), 0, "get_uboot_env");
    check_text(value, "10.0.0.27", "the value");
    check_number(set_uboot_env("ipaddr", NULL), 0, "set_uboot_env, delete");
    check_number(print_uboot_env(NULL), 0, "print_uboot_env");
    check_text(take_said(), "bootdelay=3\n", "what is left of the environment");
}

static size_t say(char *text, size_t length, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int added = vsnprintf(text + length, SAID_MAX - length, format, arguments);
    va_end(arguments);
    return length + (size_t)added;
}

/* The progress of a copy of 100000 bytes to a flash of 64 KiB blocks. */
static const char *copy_progress(void)
{
    static char text[SAID_MAX];
    static const char *const phases[] = {"Writing", "Verifying"};
    size_t length = say(text, 0,
                        "Erasing blocks: 0/2 (0%%)\rErasing blocks: 1/2 (50%%)"
                        "\rErasing blocks: 2/2 (100%%)\rErasing blocks: 2/2 (100%%)\n");
    for (unsigned phase = 0; phase < 2; ++phase) {
        length = say(text, length, "%s data: 0k/97k (0%%)", phases[phase]);
        for (unsigned done = 0; done < IMAGE_SIZE;) {
            done = done + 10240 < IMAGE_SIZE ? done + 10240 : IMAGE_SIZE;
            length = say(text, length, "\r%s data: %uk/97k (%u%%)", phases[phase], done / 1024,
                         done * 100 / IMAGE_SIZE);
        }
        length = say(text, length, "\r%s data: 97k/97k (100%%)\n", phases[phase]);
    }
    return text;
}

static int flash_holds(const char *device, size_t image_offset, size_t length)
{
    static uint8_t cells[PART_SIZE];
    return read_file(device, cells, sizeof(cells)) == PART_SIZE &&
           memcmp(cells, image + image_offset, length) == 0 && cells[length] == 0xFF;
}

static void copy_image(void)
{
    uint32_t progress = 0;
    uint32_t state = 0;

    check(write_file(IMAGE, image, sizeof(image)), "an image");
    take_trace();
    check_number(mtd_flash_copy("/dev/mtd4", IMAGE), 0, "mtd_flash_copy");
    check_text(take_said(), copy_progress(), "its progress, byte for byte");
    check_text(take_trace(), "root erase 00000000 10000\nroot erase 00010000 10000\n",
               "the blocks that it erased");
    check(flash_holds("/dev/mtd4", 0, sizeof(image)), "the flash holds the image");
    get_upgrade_status(&progress, &state);
    check(progress == 100 && state == 1, "the upgrade status");
    check_number(mtd_flash_copy_ex("/dev/mtd4", IMAGE, 5000, 20000), 0, "mtd_flash_copy_ex");
    check(flash_holds("/dev/mtd4", 5000, 20000), "the flash holds the stretch");
    take_said();
    check_number(mtd_flash_copy("/dev/null", IMAGE), -1, "mtd_flash_copy to no flash");
    check_text(take_said(), "This doesn't seem to be a valid MTD flash device!\n",
               "mtd_flash_copy says so");
}

static void load_bitstream(void)
{
    char wanted[512];

    check(write_file("/tmp/bitstream", image, 4001), "a bitstream");
    take_trace();
    check_number(load_fpga("/tmp/bitstream"), 0, "load_fpga");
    check_text(take_said(), "load fpga successfully.\n", "load_fpga says so");
    snprintf(wanted, sizeof(wanted),
             "gpio 48 out 0\n"
             "gpio 96 in\n"
             "fpga awaits its bitstream\n"
             "spi mode 0, 8 bits, 50000000 Hz: 2000 bytes, %02x %02x %02x %02x..\n"
             "spi mode 0, 8 bits, 50000000 Hz: 2000 bytes, %02x %02x %02x %02x..\n"
             "spi mode 0, 8 bits, 50000000 Hz: 1 bytes, %02x..\n",
             image[0], image[1], image[2], image[3], image[2000], image[2001], image[2002],
             image[2003], image[4000]);
    check_text(take_trace(), wanted, "the lines, the helper and the transfers of load_fpga");
    check(access("/tmp/bmc_card.bit", F_OK) != 0, "the copy is removed");
    check(access("/sys/module/load_fpga", F_OK) != 0, "the helper is unloaded");
    check(truncate("/tmp/bitstream", 4000) == 0, "a bitstream that lacks a byte");
    check_number(load_fpga("/tmp/bitstream"), -13, "load_fpga of it");
    check_text(take_said(), "", "load_fpga says nothing of it");
}

/* The kernel asks for a descriptor that may write; the library opens the BIOS
 * flash for reading, as its own driver wants it. So on this kernel raw reads
 * work, erases and writes are refused, and what is promised for a refusal
 * holds. */
static void use_bios_flash(void)
{
    uint8_t owner = 1;
    uint8_t data[16] = {0};
    char wanted[SAID_MAX];

    check_number(bios_read(0, data, 16), -5, "bios_read without the flash's driver");
    check_number(bios_write(0, image, 16), -2, "bios_write, which this kernel refuses");
    check_number(get_bios_owner(&owner), 0, "get_bios_owner");
    check_number(owner, 1, "the controller keeps the flash");
    check(access("/dev/mtd6", F_OK) != 0 && errno == ENOENT, "the flash's driver is unloaded");
    take_said();

    const int next = open("/dev/null", O_RDONLY);
    close(next);
    check_number(bios_bulk_erase(0), -2, "bios_bulk_erase, which this kernel refuses");
    snprintf(wanted, sizeof(wanted),
             "insmod driver\n\rErasing blocks: 1/%d (0%%)\n"
             "While erasing blocks 0x00000000-0x00010000 on %d\n",
             PART_SIZE, next);
    check_text(take_said(), wanted, "bios_bulk_erase says so");
    check(access("/dev/mtd6", F_OK) == 0, "the flash's driver stays loaded");
    check_number(spi_flash_copy("/dev/mtd6", 0x10000, IMAGE, 0, IMAGE_SIZE, 0x11, 1), 0,
                 "spi_flash_copy");
    check_number(bios_read(0x10000 + 1000, data, 16), 16, "bios_read");
    check(memcmp(data, image + 1000, 16) == 0, "the image is in the BIOS flash");
    take_said();
}

/* The copies of an update open the flash for writing, so they work. */
static void update_bios(void)
{
    static uint8_t dump[0x20000];

    check_number(system("rmmod m25p80"), 0, "the flash's driver, left loaded, unloads");
    check_number(load_bios_bin("/dev/mtd6", IMAGE, 0, IMAGE_SIZE, 1), 0, "load_bios_bin");
    check_number(cpld_register(0xEA) & 0x40, 0, "the host has the flash again");
    check(access("/dev/mtd6", F_OK) != 0, "the flash's driver is unloaded");
    take_said();
    check_number(get_bios("/tmp/bios", sizeof(dump)), 0, "get_bios");
    check(strstr(take_said(), "\r<100%>\r\ndownload bios  successfully\n") != NULL,
          "get_bios says so");
    check(read_file("/tmp/bios", dump, sizeof(dump)) == sizeof(dump) &&
              memcmp(dump, image, IMAGE_SIZE) == 0 && dump[IMAGE_SIZE] == 0xFF,
          "the image comes back");
    check_number(cpld_register(0xEA) & 0x40, 0, "the host has the flash after it");
}

static void use_uart(void)
{
    struct termios attributes = {0};
    char wanted[128];
    char echo[16] = "";
    size_t length = 0;

    bench("divisor 12");
    const int descriptor = uart_init(0, 115200);
    check(descriptor > 0 && descriptor == serial_handle[0], "uart_init");
    snprintf(wanted, sizeof(wanted),
             "open /dev/ttyS0 .....\nfcntl=0\nstandard input is not a terminal device\n"
             "fd-open=%d\nset done!\n",
             descriptor);
    check_text(take_said(), wanted, "uart_init says what it does");
    check_number(tcgetattr(descriptor, &attributes), 0, "the port's attributes");
    check(attributes.c_iflag == 0 && attributes.c_oflag == 0 && attributes.c_lflag == 0,
          "the port is raw");
    check_number((long)attributes.c_cflag, CLOCAL | CREAD | CS8 | B9600, "8N1 at 9600");
    check(attributes.c_cc[VMIN] == 0 && attributes.c_cc[VTIME] == 0, "reads return at once");
    check_number(get_current_baud(0), 9600, "get_current_baud");
    check_number(uart_init(0, 9600), -4, "uart_init a second time");

    check_number(uart_write(0, (const uint8_t *)"\r\nabc\004", 6), 6, "uart_write");
    for (unsigned tries = 0; tries < 500 && length < 6; ++tries) {
        const int got = uart_read(0, (uint8_t *)echo + length, (uint32_t)(sizeof(echo) - length));
        length += got > 0 ? (size_t)got : 0;
        usleep(10000);
    }
    check_text(echo, "\r\nabc\004", "the line echoes every byte as it was");

    bench("divisor 1");
    update_uart_baud(0);
    check_number(get_current_baud(0), 115200, "update_uart_baud follows the FPGA");
    check_number(uart_close(0), 0, "uart_close");
    check_number(get_current_baud(0), -3, "get_current_baud of a closed port");
    take_said();
}

static int set_network_up(int up)
{
    struct ifreq request = {.ifr_name = "eth0"};
    const int control = socket(AF_INET, SOCK_DGRAM, 0);
    request.ifr_flags = (short)(up ? IFF_UP : 0);
    const int result = ioctl(control, SIOCSIFFLAGS, &request);
    close(control);
    return result;
}

static void query_network(void)
{
    uint8_t link = 7;

    check_number(set_network_up(0), 0, "eth0 down");
    check_number(get_mgnt_lan_status(0, &link), 0, "get_mgnt_lan_status");
    check_number(link, 0, "no link");
    check_number(set_network_up(1), 0, "eth0 up");
    for (unsigned tries = 0; tries < 100 && link != 1; ++tries) {
        get_mgnt_lan_status(0, &link);
        usleep(10000);
    }
    check_number(link, 1, "link");
    check_number(get_mgnt_lan_status(1, &link), -1, "get_mgnt_lan_status of another port");
    check_text(take_said(), "invalid port number\n", "get_mgnt_lan_status says so");
}

static void press_power_button(void)
{
    uint8_t value = 0;

    check_number(set_pwr_button(1), 0, "set_pwr_button");
    check_number(get_pwr_button(&value), 0, "get_pwr_button");
    check_number(cpld_register(0x83) >> 7, value, "the button line");
    bench("register 85 10");
    check_number(get_power_status(0, &value), 0, "get_power_status");
    check_number(value, 1, "the host's power is on");
    take_said();
}

static void shut_down(void)
{
    check_number(ipmc_driver_clean(), 0, "ipmc_driver_clean");
    check_number(ipmc_driver_init(), 0, "ipmc_driver_init after it");
    check_number(ipmc_driver_clean(), 0, "ipmc_driver_clean again");
    check_text(take_said(), "", "start and end say nothing");
}

int main(void)
{
    for (size_t i = 0; i < sizeof(image); ++i) {
        image[i] = (uint8_t)(i * 7 + i / 256);
    }
    listen_to_library();
    start_up();
    drive_cpld();
    program_cpld();
    drive_fpga();
    use_reserved_ram();
    serve_host();
    use_bt();
    use_ipmb();
    use_own_i2c();
    use_fpga_i2c();
    blink();
    use_rtc();
    sample_battery();
    use_environment();
    copy_image();
    use_bios_flash();
    update_bios();
    load_bitstream();
    use_uart();
    query_network();
    press_power_button();
    shut_down();
    report("conformance: %u checks, %u failed\n", checks, failures);
    return failures == 0 ? 0 : 1;
}
