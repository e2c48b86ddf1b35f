#include "virtual_board/remote/wire.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <string>
#include <thread>
#include <utility>

namespace {

using namespace virtual_board::remote;

class WireTest : public testing::Test {
protected:
    WireTest()
    {
        int both[2] = {-1, -1};
        socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, both);
        left = Descriptor(both[0]);
        right = Descriptor(both[1]);
    }

    void send_raw(const std::string &bytes)
    {
        ASSERT_EQ(::send(left.get(), bytes.data(), bytes.size(), 0),
                  static_cast<ssize_t>(bytes.size()));
    }

    Descriptor left;
    Descriptor right;
};

TEST(WriterAndReader, KeepEveryField)
{
    Writer writer;
    writer.number(0x1122334455667788).signed_number(-5).flag(true).text("abc").bytes("\0x", 2);
    EXPECT_EQ(writer.body()[0], 0x88) << "low byte first";
    Reader reader(writer.body());
    EXPECT_EQ(reader.number(), 0x1122334455667788U);
    EXPECT_EQ(reader.signed_number(), -5);
    EXPECT_TRUE(reader.flag());
    EXPECT_EQ(reader.text(), "abc");
    EXPECT_FALSE(reader.complete());
    EXPECT_EQ(reader.bytes().size(), 2U);
    EXPECT_TRUE(reader.complete());
}

TEST(Reader, ReadsWhatIsNotThereAsNothing)
{
    Writer writer;
    writer.number(7);
    for (size_t length = 0; length < writer.body().size(); ++length) {
        Reader reader({writer.body().data(), length});
        EXPECT_EQ(reader.number(), 0U) << length;
        EXPECT_FALSE(reader.ok()) << length;
        EXPECT_EQ(reader.number(), 0U) << length;
        EXPECT_FALSE(reader.complete()) << length;
    }
}

TEST(Reader, BelievesNoLengthThatIsTooLong)
{
    for (const uint64_t length : {uint64_t{2}, uint64_t{message_max}, UINT64_MAX, UINT64_MAX - 7}) {
        Writer writer;
        writer.number(length).raw("x", 1);
        Reader reader(writer.body());
        EXPECT_TRUE(reader.bytes().empty()) << length;
        EXPECT_FALSE(reader.ok()) << length;
    }
}

TEST_F(WireTest, CarriesMessages)
{
    Bytes body(300000); // more than a socket takes at once
    for (size_t i = 0; i < body.size(); ++i) {
        body[i] = static_cast<uint8_t>(i * 7);
    }
    std::thread sender([&] {
        EXPECT_TRUE(send_message(left.get(), 3, body));
        EXPECT_TRUE(send_message(left.get(), 4, {}));
    });
    const std::optional<Message> first = receive_message(right.get());
    const std::optional<Message> second = receive_message(right.get());
    sender.join();
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->kind, 3U);
    EXPECT_EQ(first->body, body);
    EXPECT_FALSE(first->descriptor);
    EXPECT_EQ(second->kind, 4U);
    EXPECT_TRUE(second->body.empty());
}

TEST_F(WireTest, CarriesADescriptor)
{
    const Descriptor sent(open("/dev/null", O_RDONLY | O_CLOEXEC));
    ASSERT_TRUE(send_message(left.get(), 1, {1, 2, 3}, sent.get()));
    const std::optional<Message> message = receive_message(right.get());
    ASSERT_TRUE(message && message->descriptor);
    struct stat before = {};
    struct stat after = {};
    ASSERT_EQ(fstat(sent.get(), &before), 0);
    ASSERT_EQ(fstat(message->descriptor.get(), &after), 0);
    EXPECT_EQ(before.st_rdev, after.st_rdev);
    EXPECT_EQ(fcntl(message->descriptor.get(), F_GETFD), FD_CLOEXEC);
}

TEST_F(WireTest, TakesNoPartOfAMessage)
{
    Bytes body(100);
    ASSERT_TRUE(send_message(left.get(), 1, body));
    std::string whole(108, '\0');
    ASSERT_EQ(recv(right.get(), whole.data(), whole.size(), 0), 108);
    for (const size_t length : {0U, 1U, 7U, 8U, 9U, 107U}) {
        int both[2] = {-1, -1};
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, both), 0);
        left = Descriptor(both[0]);
        right = Descriptor(both[1]);
        send_raw(whole.substr(0, length));
        left.reset();
        EXPECT_FALSE(receive_message(right.get())) << length;
    }
}

TEST_F(WireTest, RefusesAMessageThatIsTooLong)
{
    EXPECT_FALSE(send_message(left.get(), 1, Bytes(message_max + 1)));
    send_raw(std::string("\x01\x00\x00\x04\x01\x00\x00\x00", 8)); // one byte more
    EXPECT_FALSE(receive_message(right.get()));
}

TEST_F(WireTest, NoticesThatTheOtherSideHasGone)
{
    right.reset();
    EXPECT_FALSE(send_message(left.get(), 1, {}));
    EXPECT_FALSE(receive_message(left.get()));
}

} // namespace
