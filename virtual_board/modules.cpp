#include "virtual_board/modules.h"

#include <utility>

namespace virtual_board {

namespace {

std::string file_name(const std::string &path)
{
    return path.substr(path.rfind('/') + 1);
}

// rmmod takes a module's name as well as its file's.
std::string module_name(const std::string &path)
{
    std::string name = file_name(path);
    return name.ends_with(".ko") ? name.substr(0, name.size() - 3) : name;
}

} // namespace

void Modules::add(const std::string &name, Action on_load, Action on_unload)
{
    modules_[name] = {true, false, std::move(on_load), std::move(on_unload)};
}

bool Modules::loaded(const std::string &name) const
{
    const auto module = modules_.find(name);
    return module != modules_.end() && module->second.loaded;
}

std::vector<std::string> Modules::names() const
{
    std::vector<std::string> all;
    for (const auto &[name, module] : modules_) {
        all.push_back(name);
    }
    return all;
}

bool Modules::owns(const Words &command)
{
    if (command.empty()) {
        return false;
    }
    const std::string program = file_name(command.front());
    return program == "insmod" || program == "rmmod";
}

int Modules::run(const Words &command)
{
    if (command.size() != 2) {
        return 1;
    }
    const bool loads = file_name(command.front()) == "insmod";
    return (loads ? load(command[1]) : unload(command[1])) ? 0 : 1;
}

// Fails as the kernel does for a file that is not there and a module that is
// already loaded.
bool Modules::load(const std::string &path)
{
    const std::string name = module_name(path);
    const auto found = modules_.find(name);
    if (path != std::string(root) + name + ".ko" || found == modules_.end() ||
        !found->second.has_file || found->second.loaded) {
        return false;
    }
    found->second.loaded = true;
    if (found->second.on_load) {
        found->second.on_load();
    }
    return true;
}

bool Modules::unload(const std::string &path)
{
    const auto found = modules_.find(module_name(path));
    if (found == modules_.end() || !found->second.loaded) {
        return false;
    }
    found->second.loaded = false;
    if (found->second.on_unload) {
        found->second.on_unload();
    }
    return true;
}

} // namespace virtual_board
