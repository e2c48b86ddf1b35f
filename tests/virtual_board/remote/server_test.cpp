// What a server makes of clients that are none.

#include "virtual_board/remote/server.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <poll.h>
#include <string.h>

#include <random>

#include "tests/virtual_board/remote/served_board.h"
#include "virtual_board/remote/protocol.h"

namespace board_test {
namespace {

uint32_t kind(Kind value)
{
    return static_cast<uint32_t>(value);
}

class ServerTest : public ServedBoard {
protected:
    static Writer greeting(Role role = Role::program)
    {
        Writer writer;
        writer.number(protocol_magic)
            .number(protocol_version)
            .number(sizeof(void *))
            .number(static_cast<uint64_t>(role))
            .number(1);
        return writer;
    }

    Descriptor greeted(Role role = Role::program)
    {
        Descriptor socket = connection();
        EXPECT_TRUE(send_message(socket.get(), kind(Kind::hello), greeting(role).body()));
        const auto answer = receive_message(socket.get());
        EXPECT_TRUE(answer && Reader(answer->body).flag());
        return socket;
    }

    // The whole board still works.
    void expect_alive()
    {
        const auto remote = join();
        std::shared_ptr<OpenFile> file;
        ASSERT_EQ(remote->open("/dev/mtd1", O_RDWR, file), 0);
        uint8_t byte = 0;
        EXPECT_EQ(remote->read(*file, &byte, 1), 1);
        remote->close(*file);
    }
};

TEST_F(ServerTest, ListensToNobodyWhoDoesNotGreet)
{
    const struct {
        const char *name;
        Kind kind;
        Bytes body;
    } rows[] = {
        {"a question first", Kind::synchronise, {}},
        {"nothing", Kind::hello, {}},
        {"something else", Kind::hello, Bytes(40, 0x20)},
        {"an answer", Kind::answer, greeting().body()},
        {"no role", Kind::hello, greeting(static_cast<Role>(9)).body()},
    };
    for (const auto &row : rows) {
        const Descriptor socket = connection();
        ASSERT_TRUE(send_message(socket.get(), kind(row.kind), row.body));
        EXPECT_FALSE(receive_message(socket.get())) << row.name;
    }
    expect_alive();
}

TEST_F(ServerTest, SaysWhyItCannotServe)
{
    const struct {
        uint64_t version;
        uint64_t size;
        const char *complaint;
    } rows[] = {
        {protocol_version + 1, sizeof(void *),
         "the board and this program speak different versions"},
        {protocol_version, 3, "the board and this program are of different word size"},
    };
    for (const auto &row : rows) {
        const Descriptor socket = connection();
        Writer writer;
        writer.number(protocol_magic).number(row.version).number(row.size).number(0).number(1);
        ASSERT_TRUE(send_message(socket.get(), kind(Kind::hello), writer.body()));
        const auto answer = receive_message(socket.get());
        ASSERT_TRUE(answer.has_value());
        Reader reader(answer->body);
        EXPECT_FALSE(reader.flag());
        EXPECT_EQ(reader.text(), row.complaint);
        EXPECT_FALSE(receive_message(socket.get()));
    }
}

// Every kind of question, cut short everywhere and with a byte too many.
TEST_F(ServerTest, EndsTheConnectionOfWhoIsNotUnderstood)
{
    Writer fields;
    for (int i = 0; i < 8; ++i) {
        fields.number(2);
    }
    for (uint32_t number = 0; number <= kind(Kind::count) + 1; ++number) {
        for (const size_t length : {1U, 7U, 9U, 31U}) {
            const Descriptor socket = greeted();
            const Bytes body(fields.body().begin(),
                             fields.body().begin() + static_cast<long>(length));
            ASSERT_TRUE(send_message(socket.get(), number, body));
            EXPECT_FALSE(receive_message(socket.get())) << number << " of " << length;
        }
    }
    expect_alive();
    wait_until([this] { return server->programs() == 0; });
    EXPECT_EQ(server->open_files(), 0U);
}

TEST_F(ServerTest, SurvivesNoise)
{
    std::mt19937 random(1);
    for (int round = 0; round < 300; ++round) {
        const Descriptor socket = greeted();
        Bytes body(random() % 80);
        for (uint8_t &byte : body) {
            // Small numbers are likelier to mean something.
            byte = random() % 4 == 0 ? static_cast<uint8_t>(random()) : 0;
        }
        // Sleeps would move the clock of the board without end.
        const auto number = static_cast<uint32_t>(random() % (kind(Kind::count) + 2));
        if (number == kind(Kind::slept) || number == kind(Kind::pass) ||
            number == kind(Kind::run)) {
            continue;
        }
        ASSERT_TRUE(send_message(socket.get(), number, body));
        shutdown(socket.get(), SHUT_WR);
        while (receive_message(socket.get())) {
        }
    }
    expect_alive();
}

TEST_F(ServerTest, LetsNoDeviceSeeAProgramsAddress)
{
    const auto remote = join();
    std::shared_ptr<OpenFile> file;
    ASSERT_EQ(remote->open("/dev/i2c-0", O_RDWR, file), 0);
    const struct {
        const char *name;
        uint32_t request;
        uint64_t argument;
        Bytes memory;
    } rows[] = {
        {"no record", I2C_RDWR, 0x1000, {}},
        {"null record", I2C_RDWR, 0, Bytes(16)},
        {"a record without its messages", I2C_RDWR, 0x1000, Bytes(16, 1)},
        {"too much", I2C_FUNCS, 0x1000, Bytes(9)},
        {"a number with memory", I2C_SLAVE, 0x50, Bytes(1)},
    };
    for (const auto &row : rows) {
        const Descriptor socket = greeted();
        Writer question;
        question.number(file->id).number(row.request).number(row.argument);
        question.raw(row.memory.data(), row.memory.size());
        ASSERT_TRUE(send_message(socket.get(), kind(Kind::ioctl), question.body()));
        EXPECT_FALSE(receive_message(socket.get())) << row.name;
    }
    remote->close(*file);
}

TEST_F(ServerTest, KnowsNoFileThatIsNotOpen)
{
    const Descriptor socket = greeted();
    Writer question;
    question.number(99).signed_number(0).signed_number(SEEK_SET);
    ASSERT_TRUE(send_message(socket.get(), kind(Kind::seek), question.body()));
    const auto answer = receive_message(socket.get());
    ASSERT_TRUE(answer.has_value());
    EXPECT_EQ(Reader(answer->body).signed_number(), -EBADF);
}

// A program that is killed while it asks, or does what it was told to do itself.
TEST_F(ServerTest, GoesOnWhenAProgramIsGoneInTheMiddle)
{
    const auto remote = join();
    std::shared_ptr<OpenFile> flash;
    ASSERT_EQ(remote->open("/dev/mtd1", O_RDWR, flash), 0);
    Writer write;
    write.number(flash->id).flag(false).signed_number(0).number(4).bytes("abcd", 4);
    {
        Descriptor socket = greeted();
        const Bytes &body = write.body();
        const Bytes header = {static_cast<uint8_t>(body.size()),       0, 0, 0,
                              static_cast<uint8_t>(kind(Kind::write)), 0, 0, 0};
        ASSERT_EQ(::send(socket.get(), header.data(), header.size(), 0), 8);
        ASSERT_EQ(::send(socket.get(), body.data(), body.size() - 1, 0),
                  static_cast<ssize_t>(body.size() - 1));
    }
    wait_until([this] { return server->programs() == 1; });
    EXPECT_EQ(board()->flash().contents()[0x40000], 0xFF) << "half a question is none";
    {
        const Descriptor socket = greeted();
        Writer run;
        run.number(1).text("/bin/true");
        ASSERT_TRUE(send_message(socket.get(), kind(Kind::run), run.body()));
        const auto answer = receive_message(socket.get());
        ASSERT_TRUE(answer && answer->kind == kind(Kind::go_on));
    }
    wait_until([this] { return server->programs() == 1; });
    EXPECT_EQ(events(Operation::run).size(), 1U);
    remote->close(*flash);
    expect_alive();
}

TEST_F(ServerTest, ForgetsADescriptorThatNobodyTook)
{
    {
        const Descriptor socket = greeted();
        Writer question;
        question.text("/dev/mtd1").signed_number(O_RDWR);
        ASSERT_TRUE(send_message(socket.get(), kind(Kind::open), question.body()));
        pollfd answered = {socket.get(), POLLIN, 0};
        ASSERT_EQ(poll(&answered, 1, -1), 1);
    }
    // The server forgets the file before the board closes it.
    wait_until([this] { return server->open_files() == 0; });
    wait_until([this] { return board()->open_files() == 0; });
}

TEST_F(ServerTest, TellsWhoServes)
{
    const Descriptor socket = connection();
    ASSERT_TRUE(send_message(socket.get(), kind(Kind::hello), greeting(Role::status).body()));
    const auto answer = receive_message(socket.get());
    ASSERT_TRUE(answer.has_value());
    Reader reader(answer->body);
    EXPECT_TRUE(reader.flag());
    EXPECT_EQ(reader.text(), "");
    EXPECT_EQ(reader.text(), "brava-0");
    EXPECT_EQ(reader.number(), static_cast<uint64_t>(getpid()));
    EXPECT_TRUE(reader.flag());
    EXPECT_EQ(reader.number(), 0U);
    EXPECT_TRUE(reader.complete());
}

// ---- backend ----

class BackendLinesTest : public ServerTest {
protected:
    void serve_line(const std::string &line, BoardServer::LineClient &client) override
    {
        if (line == "wait") {
            client.send("waiting");
            while (!client.gone()) {
                sched_yield();
            }
            ended = true;
        }
        client.send("<" + line + ">");
    }

    std::string receive(int socket, size_t count)
    {
        std::string text(count, '\0');
        EXPECT_EQ(recv(socket, text.data(), count, MSG_WAITALL), static_cast<ssize_t>(count));
        return text;
    }

    void say(int socket, const std::string &text)
    {
        ASSERT_EQ(::send(socket, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    }

    std::atomic<bool> ended = false;
};

TEST_F(BackendLinesTest, AreTakenOneByOne)
{
    const Descriptor socket = greeted(Role::backend);
    say(socket.get(), "one\ntw");
    EXPECT_EQ(receive(socket.get(), 6), "<one>\n");
    say(socket.get(), "o\n\n");
    EXPECT_EQ(receive(socket.get(), 9), "<two>\n<>\n");
}

TEST_F(BackendLinesTest, EndWhenTheyAreTooLong)
{
    const Descriptor socket = greeted(Role::backend);
    const std::string piece(1 << 16, 'x');
    ssize_t sent = 1;
    for (int i = 0; i < 64 && sent > 0; ++i) {
        sent = ::send(socket.get(), piece.data(), piece.size(), MSG_NOSIGNAL);
    }
    char byte = 0;
    EXPECT_LE(recv(socket.get(), &byte, 1, 0), 0);
    expect_alive();
}

TEST_F(BackendLinesTest, SeeTheirClientGo)
{
    {
        const Descriptor socket = greeted(Role::backend);
        say(socket.get(), "wait\n");
        EXPECT_EQ(receive(socket.get(), 8), "waiting\n");
    }
    wait_until([this] { return ended.load(); });
}

TEST_F(BackendLinesTest, SeeThePowerGo)
{
    const Descriptor socket = greeted(Role::backend);
    say(socket.get(), "wait\n");
    EXPECT_EQ(receive(socket.get(), 8), "waiting\n");
    server->cut_power();
    EXPECT_EQ(receive(socket.get(), 7), "<wait>\n") << "and stay";
    machine.restore();
    say(socket.get(), "again\n");
    EXPECT_EQ(receive(socket.get(), 8), "<again>\n");
}

TEST_F(BackendLinesTest, EndWithTheServer)
{
    const Descriptor socket = greeted(Role::backend);
    say(socket.get(), "wait\n");
    EXPECT_EQ(receive(socket.get(), 8), "waiting\n");
    server.reset();
    EXPECT_TRUE(ended);
}

} // namespace
} // namespace board_test
