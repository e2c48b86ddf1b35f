// The three ways of showing things.

#include "upgrade_service/output.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <functional>
#include <nlohmann/json.hpp>
#include <sstream>

#include "upgrade_service/json.h"

namespace upgrade_service {
namespace {

using nlohmann::json;
using Format = Output::Format;

std::string shown(Format format, const std::function<void(Output &)> &show)
{
    char *text = nullptr;
    size_t length = 0;
    FILE *const stream = open_memstream(&text, &length);
    Output output(stream, format);
    show(output);
    fclose(stream);
    std::string all = text;
    free(text);
    return all;
}

std::vector<json> lines(const std::string &text)
{
    std::vector<json> all;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        all.push_back(json::parse(line));
    }
    return all;
}

// Statuses as a loop would see them, the same one several times.
void show_progress(Output &output, bool succeeds)
{
    Meter meter;
    meter.take({0, 1});
    output.begin("step", meter);
    for (const uint32_t progress : {0U, 10U, 10U, 10U, 11U, 150U, 40U}) {
        if (meter.take({progress, 1})) {
            output.progress(meter);
        }
    }
    meter.take({succeeds ? 100U : 99U, succeeds ? 1U : 3U});
    meter.finish(succeeds);
    output.finish(meter, succeeds);
}

TEST(OutputTest, ABarIsRedrawnInPlace)
{
    EXPECT_EQ(shown(Format::terminal, [](Output &output) { show_progress(output, true); }),
              "\rstep [                                        ]   0%"
              "\rstep [####                                    ]  10%"
              "\rstep [####                                    ]  11%"
              "\rstep [####################################### ]  99%"
              "\rstep [########################################] 100%\n");
}

TEST(OutputTest, ANoteDoesNotOverwriteABar)
{
    const std::string all = shown(Format::terminal, [](Output &output) {
        Meter meter;
        output.begin("step", meter);
        output.note("hello");
        output.progress(meter);
        End end;
        end.what = "it";
        output.end(end);
    });
    EXPECT_EQ(all, "\rstep [                                        ]   0%\nhello\n"
                   "\rstep [                                        ]   0%\ndone: it\n");
}

TEST(OutputTest, AFileGetsTheLastBarAlone)
{
    EXPECT_EQ(shown(Format::text, [](Output &output) { show_progress(output, true); }),
              "step [########################################] 100%\n");
    EXPECT_EQ(shown(Format::text, [](Output &output) { show_progress(output, false); }),
              "step [####################################### ]  99%  failed\n");
}

TEST(OutputTest, EachChangeIsOneLineOfJson)
{
    const auto all =
        lines(shown(Format::json, [](Output &output) { show_progress(output, false); }));
    std::vector<std::vector<int>> seen;
    for (const json &line : all) {
        EXPECT_EQ(line.at("event"), "progress");
        EXPECT_EQ(line.at("step"), "step");
        EXPECT_EQ(line.at("state"), &line == &all.back() ? "failed" : "in progress");
        seen.push_back({line.at("percent"), line.at("published")});
    }
    EXPECT_EQ(seen, (std::vector<std::vector<int>>{
                        {0, 0}, {10, 10}, {11, 11}, {99, 150}, {99, 40}, {99, 99}}));
}

End failed_end()
{
    End end;
    end.code = ExitCode::not_given_back;
    end.what = "the update";
    end.why = "the \"flash\" is worn";
    end.library = "While erasing\x01";
    end.contents = "erased";
    end.bios_flash = BiosFlash{true, false};
    end.next = {"one", "two"};
    return end;
}

TEST(OutputTest, AFailureIsToldInWords)
{
    EXPECT_EQ(shown(Format::text, [](Output &output) { output.end(failed_end()); }),
              "NOT DONE: the update\n"
              "  why:       the \"flash\" is worn\n"
              "  library:   \"While erasing\x01\"\n"
              "  contents:  erased\n"
              "  owner:     the controller: the server is cut off from its BIOS and cannot start\n"
              "  driver:    unloaded\n"
              "  next:      1. one\n"
              "             2. two\n"
              "  exit code: 5\n");
}

TEST(OutputTest, AFailureIsToldInFields)
{
    const auto all = lines(shown(Format::json, [](Output &output) { output.end(failed_end()); }));
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0], json({{"event", "end"},
                            {"done", false},
                            {"exit_code", 5},
                            {"what", "the update"},
                            {"why", "the \"flash\" is worn"},
                            {"library", "While erasing\x01"},
                            {"contents", "erased"},
                            {"owner", "controller"},
                            {"driver", "unloaded"},
                            {"next", {"one", "two"}}}));
}

TEST(OutputTest, ASuccessHasNoReason)
{
    End end;
    end.what = "the copy";
    end.bios_flash = BiosFlash{false, true};
    EXPECT_EQ(shown(Format::terminal, [&end](Output &output) { output.end(end); }),
              "done: the copy\n  owner:     the host\n  driver:    loaded\n");
    const auto all = lines(shown(Format::json, [&end](Output &output) { output.end(end); }));
    EXPECT_EQ(all.at(0).at("done"), true);
    EXPECT_EQ(all.at(0).at("why"), nullptr);
    EXPECT_EQ(all.at(0).at("owner"), "host");
    EXPECT_EQ(all.at(0).at("driver"), "loaded");
    EXPECT_EQ(all.at(0).at("next"), json::array());
}

TEST(OutputTest, FactsThatAreNotToldAreMarked)
{
    const std::vector<Fact> facts = {{"cpld", "CPLD", "11h"}, {"loader", "boot loader", ""}};
    EXPECT_EQ(shown(Format::text, [&](Output &output) { output.facts(facts); }),
              "CPLD         11h\nboot loader  n.a.\n");
    EXPECT_EQ(lines(shown(Format::json, [&](Output &output) { output.facts(facts); })).at(0),
              json({{"event", "facts"}, {"cpld", "11h"}, {"loader", nullptr}}));
}

TEST(JsonLineTest, EveryByteOfAStringSurvives)
{
    for (int byte = 1; byte < 256; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        const json parsed = json::parse(JsonLine().text("t", text).line());
        // Latin-1 as UTF-8.
        const std::string expected = byte < 0x80
                                         ? text
                                         : std::string{static_cast<char>(0xC0 | byte >> 6),
                                                       static_cast<char>(0x80 | (byte & 0x3F))};
        EXPECT_EQ(parsed.at("t").get<std::string>(), expected) << byte;
    }
}

} // namespace
} // namespace upgrade_service
