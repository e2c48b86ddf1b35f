#include "tests/update/update_test.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace board_test {

namespace {

constexpr uint32_t chunk_size = 10240;

std::string chunk_lines(const char *doing, uint32_t length)
{
    const uint32_t total = length / 1024;
    std::string lines = text("%s data: 0k/%uk (0%%)", doing, total);
    for (uint32_t done = 0; done < length;) {
        done += std::min(chunk_size, length - done);
        lines += text("\r%s data: %uk/%uk (%u%%)", doing, done / 1024, total, done * 100 / length);
    }
    return lines + text("\r%s data: %uk/%uk (100%%)\n", doing, total, total);
}

} // namespace

Personality update_board()
{
    Personality personality;
    personality.flash = {.erase_size = erase_size, .partitions = {partition_size, partition_size}};
    personality.bios_flash = {.size = partition_size, .erase_size = erase_size};
    return personality;
}

std::string text(const char *format, ...)
{
    char buffer[1024];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(buffer, sizeof(buffer), format, arguments);
    va_end(arguments);
    return buffer;
}

std::string with_paths(std::string message, const std::string &device, const std::string &image)
{
    const std::pair<std::string, std::string> places[] = {{"{device}", device}, {"{image}", image}};
    for (const auto &[place, path] : places) {
        for (size_t at = message.find(place); at != std::string::npos; at = message.find(place)) {
            message.replace(at, place.size(), path);
        }
    }
    return message;
}

Fault fault(const char *device, Operation operation, Fault::Kind kind, long long value,
            unsigned skip)
{
    Fault fault;
    fault.name = "trouble";
    fault.device = device;
    fault.operation = operation;
    fault.kind = kind;
    fault.value = value;
    fault.skip = skip;
    return fault;
}

std::string erase_lines(uint32_t blocks, const char *lead)
{
    std::string lines = text("%sErasing blocks: 0/%u (0%%)", lead, blocks);
    for (uint32_t i = 1; i <= blocks; ++i) {
        lines += text("\rErasing blocks: %u/%u (%u%%)", i, blocks, i * 100 / blocks);
    }
    return lines + text("\rErasing blocks: %u/%u (100%%)\n", blocks, blocks);
}

std::string write_lines(uint32_t length)
{
    return chunk_lines("Writing", length);
}

std::string verify_lines(uint32_t length)
{
    return chunk_lines("Verifying", length);
}

std::string copy_lines(uint32_t length, const char *lead)
{
    return erase_lines((length + erase_size - 1) / erase_size, lead) + write_lines(length) +
           verify_lines(length);
}

long ImageFile::read(virtual_board::OpenFile &file, void *buffer, size_t count)
{
    const auto start = std::min(bytes_.size(), static_cast<size_t>(file.offset));
    count = std::min(count, bytes_.size() - start);
    memcpy(buffer, bytes_.data() + start, count);
    file.offset += static_cast<long long>(count);
    return static_cast<long>(count);
}

long long ImageFile::seek(virtual_board::OpenFile &file, long long offset, int whence)
{
    const long long base = whence == SEEK_CUR   ? file.offset
                           : whence == SEEK_END ? static_cast<long long>(bytes_.size())
                                                : 0;
    if (base + offset < 0) {
        return -EINVAL;
    }
    file.offset = base + offset;
    return file.offset;
}

void ImageFile::describe(struct stat &status) const
{
    status.st_mode = S_IFREG | 0600;
    status.st_size = static_cast<off_t>(bytes_.size());
}

UpdateTest::UpdateTest(const Personality &personality) : BoardTest(personality) {}

void UpdateTest::SetUp()
{
    BoardTest::SetUp();
    std::string name = ::testing::TempDir() + "/update-test-XXXXXX";
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    directory_ = name;
    open_board();
    board.flash().put(0, pattern(2 * partition_size, 7));
    board.bios_flash().put(0, pattern(board.bios_flash().geometry().size, 8));
}

void UpdateTest::TearDown()
{
    std::filesystem::remove_all(directory_);
    BoardTest::TearDown();
}

std::string UpdateTest::file(const std::string &name, const Bytes &bytes)
{
    std::ofstream stream(path(name), std::ios::binary);
    stream.write(reinterpret_cast<const char *>(bytes.data()),
                 static_cast<std::streamsize>(bytes.size()));
    stream.close();
    if (!stream) {
        throw std::runtime_error("no room for " + name);
    }
    return path(name);
}

std::shared_ptr<ImageFile> UpdateTest::put_image(Bytes bytes)
{
    auto image = std::make_shared<ImageFile>(std::move(bytes));
    board.attach(board_image, image);
    return image;
}

Status UpdateTest::status()
{
    Status status;
    EXPECT_EQ(get_upgrade_status(&status.first, &status.second), 0);
    return status;
}

void UpdateTest::give_bios_flash_to_controller()
{
    set_reg(CPLD_REG_BIOS_FLASH, CPLD_BIOS_OWNER);
    board.modules().run({"insmod", "/ko/m25p80.ko"});
}

bool UpdateTest::controller_owns_bios_flash()
{
    return (reg(CPLD_REG_BIOS_FLASH) & CPLD_BIOS_OWNER) != 0;
}

void UpdateTest::watch()
{
    set_upgrade_status(0, 0);
    output();
    clear_trace();
    moments_.clear();
    if (!watching_) {
        watching_ = true;
        board.trace.listen([this](const Event &) {
            moments_.push_back({status(), flushed_output()});
        });
    }
}

Names UpdateTest::timeline()
{
    const Status last = status();
    const Names all = steps();
    const std::string printed = output();
    Names lines;
    Status known = {0, 0};
    size_t shown = 0;
    const auto add = [&](const Status &now, size_t flushed) {
        if (flushed > shown) {
            lines.push_back("print " + printed.substr(shown, flushed - shown));
            shown = flushed;
        }
        if (now != known) {
            lines.push_back(text("status %u/%u", now.first, now.second));
            known = now;
        }
    };
    for (size_t i = 0; i < all.size(); ++i) {
        add(moments_[i].status, moments_[i].flushed);
        lines.push_back(all[i]);
    }
    add(last, printed.size());
    return lines;
}

std::vector<Status> UpdateTest::statuses()
{
    std::vector<Status> seen = {{0, 0}};
    for (const Moment &moment : moments_) {
        if (moment.status != seen.back()) {
            seen.push_back(moment.status);
        }
    }
    if (status() != seen.back()) {
        seen.push_back(status());
    }
    seen.erase(seen.begin());
    return seen;
}

} // namespace board_test
