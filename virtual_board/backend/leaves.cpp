#include "virtual_board/backend/leaves.h"

#include <math.h>

#include <algorithm>

#include "virtual_board/backend/arguments.h"

namespace virtual_board {

using nlohmann::json;

namespace {

constexpr const char *date_format = "%Y-%m-%d %H:%M:%S";

[[noreturn]] void refuse(const std::string &name, const Domain &domain)
{
    throw RequestError(name + " takes " + domain.words());
}

std::string date_text(const tm &date)
{
    char text[64];
    strftime(text, sizeof(text), date_format, &date);
    return text;
}

// A date that is written as this one would be: no 31st of April, no blanks.
std::optional<tm> date_in(const json &value)
{
    if (!value.is_string()) {
        return {};
    }
    const auto &text = value.get_ref<const std::string &>();
    tm date = {};
    const char *end = strptime(text.c_str(), date_format, &date);
    if (end == nullptr || *end != '\0' || date.tm_year < 70 || date.tm_year > 999) {
        return {};
    }
    tm normal = date;
    timegm(&normal);
    return date_text(normal) == text ? std::optional(normal) : std::nullopt;
}

std::optional<bool> truth_in(const json &value)
{
    if (value.is_boolean()) {
        return value.get<bool>();
    }
    const std::optional<int64_t> number = number_in(value);
    return number && (*number == 0 || *number == 1) ? std::optional(*number == 1) : std::nullopt;
}

std::optional<int64_t> number_of(const std::string &name, const Domain &domain, const json &value)
{
    if (domain.nullable && value.is_null()) {
        return {};
    }
    const std::optional<int64_t> number = number_in(value);
    if (!number || *number < domain.min || *number > domain.max) {
        refuse(name, domain);
    }
    return number;
}

json constant_or_null(std::optional<int64_t> value)
{
    return value ? json(*value) : json(nullptr);
}

} // namespace

std::string Domain::words() const
{
    switch (kind) {
    case Kind::truth:
        return "true or false";
    case Kind::number:
    case Kind::real:
        return "a number from " + std::to_string(min) + " to " + std::to_string(max) +
               (nullable ? ", or null" : "");
    case Kind::date:
        return "a date like \"2020-01-31 23:59:59\"";
    case Kind::nothing:
        break;
    }
    return "";
}

void Leaves::shown(const std::string &name, json value)
{
    shown(name, [value = std::move(value)] { return value; });
}

void Leaves::shown(const std::string &name, std::function<json()> get)
{
    leaves_.push_back({name, std::move(get)});
}

void Leaves::truth(const std::string &name, bool now, Setter<bool> set)
{
    const Domain domain = {.kind = Domain::Kind::truth};
    leaves_.push_back({name, [now] { return json(now); }, domain,
                       [=](const json &value) {
                           const std::optional<bool> truth = truth_in(value);
                           if (!truth) {
                               refuse(name, domain);
                           }
                           set(*truth);
                       }});
}

void Leaves::number(const std::string &name, int64_t now, int64_t min, int64_t max,
                    Setter<int64_t> set)
{
    const Domain domain = {.kind = Domain::Kind::number, .min = min, .max = max};
    leaves_.push_back({name, [now] { return json(now); }, domain,
                       [=](const json &value) { set(*number_of(name, domain, value)); }});
}

void Leaves::optional_number(const std::string &name, std::optional<int64_t> now, int64_t min,
                             int64_t max, Setter<std::optional<int64_t>> set)
{
    const Domain domain = {.kind = Domain::Kind::number, .min = min, .max = max, .nullable = true};
    leaves_.push_back({name, [now] { return constant_or_null(now); }, domain,
                       [=](const json &value) { set(number_of(name, domain, value)); }});
}

void Leaves::real(const std::string &name, double now, int64_t min, int64_t max, Setter<double> set)
{
    const Domain domain = {.kind = Domain::Kind::real, .min = min, .max = max};
    leaves_.push_back(
        {name, [now] { return json(now); }, domain,
         [=](const json &value) {
             // Not a number, too, is outside.
             const double real = value.is_number() ? value.get<double>() : NAN;
             if (!(real >= static_cast<double>(min) && real <= static_cast<double>(max))) {
                 refuse(name, domain);
             }
             set(real);
         }});
}

void Leaves::date(const std::string &name, const tm &now, Setter<const tm &> set)
{
    const Domain domain = {.kind = Domain::Kind::date};
    leaves_.push_back({name, [now] { return json(date_text(now)); }, domain,
                       [=](const json &value) {
                           const std::optional<tm> date = date_in(value);
                           if (!date) {
                               refuse(name, domain);
                           }
                           set(*date);
                       }});
}

const Leaf *Leaves::find(const std::string &name) const
{
    std::vector<std::string> names = {name, name + ".value"};
    const size_t dot = name.rfind('.');
    if (dot != std::string::npos) {
        names.push_back(name.substr(0, dot) + ".bits" + name.substr(dot));
    }
    for (const std::string &one : names) {
        const auto found = std::find_if(leaves_.begin(), leaves_.end(),
                                        [&one](const Leaf &leaf) { return leaf.name == one; });
        if (found != leaves_.end()) {
            return &*found;
        }
    }
    return nullptr;
}

json Leaves::tree(const std::string &name) const
{
    json tree;
    const std::string prefix = name.empty() ? "" : name + ".";
    for (const Leaf &leaf : leaves_) {
        if (!leaf.name.starts_with(prefix)) {
            continue;
        }
        json *at = &tree;
        size_t begin = prefix.size();
        for (size_t dot = 0; (dot = leaf.name.find('.', begin)) != std::string::npos;) {
            at = &(*at)[leaf.name.substr(begin, dot - begin)];
            begin = dot + 1;
        }
        (*at)[leaf.name.substr(begin)] = leaf.get();
    }
    return tree;
}

} // namespace virtual_board
