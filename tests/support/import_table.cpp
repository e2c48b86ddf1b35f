#include "tests/support/import_table.h"

#include <elf.h>
#include <link.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

namespace board_test {

namespace {

struct Library {
    const char *name;
    uintptr_t base = 0;
    const ElfW(Dyn) *dynamic = nullptr;
    uintptr_t protected_begin = 0; // what the loader made read-only
    uintptr_t protected_end = 0;
};

int find_library(dl_phdr_info *info, size_t, void *wanted)
{
    auto &library = *static_cast<Library *>(wanted);
    if (strstr(info->dlpi_name, library.name) == nullptr) {
        return 0;
    }
    library.base = info->dlpi_addr;
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        const ElfW(Phdr) &segment = info->dlpi_phdr[i];
        const uintptr_t start = info->dlpi_addr + segment.p_vaddr;
        if (segment.p_type == PT_DYNAMIC) {
            library.dynamic = reinterpret_cast<const ElfW(Dyn) *>(start);
        } else if (segment.p_type == PT_GNU_RELRO) {
            library.protected_begin = start;
            library.protected_end = start + segment.p_memsz;
        }
    }
    return 1;
}

uintptr_t entry(const Library &library, ElfW(Sxword) tag)
{
    for (const ElfW(Dyn) *row = library.dynamic; row->d_tag != DT_NULL; ++row) {
        if (row->d_tag == tag) {
            return static_cast<uintptr_t>(row->d_un.d_val);
        }
    }
    return 0;
}

// Some loaders turn the table's addresses into absolute ones, some do not.
template <typename Type> const Type *address(const Library &library, ElfW(Sxword) tag)
{
    const uintptr_t value = entry(library, tag);
    return reinterpret_cast<const Type *>(value < library.base ? library.base + value : value);
}

constexpr size_t symbol_of(ElfW(Xword) info)
{
    return static_cast<size_t>(__ELF_NATIVE_CLASS == 64 ? info >> 32 : info >> 8);
}

template <typename Relocation> void for_each_row(const Library &library, ElfW(Sxword) table,
                                                 ElfW(Sxword) size,
                                                 const std::function<void(const Import &)> &action)
{
    const size_t bytes = entry(library, size);
    if (bytes == 0) {
        return;
    }
    const auto *rows = address<Relocation>(library, table);
    const auto *symbols = address<ElfW(Sym)>(library, DT_SYMTAB);
    const auto *names = address<char>(library, DT_STRTAB);
    for (size_t i = 0; i < bytes / sizeof(Relocation); ++i) {
        const ElfW(Sym) &symbol = symbols[symbol_of(rows[i].r_info)];
        if (symbol.st_name != 0) {
            action({names + symbol.st_name,
                    reinterpret_cast<void **>(library.base + rows[i].r_offset),
                    symbol.st_shndx != SHN_UNDEF});
        }
    }
}

void unprotect(const Library &library)
{
    const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    const uintptr_t begin = library.protected_begin & ~(page - 1);
    const uintptr_t end = (library.protected_end + page - 1) & ~(page - 1);
    if (end > begin) {
        mprotect(reinterpret_cast<void *>(begin), end - begin, PROT_READ | PROT_WRITE);
    }
}

} // namespace

bool for_each_import(const char *name, const std::function<void(const Import &)> &action)
{
    Library library = {.name = name};
    if (dl_iterate_phdr(find_library, &library) == 0 || library.dynamic == nullptr) {
        return false;
    }
    unprotect(library);
    for_each_row<ElfW(Rela)>(library, DT_RELA, DT_RELASZ, action);
    for_each_row<ElfW(Rel)>(library, DT_REL, DT_RELSZ, action);
    if (entry(library, DT_PLTREL) == DT_RELA) {
        for_each_row<ElfW(Rela)>(library, DT_JMPREL, DT_PLTRELSZ, action);
    } else {
        for_each_row<ElfW(Rel)>(library, DT_JMPREL, DT_PLTRELSZ, action);
    }
    return true;
}

} // namespace board_test
