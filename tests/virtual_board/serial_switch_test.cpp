// Whom the line of the controller's UART reaches.

#include "tests/support/board_test.h"

namespace board_test {
namespace {

class SerialSwitchTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        open_board();
        ASSERT_GT(uart_init(0, 0), 0);
    }

    void TearDown() override
    {
        uart_close(0);
        BoardTest::TearDown();
    }

    static void send(const std::string &text)
    {
        uart_write(0, reinterpret_cast<const uint8_t *>(text.data()),
                   static_cast<uint32_t>(text.size()));
    }

    std::string received()
    {
        uint8_t bytes[64];
        const int count = uart_read(0, bytes, sizeof(bytes));
        return {bytes, bytes + std::max(count, 0)};
    }
};

TEST_F(SerialSwitchTest, LeadsToTheHostToThePanelOrNowhere)
{
    for (uint8_t code = 0; code < 16; ++code) {
        set_serial_dir(1, code);
        send("text");
        EXPECT_EQ(board.serial_switch().host_input(), code == 2 ? "text" : "") << int{code};
        EXPECT_EQ(board.serial_switch().panel_output(), code == 1 ? "text" : "") << int{code};
        board.serial_switch().host_input().clear();
        board.serial_switch().panel_output().clear();
    }
}

TEST_F(SerialSwitchTest, HandsOverWhatWasSentBeforeItMoved)
{
    set_serial_dir(1, 2);
    send("host");
    set_serial_dir(1, 1);
    send("panel");
    set_serial_dir(1, 6);
    send("nobody");
    set_serial_dir(1, 2);
    EXPECT_EQ(board.serial_switch().host_input(), "host");
    EXPECT_EQ(board.serial_switch().panel_output(), "panel");
}

TEST_F(SerialSwitchTest, TakesThePanelsWordsToWhomItLeads)
{
    for (uint8_t code = 0; code < 16; ++code) {
        set_serial_dir(1, code);
        EXPECT_EQ(board.serial_switch().panel_sends("text"), code == 1 || code == 3);
        EXPECT_EQ(board.uart().unread(), code == 1 ? 4U : 0U);
        EXPECT_EQ(received(), code == 1 ? "text" : "") << int{code};
        EXPECT_EQ(board.serial_switch().host_input(), code == 3 ? "text" : "") << int{code};
        board.serial_switch().host_input().clear();
    }
}

} // namespace
} // namespace board_test
