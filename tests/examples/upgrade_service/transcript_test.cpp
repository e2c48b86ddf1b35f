// What is made of the library's lines.

#include "upgrade_service/transcript.h"

#include <gtest/gtest.h>

#include "tests/update/update_test.h"
#include "upgrade_service/explain.h"

namespace board_test {
namespace {

using upgrade_service::contents;
using upgrade_service::read_transcript;
using upgrade_service::reason;
using upgrade_service::Transcript;
using Messages = std::vector<std::string>;

TEST(TranscriptTest, SilenceTouchedNothing)
{
    const Transcript said = read_transcript("");
    EXPECT_FALSE(said.touched_flash());
    EXPECT_EQ(said.last_words(), "");
    EXPECT_EQ(contents(said), "as before");
    EXPECT_EQ(reason(said, "who knows"), "who knows");
}

TEST(TranscriptTest, CompleteCopiesAreCounted)
{
    const Transcript said =
        read_transcript(copy_lines(0x4000) + copy_lines(0x2800, "\r") + copy_lines(0x1000));
    EXPECT_EQ(said.verified, 3U);
    EXPECT_EQ(said.verified_kib, 30U);
    EXPECT_FALSE(said.broken.has_value());
    EXPECT_EQ(said.messages, Messages());
    EXPECT_EQ(contents(said), "3 stretches (30 KiB) written and verified");
}

TEST(TranscriptTest, ProgressOfASaveIsNoMessage)
{
    const Transcript said = read_transcript(
        "size of  /tmp/old is 16384\r\ndownloading bios...\r\n\r<0%>\r<50%>get_bios:read fail\n");
    EXPECT_EQ(said.messages, (Messages{"size of  /tmp/old is 16384", "downloading bios...",
                                       "get_bios:read fail"}));
    EXPECT_FALSE(said.touched_flash());
}

struct Row {
    const char *name;
    std::string printed;
    std::string contents;
    std::string last_words;
};

void PrintTo(const Row &row, std::ostream *stream)
{
    *stream << row.name;
}

class BrokenCopyTest : public ::testing::TestWithParam<Row> {};

TEST_P(BrokenCopyTest, TellsHowFarItCame)
{
    const Transcript said = read_transcript(GetParam().printed);
    EXPECT_EQ(contents(said), GetParam().contents);
    EXPECT_EQ(said.last_words(), GetParam().last_words);
}

const std::string mismatch =
    "File does not seem to match flash data. First mismatch at 0x00000000-0x00002800";
const std::string erase_error = "While erasing blocks 0x00003000-0x00004000 on /dev/mtd6";

const Row rows[] = {
    {"BeforeTheFirstBlock", "Erasing blocks: 0/4 (0%)", "as before", ""},
    {"FirstBlock", "Erasing blocks: 0/4 (0%)\rErasing blocks: 1/4 (25%)",
     "partly erased: 0 blocks are empty, the next one is in doubt, and the rest of 4 blocks is as "
     "it was",
     ""},
    {"LastBlock", "Erasing blocks: 0/4 (0%)\rErasing blocks: 4/4 (100%)\n" + erase_error + "\n",
     "partly erased: 3 blocks are empty, the next one is in doubt, and the rest of 4 blocks is as "
     "it was",
     erase_error},
    {"Erased", erase_lines(4), "erased and empty", ""},
    {"ErasedThenNoSeek", erase_lines(4) + "While seeking to start of /tmp/image\n",
     "erased and empty", "While seeking to start of /tmp/image"},
    {"FirstChunkOfTwo",
     erase_lines(4) + "Writing data: 0k/16k (0%)\rWriting data: 10k/16k (62%)\nWhile reading data "
                      "from /tmp/image\n",
     "erased and partly written: at most 10 of 16 KiB", "While reading data from /tmp/image"},
    {"LastChunk",
     erase_lines(4) + "Writing data: 0k/16k (0%)\rWriting data: 16k/16k (100%)\nShort write count "
                      "returned while writing\n",
     "erased and partly written: at most 16 of 16 KiB", "Short write count returned while writing"},
    {"Written", erase_lines(4) + write_lines(0x4000), "all written, but not checked", ""},
    {"Mismatch",
     erase_lines(4) + write_lines(0x4000) +
         "Verifying data: 0k/16k (0%)\rVerifying data: 10k/16k (62%)" + mismatch + "\n",
     "all written, but not as the image is: the check ended at 10 of 16 KiB", mismatch},
    {"MismatchInTheLastChunk",
     erase_lines(4) + write_lines(0x4000) +
         "Verifying data: 0k/16k (0%)\rVerifying data: 16k/16k (100%)" + mismatch + "\n",
     "all written, but not as the image is: the check ended at 16 of 16 KiB", mismatch},
    {"LastChunkNotRead",
     erase_lines(4) + write_lines(0x4000) +
         "Verifying data: 0k/16k (0%)\rVerifying data: 16k/16k (100%)\nWhile reading data from "
         "/dev/mtd6\n",
     "all written, but not checked to its end: the check ended at 16 of 16 KiB",
     "While reading data from /dev/mtd6"},
    {"WrappedPercentages",
     erase_lines(4) + "Writing data: 0k/43008k (0%)\rWriting data: 42000k/43008k (1%)\nWhile "
                      "writing data\n",
     "erased and partly written: at most 42000 of 43008 KiB", "While writing data"},
    {"SecondOfTwo",
     copy_lines(0x1000) + "Erasing blocks: 0/1 (0%)\rErasing blocks: 1/1 (100%)\n" + erase_error +
         "\n",
     "1 stretch (4 KiB) written and verified, the next one partly erased: 0 blocks are empty, the "
     "next one is in doubt, and the rest of 1 block is as it was",
     erase_error},
    {"SecondNotBegun", copy_lines(0x1000) + "Erasing blocks: 0/1 (0%)",
     "1 stretch (4 KiB) written and verified, the next one as before", ""},
};

INSTANTIATE_TEST_SUITE_P(Rows, BrokenCopyTest, ::testing::ValuesIn(rows),
                         [](const auto &test) { return test.param.name; });

// The first thing that went wrong is the cause.
TEST(ReasonTest, IsThatOfTheLibrarysOwnText)
{
    const std::pair<const char *, const char *> pairs[] = {
        {"While trying to open /dev/mtd6 for read/write access\n", "the flash device cannot"},
        {"While trying to open /tmp/image\n", "the image cannot be opened"},
        {"/tmp/image won't fit into /dev/mtd0!\n", "larger than the flash partition"},
        {"/tmp/image offset illeagal!\n", "behind the end of the image"},
        {"spi offset 100 won't fit erase 4096 the device /dev/mtd6\r\n", "erase block"},
        {"get_pcb_ver or get_board_id  is fail\r\n", "larger than the driver can take"},
        {"allocate space for fpga file fails.\r\n", "no memory for the program"},
        {"Get file length(0) is invalid\r\n", "the program is empty"},
        {"get_bios:open file /tmp/old fail\r\n", "file for the old BIOS cannot be created"},
        {"open file /tmp/program fail\r\n", "the program cannot be opened"},
        {"read upgrade flag fail from flash\r\nread upgrade flag fail from file\r\n",
         "holds no OEM data"},
    };
    for (const auto &[printed, words] : pairs) {
        EXPECT_NE(reason(read_transcript(printed), "?").find(words), std::string::npos)
            << printed << reason(read_transcript(printed), "?");
    }
}

} // namespace
} // namespace board_test
