// Fixture of the firmware-update tests.
#ifndef TESTS_UPDATE_UPDATE_TEST_H
#define TESTS_UPDATE_UPDATE_TEST_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/board_test.h"
#include "tools/bios_image/image.h"

namespace board_test {

// A board with flash chips of a handy size: blocks of 4 KiB, /dev/mtd0 and 1 of
// 64 KiB, a BIOS flash of 64 KiB.
constexpr uint32_t erase_size = 0x1000;
constexpr uint32_t partition_size = 0x10000;
Personality update_board();

using bios_image::pattern;

// printf into a string.
std::string text(const char *format, ...) __attribute__((format(printf, 1, 2)));

// The text with the paths in the places of "{device}" and "{image}".
std::string with_paths(std::string message, const std::string &device, const std::string &image);

// The phases' whole output, after the requests' own arithmetic.
std::string erase_lines(uint32_t blocks, const char *lead = "");
std::string write_lines(uint32_t length);
std::string verify_lines(uint32_t length);
std::string copy_lines(uint32_t length, const char *lead = "");

// A fault of a device; the `skip` calls before it pass.
Fault fault(const char *device, Operation operation, Fault::Kind kind, long long value = 0,
            unsigned skip = 0);

// Progress and state.
using Status = std::pair<uint32_t, uint32_t>;

// A file of the board, so that faults reach it: device "image".
class ImageFile : public virtual_board::Device {
public:
    explicit ImageFile(Bytes contents) : Device("image"), bytes_(std::move(contents)) {}

    long read(virtual_board::OpenFile &file, void *buffer, size_t count) override;
    long long seek(virtual_board::OpenFile &file, long long offset, int whence) override;
    void describe(struct stat &status) const override;

private:
    Bytes bytes_;
};

class UpdateTest : public BoardTest {
protected:
    explicit UpdateTest(const Personality &personality = update_board());

    void SetUp() override;
    void TearDown() override;

    // A file of the machine, in a directory of this test's own.
    std::string file(const std::string &name, const Bytes &bytes);
    std::string path(const std::string &name) const { return directory_ + "/" + name; }
    // A file of the board at "/ko/image.bin".
    static constexpr const char *board_image = "/ko/image.bin";
    std::shared_ptr<ImageFile> put_image(Bytes bytes);

    static Status status();

    // The BIOS flash, from outside.
    void give_bios_flash_to_controller();
    bool controller_owns_bios_flash();
    bool bios_driver_loaded() { return board.modules().loaded("m25p80"); }

    // Starts to watch, with empty trace and output and the status (0, 0).
    void watch();
    // What happened since then, in order: steps as steps() gives them; "print"
    // with what had left the program's buffer before the next step; "status"
    // with what was published before it. What comes after the last step, flushed
    // or not, is at the end.
    Names timeline();
    // Statuses as they changed, without (0, 0) at the start.
    std::vector<Status> statuses();

private:
    struct Moment {
        Status status;
        size_t flushed;
    };

    std::string directory_;
    std::vector<Moment> moments_;
    bool watching_ = false;
};

} // namespace board_test

#endif
