#include "upgrade_service/output.h"

#include <algorithm>

#include "upgrade_service/json.h"

namespace upgrade_service {

namespace {

const char *state_name(uint32_t state)
{
    return state == in_progress ? "in progress" : state == failed ? "failed" : "idle";
}

// "  why:       text", if there is a text.
std::string entry(std::string title, const std::string &text)
{
    constexpr size_t width = 11;
    title += title.empty() ? "" : ":";
    title.resize(width, ' ');
    return text.empty() ? "" : "  " + title + text + '\n';
}

const char *owner_name(const BiosFlash &flash)
{
    return flash.controller_owns ? "controller" : "host";
}

const char *driver_state(const BiosFlash &flash)
{
    return flash.driver_loaded ? "loaded" : "unloaded";
}

std::string owner_words(const BiosFlash &flash)
{
    return flash.controller_owns
               ? "the controller: the server is cut off from its BIOS and cannot start"
               : "the host";
}

} // namespace

void Output::write(const std::string &text)
{
    fputs(text.c_str(), stream_);
    fflush(stream_);
}

void Output::note(const std::string &text)
{
    leave_bar();
    write(format_ == Format::json ? JsonLine().text("event", "note").text("text", text).line()
                                  : text + '\n');
}

void Output::facts(const std::vector<Fact> &facts)
{
    JsonLine line;
    line.text("event", "facts");
    std::string words;
    size_t width = 0;
    for (const Fact &fact : facts) {
        width = std::max(width, fact.title.size() + 2);
    }
    for (const Fact &fact : facts) {
        const bool told = !fact.value.empty();
        told ? line.text(fact.key.c_str(), fact.value) : line.null(fact.key.c_str());
        words += fact.title + std::string(width - fact.title.size(), ' ') +
                 (told ? fact.value : "n.a.") + '\n';
    }
    write(format_ == Format::json ? line.line() : words);
}

// ---- progress ----

void Output::begin(const std::string &step, const Meter &meter)
{
    step_ = step;
    draw(meter);
}

void Output::progress(const Meter &meter)
{
    draw(meter);
}

void Output::finish(const Meter &meter, bool succeeded)
{
    if (format_ == Format::text) {
        write(step_ + ' ' + bar(meter.percent()) + (succeeded ? "\n" : "  failed\n"));
        return;
    }
    draw(meter);
    leave_bar();
}

std::string Output::drawing(const Meter &meter) const
{
    if (format_ == Format::terminal) {
        return '\r' + step_ + ' ' + bar(meter.percent());
    }
    return JsonLine()
        .text("event", "progress")
        .text("step", step_)
        .number("percent", meter.percent())
        .number("published", meter.published().progress)
        .text("state", state_name(meter.published().state))
        .line();
}

void Output::draw(const Meter &meter)
{
    const std::string now = format_ == Format::text ? "" : drawing(meter);
    if (now != drawn_) {
        write(now);
        drawn_ = now;
    }
}

// What follows a bar begins on a line of its own.
void Output::leave_bar()
{
    if (format_ == Format::terminal && !drawn_.empty()) {
        write("\n");
    }
    drawn_.clear();
}

// ---- the end ----

void Output::end(const End &end)
{
    leave_bar();
    // What only asked has said all.
    if (end.what.empty()) {
        return;
    }
    format_ == Format::json ? end_in_json(end) : end_in_words(end);
}

void Output::end_in_words(const End &end)
{
    std::string words = (end.succeeded() ? "done: " : "NOT DONE: ") + end.what + '\n';
    words += entry("why", end.why);
    words += entry("library", end.library.empty() ? "" : '"' + end.library + '"');
    words += entry("contents", end.contents);
    if (end.bios_flash) {
        words += entry("owner", owner_words(*end.bios_flash));
        words += entry("driver", driver_state(*end.bios_flash));
    }
    for (size_t i = 0; i < end.next.size(); ++i) {
        words += entry(i == 0 ? "next" : "", std::to_string(i + 1) + ". " + end.next[i]);
    }
    if (!end.succeeded()) {
        words += entry("exit code", std::to_string(static_cast<int>(end.code)));
    }
    write(words);
}

void Output::end_in_json(const End &end)
{
    const auto text = [](JsonLine &line, const char *key, const std::string &value) {
        value.empty() ? line.null(key) : line.text(key, value);
    };
    JsonLine line;
    line.text("event", "end").truth("done", end.succeeded());
    line.number("exit_code", static_cast<int>(end.code)).text("what", end.what);
    text(line, "why", end.why);
    text(line, "library", end.library);
    text(line, "contents", end.contents);
    text(line, "owner", end.bios_flash ? owner_name(*end.bios_flash) : "");
    text(line, "driver", end.bios_flash ? driver_state(*end.bios_flash) : "");
    line.texts("next", end.next);
    write(line.line());
}

} // namespace upgrade_service
