// A power failure at every byte of a write-back, and what the next reader finds.
// The documentation of set_uboot_env quotes the figures.

#include "tests/bootenv/environment_fixture.h"

namespace board_test {
namespace {

using namespace std::string_literals;
using namespace environment_model;
using virtual_board::EnvironmentPartition;

// A usual environment, 15 variables up to its second NUL, and zeros behind.
const std::string entries =
    "bootcmd=run load; bootm 0x2000000\0baudrate=115200\0bootdelay=3\0"
    "ethaddr=02:00:00:12:34:56\0ipaddr=192.168.2.100\0serverip=192.168.2.1\0"
    "gatewayip=192.168.2.1\0netmask=255.255.255.0\0bootorder=0\0bootvalidflag0=1\0"
    "bootvalidflag1=1\0image0ver=1.20\0image1ver=1.19\0neverboot=0\0ver=U-Boot 2010.03\0\0"s;
constexpr char changed[] = "bootorder";
constexpr char new_value[] = "1";

// In how many places of the cut each thing is found.
struct Findings {
    // By the boot loader, which goes by the checksum.
    int old_block = 0;
    int new_block = 0;
    int bad_checksum = 0;
    // By this library, which does not.
    int old_variables = 0;
    int new_variables = 0;
    int other_variables = 0;
    int not_terminated = 0;
    // A next set_uboot_env() writes a good checksum, whatever lies under it.
    int sound_after_set = 0;

    bool operator==(const Findings &) const = default;
};

void PrintTo(const Findings &findings, std::ostream *out)
{
    *out << "old block " << findings.old_block << ", new block " << findings.new_block
         << ", bad checksum " << findings.bad_checksum << "; old variables "
         << findings.old_variables << ", new variables " << findings.new_variables
         << ", other variables " << findings.other_variables << ", not terminated "
         << findings.not_terminated << "; sound after set " << findings.sound_after_set;
}

class PowerCut : public EnvironmentTest {
protected:
    using Medium = EnvironmentPartition::Medium;

    const std::string old_ = summed(block_of(entries));
    const std::string new_ = environment_model::set(old_, changed, new_value).block;
    const std::string old_printed_ = environment_model::print(old_, {}).output;
    const std::string new_printed_ = environment_model::print(new_, {}).output;

    // As the boot loader sees it. crc32 has tests of its own, and is quick.
    static bool sound(const std::string &block)
    {
        const auto *bytes = reinterpret_cast<const uint8_t *>(block.data());
        uint32_t sum = 0;
        for (size_t i = data_start; i > 0; --i) {
            sum = sum << 8 | bytes[i - 1];
        }
        return sum == crc32(0, bytes + data_start, data_size);
    }

    // Writes the change while the power fails after that many bytes.
    void write(size_t after, Medium medium)
    {
        set_block(old_);
        board.environment().cut_power_after(after, medium);
        ASSERT_EQ(set_uboot_env(changed, new_value), 0) << "the call cannot know";
        const std::string rest = medium == Medium::overwritten
                                     ? old_.substr(after)
                                     : std::string(block_size - after, '\xFF');
        ASSERT_TRUE(same_block(block(), new_.substr(0, after) + rest)) << after;
    }

    void look(Findings &findings)
    {
        const std::string found = block();
        findings.old_block += found == old_;
        findings.new_block += found == new_;
        findings.bad_checksum += !sound(found);

        const bool terminated = print_uboot_env(nullptr) == 0;
        const std::string printed = output();
        findings.not_terminated += !terminated;
        findings.old_variables += printed == old_printed_;
        findings.new_variables += printed == new_printed_;
        findings.other_variables +=
            terminated && printed != old_printed_ && printed != new_printed_;

        set_uboot_env(changed, new_value);
        findings.sound_after_set += sound(block());
        output();
        clear_trace();
    }

    Findings cut_everywhere(Medium medium)
    {
        Findings findings;
        for (size_t after = 0; after <= block_size && !HasFatalFailure(); ++after) {
            write(after, medium);
            look(findings);
        }
        return findings;
    }
};

// NOR flash behind the MTD block layer: the sector is erased as a whole. Until
// the last byte is back there is no good checksum, and until both NULs are back
// (286 bytes) nothing that could be repaired.
TEST_F(PowerCut, OfFlashThatIsErasedFirst)
{
    ASSERT_EQ(data_start + entries.size(), 286U);
    const Findings expected{.old_block = 0,
                            .new_block = 1,
                            .bad_checksum = 8192,
                            .old_variables = 0,
                            .new_variables = 7907,
                            .other_variables = 0,
                            .not_terminated = 286,
                            .sound_after_set = 7907};
    EXPECT_EQ(cut_everywhere(Medium::erased_first), expected);
}

// Memory that is changed in place keeps the old bytes behind the new ones: the
// entries between the old place of the variable and the end are mixed.
TEST_F(PowerCut, OfMemoryThatIsOverwritten)
{
    const Findings expected{.old_block = 1,
                            .new_block = 7909,
                            .bad_checksum = 283,
                            .old_variables = 183,
                            .new_variables = 7909,
                            .other_variables = 101,
                            .not_terminated = 0,
                            .sound_after_set = 8193};
    EXPECT_EQ(cut_everywhere(Medium::overwritten), expected);
}

TEST_F(PowerCut, ErasedBlockCannotBeRepairedByTheLibrary)
{
    write(100, Medium::erased_first);
    const std::string found = block();
    EXPECT_EQ(set_uboot_env(changed, new_value), -1);
    EXPECT_EQ(set_uboot_env("bootdelay", nullptr), -1);
    EXPECT_TRUE(same_block(block(), found));
}

} // namespace
} // namespace board_test
