// Loading the FPGA's bitstream, with an FPGA that takes it.

#include <linux/spi/spidev.h>

#include "tests/bringup/staged_file.h"
#include "tests/support/board_test.h"

namespace board_test {
namespace {

// A done line whose file holds what it likes.
class OddLine : public virtual_board::Device {
public:
    explicit OddLine(std::string text) : Device("gpio96-value"), text_(std::move(text)) {}

    long read(virtual_board::OpenFile &, void *buffer, size_t count) override
    {
        return static_cast<long>(text_.copy(static_cast<char *>(buffer), count));
    }
    long long seek(virtual_board::OpenFile &, long long offset, int) override { return offset; }

private:
    std::string text_;
};

class BitstreamTest : public BoardTest {
protected:
    // Declared before the board's set-up counts descriptors.
    StagedFile staged;

    void fails(const char *device, Operation operation, int error,
               std::optional<uint32_t> address = {}, unsigned skip = 0)
    {
        board.faults.add({.name = "failure",
                          .device = device,
                          .operation = operation,
                          .address = address,
                          .value = error,
                          .skip = skip});
    }

    void insmod_ends_with(long status)
    {
        board.faults.add({.name = "insmod",
                          .device = "insmod /ko/load_fpga.ko",
                          .operation = Operation::run,
                          .kind = Fault::Kind::result,
                          .value = status});
    }

    // Each load that opens the SPI device leaves it open.
    void leaves_spi_open(unsigned loads)
    {
        leaves_open(loads);
        leaves_descriptors(loads);
    }

    std::vector<uint32_t> lengths()
    {
        std::vector<uint32_t> all;
        for (const auto &transfer : board.spi().transfers()) {
            all.push_back(transfer.length);
        }
        return all;
    }

    // Programs, locks, openings and requests; no reads, writes and seeks.
    Names outline() const
    {
        Names kept;
        for (const std::string &step : steps()) {
            const std::string verb = step.substr(0, step.find(' '));
            if (verb != "read" && verb != "write" && verb != "seek" && verb != "close") {
                kept.push_back(step);
            }
        }
        return kept;
    }

    // How often a program ran, whatever its arguments.
    size_t runs(const std::string &program) const
    {
        size_t count = 0;
        for (const Event &event : board.trace.of(Operation::run)) {
            count += event.device.starts_with(program) ? 1 : 0;
        }
        return count;
    }

    void expect_cleaned_up()
    {
        EXPECT_EQ(runs("/bin/rm -rf /tmp/bmc_card.bit"), 1U);
        EXPECT_EQ(runs("rmmod load_fpga"), 1U);
        EXPECT_FALSE(staged.exists());
        EXPECT_FALSE(board.modules().loaded("load_fpga"));
    }

    void expect_nothing_to_clean_up()
    {
        EXPECT_EQ(runs("/bin/"), 0U);
        EXPECT_EQ(runs("rmmod"), 0U);
        EXPECT_FALSE(staged.exists());
    }
};

TEST_F(BitstreamTest, LoadsTheFpga)
{
    const BitstreamFile file(5000);
    board.spi().expected = 5000;
    leaves_spi_open(1);
    EXPECT_EQ(load_fpga(file.path()), 0);
    EXPECT_EQ(output(), "load fpga successfully.\n");
    EXPECT_EQ(board.spi().stream(), file.bytes());
    EXPECT_EQ(board.spi().mode(), 0);
    EXPECT_EQ(board.spi().bits_per_word(), 8);
    EXPECT_EQ(board.spi().speed_hz(), 50000000U);
    EXPECT_EQ(lengths(), (std::vector<uint32_t>{2000, 2000, 1000}));
    for (const auto &transfer : board.spi().transfers()) {
        EXPECT_EQ(transfer.speed_hz, 50000000U);
        EXPECT_EQ(transfer.delay_us, 0);
        EXPECT_EQ(transfer.bits_per_word, 8);
        EXPECT_FALSE(transfer.chip_select_change);
        EXPECT_FALSE(transfer.receives);
    }
    expect_cleaned_up();
}

TEST_F(BitstreamTest, PreparesTheLinesAndDrivesNeither)
{
    const BitstreamFile file(10);
    leaves_spi_open(1);
    EXPECT_EQ(load_fpga(file.path()), 0);
    EXPECT_TRUE(board.gpio().exported(48));
    EXPECT_TRUE(board.gpio().line(48).output);
    EXPECT_TRUE(board.gpio().line(48).written.empty());
    EXPECT_TRUE(board.gpio().exported(96));
    EXPECT_FALSE(board.gpio().line(96).output);
}

TEST_F(BitstreamTest, GoesStepByStep)
{
    const BitstreamFile file(2001);
    leaves_spi_open(1);
    EXPECT_EQ(load_fpga(file.path()), 0);
    EXPECT_EQ(outline(), (Names{"open gpio-export", "open gpio48-direction", "open gpio-export",
                                "open gpio96-direction", "run insmod /ko/load_fpga.ko", "open spi",
                                "ioctl spi 40016b01", "ioctl spi 40016b03", "ioctl spi 40046b04",
                                "lock fpga_load_lock",
                                "run /bin/cp -f " + std::string(file.path()) + " /tmp/bmc_card.bit",
                                "ioctl spi 40206b00", "ioctl spi 40206b00", "open gpio96-value",
                                "unlock fpga_load_lock", "run /bin/rm -rf /tmp/bmc_card.bit",
                                "run rmmod load_fpga"}));
}

TEST_F(BitstreamTest, CutsTheStreamInto2000Bytes)
{
    const struct {
        size_t size;
        std::vector<uint32_t> lengths;
    } rows[] = {{1, {1}},          {1999, {1999}},       {2000, {2000}},
                {2001, {2000, 1}}, {4000, {2000, 2000}}, {4001, {2000, 2000, 1}}};
    leaves_spi_open(6);
    for (const auto &row : rows) {
        const BitstreamFile file(row.size);
        board.spi().expected = row.size;
        EXPECT_EQ(load_fpga(file.path()), 0) << row.size;
        EXPECT_EQ(lengths(), row.lengths) << row.size;
        EXPECT_EQ(board.spi().stream(), file.bytes()) << row.size;
    }
}

TEST_F(BitstreamTest, EveryLoadLeavesOneMoreDescriptor)
{
    const BitstreamFile file(10);
    leaves_spi_open(3);
    for (size_t loads = 1; loads <= 3; ++loads) {
        EXPECT_EQ(load_fpga(file.path()), 0);
        EXPECT_EQ(board.open_files(), loads);
    }
}

TEST_F(BitstreamTest, RefusesNoPath)
{
    EXPECT_EQ(load_fpga(nullptr), -2);
    EXPECT_EQ(output(), "invalid argument\r\n");
    EXPECT_EQ(steps(), Names{});
}

// ---- preparation ----

TEST_F(BitstreamTest, StopsWithoutItsModule)
{
    // Exit codes, a signal, and no shell at all.
    for (const long status : {1L << 8, 127L << 8, 255L << 8, 9L, 0x80L, -1L}) {
        const BitstreamFile file(10);
        clear_trace();
        insmod_ends_with(status);
        EXPECT_EQ(load_fpga(file.path()), -2) << status;
        EXPECT_EQ(output(), "gpio class init failed.\n");
        EXPECT_EQ(board.trace.count(Operation::open, "spi"), 0U);
        expect_nothing_to_clean_up();
    }
}

TEST_F(BitstreamTest, LinesThatCannotBePreparedDoNotCount)
{
    const BitstreamFile file(10);
    leaves_spi_open(1);
    fails("gpio-export", Operation::open, EACCES);
    fails("gpio96-direction", Operation::open, EACCES);
    EXPECT_EQ(load_fpga(file.path()), 0);
    EXPECT_EQ(output(), "can not open export file.\n"
                        "can not open gpionum file.\n"
                        "can not open gpionum file.\n"
                        "load fpga successfully.\n");
    EXPECT_FALSE(board.gpio().exported(48));
}

TEST_F(BitstreamTest, StopsWithoutTheSpiDevice)
{
    const BitstreamFile file(10);
    fails("spi", Operation::open, ENOENT);
    EXPECT_EQ(load_fpga(file.path()), -2);
    EXPECT_EQ(output(), "open spi device fails.\nsspi para set failed.\n");
    expect_nothing_to_clean_up();
    EXPECT_TRUE(board.modules().loaded("load_fpga")) << "left loaded";
    EXPECT_EQ(load_fpga(file.path()), -2) << "and in the way of the next load";
    EXPECT_EQ(output(), "gpio class init failed.\n");
}

TEST_F(BitstreamTest, StopsAtTheFirstSettingThatIsRefused)
{
    const struct {
        uint32_t request;
        const char *text;
        size_t requests;
    } rows[] = {
        {SPI_IOC_WR_MODE, "can't set spi mode.\n", 1},
        {SPI_IOC_WR_BITS_PER_WORD, "can't set bits per word.\n", 2},
        {SPI_IOC_WR_MAX_SPEED_HZ, "can't set max speed hz.\n", 3},
    };
    leaves_spi_open(3);
    for (const auto &row : rows) {
        const BitstreamFile file(10);
        clear_trace();
        fails("spi", Operation::ioctl, EINVAL, row.request);
        EXPECT_EQ(load_fpga(file.path()), -2);
        EXPECT_EQ(output(), std::string(row.text) + "sspi para set failed.\n");
        EXPECT_EQ(board.trace.count(Operation::ioctl, "spi"), row.requests);
        expect_nothing_to_clean_up();
        EXPECT_EQ(system("rmmod load_fpga"), 0);
    }
}

// ---- copy and transfer ----

TEST_F(BitstreamTest, RefusesAnEmptyBitstream)
{
    const BitstreamFile file(0);
    leaves_spi_open(1);
    EXPECT_EQ(load_fpga(file.path()), -13);
    EXPECT_EQ(output(), "Input para real_len(0) is invalid.\n");
    EXPECT_TRUE(board.spi().transfers().empty());
    expect_cleaned_up();
}

TEST_F(BitstreamTest, AMissingBitstreamHasNoLength)
{
    leaves_spi_open(1);
    CapturedOutput errors(stderr); // cp's own message
    EXPECT_EQ(load_fpga("/tmp/no-such-bitstream"), -13);
    errors.take();
    EXPECT_EQ(output(), "Input para real_len(-1) is invalid.\n");
    expect_cleaned_up();
}

TEST_F(BitstreamTest, TheCopysResultDoesNotCount)
{
    const BitstreamFile older(30);
    std::filesystem::copy_file(older.path(), staged_path);
    const BitstreamFile file(10);
    board.faults.add({.name = "cp",
                      .device = "/bin/cp -f " + std::string(file.path()) + " /tmp/bmc_card.bit",
                      .operation = Operation::run,
                      .kind = Fault::Kind::result,
                      .value = 1 << 8});
    leaves_spi_open(1);
    EXPECT_EQ(load_fpga(file.path()), 0);
    EXPECT_EQ(board.spi().stream(), older.bytes()) << "what was staged is sent";
    expect_cleaned_up();
}

TEST_F(BitstreamTest, StopsWhenTheStagedFileCannotBeOpened)
{
    // A directory has a size, but cannot be opened for update.
    std::filesystem::create_directory(staged_path);
    const BitstreamFile file(10);
    leaves_spi_open(1);
    EXPECT_EQ(load_fpga(file.path()), -13);
    EXPECT_EQ(output(), "open fpga file fails.\n");
    EXPECT_TRUE(board.spi().transfers().empty());
    expect_cleaned_up();
}

TEST_F(BitstreamTest, OneFailedTransferEndsTheLoad)
{
    leaves_spi_open(3);
    for (unsigned nth = 0; nth < 3; ++nth) {
        const BitstreamFile file(4001);
        clear_trace();
        fails("spi", Operation::ioctl, EIO, uint32_t{SPI_IOC_MESSAGE(1)}, nth);
        EXPECT_EQ(load_fpga(file.path()), -13);
        EXPECT_EQ(output(), "can't send spi message") << "without a newline";
        EXPECT_EQ(lengths().size(), nth);
        EXPECT_EQ(board.trace.count(Operation::open, "gpio96-value"), 0U);
        expect_cleaned_up();
    }
}

TEST_F(BitstreamTest, FailsWhenTheDoneLineStaysLow)
{
    const BitstreamFile file(2500);
    board.spi().done_line_works = false;
    leaves_spi_open(1);
    EXPECT_EQ(load_fpga(file.path()), -13);
    EXPECT_EQ(output(), "");
    EXPECT_EQ(board.spi().stream(), file.bytes());
    expect_cleaned_up();
}

TEST_F(BitstreamTest, FailsWhenTheBitstreamIsTooShortForTheFpga)
{
    const BitstreamFile file(2500);
    board.spi().expected = 2501;
    leaves_spi_open(1);
    EXPECT_EQ(load_fpga(file.path()), -13);
    EXPECT_EQ(output(), "");
    expect_cleaned_up();
}

TEST_F(BitstreamTest, FailsWhenTheDoneLineCannotBeRead)
{
    const BitstreamFile file(10);
    fails("gpio96-value", Operation::open, EACCES);
    leaves_spi_open(1);
    EXPECT_EQ(load_fpga(file.path()), -13);
    EXPECT_EQ(output(), "can not open gpionum file.\n");
    expect_cleaned_up();
}

TEST_F(BitstreamTest, OnlyAOneIsDone)
{
    leaves_spi_open(5);
    for (const char *text : {"", "0\n", "2\n", "\n1", "11"}) {
        const BitstreamFile file(10);
        board.attach("/sys/class/gpio/gpio96/value", std::make_shared<OddLine>(text));
        EXPECT_EQ(load_fpga(file.path()), text[0] == '1' ? 0 : -13) << text;
        EXPECT_EQ(output(), text[0] == '1' ? "load fpga successfully.\n" : "") << text;
    }
}

TEST_F(BitstreamTest, CleaningUpDoesNotCount)
{
    const BitstreamFile file(10);
    board.faults.add({.name = "rm",
                      .device = "/bin/rm -rf /tmp/bmc_card.bit",
                      .operation = Operation::run,
                      .value = ENOMEM});
    board.faults.add({.name = "rmmod",
                      .device = "rmmod load_fpga",
                      .operation = Operation::run,
                      .kind = Fault::Kind::result,
                      .value = 1 << 8});
    leaves_spi_open(1);
    EXPECT_EQ(load_fpga(file.path()), 0);
    EXPECT_EQ(output(), "load fpga successfully.\n");
    EXPECT_TRUE(staged.exists());
}

} // namespace
} // namespace board_test
