// Where the console's text and the bridge's own words appear.
#ifndef CONSOLE_BRIDGE_SCREEN_H
#define CONSOLE_BRIDGE_SCREEN_H

#include <stddef.h>

#include <string>
#include <string_view>

namespace console_bridge {

class Screen {
public:
    virtual ~Screen() = default;

    // Text of the console as it comes, in pieces.
    virtual void console(std::string_view text) = 0;
    // One line of the bridge's own.
    virtual void note(const std::string &line) = 0;
};

// The console's text goes to a descriptor, each line behind the prefix; notes go
// to standard output, as the library's lines do.
class DescriptorScreen : public Screen {
public:
    DescriptorScreen(int descriptor, std::string prefix);

    void console(std::string_view text) override;
    void note(const std::string &line) override;
    // Lets go of a descriptor that does not take its bytes: for use when the
    // program is to end.
    void give_up_when(const volatile int &wish) { wish_ = &wish; }
    // False once the descriptor has refused what it was given.
    bool good() const { return good_; }

private:
    void put(std::string_view text);

    int descriptor_;
    std::string prefix_;
    bool separates_; // whether a note may break a line of the console
    bool in_line_ = false;
    bool good_ = true;
    const volatile int *wish_ = nullptr;
};

} // namespace console_bridge

#endif
