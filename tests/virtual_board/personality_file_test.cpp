#include "virtual_board/personality_file.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>

#include "board_hal_cpld.h"
#include "virtual_board/board.h"

namespace {

using nlohmann::json;
using virtual_board::Board;
using virtual_board::parse_personality;
using virtual_board::Personality;
using virtual_board::personality_keys;
using virtual_board::PersonalityError;
using virtual_board::write_personality;

std::string contents(const std::string &path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string complaint(const std::string &text)
{
    try {
        parse_personality(text, "board.json");
    } catch (const PersonalityError &error) {
        return error.what();
    }
    return "none";
}

class TemporaryFile {
public:
    explicit TemporaryFile(const std::string &text)
    {
        const int descriptor = mkstemps(path_.data(), 5);
        EXPECT_EQ(write(descriptor, text.data(), text.size()), static_cast<ssize_t>(text.size()));
        close(descriptor);
    }
    ~TemporaryFile() { unlink(path_.c_str()); }
    TemporaryFile(const TemporaryFile &) = delete;
    TemporaryFile &operator=(const TemporaryFile &) = delete;
    const std::string &path() const { return path_; }

private:
    std::string path_ = testing::TempDir() + "personality-XXXXXX.json";
};

TEST(PersonalityFile, AbsentKeysHaveTheDefaultBoardsValues)
{
    Personality expected;
    expected.name = "x";
    EXPECT_EQ(parse_personality(R"({"name": "x"})", "x.json"), expected);
}

// Every key with a value that is not the default.
constexpr const char *full = R"({
  "name": "full_1",
  "identity": {"board_id": 17, "pcb_version": 3, "bom_version": 9, "product_id": "0xfE",
    "cpld_version": 0, "cpld_compile_time": [1, 2, 3, 4, "0xFF"], "base_board_id": 5,
    "blade_pcb_version": 6, "slot_number": 15},
  "host": {"powered": true, "power_button_locked": true, "serial_route": "0x21"},
  "fitted": {"cpus": [false, true], "cpu_generation": 7, "disks": [false, false, true, true],
    "raid_card": false, "board_6": true, "amc_modules": 255, "hdd_backplane_ports": [15, 0, 7]},
  "sub_boards": {"board_2_pcb_version": 7, "board_3_pcb_version": 0, "board_3_id": 15},
  "flash": {"erase_size": 4096, "partitions": [4096, 8192], "checks_access": true},
  "bios_flash": {"size": "0x20000", "erase_size": "0x1000"}
})";

Personality full_personality()
{
    Personality all;
    all.name = "full_1";
    all.board_id = 17;
    all.pcb_version = 3;
    all.bom_version = 9;
    all.product_id = 0xFE;
    all.cpld_version = 0;
    all.cpld_compile_time = {1, 2, 3, 4, 0xFF};
    all.base_board_id = 5;
    all.blade_pcb_version = 6;
    all.slot_number = 15;
    all.host_powered = true;
    all.power_button_locked = true;
    all.serial_route = 0x21;
    all.cpus_fitted = {false, true};
    all.cpu_generation = 7;
    all.disks_fitted = {false, false, true, true};
    all.raid_card_fitted = false;
    all.board_6_fitted = true;
    all.amc_modules = 255;
    all.hdd_backplane_ports = {15, 0, 7};
    all.board_2_pcb_version = 7;
    all.board_3_pcb_version = 0;
    all.board_3_id = 15;
    all.flash = {.erase_size = 4096, .partitions = {4096, 8192}, .checks_access = true};
    all.bios_flash = {.size = 0x20000, .erase_size = 0x1000};
    return all;
}

TEST(PersonalityFile, EveryKeyReachesItsMember)
{
    EXPECT_EQ(parse_personality(full, "full.json"), full_personality());
    for (const std::string &key : personality_keys()) {
        const json::json_pointer place(key);
        EXPECT_TRUE(json::parse(full).contains(place)) << key;
        EXPECT_NE(json::parse(write_personality(full_personality()))[place],
                  json::parse(write_personality({}))[place])
            << key;
    }
}

TEST(PersonalityFile, WhatIsWrittenIsReadBack)
{
    const Personality all = full_personality();
    EXPECT_EQ(parse_personality(write_personality(all), "written"), all);
}

TEST(PersonalityFile, BuiltInBoardsAreFilesAsTheyWouldBeWritten)
{
    ASSERT_FALSE(virtual_board::personalities().empty());
    for (const Personality &one : virtual_board::personalities()) {
        const std::string path = PERSONALITIES "/" + one.name + ".json";
        EXPECT_EQ(contents(path), write_personality(one)) << path;
        EXPECT_EQ(virtual_board::choose_personality(path), one);
        EXPECT_EQ(virtual_board::choose_personality(one.name), one);
    }
    EXPECT_EQ(virtual_board::choose_personality("brava-0"), Personality{});
}

TEST(PersonalityFile, AFileMakesABoard)
{
    const TemporaryFile file(full);
    Board board(virtual_board::choose_personality(file.path()));
    EXPECT_EQ(board.cpld().get(CPLD_REG_BOARD_ID), 17);
    EXPECT_EQ(board.slot().base_board_id, 5);
    EXPECT_TRUE(board.host().powered());
    EXPECT_EQ(board.flash().geometry(), (virtual_board::NorGeometry{12288, 4096}));
    EXPECT_EQ(board.bios_flash().geometry().size, 0x20000U);
}

TEST(PersonalityFile, AFileThatCannotBeReadIsNamed)
{
    for (const std::string path : {"./no-such-file", "no-such-file.json", "/"}) {
        try {
            virtual_board::choose_personality(path);
            ADD_FAILURE() << path;
        } catch (const PersonalityError &error) {
            EXPECT_EQ(error.what(), path + ": cannot be read");
        }
    }
}

TEST(PersonalityFile, AnUnknownNameIsAnsweredWithTheKnownOnes)
{
    try {
        virtual_board::choose_personality("brava-4");
        ADD_FAILURE();
    } catch (const PersonalityError &error) {
        EXPECT_STREQ(error.what(),
                     "no personality \"brava-4\"; there are brava-0, brava-1, brava-2, brava-3, "
                     "corvo-8, corvo-9, corvo-10, corvo-11, unknown-bom");
    }
}

struct Wrong {
    const char *text;
    const char *complaint; // behind "board.json: "
};

constexpr Wrong wrong_texts[] = {
    {"[]", "/: must be an object"},
    {"7", "/: must be an object"},
    {"{}", "/: the key \"name\" is missing"},
    {R"({"name": "x", "name": "y"})", "/: the key \"name\" is there twice"},
    {R"({"name": "x", "host": {"powered": true, "powered": true}})",
     "/: the key \"powered\" is there twice"},
    {R"({"name": ""})", "/name: must be a text of 1 to 63 small letters, digits, \"-\" and \"_\""},
    {R"({"name": "A"})", "/name: must be a text of 1 to 63 small letters, digits, \"-\" and \"_\""},
    {R"({"name": 3})", "/name: must be a text of 1 to 63 small letters, digits, \"-\" and \"_\""},
    {R"({"name": "x", "nam": 1})", "/nam: is not a key of a personality"},
    {R"({"name": "x", "": {}})", "/: is not a key of a personality"},
    {R"({"name": "x", "a\nb": 1})", "/a?b: is not a key of a personality"},
    {R"({"name": "x", "host": 1})", "/host: must be an object"},
    {R"({"name": "x", "host": {"board_id": 1}})", "/host/board_id: is not a key of a personality"},
    {R"({"name": "x", "host": {"powered": 1}})", "/host/powered: must be true or false"},
    {R"({"name": "x", "identity": {"slot_number": 16}})",
     "/identity/slot_number: must be a number from 0 to 15"},
    {R"({"name": "x", "identity": {"slot_number": -1}})",
     "/identity/slot_number: must be a number from 0 to 15"},
    {R"({"name": "x", "identity": {"slot_number": 1.0}})",
     "/identity/slot_number: must be a number from 0 to 15"},
    {R"({"name": "x", "identity": {"slot_number": true}})",
     "/identity/slot_number: must be a number from 0 to 15"},
    {R"({"name": "x", "identity": {"board_id": "0x100"}})",
     "/identity/board_id: must be a number from 0x00 to 0xFF"},
    {R"({"name": "x", "identity": {"board_id": "0x"}})",
     "/identity/board_id: must be a number from 0x00 to 0xFF"},
    {R"({"name": "x", "identity": {"board_id": "10"}})",
     "/identity/board_id: must be a number from 0x00 to 0xFF"},
    {R"({"name": "x", "identity": {"board_id": "0x1g"}})",
     "/identity/board_id: must be a number from 0x00 to 0xFF"},
    {R"({"name": "x", "identity": {"board_id": "0xFFFFFFFFFFFFFFFFF"}})",
     "/identity/board_id: must be a number from 0x00 to 0xFF"},
    {R"({"name": "x", "fitted": {"disks": [true, true, true]}})",
     "/fitted/disks: must be a list of 4 values"},
    {R"({"name": "x", "fitted": {"disks": [true, true, true, 0]}})",
     "/fitted/disks/3: must be true or false"},
    {R"({"name": "x", "flash": {"partitions": []}})",
     "/flash/partitions: must be a list of 1 to 6 values"},
    {R"({"name": "x", "flash": {"partitions": [65536, 65536, 0]}})",
     "/flash/partitions/2: must be a number from 0x01 to 0x10000000"},
    {R"({"name": "x", "flash": {"partitions": [65536, 1000]}})",
     "/flash/partitions/1: must be a multiple of the erase size 0x10000"},
    {R"({"name": "x", "flash": {"partitions": ["0x10000000", "0x10000"]}})",
     "/flash/partitions: are larger together than 0x10000000"},
    {R"({"name": "x", "flash": {"erase_size": 768}})", "/flash/erase_size: must be a power of two"},
    {R"({"name": "x", "flash": {"erase_size": 128}})",
     "/flash/erase_size: must be a number from 0x100 to 0x1000000"},
    {R"({"name": "x", "bios_flash": {"erase_size": 768}})",
     "/bios_flash/erase_size: must be a power of two"},
    {R"({"name": "x", "bios_flash": {"size": 1000}})",
     "/bios_flash/size: must be a multiple of the erase size 0x10000"},
};

TEST(PersonalityFile, WhatIsNotUnderstoodIsRefusedInOneLine)
{
    for (const Wrong &row : wrong_texts) {
        EXPECT_EQ(complaint(row.text), std::string("board.json: ") + row.complaint) << row.text;
    }
    EXPECT_EQ(complaint(std::string((1 << 20) + 1, ' ')), "board.json: /: is longer than 1 MiB");
    // The words behind the place are the JSON library's.
    const std::string syntax = complaint("{\"name\":\n\"x\" \x01}");
    EXPECT_TRUE(syntax.starts_with("board.json: /: parse error at line 2, column ")) << syntax;
    EXPECT_EQ(syntax.find('\n'), std::string::npos) << syntax;
}

TEST(PersonalityFile, LimitsAreAccepted)
{
    for (const char *text :
         {R"({"name": "x", "identity": {"slot_number": 0, "board_id": "0xff"}})",
          R"({"name": "x", "flash": {"erase_size": 256, "partitions": ["0x10000000"]}})",
          R"({"name": "x", "flash": {"partitions": [65536, 65536, 65536, 65536, 65536, 65536]}})",
          R"({"name": "x", "bios_flash": {"erase_size": "0x1000000", "size": "0x1000000"}})"}) {
        EXPECT_EQ(complaint(text), "none") << text;
    }
    EXPECT_EQ(complaint("{\"name\": \"" + std::string(63, 'x') + "\"}"), "none");
    EXPECT_NE(complaint("{\"name\": \"" + std::string(64, 'x') + "\"}"), "none");
}

TEST(PersonalityFile, EveryKeyIsDocumentedAndEveryDocumentedKeyIsRead)
{
    const std::string text = contents(PERSONALITY_DOCUMENT);
    std::set<std::string> documented;
    const std::regex row("\n\\| `(/[a-z0-9_/]+)` \\|");
    for (std::sregex_iterator at(text.begin(), text.end(), row), end; at != end; ++at) {
        EXPECT_TRUE(documented.insert((*at)[1]).second) << (*at)[1];
    }
    const std::vector<std::string> keys = personality_keys();
    EXPECT_EQ(documented, std::set<std::string>(keys.begin(), keys.end()));
}

} // namespace
