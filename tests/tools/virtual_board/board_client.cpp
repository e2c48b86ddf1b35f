// A program that knows nothing of virtual boards, for tests to run on one.
//
// usage: board_client stress SEED NUMBER  uses every kind of device until killed
//        board_client hold                opens a flash part, says "up", waits for a
//                                         line, reads, says what came of it
//        board_client count TIMES FILE    adds 1 to register F0 so many times, each
//                                         under a lock on the file
//        board_client tear FILE           writes the file to the start of /dev/mtd1

#include <errno.h>
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <mtd/mtd-user.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>
#include <string>
#include <vector>

namespace {

constexpr uint32_t block_size = 0x10000;
constexpr size_t record_size = 64;
constexpr size_t window_size = 4096;
constexpr uint32_t scratch_register = 0xF0;

volatile uint8_t *map_window()
{
    const int cpld = open("/dev/ipmc_cpld", O_RDWR);
    void *window = mmap(nullptr, window_size, PROT_READ | PROT_WRITE, MAP_SHARED, cpld, 0);
    close(cpld);
    return static_cast<volatile uint8_t *>(window);
}

// ---- stress ----

class Stress {
public:
    Stress(unsigned long seed, unsigned number) : random_(seed), number_(number) {}

    void step()
    {
        switch (random_() % 8) {
        case 0:
        case 1:
            return write_record();
        case 2:
            return step_register();
        case 3:
            return use_fpga();
        case 4:
            return hold_and_fork();
        case 5:
            return transfer();
        case 6:
            return use_environment();
        default:
            usleep(static_cast<useconds_t>(random_() % 100));
        }
    }

private:
    // One erase block is this client's own: records that are whole, or not there.
    void write_record()
    {
        const int flash = open("/dev/mtd5", O_RDWR);
        if (written_ == 0) {
            erase_info_user block = {number_ * block_size, block_size};
            ioctl(flash, MEMERASE, &block);
        }
        const std::vector<uint8_t> record(record_size, static_cast<uint8_t>(1 + random_() % 200));
        const auto at = static_cast<off_t>(number_ * block_size + written_ * record_size);
        if (pwrite(flash, record.data(), record.size(), at) != ssize_t{record_size}) {
            abort();
        }
        written_ = (written_ + 1) % (block_size / record_size);
        close(flash);
    }

    // Only values of two equal digits.
    void step_register()
    {
        volatile uint8_t *window = map_window();
        const uint8_t old = window[scratch_register];
        window[scratch_register] = static_cast<uint8_t>((old & 0x0F) * 0x11);
        window[scratch_register + 1] = static_cast<uint8_t>((random_() % 16) * 0x11);
        munmap(const_cast<uint8_t *>(window), window_size);
    }

    void use_fpga()
    {
        const int fpga = open("/dev/ipmc_fpga", O_RDWR);
        uint8_t record[7] = {0x61, static_cast<uint8_t>(number_), 0x40, 1, 2, 3, 4};
        const bool told = write(fpga, record, 1) == 1;
        if (!told || read(fpga, record, 1) != 4 || record[3] != 4) {
            abort(); // nobody else has this register
        }
        close(fpga);
    }

    void hold_and_fork()
    {
        const int port = open("/dev/ttyS0", O_RDWR | O_NOCTTY | O_NONBLOCK);
        const int flash = open("/dev/mtd0", O_RDONLY);
        const int copy = dup(flash);
        const pid_t child = fork();
        if (child == 0) {
            char byte = 0;
            _exit(read(copy, &byte, 1) == 1 ? 0 : 1);
        }
        if (write(port, "x", 1) < 0 && errno != EAGAIN) {
            abort();
        }
        waitpid(child, nullptr, 0);
        for (const int descriptor : {port, flash, copy}) {
            close(descriptor);
        }
    }

    void transfer()
    {
        const int bus = open("/dev/i2c-0", O_RDWR);
        uint8_t offset[2] = {0, 0};
        uint8_t answer[16];
        i2c_msg messages[] = {{0x50, 0, sizeof(offset), offset},
                              {0x50, I2C_M_RD, sizeof(answer), answer}};
        i2c_rdwr_ioctl_data data = {messages, 2};
        ioctl(bus, I2C_RDWR, &data);
        close(bus);
    }

    void use_environment()
    {
        const int environment = open("/dev/mtdblock2", O_RDWR);
        void *memory = mmap(nullptr, 8192, PROT_READ | PROT_WRITE, MAP_SHARED, environment, 0);
        close(environment);
        if (memory != MAP_FAILED) {
            static_cast<volatile uint8_t *>(memory)[number_] = static_cast<uint8_t>(random_());
            munmap(memory, 8192);
        }
    }

    std::mt19937 random_;
    unsigned number_;
    size_t written_ = 0;
};

int stress(const std::vector<std::string> &words)
{
    Stress stress(std::stoul(words.at(0)), static_cast<unsigned>(std::stoul(words.at(1))));
    for (;;) {
        stress.step();
    }
}

// ---- others ----

int hold()
{
    const int flash = open("/dev/mtd0", O_RDONLY);
    puts("up");
    fflush(stdout);
    getchar();
    char byte = 0;
    const ssize_t got = read(flash, &byte, 1);
    printf("read: %s\n", got < 0 ? strerror(errno) : "done");
    const int again = open("/dev/mtd0", O_RDONLY);
    printf("open: %s\n", again < 0 ? strerror(errno) : "done");
    return 0;
}

int count(const std::vector<std::string> &words)
{
    volatile uint8_t *window = map_window();
    const int lock = open(words.at(1).c_str(), O_RDWR | O_CREAT, 0600);
    for (unsigned long i = 0; i < std::stoul(words.at(0)); ++i) {
        flock(lock, LOCK_EX);
        window[scratch_register] = static_cast<uint8_t>(window[scratch_register] + 1);
        flock(lock, LOCK_UN);
    }
    printf("%u\n", window[scratch_register]);
    return 0;
}

int tear(const std::vector<std::string> &words)
{
    std::vector<char> bytes(4096);
    const int file = open(words.at(0).c_str(), O_RDONLY);
    const ssize_t length = read(file, bytes.data(), bytes.size());
    const int flash = open("/dev/mtd1", O_RDWR);
    const ssize_t written = write(flash, bytes.data(), static_cast<size_t>(length));
    printf("survived with %zd\n", written);
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    const std::vector<std::string> words(argv + 1, argv + argc);
    const std::string what = words.empty() ? "" : words.front();
    const std::vector<std::string> rest(words.begin() + (words.empty() ? 0 : 1), words.end());
    if (what == "stress") {
        return stress(rest);
    }
    if (what == "hold") {
        return hold();
    }
    if (what == "count") {
        return count(rest);
    }
    return what == "tear" ? tear(rest) : 2;
}
