// What each fault of the hardware does to each update operation: its answer,
// its last words, the published status, and what it leaves behind. The table is
// docs/update-faults.md; scripts/update-fault-table.sh writes it anew.

#include <linux/ioctl.h>
#include <mtd/mtd-user.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <functional>

#include "tests/update/heap_watch.h"
#include "tests/update/owner_gate.h"
#include "tests/update/update_test.h"
#include "tools/bios_image/image.h"

namespace board_test {
namespace {

using bios_image::build;
using bios_image::Layout;

constexpr uint32_t image_size = 0x4000; // of every copy here; two chunks

struct Run {
    const char *name;
    std::string device; // that it works on
    std::function<int()> run;
    bool needs_flash; // the caller must own it and have loaded its driver
};

const char *image_path()
{
    return "/ko/image.bin";
}

std::string dump_path;

const Run copy = {"`mtd_flash_copy`", "mtd0",
                  [] { return mtd_flash_copy("/dev/mtd0", image_path()); }, false};
const Run copy_ex = {"`mtd_flash_copy_ex`", "mtd0",
                     [] { return mtd_flash_copy_ex("/dev/mtd0", image_path(), 0, image_size); },
                     false};
const Run spi_copy = {
    "`spi_flash_copy`", "mtd6",
    [] { return spi_flash_copy("/dev/mtd6", 0, image_path(), 0, image_size, 1, 1); }, true};
const Run bulk_erase = {"`bios_bulk_erase`", "mtd6", [] { return bios_bulk_erase(0); }, false};
const Run raw_write = {"`bios_write`", "mtd6",
                       [] {
                           const Bytes bytes(1024);
                           return bios_write(0, bytes.data(), 1024);
                       },
                       false};
const Run raw_read = {"`bios_read`", "mtd6",
                      [] {
                          Bytes bytes(1024);
                          return bios_read(0, bytes.data(), 1024);
                      },
                      true};
const Run dump = {"`get_bios`", "mtd6", [] { return get_bios(dump_path.c_str(), image_size); },
                  false};
const Run load = {"`load_bios`", "mtd6",
                  [] { return load_bios("/dev/mtd6", image_path(), 0, image_size, 0); }, false};
const Run load_bin = {"`load_bios_bin`", "mtd6",
                      [] { return load_bios_bin("/dev/mtd6", image_path(), 0, image_size, 0); },
                      false};
const Run decide = {"`isFullUpgrade`", "mtd6",
                    [] { return isFullUpgrade("/dev/mtd6", image_path(), 0, image_size); }, false};

// Where the trouble is.
struct Trouble {
    const char *name;
    std::function<void(Board &board, const std::string &device)> arrange;
};

Trouble device_fault(const char *name, Operation operation, Fault::Kind kind, long long value,
                     unsigned skip = 0)
{
    return {name, [=](Board &board, const std::string &device) {
                board.faults.add(fault(device.c_str(), operation, kind, value, skip));
            }};
}

Trouble erase_fault(const char *name, Fault::Kind kind, long long value)
{
    return {name, [=](Board &board, const std::string &device) {
                Fault strike = fault(device.c_str(), Operation::ioctl, kind, value);
                strike.address = static_cast<uint32_t>(MEMERASE);
                strike.place = erase_size;
                board.faults.add(strike);
            }};
}

Trouble image_fault(const char *name, Operation operation, Fault::Kind kind, long long value)
{
    return {name, [=](Board &board, const std::string &) {
                board.faults.add(fault("image", operation, kind, value, 0));
            }};
}

constexpr auto error = Fault::Kind::error;
const Trouble no_trouble = {"none", [](Board &, const std::string &) {}};
const Trouble no_device = device_fault("device does not open", Operation::open, error, EIO);
const Trouble not_mtd = device_fault("not an MTD device", Operation::ioctl, error, ENOTTY);
const Trouble erase_fails = erase_fault("erase fails at the second block", error, EIO);
const Trouble erase_lies = erase_fault("erase lies at the second block", Fault::Kind::lie, 0);
const Trouble vanishes_in_erase =
    erase_fault("device vanishes in the erase", Fault::Kind::vanish, 0);
const Trouble write_fails = device_fault("write fails", Operation::write, error, EIO);
const Trouble write_short =
    device_fault("write falls short", Operation::write, Fault::Kind::short_count, 1000);
const Trouble write_lies = device_fault("write lies", Operation::write, Fault::Kind::lie, 0);
const Trouble bit_flips =
    device_fault("bit flips after the write", Operation::write, Fault::Kind::bit_flip, 4242);
const Trouble vanishes_in_write =
    device_fault("device vanishes in the write", Operation::write, Fault::Kind::vanish, 0);
const Trouble read_fails = device_fault("read fails", Operation::read, error, EIO);
const Trouble read_short =
    device_fault("read falls short", Operation::read, Fault::Kind::short_count, 1000);
const Trouble vanishes_in_read =
    device_fault("device vanishes in the read", Operation::read, Fault::Kind::vanish, 0);
const Trouble seek_fails = device_fault("seek fails", Operation::seek, error, EIO);
const Trouble image_fails = image_fault("image is not read", Operation::read, error, EIO);
const Trouble image_missing = image_fault("image does not open", Operation::open, error, EACCES);
const Trouble no_module = {"module does not load", [](Board &board, const std::string &) {
                               board.modules().remove_file("m25p80");
                           }};
const Trouble owner_refused = {"owner is refused",
                               [](Board &, const std::string &) { refuse_owner(1); }};
const Trouble owner_kept = {"flash is not given back",
                            [](Board &, const std::string &) { refuse_owner(0); }};
const Trouble switch_stuck = {"owner switch stuck at the host", [](Board &board, const auto &) {
                                  board.cpld().stick(CPLD_REG_BIOS_FLASH, CPLD_BIOS_OWNER, 0);
                              }};

struct Row {
    const Run &operation;
    const Trouble &trouble;
};

void PrintTo(const Row &row, std::ostream *stream)
{
    *stream << row.operation.name << ", " << row.trouble.name;
}

const Row rows[] = {
    {copy, no_trouble},
    {copy, no_device},
    {copy, not_mtd},
    {copy, image_missing},
    {copy, erase_fails},
    {copy, erase_lies},
    {copy, vanishes_in_erase},
    {copy, image_fails},
    {copy, write_fails},
    {copy, write_short},
    {copy, write_lies},
    {copy, bit_flips},
    {copy, vanishes_in_write},
    {copy, seek_fails},
    {copy, read_fails},
    {copy, read_short},
    {copy, vanishes_in_read},
    {copy_ex, no_trouble},
    {copy_ex, erase_fails},
    {copy_ex, write_short},
    {copy_ex, write_lies},
    {copy_ex, seek_fails},
    {spi_copy, no_trouble},
    {spi_copy, no_device},
    {spi_copy, erase_fails},
    {spi_copy, erase_lies},
    {spi_copy, write_fails},
    {spi_copy, write_short},
    {spi_copy, write_lies},
    {spi_copy, bit_flips},
    {spi_copy, vanishes_in_write},
    {spi_copy, seek_fails},
    {spi_copy, read_short},
    {spi_copy, switch_stuck},
    {bulk_erase, no_trouble},
    {bulk_erase, owner_refused},
    {bulk_erase, no_module},
    {bulk_erase, no_device},
    {bulk_erase, not_mtd},
    {bulk_erase, erase_fails},
    {bulk_erase, erase_lies},
    {bulk_erase, vanishes_in_erase},
    {bulk_erase, switch_stuck},
    {bulk_erase, owner_kept},
    {raw_write, no_trouble},
    {raw_write, owner_refused},
    {raw_write, no_module},
    {raw_write, seek_fails},
    {raw_write, write_fails},
    {raw_write, write_short},
    {raw_write, write_lies},
    {raw_write, vanishes_in_write},
    {raw_write, switch_stuck},
    {raw_write, owner_kept},
    {raw_read, no_trouble},
    {raw_read, no_device},
    {raw_read, seek_fails},
    {raw_read, read_fails},
    {raw_read, read_short},
    {raw_read, vanishes_in_read},
    {dump, no_trouble},
    {dump, owner_refused},
    {dump, no_module},
    {dump, read_fails},
    {dump, read_short},
    {dump, vanishes_in_read},
    {dump, owner_kept},
    {load, no_trouble},
    {load, owner_refused},
    {load, no_module},
    {load, image_missing},
    {load, erase_fails},
    {load, erase_lies},
    {load, vanishes_in_erase},
    {load, write_fails},
    {load, write_short},
    {load, write_lies},
    {load, bit_flips},
    {load, vanishes_in_write},
    {load, switch_stuck},
    {load, owner_kept},
    {load_bin, no_trouble},
    {load_bin, owner_refused},
    {load_bin, no_module},
    {load_bin, image_missing},
    {load_bin, erase_fails},
    {load_bin, write_fails},
    {load_bin, write_lies},
    {load_bin, bit_flips},
    {load_bin, vanishes_in_write},
    {load_bin, switch_stuck},
    {load_bin, owner_kept},
    {decide, no_trouble},
    {decide, owner_refused},
    {decide, no_module},
    {decide, image_missing},
    {decide, read_fails},
    {decide, vanishes_in_read},
    {decide, owner_kept},
};

constexpr const char *head =
    "| operation | fault | answer | last words | status | flash | owner | driver | left behind |\n"
    "|---|---|---|---|---|---|---|---|---|\n";

// The last line, as a terminal would show it. The number that a descriptor has
// is the program's.
std::string last_words(std::string printed)
{
    while (!printed.empty() && (printed.back() == '\n' || printed.back() == '\r')) {
        printed.pop_back();
    }
    const size_t start = printed.find_last_of("\r\n");
    std::string line = start == std::string::npos ? printed : printed.substr(start + 1);
    if (line.starts_with("While erasing") && line.find('/') == std::string::npos) {
        line.replace(line.rfind(' ') + 1, std::string::npos, "(descriptor)");
    }
    return line.empty() ? "none" : "`" + line + "`";
}

class FaultTableTest : public UpdateTest, public ::testing::WithParamInterface<Row> {
protected:
    void SetUp() override
    {
        UpdateTest::SetUp();
        ASSERT_EQ(chdir("/"), 0); // where "dev/mtd6" leads to the flash
        dump_path = path("dump");
        refuse_owner(2);
        // Neither erased nor written by chance.
        before_ = Bytes(partition_size, 0xA5);
        Layout oem = {.size = image_size, .volume_at = 0x3000, .regions = {{0, image_size}}};
        if (&GetParam().operation == &decide) {
            oem.flag = 0x01000000;
            before_ = build(oem);
            before_.resize(partition_size, 0xFF);
            oem.flag = 0x02000000;
        }
        board.flash().put(0, before_);
        board.bios_flash().put(0, before_);
        image_ = build(oem, 2);
        put_image(image_);
    }

    const Bytes &flash()
    {
        return bios_ ? board.bios_flash().contents() : board.flash().contents();
    }

    // What the copied part of the flash holds, in words.
    std::string flash_state()
    {
        const Bytes &now = flash();
        const auto same = [&](const Bytes &other, size_t from) {
            return std::equal(now.begin() + static_cast<long>(from), now.begin() + image_size,
                              other.begin() + static_cast<long>(from));
        };
        if (same(before_, 0)) {
            return "untouched";
        }
        if (same(image_, 0)) {
            return "as the image";
        }
        const Bytes blank(image_size, 0xFF);
        const Bytes zeros(image_size, 0);
        const struct {
            const Bytes &start;
            const Bytes &rest;
            const char *words;
        } states[] = {{blank, before_, "erased up to 0x%zx"},
                      {image_, blank, "written up to 0x%zx, erased behind"},
                      {zeros, before_, "written up to 0x%zx"}};
        for (const auto &[start, rest, words] : states) {
            size_t changed = 0;
            while (changed < image_size && now[changed] == start[changed]) {
                ++changed;
            }
            if (changed == image_size) {
                return "erased";
            }
            if (changed > 0 && same(rest, changed)) {
                return text(words, changed);
            }
        }
        const auto wrong = std::mismatch(image_.begin(), image_.end(), now.begin()).first;
        return text("wrong from 0x%zx", static_cast<size_t>(wrong - image_.begin()));
    }

    std::string left_behind(long descriptors)
    {
        std::string left;
        for (const std::string &lock : held_locks()) {
            if (lock != "cpld_open_lock" && lock != "fpga_open_lock") {
                left += lock + " ";
            }
        }
        if (board.open_files() != opened_before_ || descriptors != 0) {
            left += "descriptors ";
        }
        if (heap_bytes() != 0) {
            left += "memory ";
        }
        return left.empty() ? "nothing" : left;
    }

    std::string row(const Row &row)
    {
        if (row.operation.needs_flash) {
            give_bios_flash_to_controller();
        }
        row.trouble.arrange(board, row.operation.device);
        opened_before_ = board.open_files();
        const int free_before = next_descriptor();
        watch_heap();
        watch();
        const int answer = row.operation.run();
        const std::string words = last_words(output());
        const Status published = status();
        bios_ = row.operation.device == "mtd6";
        return text("| %s | %s | %d | %s | %u, %u | %s | %s | %s | %s |\n", row.operation.name,
                    row.trouble.name, answer, words.c_str(), published.first, published.second,
                    flash_state().c_str(),
                    bios_ ? (controller_owns_bios_flash() ? "controller" : "host") : "-",
                    bios_ ? (bios_driver_loaded() ? "loaded" : "unloaded") : "-",
                    left_behind(next_descriptor() - free_before).c_str());
    }

private:
    static int next_descriptor()
    {
        const int descriptor = dup(1);
        close(descriptor);
        return descriptor;
    }

    Bytes before_;
    Bytes image_;
    bool bios_ = false;
    size_t opened_before_ = 0;
};

std::string document()
{
    std::ifstream stream(UPDATE_FAULTS_DOCUMENT);
    return {std::istreambuf_iterator<char>(stream), {}};
}

TEST_P(FaultTableTest, IsAsDocumented)
{
    const std::string line = row(GetParam());
    if (const char *const print_to = getenv("UPDATE_FAULT_TABLE"); print_to != nullptr) {
        std::ofstream(print_to, std::ios::app) << line;
        return;
    }
    const std::string all = document();
    EXPECT_NE(all.find(line), std::string::npos) << "the document does not say:\n" << line;
}

INSTANTIATE_TEST_SUITE_P(Rows, FaultTableTest, ::testing::ValuesIn(rows));

TEST(FaultTableDocumentTest, HoldsTheseRowsAlone)
{
    const std::string all = document();
    const size_t start = all.find(head);
    ASSERT_NE(start, std::string::npos);
    const std::string table = all.substr(start);
    EXPECT_EQ(static_cast<size_t>(std::count(table.begin(), table.end(), '\n')),
              2 + std::size(rows));
}

} // namespace
} // namespace board_test
