// Fixture of the tests that drive the environment operations on the virtual
// board's partition.
#ifndef TESTS_BOOTENV_ENVIRONMENT_FIXTURE_H
#define TESTS_BOOTENV_ENVIRONMENT_FIXTURE_H

#include <algorithm>
#include <string>

#include "tests/bootenv/environment_model.h"
#include "tests/support/board_test.h"

namespace board_test {

class EnvironmentTest : public BoardTest {
protected:
    // At the end nothing of the environment may be mapped; the base sees to
    // locks and descriptors.
    void TearDown() override
    {
        EXPECT_EQ(board.environment().mapped(), 0U) << "mappings left behind";
        BoardTest::TearDown();
    }

    // The bytes on flash.
    std::string block()
    {
        const Bytes bytes = board.environment().bytes();
        return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
    }
    void set_block(const std::string &block)
    {
        const auto *bytes = reinterpret_cast<const uint8_t *>(block.data());
        board.environment().set_bytes(Bytes(bytes, bytes + block.size()));
    }

    // What every call that reaches the device does, whatever comes out of it.
    const Names whole_call{"lock env_lock",     "open environment",  "map environment",
                           "unmap environment", "close environment", "unlock env_lock"};
};

// Compares blocks, and shows where they part instead of 8 KiB of text.
inline ::testing::AssertionResult same_block(const std::string &got, const std::string &expected)
{
    if (got == expected) {
        return ::testing::AssertionSuccess();
    }
    const auto at = std::mismatch(got.begin(), got.end(), expected.begin(), expected.end()).first;
    const auto offset = static_cast<size_t>(at - got.begin());
    return ::testing::AssertionFailure()
           << "blocks of " << got.size() << " and " << expected.size() << " bytes part at "
           << offset << ": " << ::testing::PrintToString(got.substr(offset, 40)) << " instead of "
           << ::testing::PrintToString(expected.substr(offset, 40));
}

// Names a table's tests after the title of each row.
struct TitleOfRow {
    template <typename Row> std::string operator()(const ::testing::TestParamInfo<Row> &row) const
    {
        return row.param.title;
    }
};

// A caller's buffer that shows what was written to it.
class MarkedBuffer {
public:
    explicit MarkedBuffer(size_t size = 64) : bytes_(size, mark) {}

    char *data() { return bytes_.data(); }
    uint32_t size() const { return static_cast<uint32_t>(bytes_.size()); }
    bool untouched() const { return bytes_ == std::string(bytes_.size(), mark); }
    // The text and its NUL, and marks behind.
    bool holds(const std::string &text) const
    {
        std::string expected = text + '\0';
        expected.resize(std::max(bytes_.size(), expected.size()), mark);
        return bytes_ == expected;
    }
    const std::string &bytes() const { return bytes_; }

private:
    static constexpr char mark = 'U';
    std::string bytes_;
};

} // namespace board_test

#endif
