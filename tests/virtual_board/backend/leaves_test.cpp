#include "virtual_board/backend/leaves.h"

#include <fstream>
#include <map>
#include <regex>
#include <set>

#include "board_hal_cpld.h"
#include "tests/virtual_board/backend/client.h"
#include "virtual_board/backend/arguments.h"

namespace {

using nlohmann::json;
using virtual_board::Board;
using virtual_board::Domain;
using virtual_board::Leaf;
using virtual_board::Leaves;
using virtual_board::leaves_of;
using virtual_board::RequestError;

class LeavesTest : public board_test::BackendTest {
protected:
    LeavesTest()
    {
        // One of each kind that comes up by use.
        board.gpio().line(95);
        board.fpga().set_register(7, 1);
    }
};

std::vector<json> accepted(const Domain &domain)
{
    std::vector<json> values;
    switch (domain.kind) {
    case Domain::Kind::truth:
        values = {true, false, 1, 0, true};
        break;
    case Domain::Kind::number:
        values = {domain.min, domain.max, "0x1", 0};
        break;
    case Domain::Kind::real:
        values = {domain.min, domain.max, 0.5, -0.5, 20};
        break;
    case Domain::Kind::date:
        values = {"1970-01-01 00:00:00", "2024-02-29 23:59:59", "2037-12-31 12:00:00"};
        break;
    case Domain::Kind::nothing:
        break;
    }
    if (domain.nullable) {
        values.push_back(nullptr);
        values.push_back(domain.max);
    }
    return values;
}

std::vector<json> refused(const Domain &domain)
{
    std::vector<json> values = {"nonsense", json::array(), json::object(),  "",
                                "0x",       1e300,         json::array({1})};
    if (!domain.nullable) {
        values.push_back(nullptr);
    }
    switch (domain.kind) {
    case Domain::Kind::truth:
        values.insert(values.end(), {2, -1, "true"});
        break;
    case Domain::Kind::number:
        values.insert(values.end(), {domain.min - 1, domain.max + 1, 0.5, true,
                                     std::numeric_limits<uint64_t>::max()});
        break;
    case Domain::Kind::real:
        values.insert(values.end(),
                      {static_cast<double>(domain.min) - 0.1, static_cast<double>(domain.max) + 0.1,
                       true, "20", std::numeric_limits<double>::quiet_NaN()});
        break;
    case Domain::Kind::date:
        values.insert(values.end(), {"2021-02-29 00:00:00", "1969-12-31 23:59:59", "2020-01-01",
                                     "2020-01-01 00:00:00 ", " 2020-01-01 00:00:00", 0});
        break;
    case Domain::Kind::nothing:
        break;
    }
    return values;
}

json meant(const Domain &domain, const json &value)
{
    if (domain.kind == Domain::Kind::truth) {
        return value == true || value == 1;
    }
    return value == "0x1" ? json(1) : value;
}

json now(Board &board, const std::string &name)
{
    return leaves_of(board).find(name)->get();
}

std::set<std::string> names_of(const Leaves &leaves)
{
    std::set<std::string> names;
    for (const Leaf &leaf : leaves.all()) {
        EXPECT_TRUE(names.insert(leaf.name).second) << leaf.name << " is there twice";
    }
    return names;
}

TEST_F(LeavesTest, EveryLeafTakesWhatItSaysAndNothingElse)
{
    size_t settable = 0;
    for (const std::string &name : names_of(leaves_of(board))) {
        const Leaves leaves = leaves_of(board);
        const Leaf *leaf = leaves.find(name);
        ASSERT_NE(leaf, nullptr) << name;
        EXPECT_EQ(leaf->set == nullptr, leaf->domain.words().empty()) << name;
        // Of the registers without a name, all alike, one.
        const bool nameless = name.starts_with("cpld.0x") && !name.starts_with("cpld.0x10");
        if (leaf->set == nullptr || nameless) {
            continue;
        }
        ++settable;
        for (const json &value : accepted(leaf->domain)) {
            leaf->set(value);
            EXPECT_EQ(now(board, name), meant(leaf->domain, value)) << name << " to " << value;
        }
        const json before = now(board, name);
        for (const json &value : refused(leaf->domain)) {
            EXPECT_THROW(leaf->set(value), RequestError) << name << " to " << value;
        }
        EXPECT_EQ(now(board, name), before) << name;
    }
    EXPECT_GT(settable, 300U);
}

// A name that is shown, and set, and shown again: one of each kind.
TEST_F(LeavesTest, SetAnswersWithTheNewValue)
{
    EXPECT_EQ(set("network.link", 1), (json{{"ok", true},
                                            {"name", "network.link"},
                                            {"value", 1},
                                            {"settable", true},
                                            {"accepts", "a number from 0 to 4294967295"}}));
    EXPECT_EQ(board.network().link(), 1U);
    EXPECT_EQ(set("ipmb.0.claimed_length", nullptr)["accepts"], "a number from 0 to 255, or null");
    EXPECT_EQ(set("rtc.date", "2024-02-29 23:59:59")["value"], "2024-02-29 23:59:59");
    EXPECT_EQ(set("inlet_sensor.celsius", 31.5)["value"], 31.5);
    EXPECT_EQ(set("disks.0.failed", true)["value"], true);
}

TEST_F(LeavesTest, EveryReadOnlyLeafRefusesToBeSet)
{
    size_t read_only = 0;
    const Leaves leaves = leaves_of(board);
    for (const Leaf &leaf : leaves.all()) {
        // Offsets are the same for all registers.
        if (leaf.set == nullptr &&
            (!leaf.name.starts_with("cpld.") || leaf.name == "cpld.TEST.offset")) {
            ++read_only;
            EXPECT_EQ(set(leaf.name, 1)["error"], leaf.name + " can only be read");
        }
    }
    EXPECT_GT(read_only, 80U);
}

TEST_F(LeavesTest, StateIsTheTreeOfTheLeaves)
{
    const json answer = ask({{"request", "state"}});
    EXPECT_EQ(answer["ok"], true);
    const Leaves leaves = leaves_of(board);
    for (const Leaf &leaf : leaves.all()) {
        std::string pointer = "/" + leaf.name;
        std::replace(pointer.begin(), pointer.end(), '.', '/');
        const json::json_pointer place(pointer);
        ASSERT_TRUE(answer["state"].contains(place)) << leaf.name;
        EXPECT_EQ(answer["state"][place], leaf.get()) << leaf.name;
    }
    EXPECT_GT(leaves.all().size(), 800U);
}

TEST_F(LeavesTest, RegistersAndBitsHaveTheirNames)
{
    set("cpld.CHIPSET", 0xA0);
    EXPECT_EQ(board.cpld().get(CPLD_REG_CHIPSET), 0xA0);
    EXPECT_EQ(value("cpld.CHIPSET"), 0xA0);
    EXPECT_EQ(value("cpld.CHIPSET.NMI_REQUEST"), 1);
    EXPECT_EQ(value("cpld.CHIPSET.bits.CLEAR_CMOS"), 0);
    set("cpld.CHIPSET.CLEAR_CMOS", 1);
    EXPECT_EQ(board.cpld().get(CPLD_REG_CHIPSET), 0xE0);
    set("cpld.CPU0_STATUS.CPU_GENERATION", 5);
    EXPECT_EQ(board.cpld().get(CPLD_REG_CPU0_STATUS), 0xD0);
    set("cpld.0x10", "0x7F");
    EXPECT_EQ(board.cpld().get(0x10), 0x7F);
    EXPECT_EQ(value("cpld.CHIPSET.offset"), CPLD_REG_CHIPSET);
}

TEST_F(LeavesTest, AGroupIsShownAsATree)
{
    EXPECT_EQ(ask({{"request", "get"}, {"name", "disks.0"}}), (json{{"ok", true},
                                                                    {"name", "disks.0"},
                                                                    {"value",
                                                                     {{"present", true},
                                                                      {"failed", false},
                                                                      {"r", false},
                                                                      {"v", true},
                                                                      {"flickers_by_load", false},
                                                                      {"flicker_period_us", 0}}}}));
}

TEST_F(LeavesTest, NamesThatAreNoneAreRefused)
{
    for (const char *name : {"", ".", "disk", "disks.", "disks.4.present", "cpld", "gpio.256.level",
                             "gpio.x.level", "gpio.999999999999.level", "fpga.registers.322",
                             "fpga.registers.65536", "cpld.CHIPSET.TEST", "\xFF"}) {
        const json answer = ask({{"request", "set"}, {"name", name}, {"value", 1}});
        EXPECT_TRUE(answer.contains("error")) << name;
    }
    EXPECT_EQ(error({{"request", "get"}, {"name", "disk"}}), "no value \"disk\"");
    EXPECT_EQ(error({{"request", "get"}, {"name", ""}}), "no value \"\"");
}

TEST_F(LeavesTest, LinesAndRegistersComeUpWhenTheyAreSet)
{
    EXPECT_EQ(error({{"request", "get"}, {"name", "gpio.17.level"}}), "no value \"gpio.17.level\"");
    EXPECT_EQ(set("gpio.17.level", 1)["value"], 1);
    EXPECT_EQ(board.gpio().line(17).level, 1);
    EXPECT_EQ(set("fpga.registers.500", 0xFFFFFFFF)["value"], 0xFFFFFFFF);
    EXPECT_EQ(board.fpga().get_register(500), 0xFFFFFFFF);
}

TEST_F(LeavesTest, AnOutputIsTheControllersToDrive)
{
    board.gpio().line(95).output = true;
    EXPECT_EQ(set("gpio.95.level", 1)["error"], "gpio.95.level can only be read");
    EXPECT_EQ(board.gpio().line(95).level, 0);
}

struct Row {
    std::regex names;
    std::string accepts;
    bool used = false;
};

// Documented names with what they accept.
std::map<std::string, Row> documented()
{
    std::ifstream file(VIRTUAL_BOARD_DOCUMENT);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    std::map<std::string, Row> rows;
    const std::regex row("\n\\| `([a-zA-Z0-9_.]+)` \\| ([^|]*)\\|");
    const size_t begin = text.find("\n## State\n");
    EXPECT_NE(begin, std::string::npos);
    const std::string table = text.substr(begin);
    for (std::sregex_iterator at(table.begin(), table.end(), row), end; at != end; ++at) {
        std::string pattern = (*at)[1];
        for (const auto &[from, to] :
             std::map<std::string, std::string>{{"\\.0xNN", ".0x[0-9A-F]{2}"},
                                                {"\\.NAME", ".[A-Za-z0-9_]+"},
                                                {"\\.N(?=\\.|$)", ".[0-9]+"}}) {
            pattern = std::regex_replace(pattern, std::regex(from), to);
        }
        std::string accepts = (*at)[2];
        accepts.erase(accepts.find_last_not_of(' ') + 1);
        EXPECT_TRUE(rows.emplace(pattern, Row{std::regex(pattern), accepts}).second)
            << pattern << " is there twice";
    }
    return rows;
}

std::string in_the_document(const Leaf &leaf)
{
    if (leaf.domain.kind == Domain::Kind::date) {
        return "a date like `2020-01-31 23:59:59`";
    }
    std::string words = leaf.domain.words();
    words = std::regex_replace(words, std::regex("^a number from "), "");
    return std::regex_replace(words, std::regex(", or null"), " or null");
}

TEST_F(LeavesTest, EveryNameIsDocumentedWithWhatItAccepts)
{
    std::map<std::string, Row> rows = documented();
    const Leaves leaves = leaves_of(board);
    for (const Leaf &leaf : leaves.all()) {
        unsigned matches = 0;
        for (auto &[pattern, row] : rows) {
            if (std::regex_match(leaf.name, row.names)) {
                ++matches;
                row.used = true;
                const bool field = leaf.name.find(".bits.") != std::string::npos;
                EXPECT_EQ(row.accepts,
                          field ? "0 to the field's largest value" : in_the_document(leaf))
                    << leaf.name;
            }
        }
        EXPECT_EQ(matches, 1U) << leaf.name;
    }
    for (const auto &[pattern, row] : rows) {
        EXPECT_TRUE(row.used) << pattern << " is documented, but not there";
    }
}

} // namespace
