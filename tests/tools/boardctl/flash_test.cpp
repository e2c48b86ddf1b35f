// Commands on the controller's flash and the host's BIOS flash.

#include <mtd/mtd-user.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>

#include "boardctl/families/files.h"
#include "boardctl/families/mtd.h"
#include "boardctl/framework/failure.h"
#include "tests/tools/boardctl/command_test.h"

namespace boardctl {

namespace {

using board_test::Bytes;
using board_test::Fault;
using virtual_board::Operation;

constexpr uint32_t block = 0x1000;
constexpr uint32_t partition = 0x10000;

// The controller's flash may be strict: boardctl opens it for writing itself.
board_test::Personality small_flash(bool checks_access)
{
    board_test::Personality personality;
    personality.flash.erase_size = block;
    personality.flash.partitions = {partition, partition};
    personality.flash.checks_access = checks_access;
    personality.bios_flash = {partition, block};
    return personality;
}

// What stands behind the text, up to the next mark of JSON.
std::string word_behind(const std::string &line, const std::string &text)
{
    const size_t begin = line.find(text);
    EXPECT_NE(begin, std::string::npos) << line;
    const std::string rest = line.substr(begin + text.size());
    return rest.substr(0, rest.find_first_of("\",}"));
}

// Bytes that repeat nowhere near.
Bytes pattern(size_t count, uint32_t seed = 1)
{
    Bytes bytes(count);
    for (uint8_t &byte : bytes) {
        seed = seed * 1664525 + 1013904223;
        byte = static_cast<uint8_t>(seed >> 24);
    }
    return bytes;
}

class FlashTest : public CommandTest {
protected:
    explicit FlashTest(bool checks_access) : CommandTest(small_flash(checks_access)) {}

    // The test's file, with these contents.
    std::string file(const Bytes &bytes)
    {
        write_file(file_.path(), bytes);
        return file_.path();
    }
    Bytes saved() { return read_file(file_.path()); }
    std::string path() const { return file_.path(); }

    static std::string trouble_of(const std::string &line)
    {
        try {
            run(line);
        } catch (const Trouble &trouble) {
            return trouble.what();
        }
        ADD_FAILURE() << line << " succeeded";
        return {};
    }

    static int code_of(const std::string &line)
    {
        try {
            run(line);
        } catch (const Failed &failed) {
            return failed.code;
        }
        ADD_FAILURE() << line << " succeeded";
        return 0;
    }

    static Bytes part(const Bytes &all, size_t from, size_t count)
    {
        const auto first = all.begin() + static_cast<ptrdiff_t>(from);
        return {first, first + static_cast<ptrdiff_t>(count)};
    }

private:
    TemporaryFile file_;
};

TEST(MtdPath, NamesAndNumbers)
{
    for (const char *word : {"5", "mtd5", "/dev/mtd5"}) {
        EXPECT_EQ(mtd_path(word), "/dev/mtd5") << word;
    }
    for (const char *word : {"", "mtd", "/dev/", "/dev/5", "/dev/sda", "mtd5x", "5x", "mtdblock2",
                             "mtd/dev/5", "1000", "-1"}) {
        EXPECT_EQ(mtd_path(word), std::nullopt) << word;
    }
}

// ---- The controller's flash ------------------------------------------------------------

class BoardctlFlash : public FlashTest {
protected:
    BoardctlFlash() : FlashTest(true) {}

    Bytes contents(size_t from, size_t count)
    {
        return part(board.flash().contents(), from, count);
    }
};

TEST_F(BoardctlFlash, ListShowsThePartitions)
{
    const Result result = run("flash list");
    ASSERT_EQ(row_count(result, "partitions"), 2U);
    EXPECT_EQ(row(result, "partitions", 1), "/dev/mtd1 | NOR flash | 0x00010000 | 0x00001000");
}

TEST_F(BoardctlFlash, CopyPutsTheImageAtTheStart)
{
    const Bytes image = pattern(3 * block + 5);
    board.flash().put(partition, Bytes(partition, 0));
    EXPECT_EQ(field(run("flash copy mtd1 " + file(image)), "copied"), std::to_string(image.size()));
    EXPECT_EQ(contents(partition, image.size()), image);
    EXPECT_EQ(contents(partition + image.size(), 1), Bytes{0xFF});
    EXPECT_EQ(contents(partition + 4 * block, 1), Bytes{0});
}

TEST_F(BoardctlFlash, CopyTakesAStretchOfTheFile)
{
    const Bytes image = pattern(block);
    EXPECT_EQ(field(run("flash copy 0 " + file(image) + " --offset 100 --length 50"), "copied"),
              "50");
    EXPECT_EQ(contents(0, 51), [&] {
        Bytes expected = part(image, 100, 50);
        expected.push_back(0xFF);
        return expected;
    }());
    EXPECT_EQ(field(run("flash copy 0 " + path() + " --offset 4000"), "copied"), "96");
    EXPECT_EQ(contents(0, 96), part(image, 4000, 96));
    EXPECT_NE(trouble_of("flash copy 0 " + path() + " --offset 5000").find("4096 bytes"),
              std::string::npos);
}

TEST_F(BoardctlFlash, CopyThatFailsIsTold)
{
    board.faults.add(
        {.name = "write", .device = "mtd1", .operation = Operation::write, .value = EIO});
    EXPECT_EQ(code_of("flash copy mtd1 " + file(pattern(100))), -1);
    EXPECT_EQ(code_of("flash copy mtd9 " + path()), -1);
    EXPECT_EQ(code_of("flash copy mtd9 " + path() + " --offset 1"), -1);
}

// Stages in the order in which they were shown, each with its last percentage.
std::string stages_of(const std::string &documents)
{
    std::string all;
    std::string last;
    std::istringstream lines(documents);
    for (std::string line; std::getline(lines, line);) {
        const std::string stage = word_behind(line, "\"stage\":\"");
        const std::string current = word_behind(line, "\"current\":");
        const std::string total = word_behind(line, "\"total\":");
        if (stage != last) {
            all += (all.empty() ? "" : ", ") + stage;
            last = stage;
        }
        all += " " + (current == total ? "done" : current);
    }
    return all;
}

TEST_F(BoardctlFlash, CopyShowsItsPhases)
{
    run("flash copy mtd1 --json " + file(pattern(3 * block)));
    const std::string good = output();
    EXPECT_TRUE(good.ends_with("\"total\":30}}\n")) << good;
    const std::string shown = stages_of(good);
    EXPECT_TRUE(shown.starts_with("erase 0")) << shown;
    EXPECT_NE(shown.find("done, write 0"), std::string::npos) << shown;
    EXPECT_NE(shown.find("done, verify 0"), std::string::npos) << shown;
    EXPECT_TRUE(shown.ends_with(" done")) << shown;
    board.faults.add({.name = "write",
                      .device = "mtd1",
                      .operation = Operation::write,
                      .value = EIO,
                      .skip = 1});
    EXPECT_EQ(code_of("flash copy mtd1 --json " + path()), -1);
    const std::string failed = stages_of(output());
    EXPECT_NE(failed.find("done, write 0"), std::string::npos) << failed;
    EXPECT_EQ(failed.find("verify"), std::string::npos) << failed;
}

TEST_F(BoardctlFlash, EraseWorksInWholeBlocks)
{
    board.flash().put(0, Bytes(2 * partition, 0));
    EXPECT_EQ(field(run("flash erase mtd1 --offset 4096 --length 8192"), "erased"), "8192");
    EXPECT_EQ(board.flash().wear(16), 0U);
    EXPECT_EQ(board.flash().wear(17), 1U);
    EXPECT_EQ(board.flash().wear(18), 1U);
    EXPECT_EQ(board.flash().wear(19), 0U);
    EXPECT_EQ(contents(partition + block, 2 * block), Bytes(2 * block, 0xFF));
    EXPECT_NE(trouble_of("flash erase mtd1 --offset 1").find("blocks of 4096"), std::string::npos);
    EXPECT_NE(trouble_of("flash erase mtd1 --length 1").find("blocks of 4096"), std::string::npos);
    EXPECT_EQ(field(run("flash erase mtd0"), "erased"), std::to_string(partition));
    EXPECT_EQ(contents(0, partition), Bytes(partition, 0xFF));
    board.faults.add({.name = "erase",
                      .device = "mtd0",
                      .operation = Operation::ioctl,
                      .address = MEMERASE,
                      .value = EIO,
                      .skip = 2});
    EXPECT_NE(trouble_of("flash erase mtd0").find("not erased at byte 8192"), std::string::npos);
}

TEST_F(BoardctlFlash, ReadSavesAStretch)
{
    const Bytes old = pattern(partition, 5);
    board.flash().put(partition, old);
    EXPECT_EQ(field(run("flash read mtd1 " + path()), "read"), std::to_string(partition));
    EXPECT_EQ(saved(), old);
    run("flash read mtd1 " + path() + " --offset 100 --length 70");
    EXPECT_EQ(saved(), part(old, 100, 70));
    for (const char *stretch : {" --offset 65536", " --offset 1 --length 65536", " --length 65537",
                                " --offset 4294967295"}) {
        EXPECT_NE(trouble_of("flash read mtd1 " + path() + stretch).find("has 65536 bytes"),
                  std::string::npos);
    }
    EXPECT_NE(trouble_of("flash read mtd7 " + path()).find("cannot be opened"), std::string::npos);
}

TEST_F(BoardctlFlash, WriteNeedsErasedFlash)
{
    const Bytes data = pattern(70000 - 5000, 9);
    EXPECT_EQ(field(run("flash write mtd1 " + file(data) + " --offset 500"), "written"),
              std::to_string(data.size()));
    EXPECT_EQ(contents(partition + 500, data.size()), data);
    EXPECT_EQ(contents(partition + 499, 1), Bytes{0xFF});
    board.flash().put(0, Bytes(16, 0x0F));
    EXPECT_NE(trouble_of("flash write mtd0 " + file({0x0F, 0x0F, 0xF0}))
                  .find("at byte 0x00000002: 0x00 instead of 0xF0"),
              std::string::npos);
    EXPECT_NE(trouble_of("flash write mtd0 " + path() + " --offset 65534").find("does not fit"),
              std::string::npos);
    EXPECT_NE(trouble_of("flash write mtd0 " + file({})).find("is empty"), std::string::npos);
}

TEST_F(BoardctlFlash, VerifyFindsTheFirstDifference)
{
    const Bytes data = pattern(3000, 4);
    board.flash().put(block, data);
    EXPECT_EQ(field(run("flash verify mtd0 " + file(data) + " --offset 4096"), "same"), "3000");
    board.flash().flip_bit(block + 2999, 0);
    EXPECT_NE(trouble_of("flash verify mtd0 " + path() + " --offset 4096").find("0x00001BB7"),
              std::string::npos);
}

// ---- The host's BIOS flash --------------------------------------------------------------

class BoardctlBios : public FlashTest {
protected:
    BoardctlBios() : FlashTest(false) {}

    const Bytes &flash() { return board.bios_flash().contents(); }

    void expect_back_with_host()
    {
        const Result result = run("bios status");
        EXPECT_EQ(field(result, "owner"), "host");
        EXPECT_EQ(field(result, "driver_loaded"), "no");
    }

    // An image with OEM data: a flag, and one region of a block.
    static Bytes image(uint8_t flag, uint32_t region)
    {
        Bytes bytes = pattern(partition, 3);
        const size_t volume = 4096;
        const size_t oem = volume + 64;
        const size_t data = oem + 24;
        std::copy(std::begin(g_OemFvGuid), std::end(g_OemFvGuid), bytes.begin() + volume + 16);
        put(bytes, volume + 48, 64, 2);
        std::copy(std::begin(g_OemDataGuid), std::end(g_OemDataGuid), bytes.begin() + oem);
        put(bytes, oem + 20, 24 + 428, 2);
        put(bytes, data + 92, uint32_t{flag} << 24, 4);
        put(bytes, data + 136, 1, 4);
        put(bytes, data + 140, region, 4);
        put(bytes, data + 144, block, 4);
        return bytes;
    }

private:
    static void put(Bytes &bytes, size_t at, uint32_t value, unsigned size)
    {
        for (unsigned i = 0; i < size; ++i) {
            bytes.at(at + i) = static_cast<uint8_t>(value >> (8 * i));
        }
    }
};

TEST_F(BoardctlBios, OwnerAndProtectionAreSwitched)
{
    expect_back_with_host();
    EXPECT_EQ(field(run("bios owner controller"), "owner"), "controller");
    EXPECT_EQ(board.bios_switch().owner(), virtual_board::BiosSwitch::Owner::controller);
    EXPECT_EQ(field(run("bios owner host"), "owner"), "host");
    EXPECT_EQ(field(run("bios protect on"), "write_protected"), "yes");
    EXPECT_TRUE(board.bios_switch().write_protected());
    EXPECT_EQ(field(run("bios protect off"), "write_protected"), "no");
}

TEST_F(BoardctlBios, SaveAndReadGiveTheFlashBack)
{
    board.bios_flash().put(0, pattern(partition, 8));
    EXPECT_EQ(field(run("bios save " + path() + " --size 3000"), "saved"), "3000");
    EXPECT_EQ(saved(), part(flash(), 0, 3000));
    expect_back_with_host();
    EXPECT_EQ(field(run("bios read 0x1001 3"), "data"), bytes(part(flash(), 0x1001, 3)).shown);
    expect_back_with_host();
    EXPECT_EQ(code_of("bios save /nowhere/file --size 16"), -7);
    board.faults.add({.name = "read", .device = "mtd6", .value = EIO});
    EXPECT_EQ(code_of("bios save " + path() + " --size 16"), -7);
    EXPECT_EQ(field(run("bios status"), "owner"), "controller");
}

TEST_F(BoardctlBios, LoadCopiesTheRegionsOfTheImage)
{
    const Bytes old = pattern(partition, 8);
    board.bios_flash().put(0, old);
    const Bytes loaded = image(0, 3 * block);
    EXPECT_EQ(field(run("bios load " + file(loaded)), "loaded"), "yes");
    EXPECT_EQ(part(flash(), 3 * block, block), part(loaded, 3 * block, block));
    EXPECT_EQ(part(flash(), 0, 3 * block), part(old, 0, 3 * block));
    EXPECT_EQ(part(flash(), 4 * block, 12 * block), part(old, 4 * block, 12 * block));
    expect_back_with_host();
}

TEST_F(BoardctlBios, LoadRefusesWhatIsNoImage)
{
    EXPECT_EQ(code_of("bios load " + file(pattern(partition))), -2);
    EXPECT_NE(trouble_of("bios load " + file(pattern(100))).find("not 100"), std::string::npos);
    EXPECT_NE(trouble_of("bios load-raw " + file({})).find("not 0"), std::string::npos);
    expect_back_with_host();
}

TEST_F(BoardctlBios, DecideTellsNoFromFailure)
{
    EXPECT_EQ(field(run("bios decide " + file(image(0, block))), "full_upgrade"), "no");
    EXPECT_EQ(field(run("bios decide " + file(image(1, block))), "full_upgrade"), "yes");
    EXPECT_EQ(code_of("bios decide " + file(pattern(partition))), -2);
    expect_back_with_host();
}

TEST_F(BoardctlBios, LoadRawAndEraseWorkFromTheStart)
{
    const Bytes data = pattern(3 * block - 7, 6);
    board.bios_flash().put(0, Bytes(partition, 0));
    EXPECT_EQ(field(run("bios load-raw " + file(data)), "written"), std::to_string(data.size()));
    EXPECT_EQ(part(flash(), 0, data.size()), data);
    EXPECT_EQ(flash()[3 * block], 0);
    expect_back_with_host();
    EXPECT_EQ(field(run("bios erase --size 8192"), "erased"), "8192");
    EXPECT_EQ(part(flash(), 0, 8192), Bytes(8192, 0xFF));
    EXPECT_EQ(flash()[8192], data[8192]);
    expect_back_with_host();
    EXPECT_EQ(code_of("bios erase --size 131072"), -2); // twice the flash
    expect_back_with_host();
}

TEST_F(BoardctlBios, WriteGoesByKilobytesFromAnyFolder)
{
    const Bytes data = pattern(2500, 6);
    ASSERT_EQ(chdir("/proc"), 0);
    EXPECT_EQ(field(run("bios write 0x2010 " + file(data)), "written"), "2500");
    EXPECT_EQ(part(flash(), 0x2010, 2500), data);
    EXPECT_EQ(flash()[0x2010 + 2500], 0xFF);
    expect_back_with_host();
    EXPECT_NE(trouble_of("bios write 0 " + file({})).find("is empty"), std::string::npos);
    board.faults.add({.name = "write",
                      .device = "mtd6",
                      .operation = Operation::write,
                      .value = EIO,
                      .skip = 1});
    EXPECT_EQ(code_of("bios write 0x8000 " + file(data)), -2);
    EXPECT_EQ(field(run("bios status"), "owner"), "controller");
    EXPECT_EQ(part(flash(), 0x8000, 1024), part(data, 0, 1024));
}

} // namespace

} // namespace boardctl
