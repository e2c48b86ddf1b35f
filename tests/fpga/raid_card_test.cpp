// Ids of the RAID card: what its expander is asked, what the callers and the
// CPLD's mirror get.

#include <errno.h>
#include <linux/i2c-dev.h>

#include "tests/frame/state_test.h"

namespace board_test {
namespace {

constexpr uint32_t mirror = 0xD4;
constexpr uint8_t expander = 0x40 >> 1;

constexpr const char *write_failed = "get_raid_pcb_ver:write 9555 configuration port error\r\n";
constexpr const char *read_failed = "get_raid_pcb_ver:read 9555 configuration port error\r\n";

// The messages of one reading of the card: address, flags, length, data.
const std::vector<Bytes> reading = {
    {expander, 0, 3, 0, 0x06, 0xFF, 0xFB}, // port 1: all inputs but line 2
    {expander, 0, 1, 0, 0x06},
    {expander, 1, 2, 0}, // reads back
    {expander, 0, 1, 0, 0x00},
    {expander, 1, 1, 0}, // input port 0
};

// An expander that reads back what it is told to.
class Forger : public virtual_board::I2cChip {
public:
    Bytes configuration = {0xFF, 0xFB};
    uint8_t input = 0x93;

    bool start(bool to_read) override
    {
        command_next_ = !to_read;
        return true;
    }
    bool write(uint8_t byte) override
    {
        if (command_next_) {
            selected_ = byte;
        }
        command_next_ = false;
        return true;
    }
    uint8_t read() override
    {
        return selected_ < 6 ? input : configuration.at(static_cast<size_t>(selected_++ - 6));
    }

private:
    uint8_t selected_ = 0;
    bool command_next_ = false;
};

// The two getters, which differ in little.
struct Getter {
    const char *name;
    int (*get)(uint8_t *);
    uint8_t mask; // of the field, in the card's lines and in the mirror
    unsigned shift;
    bool mirrors_what_it_remembers;
};

const Getter getters[] = {
    {"board_id", get_raid_board_id, 0x0F, 0, true},
    {"pcb_version", get_raid_pcb_ver, 0x70, 4, false},
};

void PrintTo(const Getter &getter, std::ostream *out)
{
    *out << getter.name;
}

class RaidCardTest : public StateTest {
protected:
    std::vector<Bytes> messages() const
    {
        std::vector<Bytes> all;
        for (const Event &event : board.trace.of(Operation::ioctl, "i2c-0")) {
            EXPECT_EQ(event.address, uint32_t{I2C_RDWR});
            all.push_back(event.bytes);
        }
        return all;
    }

    void strap(uint8_t lines) { board.raid_expander().set_input(0, lines); }
    void pull_card() { board.i2c(2).unplug(expander); }

    // Transfers from the nth on answer this.
    void answer_from(unsigned nth, long long result)
    {
        board.faults.add({.name = "answer",
                          .device = "i2c-0",
                          .operation = Operation::ioctl,
                          .address = uint32_t{I2C_RDWR},
                          .kind = Fault::Kind::result,
                          .value = result,
                          .skip = nth,
                          .times = 0});
    }
};

class RaidCard : public RaidCardTest, public ::testing::WithParamInterface<Getter> {
protected:
    int (*const get)(uint8_t *) = GetParam().get;

    uint8_t field(unsigned lines) const
    {
        return static_cast<uint8_t>((lines & GetParam().mask) >> GetParam().shift);
    }
    uint8_t mirrored(unsigned before, unsigned lines) const
    {
        return static_cast<uint8_t>((before & ~unsigned{GetParam().mask}) |
                                    (lines & GetParam().mask));
    }

    void expect_failure(const std::string &text)
    {
        const Bytes before = registers();
        uint8_t out = untouched;
        EXPECT_EQ(get(&out), -5);
        EXPECT_EQ(out, 0);
        EXPECT_EQ(output(), text);
        EXPECT_EQ(registers(), before);
    }

    // The card is well again: the next call reads it.
    void expect_not_remembered()
    {
        board.faults.clear();
        board.i2c(2).plug(expander, std::make_shared<Forger>());
        clear_trace();
        uint8_t out = untouched;
        EXPECT_EQ(get(&out), 0);
        EXPECT_EQ(out, field(0x93));
        EXPECT_EQ(messages().size(), 5U);
        EXPECT_EQ(output(), "");
    }
};

TEST_P(RaidCard, ConfiguresChecksAndReadsTheExpander)
{
    strap(0x93);
    set_reg(mirror, 0xFF);
    uint8_t out = untouched;
    EXPECT_EQ(get(&out), 0);
    EXPECT_EQ(out, field(0x93));
    EXPECT_EQ(messages(), reading);
    EXPECT_EQ(reg(mirror), mirrored(0xFF, 0x93));
    EXPECT_EQ(output(), "");
    char store[16];
    snprintf(store, sizeof(store), "store d4=%02x", mirrored(0xFF, 0x93));
    const std::string transfer = "ioctl i2c-0 707";
    const std::string pause = "sleep 10000";
    // The mirror has no lock.
    expect_steps({"lock i2c_lock", transfer, pause, "unlock i2c_lock", "lock i2c_lock", transfer,
                  pause, transfer, "unlock i2c_lock", "lock i2c_lock", transfer, pause, transfer,
                  "unlock i2c_lock", "load d4", store});
}

TEST_P(RaidCard, LeavesTheExpanderConfigured)
{
    uint8_t out = 0;
    get(&out);
    EXPECT_EQ(board.raid_expander().get(virtual_board::Pca9555::configuration_0), 0xFF);
    EXPECT_EQ(board.raid_expander().get(virtual_board::Pca9555::configuration_1), 0xFB);
}

TEST_P(RaidCard, RefusesNullSilently)
{
    EXPECT_EQ(get(nullptr), -2);
    EXPECT_EQ(output(), "");
    expect_steps({});
}

TEST_P(RaidCard, RefusesNullAlsoWhenItRemembers)
{
    uint8_t out = 0;
    ASSERT_EQ(get(&out), 0);
    clear_trace();
    EXPECT_EQ(get(nullptr), -2);
    expect_steps({});
}

TEST_P(RaidCard, RemembersWhatItRead)
{
    strap(0x25);
    uint8_t out = untouched;
    ASSERT_EQ(get(&out), 0);
    pull_card();
    set_reg(mirror, 0xFF);
    clear_trace();
    out = untouched;
    EXPECT_EQ(get(&out), 0);
    EXPECT_EQ(out, field(0x25));
    if (GetParam().mirrors_what_it_remembers) {
        EXPECT_EQ(reg(mirror), 0xF5);
        expect_steps({"load d4", "store d4=f5"});
    } else {
        EXPECT_EQ(reg(mirror), 0xFF);
        expect_steps({});
    }
    EXPECT_EQ(output(), "");
}

TEST_P(RaidCard, NeverRemembersZero)
{
    const auto without = static_cast<uint8_t>(0xFF & ~GetParam().mask);
    strap(without);
    for (int call = 0; call < 3; ++call) {
        set_reg(mirror, 0xFF);
        uint8_t out = untouched;
        EXPECT_EQ(get(&out), 0);
        EXPECT_EQ(out, 0);
        EXPECT_EQ(messages(), reading);
        EXPECT_EQ(reg(mirror), without);
        clear_trace();
    }
    strap(0xFF);
    uint8_t out = untouched;
    EXPECT_EQ(get(&out), 0);
    EXPECT_EQ(out, field(0xFF));
    EXPECT_EQ(messages(), reading);
}

// ---- Failures ----

// Every transfer is tried five times.
TEST_P(RaidCard, FailsWithoutACard)
{
    pull_card();
    expect_failure(write_failed);
    EXPECT_EQ(messages(), std::vector<Bytes>(5, reading[0]));
    expect_not_remembered();
}

TEST_P(RaidCard, FailsWhenTheConfigurationIsNotWritten)
{
    for (const long long result : {-EREMOTEIO, 0}) {
        SCOPED_TRACE(result);
        board.faults.clear();
        answer_from(0, result);
        clear_trace();
        expect_failure(write_failed);
        EXPECT_EQ(messages().size(), result < 0 ? 5U : 1U);
    }
    expect_not_remembered();
}

TEST_P(RaidCard, FailsWhenTheConfigurationIsNotReadBack)
{
    for (const long long result : {-EREMOTEIO, 0}) {
        SCOPED_TRACE(result);
        board.faults.clear();
        answer_from(1, result);
        clear_trace();
        expect_failure(read_failed);
        EXPECT_EQ(messages().size(), result < 0 ? 11U : 3U);
    }
    expect_not_remembered();
}

TEST_P(RaidCard, FailsWhenTheInputsAreNotRead)
{
    for (const long long result : {-EREMOTEIO, 0}) {
        SCOPED_TRACE(result);
        board.faults.clear();
        answer_from(3, result);
        clear_trace();
        expect_failure(read_failed);
        EXPECT_EQ(messages().size(), result < 0 ? 13U : 5U);
    }
    expect_not_remembered();
}

TEST_P(RaidCard, FailsWhenTheExpanderLosesItsConfiguration)
{
    board.raid_expander().lose_configuration(true);
    expect_failure("get_raid_pcb_ver:configurate port error,0xff,0xff\r\n");
    EXPECT_EQ(messages().size(), 3U);
    expect_not_remembered();
}

TEST_P(RaidCard, FailsWhenAnyByteReadsBackWrong)
{
    const struct {
        Bytes configuration;
        const char *text;
    } rows[] = {
        {{0xFE, 0xFB}, "get_raid_pcb_ver:configurate port error,0xfe,0xfb\r\n"},
        {{0x00, 0xFB}, "get_raid_pcb_ver:configurate port error,0x00,0xfb\r\n"},
        {{0xFF, 0xFA}, "get_raid_pcb_ver:configurate port error,0xff,0xfa\r\n"},
        {{0x0A, 0x05}, "get_raid_pcb_ver:configurate port error,0x0a,0x05\r\n"},
    };
    const auto forger = std::make_shared<Forger>();
    board.i2c(2).plug(expander, forger);
    for (const auto &row : rows) {
        SCOPED_TRACE(row.text);
        forger->configuration = row.configuration;
        expect_failure(row.text);
    }
    expect_not_remembered();
}

TEST_P(RaidCard, OneBadTransferIsMadeUpFor)
{
    board.faults.add({.name = "answer",
                      .device = "i2c-0",
                      .operation = Operation::ioctl,
                      .value = EIO,
                      .times = 4});
    uint8_t out = untouched;
    EXPECT_EQ(get(&out), 0);
    EXPECT_EQ(out, field(0x93));
    EXPECT_EQ(messages().size(), 9U);
    EXPECT_EQ(output(), "");
}

INSTANTIATE_TEST_SUITE_P(Every, RaidCard, ::testing::ValuesIn(getters));

// ---- Both together ----

// Every id with some version; bit 7 of the lines is none of the fields.
class RaidCardStraps : public RaidCardTest, public ::testing::WithParamInterface<int> {};

TEST_P(RaidCardStraps, BothFieldsReachCallerAndMirror)
{
    const int id = GetParam();
    const int version = (id * 3 + 1) % 8;
    strap(static_cast<uint8_t>(id | version << 4 | (id % 2) << 7));
    set_reg(mirror, 0x80);
    uint8_t out = untouched;
    EXPECT_EQ(get_raid_pcb_ver(&out), 0);
    EXPECT_EQ(out, version);
    EXPECT_EQ(reg(mirror), 0x80 | version << 4);
    EXPECT_EQ(get_raid_board_id(&out), 0);
    EXPECT_EQ(out, id);
    EXPECT_EQ(reg(mirror), 0x80 | version << 4 | id);
}

INSTANTIATE_TEST_SUITE_P(EveryId, RaidCardStraps, ::testing::Range(0, 16));

TEST_F(RaidCardTest, EachFieldIsRememberedByItself)
{
    strap(0x93);
    uint8_t id = 0;
    ASSERT_EQ(get_raid_board_id(&id), 0);
    pull_card();
    uint8_t version = untouched;
    EXPECT_EQ(get_raid_pcb_ver(&version), -5);
    EXPECT_EQ(version, 0);
    EXPECT_EQ(output(), write_failed);
    EXPECT_EQ(get_raid_board_id(&id), 0);
    EXPECT_EQ(id, 3);
}

TEST_F(RaidCardTest, NicCardHasNeitherId)
{
    uint8_t out = untouched;
    EXPECT_EQ(get_nic_card_board_id(&out), 0);
    EXPECT_EQ(get_nic_card_pcb_ver(&out), 0);
    EXPECT_EQ(get_nic_card_board_id(nullptr), 0);
    EXPECT_EQ(get_nic_card_pcb_ver(nullptr), 0);
    EXPECT_EQ(out, untouched);
    EXPECT_EQ(output(), "");
    expect_steps({});
}

} // namespace
} // namespace board_test
