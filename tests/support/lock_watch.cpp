#include "tests/support/lock_watch.h"

#include <cxxabi.h>
#include <elf.h>
#include <link.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "virtual_board/shim/shim.h"

namespace board_test {

namespace {

struct Library {
    std::string path;
    uintptr_t base = 0;
    uintptr_t end = 0;
};

int find_library(dl_phdr_info *info, size_t, void *found)
{
    if (strstr(info->dlpi_name, "libboard_hal.so") == nullptr) {
        return 0;
    }
    auto &library = *static_cast<Library *>(found);
    library.path = info->dlpi_name;
    library.base = info->dlpi_addr;
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        const ElfW(Phdr) &segment = info->dlpi_phdr[i];
        const uintptr_t end = info->dlpi_addr + segment.p_vaddr + segment.p_memsz;
        if (segment.p_type == PT_LOAD && end > library.end) {
            library.end = end;
        }
    }
    return 1;
}

// "board_hal::(anonymous namespace)::env_lock" to "env_lock".
std::string short_name(const char *symbol)
{
    int status = 0;
    const std::unique_ptr<char, decltype(&free)> demangled(
        abi::__cxa_demangle(symbol, nullptr, nullptr, &status), free);
    const std::string name = demangled ? demangled.get() : symbol;
    const size_t colon = name.rfind("::");
    return colon == std::string::npos ? name : name.substr(colon + 2);
}

// Data objects of the library by address, from its symbol table.
std::map<uintptr_t, std::string> read_symbols(const Library &library)
{
    std::ifstream file(library.path, std::ios::binary);
    std::ostringstream contents;
    contents << file.rdbuf();
    const std::string image = contents.str();
    std::map<uintptr_t, std::string> symbols;
    if (image.size() < sizeof(ElfW(Ehdr))) {
        return symbols;
    }
    const auto *header = reinterpret_cast<const ElfW(Ehdr) *>(image.data());
    const auto *sections = reinterpret_cast<const ElfW(Shdr) *>(image.data() + header->e_shoff);
    for (unsigned i = 0; i < header->e_shnum; ++i) {
        if (sections[i].sh_type != SHT_SYMTAB) {
            continue;
        }
        const char *names = image.data() + sections[sections[i].sh_link].sh_offset;
        const auto *table =
            reinterpret_cast<const ElfW(Sym) *>(image.data() + sections[i].sh_offset);
        for (size_t n = 0; n < sections[i].sh_size / sizeof(ElfW(Sym)); ++n) {
            if ((table[n].st_info & 0xF) == STT_OBJECT &&
                table[n].st_size == sizeof(pthread_mutex_t)) {
                symbols[library.base + table[n].st_value] = short_name(names + table[n].st_name);
            }
        }
    }
    return symbols;
}

struct State {
    virtual_board::Board *board = nullptr;
    Library library;
    std::map<uintptr_t, std::string> names;
    std::mutex guard;
    std::map<uintptr_t, int> held;
    std::set<std::pair<uintptr_t, uintptr_t>> order;
    std::map<std::string, std::function<void()>> actions;
};

State &state()
{
    static State &instance = *new State;
    return instance;
}

std::string name_of(const State &watch, uintptr_t address)
{
    const auto known = watch.names.find(address);
    return known == watch.names.end() ? "unnamed lock" : known->second;
}

// The locks that this thread took and has not released. Another thread may have
// released an open lock.
thread_local std::vector<uintptr_t> taken_here;

void note_locked(State &watch, uintptr_t address)
{
    std::erase_if(taken_here, [&](uintptr_t lock) { return !watch.held.contains(lock); });
    for (const uintptr_t held : taken_here) {
        watch.order.emplace(held, address);
    }
    taken_here.push_back(address);
    ++watch.held[address];
}

void observe(virtual_board::shim::MutexEvent event, pthread_mutex_t *mutex)
{
    using virtual_board::shim::MutexEvent;
    State &watch = state();
    const auto address = reinterpret_cast<uintptr_t>(mutex);
    if (address < watch.library.base || address >= watch.library.end ||
        event == MutexEvent::refused) {
        return;
    }
    const std::string name = name_of(watch, address);
    {
        const std::lock_guard guard(watch.guard);
        if (event == MutexEvent::locked) {
            note_locked(watch, address);
        } else {
            std::erase(taken_here, address);
            watch.held.erase(address);
        }
    }
    watch.board->note(event == MutexEvent::locked ? virtual_board::Operation::lock
                                                  : virtual_board::Operation::unlock,
                      name);
    const auto action = watch.actions.find(name);
    if (event == MutexEvent::locked && action != watch.actions.end()) {
        action->second();
    }
}

} // namespace

LockWatch::LockWatch(virtual_board::Board &board)
{
    State &watch = state();
    watch.board = &board;
    if (dl_iterate_phdr(find_library, &watch.library) == 0) {
        throw std::runtime_error("libboard_hal.so is not loaded");
    }
    if (watch.names.empty()) {
        watch.names = read_symbols(watch.library);
    }
    watch.order.clear();
    virtual_board::shim::observe_mutexes(observe);
}

LockWatch::~LockWatch()
{
    virtual_board::shim::observe_mutexes(nullptr);
}

void LockWatch::when_locked(const std::string &name, std::function<void()> action)
{
    state().actions[name] = std::move(action);
}

std::set<std::pair<std::string, std::string>> LockWatch::order() const
{
    State &watch = state();
    const std::lock_guard guard(watch.guard);
    std::set<std::pair<std::string, std::string>> names;
    for (const auto &[held, taken] : watch.order) {
        names.emplace(name_of(watch, held), name_of(watch, taken));
    }
    return names;
}

std::vector<std::string> LockWatch::held() const
{
    State &watch = state();
    const std::lock_guard guard(watch.guard);
    std::vector<std::string> names;
    for (const auto &[address, count] : watch.held) {
        names.push_back(name_of(watch, address));
    }
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace board_test
