// Kernel modules below /ko, and the programs that load and unload them.
#ifndef VIRTUAL_BOARD_MODULES_H
#define VIRTUAL_BOARD_MODULES_H

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace virtual_board {

class Modules {
public:
    using Words = std::vector<std::string>;
    using Action = std::function<void()>;

    static constexpr std::string_view root = "/ko/";

    // Backend face. Puts a module's file below root; the actions bring and take
    // away what the module drives.
    void add(const std::string &name, Action on_load = nullptr, Action on_unload = nullptr);
    // Takes the file away; a loaded module stays loaded.
    void remove_file(const std::string &name) { modules_.at(name).has_file = false; }
    bool loaded(const std::string &name) const;
    std::vector<std::string> names() const;
    bool has_file(const std::string &name) const { return modules_.at(name).has_file; }

    // Bus face. Whether a command is one of the two programs: none of them ever
    // reaches the machine's own kernel.
    static bool owns(const Words &command);
    // Runs it; the result is its exit code.
    int run(const Words &command);

private:
    struct Module {
        bool has_file = true;
        bool loaded = false;
        Action on_load;
        Action on_unload;
    };

    bool load(const std::string &path);
    bool unload(const std::string &path);

    std::map<std::string, Module> modules_;
};

} // namespace virtual_board

#endif
