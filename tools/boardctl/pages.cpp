// Writes what is made from the commands' descriptions: manual pages,
// completions and JSON schemas.
// usage: boardctl_pages FOLDER

#include <stdio.h>

#include <filesystem>
#include <fstream>

#include "boardctl/families/families.h"
#include "boardctl/framework/json.h"
#include "boardctl/framework/pages.h"

namespace {

using namespace boardctl;

std::vector<Page> schemas()
{
    std::vector<Page> pages;
    for (const Family &family : families()) {
        pages.push_back({"boardctl-" + family.name + ".json", schema_of(family)});
    }
    return pages;
}

bool write(const std::filesystem::path &folder, const std::vector<Page> &pages)
{
    std::filesystem::create_directories(folder);
    for (const Page &page : pages) {
        std::ofstream file(folder / page.file);
        file << page.text;
        if (!file.flush()) {
            fprintf(stderr, "boardctl_pages: %s cannot be written\n", page.file.c_str());
            return false;
        }
    }
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        fputs("usage: boardctl_pages FOLDER\n", stderr);
        return 2;
    }
    const std::filesystem::path folder = argv[1];
    return write(folder / "man", manual_pages(families())) &&
                   write(folder / "completions", completions(families())) &&
                   write(folder / "schemas", schemas())
               ? 0
               : 1;
}
