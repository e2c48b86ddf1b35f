#include "virtual_board/fault_text.h"

#include <errno.h>
#include <linux/i2c-dev.h>
#include <linux/ioctl.h>
#include <mtd/mtd-user.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>
#include <set>
#include <string>

namespace virtual_board {

namespace {

using Kind = Fault::Kind;

struct Name {
    std::string_view name;
    uint32_t value;
};

constexpr Name error_names[] = {
    {"EACCES", EACCES}, {"EAGAIN", EAGAIN}, {"EBADF", EBADF},         {"EBADMSG", EBADMSG},
    {"EBUSY", EBUSY},   {"EFAULT", EFAULT}, {"EINTR", EINTR},         {"EINVAL", EINVAL},
    {"EIO", EIO},       {"ENODEV", ENODEV}, {"ENOENT", ENOENT},       {"ENOMEM", ENOMEM},
    {"ENOSPC", ENOSPC}, {"ENOTTY", ENOTTY}, {"ENXIO", ENXIO},         {"EOPNOTSUPP", EOPNOTSUPP},
    {"EPERM", EPERM},   {"EROFS", EROFS},   {"ETIMEDOUT", ETIMEDOUT},
};

constexpr Name address_names[] = {
    {"I2C_RDWR", I2C_RDWR},
    {"I2C_SMBUS", I2C_SMBUS},
    {"MEMERASE", static_cast<uint32_t>(MEMERASE)},
    {"MEMERASE64", static_cast<uint32_t>(MEMERASE64)},
    {"MEMGETINFO", static_cast<uint32_t>(MEMGETINFO)},
};

constexpr long long huge = std::numeric_limits<long long>::max();

// What follows a kind's "=".
struct KindForm {
    std::string_view name;
    Kind kind;
    bool takes_value;
    std::optional<long long> absent; // none: a value must be there
    long long least;
    long long most;
};

constexpr KindForm kind_forms[] = {
    {"error", Kind::error, true, EIO, 1, 4095},
    {"result", Kind::result, true, {}, -huge, huge},
    {"late_result", Kind::late_result, true, {}, -huge, huge},
    {"short_count", Kind::short_count, true, {}, 0, huge},
    {"lie", Kind::lie, false, 0, 0, 0},
    {"bit_flip", Kind::bit_flip, true, {}, 0, huge},
    {"delay", Kind::delay, true, {}, 0, huge},
    {"vanish", Kind::vanish, false, 0, 0, 0},
};

[[noreturn]] void refuse(std::string_view text, const std::string &complaint)
{
    throw FaultError("fault \"" + std::string(text) + "\": " + complaint);
}

std::string quoted(std::string_view word)
{
    std::string text(1, '"');
    return text.append(word) + '"';
}

std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view blanks = " \t\r\n";
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::vector<std::string_view> split(std::string_view text, char separator)
{
    std::vector<std::string_view> parts;
    for (size_t end = 0; end != std::string_view::npos;) {
        end = text.find(separator);
        parts.push_back(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return parts;
}

// The number, if all of the word is one.
template <typename Number> std::optional<Number> number_of(std::string_view word)
{
    const bool hexadecimal = word.substr(0, 2) == "0x";
    word.remove_prefix(hexadecimal ? 2 : 0);
    Number number = 0;
    const auto parsed =
        std::from_chars(word.data(), word.data() + word.size(), number, hexadecimal ? 16 : 10);
    // from_chars would take the sign of "0x-1".
    const bool whole = !word.empty() && parsed.ec == std::errc() &&
                       parsed.ptr == word.data() + word.size() &&
                       !(hexadecimal && word.front() == '-');
    return whole ? std::optional<Number>(number) : std::nullopt;
}

template <size_t count>
std::optional<uint32_t> named(const Name (&names)[count], std::string_view word)
{
    const auto *const found = std::find_if(std::begin(names), std::end(names),
                                           [word](const Name &one) { return one.name == word; });
    return found == std::end(names) ? std::nullopt : std::optional<uint32_t>(found->value);
}

// Reads one FAULT; the text is for complaints.
class Reader {
public:
    explicit Reader(std::string_view text) : text_(text) {}

    Fault read()
    {
        const std::vector<std::string_view> words = split(text_, ',');
        std::vector<std::string_view> head = split(words.front(), ':');
        if (head.size() != 3 || head[0].empty()) {
            refuse(text_, "it is DEVICE:OPERATION:KIND");
        }
        fault_.name = text_;
        fault_.device = head[0];
        fault_.operation = operation(head[1]);
        read_kind(head[2]);
        for (size_t i = 1; i < words.size(); ++i) {
            read_field(words[i]);
        }
        return fault_;
    }

private:
    struct Assignment {
        std::string_view name;
        std::optional<std::string_view> value;
    };

    static Assignment assignment(std::string_view word)
    {
        const size_t equals = word.find('=');
        if (equals == std::string_view::npos) {
            return {word, std::nullopt};
        }
        return {word.substr(0, equals), word.substr(equals + 1)};
    }

    Operation operation(std::string_view word) const
    {
        for (auto code = static_cast<size_t>(Operation::open);
             code <= static_cast<size_t>(Operation::status); ++code) {
            if (word == to_string(static_cast<Operation>(code))) {
                return static_cast<Operation>(code);
            }
        }
        refuse(text_, "there is no operation " + quoted(word));
    }

    void read_kind(std::string_view word)
    {
        const Assignment kind = assignment(word);
        const auto *const form =
            std::find_if(std::begin(kind_forms), std::end(kind_forms),
                         [&kind](const KindForm &one) { return one.name == kind.name; });
        if (form == std::end(kind_forms)) {
            refuse(text_, "there is no kind " + quoted(kind.name));
        }
        if (kind.value && !form->takes_value) {
            refuse(text_, quoted(kind.name) + " takes no value");
        }
        if (!kind.value && !form->absent) {
            refuse(text_, quoted(kind.name) + " needs a value");
        }
        fault_.kind = form->kind;
        fault_.value = kind.value ? value(*form, *kind.value) : *form->absent;
    }

    long long value(const KindForm &form, std::string_view word) const
    {
        std::optional<long long> found = number_of<long long>(word);
        if (form.kind == Kind::error && !found) {
            found = named(error_names, word);
        }
        if (!found || *found < form.least || *found > form.most) {
            refuse(text_, quoted(word) + " is no value of " + quoted(form.name));
        }
        return *found;
    }

    template <typename Number> Number number(const Assignment &field, Number most) const
    {
        const auto found = number_of<Number>(*field.value);
        if (!found || *found > most) {
            refuse(text_, quoted(*field.value) + " is no value of " + quoted(field.name));
        }
        return *found;
    }

    template <typename Number> Number number(const Assignment &field) const
    {
        return number(field, std::numeric_limits<Number>::max());
    }

    void read_field(std::string_view word)
    {
        const Assignment field = assignment(word);
        if (!field.value || field.value->empty()) {
            refuse(text_, quoted(word) + " is not FIELD=VALUE");
        }
        if (!seen_.insert(field.name).second) {
            refuse(text_, quoted(field.name) + " is there twice");
        }
        if (field.name == "address") {
            const auto request = named(address_names, *field.value);
            fault_.address = request ? *request : number<uint32_t>(field);
        } else if (field.name == "place") {
            fault_.place = number<uint64_t>(field);
        } else if (field.name == "skip") {
            fault_.skip = number<unsigned>(field);
        } else if (field.name == "times") {
            fault_.times = number<unsigned>(field);
        } else if (field.name == "per_mille") {
            fault_.per_mille = number<unsigned>(field, 1000);
        } else if (field.name == "name") {
            fault_.name = *field.value;
        } else {
            refuse(text_, "there is no field " + quoted(field.name));
        }
    }

    std::string_view text_;
    Fault fault_;
    std::set<std::string_view> seen_;
};

} // namespace

Fault parse_fault(std::string_view text)
{
    return Reader(trimmed(text)).read();
}

std::vector<Fault> parse_faults(std::string_view text)
{
    std::vector<Fault> faults;
    for (const std::string_view part : split(text, ';')) {
        if (!trimmed(part).empty()) {
            faults.push_back(parse_fault(part));
        }
    }
    return faults;
}

} // namespace virtual_board
