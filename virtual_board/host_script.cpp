#include "virtual_board/host_script.h"

#include <termios.h>

#include <algorithm>
#include <charconv>
#include <sstream>

#include "board_hal_cpld.h"

namespace virtual_board {

namespace {

// The host takes a breath between what it does, so that the controller's own
// lines come before the host's next ones.
constexpr uint64_t breath_us = 60000;
// How often it looks whether the interface is free, and how long it keeps
// trying; the same time is allowed for an answer.
constexpr uint64_t retry_us = 10000;
constexpr uint64_t patience_us = 10000000;

// Fetches of the black box have ended when so many looks saw no further one.
constexpr unsigned quiet_looks_enough = 30;
// So much of the console's end goes into the black box.
constexpr size_t last_words_max = 2048;

constexpr uint32_t base_rate = 115200;

constexpr int any_byte = -1;

using Words = HostScript::Words;
using Statement = HostScript::Statement;

// Complaints about a statement; HostScript::parse() adds the line.
using Complaint = std::invalid_argument;

void require(bool fulfilled, const char *complaint)
{
    if (!fulfilled) {
        throw Complaint(complaint);
    }
}

template <typename Number>
bool parse_number(const std::string &word, size_t length, int base, Number &number)
{
    const char *end = word.data() + length;
    const auto parsed = std::from_chars(word.data(), end, number, base);
    return length > 0 && parsed.ec == std::errc() && parsed.ptr == end;
}

int byte_of(const std::string &word)
{
    uint8_t byte = 0;
    if (!parse_number(word, word.size(), 16, byte)) {
        throw Complaint("\"" + word + "\" is no hexadecimal byte");
    }
    return byte;
}

uint64_t time_of(const std::string &word)
{
    const bool in_ms = word.ends_with("ms");
    const size_t suffix = in_ms ? 2 : 1;
    uint32_t number = 0;
    if ((!in_ms && !word.ends_with("s")) || !parse_number(word, word.size() - suffix, 10, number)) {
        throw Complaint("\"" + word + "\" is no time like 200ms or 5s");
    }
    return number * (in_ms ? uint64_t{1000} : uint64_t{1000000});
}

struct RateSpeed {
    uint32_t rate;
    speed_t speed;
};

constexpr RateSpeed rate_speeds[] = {
    {2400, B2400},   {4800, B4800},   {9600, B9600},     {19200, B19200},
    {38400, B38400}, {57600, B57600}, {115200, B115200},
};

speed_t speed_of(uint32_t rate)
{
    for (const RateSpeed &row : rate_speeds) {
        if (row.rate == rate) {
            return row.speed;
        }
    }
    return B0;
}

// Takes a line out of what was received; false if there is none yet.
bool take_line(std::string &received, std::string &line)
{
    received.erase(0, received.find_first_not_of("\r\n"));
    const size_t end = received.find_first_of("\r\n");
    if (end == std::string::npos) {
        return false;
    }
    line = received.substr(0, end);
    received.erase(0, end);
    return true;
}

std::string joined(const Words &words, size_t from)
{
    std::string text;
    for (size_t i = from; i < words.size(); ++i) {
        text += (text.empty() ? "" : " ") + words[i];
    }
    return text;
}

// ---- how the statements are read; word 0 is the verb ----

void parse_text(const Words &words, Statement &statement)
{
    require(words.size() > 1, "a text is missing");
    statement.text = joined(words, 1);
}

void parse_name(const Words &words, Statement &statement)
{
    require(words.size() > 3, "NETFN, CMD and a text are needed");
    statement.bytes = {byte_of(words[1]), byte_of(words[2])};
    statement.text = joined(words, 3);
}

void parse_request(const Words &words, Statement &statement)
{
    require(words.size() > 2, "NETFN and CMD are needed");
    std::transform(words.begin() + 1, words.end(), std::back_inserter(statement.bytes), byte_of);
    require(statement.bytes[0] < 0x40, "a NetFn has 6 bits");
}

void parse_code(const Words &words, Statement &statement)
{
    require(words.size() == 2, "one completion code is needed");
    statement.bytes = {byte_of(words[1])};
}

void parse_pattern(const Words &words, Statement &statement)
{
    std::transform(words.begin() + 1, words.end(), std::back_inserter(statement.bytes),
                   [](const std::string &word) { return word == "--" ? any_byte : byte_of(word); });
}

void parse_time(const Words &words, Statement &statement)
{
    require(words.size() == 2, "one time is needed");
    statement.time_us = time_of(words[1]);
}

void parse_wait(const Words &words, Statement &statement)
{
    if (words.size() < 2 || words[1] != "power") {
        parse_time(words, statement);
        return;
    }
    require(words.size() == 4 && (words[2] == "on" || words[2] == "off"),
            "it is \"wait power on TIME\" or \"wait power off TIME\"");
    statement.text = words[2];
    statement.on = words[2] == "on";
    statement.time_us = time_of(words[3]);
}

// A line as it is written, blanks and all.
void parse_line(const Words &words, Statement &statement)
{
    require(words.size() > 1, "a text is missing");
    const size_t begin = statement.whole.find_first_not_of(" \t", words[0].size());
    const size_t end = statement.whole.find_last_not_of(" \t\r");
    statement.text = statement.whole.substr(begin, end + 1 - begin);
}

uint32_t number_of(const std::string &word)
{
    uint32_t number = 0;
    if (!parse_number(word, word.size(), 10, number)) {
        throw Complaint("\"" + word + "\" is no number");
    }
    return number;
}

void parse_divisor(const Words &words, Statement &statement)
{
    require(words.size() == 2, "one divisor is needed");
    statement.number = number_of(words[1]);
    require(statement.number >= 1 && statement.number <= base_rate, "a divisor is 1 to 115200");
}

void parse_arrangement(const Words &words, Statement &statement)
{
    require(words.size() == 2, "one arrangement is needed");
    statement.number = number_of(words[1]);
    require(statement.number <= CPLD_SERIAL_ROUTE, "an arrangement is 0 to 15");
}

void parse_rate(const Words &words, Statement &statement)
{
    require(words.size() == 2, "one rate is needed");
    statement.number = number_of(words[1]);
    require(speed_of(statement.number) != B0, "no terminal has this rate");
}

void parse_nothing(const Words &words, Statement &)
{
    require(words.size() == 1, "nothing may follow");
}

bool fits(const std::vector<int> &pattern, const Message &answer)
{
    const auto same = [](int expected, uint8_t byte) {
        return expected == any_byte || expected == byte;
    };
    return answer.size() >= 3 &&
           std::equal(pattern.begin(), pattern.end(), answer.begin() + 3, answer.end(), same);
}

std::string text_of(const std::vector<int> &pattern)
{
    std::string text;
    for (const int byte : pattern) {
        text += text.empty() ? "" : " ";
        text += byte == any_byte ? "--" : hex_bytes({static_cast<uint8_t>(byte)});
    }
    return text.empty() ? "no data" : text;
}

} // namespace

const HostScript::Verb HostScript::verbs[] = {
    {"say", parse_text, &HostScript::say},
    {"name", parse_name, &HostScript::name},
    {"kcs", parse_request, &HostScript::kcs},
    {"expect-code", parse_code, &HostScript::expect_code},
    {"expect-data", parse_pattern, &HostScript::expect_data},
    {"wait", parse_wait, &HostScript::wait},
    {"console", parse_line, &HostScript::console},
    {"expect-input", parse_line, &HostScript::expect_input},
    {"panel", parse_line, &HostScript::panel},
    {"expect-panel", parse_line, &HostScript::expect_panel},
    {"baud", parse_divisor, &HostScript::baud},
    {"expect-baud", parse_rate, &HostScript::expect_baud},
    {"crash", parse_line, &HostScript::crash},
    {"serial-switch", parse_arrangement, &HostScript::serial_switch},
    {"press", parse_time, &HostScript::press},
    {"lock-button", parse_nothing, &HostScript::lock_button},
    {"unlock-button", parse_nothing, &HostScript::unlock_button},
};

const HostScript::Verb *HostScript::find_verb(const std::string &name)
{
    const Verb *found = std::find_if(std::begin(verbs), std::end(verbs),
                                     [&name](const Verb &verb) { return name == verb.name; });
    return found == std::end(verbs) ? nullptr : found;
}

HostScript::HostScript(Board &board, std::istream &text, FILE *out)
    : board_(board), out_(out), narrative_(board, out)
{
    std::string line;
    for (unsigned number = 1; std::getline(text, line); ++number) {
        parse(number, line);
    }
}

void HostScript::parse(unsigned line, const std::string &text)
{
    std::istringstream stream(text);
    Words words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    if (words.empty() || words[0][0] == '#') {
        return;
    }
    Statement statement;
    statement.line = line;
    statement.whole = text.substr(text.find(words[0]));
    statement.verb = find_verb(words[0]);
    if (statement.verb == nullptr) {
        throw ScriptError(line, "unknown statement \"" + words[0] + "\"");
    }
    try {
        statement.verb->parse(words, statement);
    } catch (const Complaint &complaint) {
        throw ScriptError(line, words[0] + ": " + complaint.what());
    }
    statements_.push_back(std::move(statement));
}

void HostScript::start(std::function<void()> finished)
{
    on_finished_ = std::move(finished);
    board_.host().kcs.on_answer([this](const Message &answer) { answered(answer); });
    board_.host().on_change([this](const char *change) { host_changed(change); });
    narrative_.forget_changes();
    run_after(0);
}

unsigned HostScript::line() const
{
    return position_ < statements_.size() ? statements_[position_].line : 0;
}

void HostScript::step()
{
    if (position_ == statements_.size()) {
        finish();
        return;
    }
    const Statement &statement = statements_[position_];
    (this->*statement.verb->run)(statement);
}

void HostScript::run_after(uint64_t delay_us)
{
    board_.clock.schedule_us(delay_us, [this] { step(); });
}

void HostScript::done(uint64_t pause_us)
{
    board_.clock.schedule_us(pause_us, [this] {
        ++position_;
        step();
    });
}

void HostScript::await(Awaited awaited, uint64_t at_most_us, const std::string &complaint)
{
    awaited_ = awaited;
    const unsigned number = ++wait_number_;
    board_.clock.schedule_us(at_most_us, [this, number, complaint] {
        if (awaited_ != Awaited::nothing && wait_number_ == number) {
            fail(complaint);
            arrived();
        }
    });
}

void HostScript::arrived()
{
    awaited_ = Awaited::nothing;
    done(breath_us);
}

bool HostScript::looks_first()
{
    return !looking_since_us_.has_value();
}

void HostScript::look_again(bool reached, const std::string &complaint)
{
    const uint64_t now_us = board_.clock.now_us();
    if (looks_first()) {
        looking_since_us_ = now_us;
        ++checks_;
    }
    if (!reached && now_us - *looking_since_us_ < patience_us) {
        run_after(retry_us);
        return;
    }
    if (!reached) {
        fail(complaint);
    }
    looking_since_us_.reset();
    arrived();
}

void HostScript::fail(const std::string &complaint)
{
    ++failures_;
    narrative_.host("FAILED, line " + std::to_string(line()) + ": " + complaint);
}

void HostScript::finish()
{
    finished_ = true;
    narrative_.heading("Summary");
    fprintf(out_, "host script: %u exchanges, %u checks, %u failed\n", exchanges_, checks_,
            failures_);
    fflush(out_);
    if (on_finished_) {
        on_finished_();
    }
}

void HostScript::answered(const Message &answer)
{
    const bool awaited = awaited_ == Awaited::answer;
    if (!awaited) {
        narrative_.message("receives", answer, "");
        fail("nothing was asked");
        return;
    }
    answer_ = answer;
    const std::vector<std::string> meaning = ipmi_.answer(request_, answer);
    narrative_.message("receives", answer, meaning.front());
    for (size_t i = 1; i < meaning.size(); ++i) {
        narrative_.message("", {}, meaning[i]);
    }
    if (!IpmiText::answers(request_, answer)) {
        fail("the answer does not belong to the request");
    }
    arrived();
}

void HostScript::host_changed(const std::string &change)
{
    narrative_.host_changed(change);
    if (awaited_ == Awaited::power && board_.host().powered() == awaited_power_) {
        arrived();
    }
}

// ---- statements ----

void HostScript::say(const Statement &statement)
{
    narrative_.heading(statement.text);
    done();
}

void HostScript::name(const Statement &statement)
{
    ipmi_.name(static_cast<uint8_t>(statement.bytes[0]), static_cast<uint8_t>(statement.bytes[1]),
               statement.text);
    done();
}

void HostScript::kcs(const Statement &statement)
{
    HostInterface &kcs = board_.host().kcs;
    const uint64_t now_us = board_.clock.now_us();
    if (kcs.status() != HostInterface::idle) {
        if (refused_since_us_ == 0) {
            refused_since_us_ = now_us;
        }
        if (now_us - refused_since_us_ < patience_us) {
            run_after(retry_us);
            return;
        }
        refused_since_us_ = 0;
        answer_.clear();
        fail("the interface does not become free");
        arrived();
        return;
    }
    refused_since_us_ = 0;
    request_.assign(statement.bytes.begin(), statement.bytes.end());
    request_[0] = static_cast<uint8_t>(request_[0] << 2);
    answer_.clear();
    ++exchanges_;
    narrative_.message("sends", request_, ipmi_.request(request_));
    kcs.send(request_);
    await(Awaited::answer, patience_us, "no answer");
}

void HostScript::expect_code(const Statement &statement)
{
    ++checks_;
    if (answer_.size() < 3 || answer_[2] != statement.bytes[0]) {
        fail("expected completion code " + text_of(statement.bytes));
    }
    done();
}

void HostScript::expect_data(const Statement &statement)
{
    ++checks_;
    if (!fits(statement.bytes, answer_)) {
        fail("expected " + text_of(statement.bytes) + " after the completion code");
    }
    done();
}

void HostScript::wait(const Statement &statement)
{
    if (statement.text.empty()) {
        done(statement.time_us);
        return;
    }
    ++checks_;
    awaited_power_ = statement.on;
    await(Awaited::power, statement.time_us, "the power is not " + statement.text);
    if (board_.host().powered() == awaited_power_) {
        arrived();
    }
}

// Waits for the controller, so that both sides' lines alternate.
void HostScript::console(const Statement &statement)
{
    if (looks_first()) {
        narrative_.host("prints    " + statement.text);
        print(statement.text);
    }
    look_again(board_.sol().pending() == 0, "nobody takes what the console prints");
}

void HostScript::print(const std::string &line)
{
    last_words_ += line + "\n";
    if (last_words_.size() > last_words_max) {
        last_words_.erase(0, last_words_.size() - last_words_max);
    }
    board_.sol().print(line + "\r\n");
}

void HostScript::expect_input(const Statement &statement)
{
    std::string line;
    const bool reached = take_line(board_.serial_switch().host_input(), line);
    if (reached) {
        narrative_.host("receives  " + line);
    }
    expect_line(reached, line, statement);
}

void HostScript::expect_panel(const Statement &statement)
{
    std::string line;
    const bool reached = take_line(board_.serial_switch().panel_output(), line);
    if (reached) {
        narrative_.panel("shows     " + line);
    }
    expect_line(reached, line, statement);
}

void HostScript::expect_line(bool reached, const std::string &line, const Statement &statement)
{
    if (reached && line != statement.text) {
        fail("expected: " + statement.text);
    }
    look_again(reached, "nothing comes");
}

void HostScript::panel(const Statement &statement)
{
    if (looks_first()) {
        narrative_.panel("types     " + statement.text);
        if (!board_.serial_switch().panel_sends(statement.text + "\r")) {
            narrative_.board("the panel's connector leads nowhere: nobody hears it");
        }
    }
    look_again(board_.uart().unread() == 0, "nobody reads the controller's UART");
}

void HostScript::baud(const Statement &statement)
{
    narrative_.host("sets its serial port to " + std::to_string(base_rate / statement.number) +
                    " baud");
    narrative_.board("the FPGA prescribes divisor " + std::to_string(statement.number) +
                     " of 115200 baud");
    board_.fpga().baud_divisor.word = static_cast<int32_t>(statement.number);
    done(breath_us);
}

void HostScript::expect_baud(const Statement &statement)
{
    const termios now = board_.uart().attributes();
    const bool reached = cfgetispeed(&now) == speed_of(statement.number);
    const std::string rate = std::to_string(statement.number) + " baud";
    if (reached) {
        narrative_.board("the controller's UART runs at " + rate);
    }
    look_again(reached, "the controller's UART does not run at " + rate);
}

void HostScript::serial_switch(const Statement &statement)
{
    board_.cpld().clear_bits(CPLD_REG_SERIAL_ROUTING, CPLD_SERIAL_ROUTE);
    board_.cpld().set_bits(CPLD_REG_SERIAL_ROUTING, static_cast<uint8_t>(statement.number));
    narrative_.forget_changes();
    narrative_.board("the serial switch stands at arrangement " + std::to_string(statement.number));
    done();
}

void HostScript::crash(const Statement &statement)
{
    BlackBox &box = board_.black_box();
    if (looks_first()) {
        narrative_.host("CRASH: " + statement.text);
        print(statement.text);
        recorded_ = box.enabled();
        narrative_.board(recorded_
                             ? "the black box records the last " +
                                   std::to_string(last_words_.size()) + " bytes of the console"
                             : "the black box is off: nothing is recorded");
        box.crash({last_words_.begin(), last_words_.end()});
        fetches_ = box.releases();
    }
    look_again(board_.sol().pending() == 0 && (!recorded_ || black_box_is_left()),
               recorded_ ? "nobody fetches the black box" : "nobody takes what the console prints");
}

// Counts looks, not time: a program that stands still for a while is not done.
bool HostScript::black_box_is_left()
{
    const BlackBox &box = board_.black_box();
    const bool quiet = box.taken() && !box.fetching() && box.releases() == fetches_;
    quiet_looks_ = quiet ? quiet_looks_ + 1 : 0;
    fetches_ = box.releases();
    return quiet_looks_ >= quiet_looks_enough;
}

void HostScript::press(const Statement &statement)
{
    narrative_.host("someone presses the front panel's power button");
    if (!board_.host().press_front_panel(statement.time_us)) {
        narrative_.board("the button is locked: nothing happens");
    }
    done(statement.time_us + breath_us);
}

void HostScript::lock_button(const Statement &)
{
    board_.cpld().clear_bits(CPLD_REG_POWER_BUTTON, CPLD_POWER_BUTTON_ENABLE);
    narrative_.host_changed("the front panel's power button is locked");
    done(breath_us);
}

void HostScript::unlock_button(const Statement &)
{
    board_.cpld().set_bits(CPLD_REG_POWER_BUTTON, CPLD_POWER_BUTTON_ENABLE);
    narrative_.host_changed("the front panel's power button is free");
    done(breath_us);
}

} // namespace virtual_board
