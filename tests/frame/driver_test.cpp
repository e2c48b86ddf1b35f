// Library start-up and teardown.

#include <errno.h>
#include <fcntl.h>
#include <time.h>

#include <map>
#include <random>
#include <set>

#include "tests/support/board_test.h"
#include "tests/support/descriptor_zero.h"
#include "virtual_board/shim/window_watch.h"

namespace board_test {
namespace {

using virtual_board::shim::is_retired;

constexpr char cpld_opened[] = "cpld_init: cpld device already opened\n";
constexpr char cpld_unopened[] = "cpld_init: cann't open device\n";
constexpr char cpld_unmapped[] = "cpld_init: map addr failed\n";
constexpr char fpga_opened[] = "fpga_init: fpga device already opened\n";
constexpr char fpga_unopened[] = "fpga_init: cann't open device\n";
constexpr char rtc_unopened[] = "rtc_init: cann't open device\n";
constexpr char init_cpld_failed[] = "ipmc_driver_init:cpld_init fail\r\n";
constexpr char init_fpga_failed[] = "ipmc_driver_init:fpga_init fail\r\n";

bool window_is_mapped()
{
    return g_cpld_base_addr != nullptr && !is_retired(g_cpld_base_addr);
}

class DriverTest : public BoardTest {
protected:
    void fail_open(const char *device, int error = EIO)
    {
        board.faults.add({.name = "cannot open",
                          .device = device,
                          .operation = Operation::open,
                          .kind = Fault::Kind::error,
                          .value = error});
    }

    void null_mapping()
    {
        board.faults.add({.name = "null window",
                          .device = "cpld",
                          .operation = Operation::map,
                          .kind = Fault::Kind::result,
                          .value = 0});
    }

    // Opens and closes of nodes and locks only.
    Names open_and_close_steps() const
    {
        Names found;
        for (const std::string &step : steps()) {
            for (const char *verb : {"open", "close", "map", "unmap", "lock", "unlock"}) {
                if (step.starts_with(std::string(verb) + " ") && !step.ends_with("cpld_reg_lock")) {
                    found.push_back(step);
                }
            }
        }
        return found;
    }

    void expect_full_start()
    {
        EXPECT_EQ(ipmc_driver_init(), 0);
        EXPECT_EQ(output(), "");
        EXPECT_EQ(held_locks(), (Names{"cpld_open_lock", "fpga_open_lock"}));
        EXPECT_EQ(board.open_files(), 3U);
        EXPECT_TRUE(window_is_mapped());
    }
};

TEST_F(DriverTest, StartsCpldThenGpioThenFpga)
{
    expect_full_start();
    EXPECT_EQ(open_and_close_steps(),
              (Names{"lock cpld_open_lock", "open cpld", "map cpld", "open gpio-export",
                     "close gpio-export", "open gpio95-direction", "close gpio95-direction",
                     "lock fpga_open_lock", "open fpga", "open i2c-0"}));
    EXPECT_TRUE(board.gpio().exported(95));
    EXPECT_TRUE(board.gpio().line(95).output);
    EXPECT_EQ(product_id, 0x02);
    EXPECT_NE(dev_handle, dev_handle_i2c);
    EXPECT_EQ(ipmc_driver_clean(), 0);
}

TEST_F(DriverTest, CleanClosesCpldThenFpga)
{
    expect_full_start();
    const int handles[] = {dev_handle, dev_handle_i2c};
    clear_trace();
    EXPECT_EQ(ipmc_driver_clean(), 0);
    EXPECT_EQ(steps(), (Names{"unmap cpld", "close cpld", "unlock cpld_open_lock", "close fpga",
                              "close i2c-0", "unlock fpga_open_lock"}));
    EXPECT_EQ(dev_handle, handles[0]);
    EXPECT_EQ(dev_handle_i2c, handles[1]);
    EXPECT_FALSE(window_is_mapped());
    EXPECT_EQ(output(), "");
}

TEST_F(DriverTest, StartsAgainAfterClean)
{
    for (int i = 0; i < 5; ++i) {
        expect_full_start();
        EXPECT_EQ(ipmc_driver_clean(), 0);
        EXPECT_EQ(board.open_files(), 0U);
        EXPECT_EQ(held_locks(), Names{});
    }
}

// Nothing notes that the library has been started, so each start runs in full
// and meets what the ones before left open.
TEST_F(DriverTest, RepeatedStartsCycleThroughThreeResults)
{
    for (int round = 0; round < 4; ++round) {
        SCOPED_TRACE(round);
        expect_full_start();

        clear_trace();
        EXPECT_EQ(ipmc_driver_init(), -1);
        EXPECT_EQ(output(), std::string(cpld_opened) + init_cpld_failed);
        EXPECT_EQ(steps(), (Names{"unmap cpld", "close cpld", "unlock cpld_open_lock"}));
        EXPECT_EQ(held_locks(), Names{"fpga_open_lock"});
        EXPECT_EQ(board.open_files(), 2U);
        EXPECT_FALSE(window_is_mapped());

        clear_trace();
        EXPECT_EQ(ipmc_driver_init(), -5);
        EXPECT_EQ(output(), std::string(fpga_opened) + init_fpga_failed);
        EXPECT_EQ(open_and_close_steps(),
                  (Names{"lock cpld_open_lock", "open cpld", "map cpld", "open gpio-export",
                         "close gpio-export", "open gpio95-direction", "close gpio95-direction",
                         "close fpga", "close i2c-0", "unlock fpga_open_lock", "unmap cpld",
                         "close cpld", "unlock cpld_open_lock"}));
        EXPECT_EQ(held_locks(), Names{});
        EXPECT_EQ(board.open_files(), 0U);
        EXPECT_FALSE(window_is_mapped());
    }
}

TEST_F(DriverTest, CleanAfterARefusedStartClosesTheRest)
{
    expect_full_start();
    EXPECT_EQ(ipmc_driver_init(), -1);
    output();
    EXPECT_EQ(ipmc_driver_clean(), 0);
    EXPECT_EQ(held_locks(), Names{});
    expect_full_start();
    EXPECT_EQ(ipmc_driver_clean(), 0);
}

TEST_F(DriverTest, CpldThatCannotBeOpenedStopsTheStart)
{
    fail_open("cpld", ENODEV);
    EXPECT_EQ(ipmc_driver_init(), -1);
    EXPECT_EQ(output(), std::string(cpld_unopened) + init_cpld_failed);
    // The clean-up runs although nothing was opened.
    EXPECT_EQ(steps(), (Names{"lock cpld_open_lock", "open cpld", "unlock cpld_open_lock",
                              "unmap cpld", "unlock cpld_open_lock"}));
    EXPECT_FALSE(board.gpio().exported(95));
    expect_full_start();
    EXPECT_EQ(ipmc_driver_clean(), 0);
}

TEST_F(DriverTest, NullMappingStopsTheStart)
{
    null_mapping();
    EXPECT_EQ(ipmc_driver_init(), -1);
    EXPECT_EQ(output(), std::string(cpld_unmapped) + init_cpld_failed);
    EXPECT_EQ(steps(), (Names{"lock cpld_open_lock", "open cpld", "map cpld", "close cpld",
                              "unlock cpld_open_lock", "unmap cpld", "unlock cpld_open_lock"}));
    expect_full_start();
    EXPECT_EQ(ipmc_driver_clean(), 0);
}

TEST_F(DriverTest, MissingGpioTreeDoesNotStopTheStart)
{
    board.gpio().remove();
    EXPECT_EQ(ipmc_driver_init(), 0);
    EXPECT_EQ(output(), "can not open export file.\ncan not open gpionum file.\n");
    EXPECT_EQ(board.open_files(), 3U);
    EXPECT_EQ(ipmc_driver_clean(), 0);
}

TEST_F(DriverTest, FpgaThatCannotBeOpenedUndoesTheStart)
{
    const DescriptorZero zero;
    const int occupied = open("/dev/null", O_RDONLY);
    ASSERT_EQ(occupied, 0);
    fail_open("fpga");
    EXPECT_EQ(ipmc_driver_init(), -5);
    EXPECT_EQ(output(), std::string(fpga_unopened) + init_fpga_failed);
    EXPECT_EQ(dev_handle, -1);
    EXPECT_EQ(dev_handle_i2c, 0);
    // The I2C handle was never opened: its initial 0 is what gets closed.
    EXPECT_FALSE(descriptor_is_open(0));
    EXPECT_EQ(
        open_and_close_steps(),
        (Names{"lock cpld_open_lock", "open cpld", "map cpld", "open gpio-export",
               "close gpio-export", "open gpio95-direction", "close gpio95-direction",
               "lock fpga_open_lock", "open fpga", "unlock fpga_open_lock", "unlock fpga_open_lock",
               "unmap cpld", "close cpld", "unlock cpld_open_lock"}));
    EXPECT_EQ(board.open_files(), 0U);
    EXPECT_FALSE(window_is_mapped());
    expect_full_start();
    EXPECT_EQ(ipmc_driver_clean(), 0);
}

TEST_F(DriverTest, I2cAdapterThatCannotBeOpenedUndoesTheStart)
{
    fail_open("i2c-0");
    EXPECT_EQ(ipmc_driver_init(), -5);
    EXPECT_EQ(output(), std::string(fpga_unopened) + init_fpga_failed);
    EXPECT_EQ(open_and_close_steps(),
              (Names{"lock cpld_open_lock", "open cpld", "map cpld", "open gpio-export",
                     "close gpio-export", "open gpio95-direction", "close gpio95-direction",
                     "lock fpga_open_lock", "open fpga", "open i2c-0", "unlock fpga_open_lock",
                     "close fpga", "unlock fpga_open_lock", "unmap cpld", "close cpld",
                     "unlock cpld_open_lock"}));
    EXPECT_EQ(dev_handle_i2c, -1);
    EXPECT_EQ(board.open_files(), 0U);
    EXPECT_EQ(held_locks(), Names{});
    expect_full_start();
    EXPECT_EQ(ipmc_driver_clean(), 0);
}

TEST_F(DriverTest, CleanWithoutStartUnmapsClosesAndUnlocksAll)
{
    const DescriptorZero zero;
    ASSERT_EQ(open("/dev/null", O_RDONLY), 0);
    clear_trace();
    EXPECT_EQ(ipmc_driver_clean(), 0);
    EXPECT_EQ(steps(), (Names{"unmap cpld", "unlock cpld_open_lock", "unlock fpga_open_lock"}));
    EXPECT_FALSE(descriptor_is_open(0));
    EXPECT_EQ(output(), "");
    expect_full_start();
    EXPECT_EQ(ipmc_driver_clean(), 0);
}

TEST_F(DriverTest, DescriptorZeroIsAnOpenDevice)
{
    const DescriptorZero zero;
    expect_full_start();
    EXPECT_TRUE(descriptor_is_open(0));
    EXPECT_EQ(ipmc_driver_clean(), 0);
    EXPECT_FALSE(descriptor_is_open(0));
}

// ---- against a model ----

// What goes wrong in one call.
enum class Wrong { nothing, cpld_open, cpld_map, fpga_open, i2c_open, rtc_open };

// The devices as callers know them: two locks that stay held, handles that are
// closed whatever they hold and never forgotten, and the system's rule that an
// open gets the lowest free number.
class DriverModel {
public:
    explicit DriverModel(std::set<int> taken) : taken_(std::move(taken)) {}

    Wrong wrong = Wrong::nothing;
    bool cpld_locked = false;
    bool fpga_locked = false;
    bool mapped = false;
    int fpga = 0;
    int i2c = 0;
    int rtc = 0;
    std::string output;

    const std::set<int> &taken() const { return taken_; }
    const std::set<int> &nodes() const { return nodes_; }

    int cpld_init()
    {
        if (cpld_locked) {
            return say(cpld_opened, -4);
        }
        cpld_ = open(wrong != Wrong::cpld_open);
        if (cpld_ < 0) {
            return say(cpld_unopened, -3);
        }
        if (wrong == Wrong::cpld_map) {
            close(cpld_);
            return say(cpld_unmapped, -2);
        }
        mapped = true;
        cpld_locked = true;
        return 0;
    }

    int cpld_clean()
    {
        mapped = false;
        close(cpld_);
        cpld_locked = false;
        return 0;
    }

    int fpga_init()
    {
        if (fpga_locked) {
            return say(fpga_opened, -4);
        }
        fpga = open(wrong != Wrong::fpga_open);
        if (fpga < 0) {
            return say(fpga_unopened, -3);
        }
        i2c = open(wrong != Wrong::i2c_open);
        if (i2c < 0) {
            return say(fpga_unopened, -3);
        }
        fpga_locked = true;
        return 0;
    }

    int fpga_clean()
    {
        close(fpga);
        close(i2c);
        fpga_locked = false;
        return 0;
    }

    int rtc_init()
    {
        rtc = open(wrong != Wrong::rtc_open);
        return rtc < 0 ? say(rtc_unopened, -3) : 0;
    }

    int driver_init()
    {
        if (cpld_init() != 0) {
            say(init_cpld_failed, 0);
            cpld_clean();
            return -1;
        }
        if (fpga_init() != 0) {
            say(init_fpga_failed, 0);
            fpga_clean();
            cpld_clean();
            return -5;
        }
        return 0;
    }

    int driver_clean()
    {
        cpld_clean();
        return fpga_clean();
    }

private:
    int open(bool works)
    {
        if (!works) {
            return -1;
        }
        int number = 0;
        while (taken_.count(number) != 0) {
            ++number;
        }
        taken_.insert(number);
        nodes_.insert(number);
        return number;
    }

    void close(int number)
    {
        taken_.erase(number);
        nodes_.erase(number);
    }

    int say(const char *text, int result)
    {
        output += text;
        return result;
    }

    std::set<int> taken_;
    std::set<int> nodes_; // of taken_
    int cpld_ = 0;
};

std::set<int> open_descriptors()
{
    std::set<int> numbers;
    for (int number = 0; number < 1024; ++number) {
        if (descriptor_is_open(number)) {
            numbers.insert(number);
        }
    }
    return numbers;
}

// One call in the library and in the model.
struct Call {
    const char *name;
    int (*library)();
    int (DriverModel::*model)();
};

constexpr Call calls[] = {
    {"ipmc_driver_init", ipmc_driver_init, &DriverModel::driver_init},
    {"ipmc_driver_clean", ipmc_driver_clean, &DriverModel::driver_clean},
    {"cpld_init", cpld_init, &DriverModel::cpld_init},
    {"cpld_clean", cpld_clean, &DriverModel::cpld_clean},
    {"fpga_Init", fpga_Init, &DriverModel::fpga_init},
    {"fpga_clean", fpga_clean, &DriverModel::fpga_clean},
    {"rtc_init", rtc_init, &DriverModel::rtc_init},
};

class DriverModelTest : public DriverTest, public ::testing::WithParamInterface<uint32_t> {
protected:
    void inject(Wrong wrong)
    {
        board.faults.clear();
        switch (wrong) {
        case Wrong::nothing:
            break;
        case Wrong::cpld_open:
            return fail_open("cpld");
        case Wrong::cpld_map:
            return null_mapping();
        case Wrong::fpga_open:
            return fail_open("fpga");
        case Wrong::i2c_open:
            return fail_open("i2c-0");
        case Wrong::rtc_open:
            return fail_open("rtc");
        }
    }

    void expect_agrees(DriverModel &model)
    {
        EXPECT_EQ(output(), model.output);
        model.output.clear();
        Names locks;
        if (model.cpld_locked) {
            locks.push_back("cpld_open_lock");
        }
        if (model.fpga_locked) {
            locks.push_back("fpga_open_lock");
        }
        EXPECT_EQ(held_locks(), locks);
        EXPECT_EQ(dev_handle, model.fpga);
        EXPECT_EQ(dev_handle_i2c, model.i2c);
        EXPECT_EQ(dev_handle_rtc, model.rtc);
        EXPECT_EQ(board.open_files(), model.nodes().size());
        EXPECT_EQ(open_descriptors(), model.taken());
        EXPECT_EQ(window_is_mapped(), model.mapped);
    }

    void close_all(DriverModel &model)
    {
        for (const int descriptor : model.nodes()) {
            close(descriptor);
        }
        cpld_clean();
        fpga_clean();
    }
};

TEST_P(DriverModelTest, RandomSequencesAgree)
{
    const DescriptorZero zero;
    ASSERT_EQ(open("/dev/null", O_RDONLY), 0);
    std::mt19937 random(GetParam());
    DriverModel model(open_descriptors());
    std::string history;
    for (int i = 0; i < 300 && !HasFailure(); ++i) {
        const Call &call = calls[random() % std::size(calls)];
        // Every third call meets a fault, if it gets that far.
        model.wrong = random() % 3 == 0 ? static_cast<Wrong>(1 + random() % 5) : Wrong::nothing;
        history +=
            std::string(call.name) + " " + std::to_string(static_cast<int>(model.wrong)) + "\n";
        SCOPED_TRACE(history);
        inject(model.wrong);
        EXPECT_EQ(call.library(), (model.*call.model)());
        expect_agrees(model);
        uint8_t value = 0;
        if (model.mapped) {
            EXPECT_EQ(get_cpld_version(&value), 0);
            EXPECT_EQ(value, 0x11);
        }
    }
    close_all(model);
}

INSTANTIATE_TEST_SUITE_P(Seeds, DriverModelTest, ::testing::Values(1U, 2U, 3U, 4U));

// ---- the delay loop ----

int64_t cpu_time_ns()
{
    timespec now = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

int64_t delay_ns(uint32_t count)
{
    const int64_t begin = cpu_time_ns();
    __delay(count);
    return cpu_time_ns() - begin;
}

TEST_F(DriverTest, DelayTakesTimeForItsCount)
{
    // No machine runs ten loops in a nanosecond: 50 million take 5 ms at least.
    EXPECT_GE(delay_ns(50000000), 5000000);
    EXPECT_LT(delay_ns(0), 5000000);
    EXPECT_LT(delay_ns(1), 5000000);
    EXPECT_EQ(steps(), Names{});
}

} // namespace
} // namespace board_test
