#include "virtual_board/gpio.h"

#include <string.h>

#include <algorithm>
#include <charconv>

namespace virtual_board {

namespace {

std::string_view without_newline(const void *data, size_t count)
{
    std::string_view text(static_cast<const char *>(data), count);
    return text.substr(0, text.find('\n'));
}

} // namespace

class Gpio::ExportFile : public Device {
public:
    explicit ExportFile(Gpio &gpio) : Device("gpio-export"), gpio_(gpio) {}

    long write(OpenFile &, const void *data, size_t count) override
    {
        const long result = gpio_.export_line(without_newline(data, count));
        return result < 0 ? result : static_cast<long>(count);
    }
    long long seek(OpenFile &, long long offset, int) override { return offset; }
    void describe(struct stat &status) const override { status.st_mode = S_IFREG | 0200; }

private:
    Gpio &gpio_;
};

class Gpio::LineFile : public Device {
public:
    LineFile(Line &line, int number, bool direction)
        : Device("gpio" + std::to_string(number) + (direction ? "-direction" : "-value")),
          line_(line), direction_(direction)
    {
    }

    long read(OpenFile &file, void *buffer, size_t count) override
    {
        const std::string text = this->text();
        if (file.offset >= static_cast<long long>(text.size())) {
            return 0;
        }
        const size_t begin = static_cast<size_t>(file.offset);
        const size_t moved = std::min(count, text.size() - begin);
        memcpy(buffer, text.data() + begin, moved);
        file.offset += static_cast<long long>(moved);
        return static_cast<long>(moved);
    }

    long write(OpenFile &, const void *data, size_t count) override
    {
        const std::string_view text = without_newline(data, count);
        if (direction_) {
            if (text != "in" && text != "out") {
                return -EINVAL;
            }
            line_.output = text == "out";
            return static_cast<long>(count);
        }
        if (!line_.output) {
            return -EPERM;
        }
        line_.written.emplace_back(text);
        line_.level = text == "0" ? 0 : 1;
        return static_cast<long>(count);
    }

    long long seek(OpenFile &file, long long offset, int whence) override
    {
        if (whence != SEEK_SET || offset < 0) {
            return -EINVAL;
        }
        file.offset = offset;
        return offset;
    }

    void describe(struct stat &status) const override
    {
        status.st_mode = S_IFREG | 0644;
        status.st_size = 4096; // as sysfs reports every file
    }

private:
    std::string text() const
    {
        if (direction_) {
            return line_.output ? "out\n" : "in\n";
        }
        return line_.level != 0 ? "1\n" : "0\n";
    }

    Line &line_;
    bool direction_;
};

Gpio::Gpio() : export_file_(std::make_shared<ExportFile>(*this)) {}

std::shared_ptr<Device> Gpio::find(std::string_view path)
{
    if (!present_) {
        return nullptr;
    }
    std::string_view rest = path.substr(root.size());
    if (rest == "/export") {
        return export_file_;
    }
    int number = 0;
    if (!rest.starts_with("/gpio")) {
        return nullptr;
    }
    rest.remove_prefix(5);
    const auto parsed = std::from_chars(rest.data(), rest.data() + rest.size(), number);
    const auto line = lines_.find(number);
    if (parsed.ec != std::errc() || line == lines_.end()) {
        return nullptr;
    }
    rest.remove_prefix(static_cast<size_t>(parsed.ptr - rest.data()));
    const auto file = line->second.find(rest);
    return file == line->second.end() ? nullptr : file->second;
}

long Gpio::export_line(std::string_view text)
{
    int number = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
    if (parsed.ec != std::errc() || parsed.ptr != text.data() + text.size() || number < 0) {
        return -EINVAL;
    }
    if (exported(number)) {
        return -EBUSY;
    }
    Line &line = states_[number];
    lines_[number]["/direction"] = std::make_shared<LineFile>(line, number, true);
    lines_[number]["/value"] = std::make_shared<LineFile>(line, number, false);
    return 0;
}

} // namespace virtual_board
