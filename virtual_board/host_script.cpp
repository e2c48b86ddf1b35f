#include "virtual_board/host_script.h"

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
