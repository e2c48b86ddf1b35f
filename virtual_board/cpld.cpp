#include "virtual_board/cpld.h"

#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

#include "board_hal_cpld.h"

namespace virtual_board {

namespace {

// Identity is burnt into the CPLD's program.
constexpr uint8_t read_only_registers[] = {
    CPLD_REG_BOARD_ID,       CPLD_REG_PCB_VERSION,    CPLD_REG_BOM_VERSION,
    CPLD_REG_PRODUCT_ID,     CPLD_REG_CPLD_VERSION,   CPLD_REG_COMPILE_TIME_0,
    CPLD_REG_COMPILE_TIME_1, CPLD_REG_COMPILE_TIME_2, CPLD_REG_COMPILE_TIME_3,
    CPLD_REG_COMPILE_TIME_4,
};

} // namespace

Cpld::Cpld()
    : Device("cpld"), memory_(memfd_create("cpld-window", MFD_CLOEXEC)), seen_(CPLD_WINDOW_SIZE)
{
    if (memory_ < 0 || ftruncate(memory_, CPLD_WINDOW_SIZE) != 0) {
        throw std::runtime_error("no memory for the CPLD window");
    }
    void *address =
        ::mmap(nullptr, CPLD_WINDOW_SIZE, PROT_READ | PROT_WRITE, MAP_SHARED, memory_, 0);
    if (address == MAP_FAILED) {
        throw std::runtime_error("the CPLD window cannot be mapped");
    }
    window_ = static_cast<uint8_t *>(address);
    for (const uint8_t offset : read_only_registers) {
        rules_[offset].fixed = 0xFF;
    }
}

Cpld::~Cpld()
{
    ::munmap(window_, CPLD_WINDOW_SIZE);
    ::close(memory_);
}

void Cpld::set(uint32_t offset, uint8_t value)
{
    window_[offset] = value;
    seen_[offset] = value;
}

void Cpld::set_bits(uint32_t offset, uint8_t mask)
{
    set(offset, static_cast<uint8_t>(get(offset) | mask));
}

void Cpld::clear_bits(uint32_t offset, uint8_t mask)
{
    set(offset, static_cast<uint8_t>(get(offset) & ~mask));
}

void Cpld::stick(uint32_t offset, uint8_t mask, uint8_t level)
{
    rules_.at(offset).stuck = mask;
    rules_.at(offset).stuck_level = level & mask;
    set(offset, static_cast<uint8_t>((get(offset) & ~mask) | (level & mask)));
}

void Cpld::unstick(uint32_t offset)
{
    rules_.at(offset).stuck = 0;
    rules_.at(offset).stuck_level = 0;
}

void Cpld::on_store(uint32_t offset, StoreObserver observer)
{
    rules_.at(offset).observers.push_back(std::move(observer));
}

void Cpld::on_load(uint32_t offset, LoadObserver observer)
{
    rules_.at(offset).load_observers.push_back(std::move(observer));
}

long Cpld::map(OpenFile &, size_t length, Mapping &mapping)
{
    if (length > CPLD_WINDOW_SIZE) {
        return -EINVAL;
    }
    mapping.descriptor = memory_;
    mapping.watched = true;
    return 0;
}

void Cpld::loaded(uint32_t offset)
{
    if (offset >= rules_.size()) {
        return;
    }
    for (const LoadObserver &observer : rules_[offset].load_observers) {
        observer();
    }
}

void Cpld::stored(uint32_t offset, uint8_t before)
{
    if (offset >= rules_.size()) {
        seen_[offset] = window_[offset];
        return;
    }
    const Rule &rule = rules_[offset];
    const unsigned held = rule.fixed | rule.stuck;
    const unsigned level = (before & rule.fixed & ~unsigned{rule.stuck}) | rule.stuck_level;
    set(offset, static_cast<uint8_t>((window_[offset] & ~held) | (level & held)));
    for (const StoreObserver &observer : rule.observers) {
        observer(before, get(offset));
    }
}

void Cpld::find_stores(const std::function<void(uint32_t, uint8_t)> &found)
{
    if (memcmp(window_, seen_.data(), seen_.size()) == 0) {
        return;
    }
    for (uint32_t offset = 0; offset < seen_.size(); ++offset) {
        if (window_[offset] != seen_[offset]) {
            found(offset, seen_[offset]);
        }
    }
}

} // namespace virtual_board
