// Flash copies, BIOS images, CPLD programs and the state of an upgrade.

#include <unistd.h>

#include "tests/operations/operation.h"
#include "tests/update/update_test.h"
#include "tools/bios_image/image.h"

namespace board_test {

namespace {

using enum Reach;

constexpr const char *controller_flash = "/dev/mtd0";
constexpr const char *bios_flash = "/dev/mtd6";
constexpr uint32_t copied = 12000;       // three erase blocks, two chunks
constexpr uint32_t image_size = 0x10000; // as the BIOS flash

void give_to_host(Board &board)
{
    board.act([&] {
        board.cpld().set(CPLD_REG_BIOS_FLASH, 0);
        board.modules().run({"rmmod", "/ko/m25p80.ko"});
    });
}

void give_to_controller(Board &board)
{
    board.act([&] {
        board.cpld().set(CPLD_REG_BIOS_FLASH, CPLD_BIOS_OWNER);
        board.modules().run({"insmod", "/ko/m25p80.ko"});
    });
}

void put_copy(Board &board)
{
    put_board_file(board, pattern(copied));
}

void put_copy_for_bios(Board &board)
{
    put_copy(board);
    give_to_controller(board);
}

// The image's flag is 1; the flash has the given one.
void put_bios_image(Board &board, uint32_t flash_flag)
{
    bios_image::Layout image;
    image.flag = 1;
    image.regions = {{0x2000, 0x1000}, {0x5000, 0x1000}};
    put_board_file(board, bios_image::build(image, 3));
    bios_image::Layout flash;
    flash.flag = flash_flag;
    const Bytes contents = bios_image::build(flash, 8);
    give_to_host(board);
    board.act([&] { board.bios_flash().put(0, contents); });
}

// The path of the device is relative.
void stand_in_root(Board &board)
{
    give_to_host(board);
    if (chdir("/") != 0) {
        abort();
    }
}

// Every byte of the part is a request.
Personality tiny_bios_flash()
{
    Personality personality = update_board();
    personality.bios_flash = {.size = 64, .erase_size = 16};
    return personality;
}

Setting on_flash(std::string name, std::function<long long()> call,
                 std::function<void(Board &)> prepare, long long good = 0)
{
    return {.name = std::move(name),
            .call = std::move(call),
            .good = good,
            .prepare = std::move(prepare),
            .board = update_board()};
}

Operations flash_operations()
{
    static const uint8_t bytes[64] = {1, 2, 3};
    return {
        {"mtd_flash_copy",
         calls,
         {on_flash("", with(mtd_flash_copy, controller_flash, board_file), put_copy)}},
        {"mtd_flash_copy_ex",
         calls,
         {on_flash("", with(mtd_flash_copy_ex, controller_flash, board_file, 100, 11000),
                   put_copy)}},
        {"bios_bulk_erase",
         calls,
         {{.name = "",
           .call = with(bios_bulk_erase, 0),
           .prepare = give_to_host,
           .board = tiny_bios_flash()}},
         "",
         true},
        {"bios_read",
         calls,
         {on_flash("", with(bios_read, 0x100, out, 1024), give_to_controller, 1024)}},
        {"bios_write",
         calls,
         {on_flash("", with(bios_write, 0x100, bytes, 64), stand_in_root, 64)}},
        {"spi_flash_copy",
         calls,
         {on_flash("", with(spi_flash_copy, bios_flash, 0x1000, board_file, 0, 12000, 0x11, 1),
                   put_copy_for_bios)}},
    };
}

Operations image_operations()
{
    const auto dump = [] {
        return static_cast<long long>(get_bios((work_directory() + "/dump").c_str(), 2000));
    };
    const auto flags_differ = [](Board &board) { put_bios_image(board, 0x01000002); };
    const auto flags_agree = [](Board &board) { put_bios_image(board, 1); };
    return {
        {"get_bios", calls, {on_flash("", dump, give_to_host)}},
        {"load_bios",
         calls,
         {on_flash("upper half", with(load_bios, bios_flash, board_file, 0, image_size, 1),
                   flags_differ),
          on_flash("regions", with(load_bios, bios_flash, board_file, 0, image_size, 1),
                   flags_agree)}},
        {"load_bios_bin",
         calls,
         {on_flash("", with(load_bios_bin, bios_flash, board_file, 0, 12000, 1), flags_agree)}},
        {"isFullUpgrade",
         calls,
         {on_flash("full", with(isFullUpgrade, bios_flash, board_file, 0, image_size),
                   flags_differ),
          on_flash("not full", with(isFullUpgrade, bios_flash, board_file, 0, image_size),
                   flags_agree, -2)},
         "documented: not beside another operation on images"},
    };
}

void put_program(Board &board)
{
    Bytes program = pattern(300);
    const Bytes start = {0x65, 0x00, 0x00, '_', '_', '_', '_', '1', '2', '.', '1'};
    std::copy(start.begin(), start.end(), program.begin());
    program.back() = 0x7F;
    put_board_file(board, program);
}

Operations program_operations()
{
    return {
        {"load_cpld",
         calls,
         {{"", with(load_cpld, board_file, 5, 0, 0), 0, put_program},
          {"component 6", with(load_cpld, board_file, 6, 0, 0), 0, put_program}}},
        {"cpld_cmd",
         calls,
         {{"type 1", with(cpld_cmd, 1, 0)},
          {"component 5", with(cpld_cmd, 2, 5)},
          {"component 6", with(cpld_cmd, 2, 6)}}},
        ONE(nothing, 0, get_cpld_upgrade_count, 0, out),
    };
}

Operations state_operations()
{
    return {
        ONE(nothing, 0, set_upgrade_status, 40, 1),
        ONE(nothing, 0, get_upgrade_status, out, out2),
        ONE(nothing, 0, set_upgrade_mode, 1, 2),
        ONE(nothing, 0, get_upgrade_mode, out, out2),
        ONE(nothing, 0, get_drv_lib_version, out, out2),
        ONE(nothing, 0, get_drv_build_time, out, 32, out2, 32),
        ONE(nothing, 0, get_max_board_num, out),
        ONE(calls, 0, set_cur_time_stamp, 1600000000),
        MANY(calls, get_unit_logic_version,
             each({0, 1}, [](int type) { return with(get_unit_logic_version, 0, type, out); })),
        ONE(calls, 0, get_mgnt_lan_status, 0, out),
    };
}

} // namespace

Operations update_operations()
{
    Operations joined;
    for (const auto table :
         {flash_operations, image_operations, program_operations, state_operations}) {
        for (LibraryOperation &operation : table()) {
            joined.push_back(std::move(operation));
        }
    }
    return joined;
}

} // namespace board_test
