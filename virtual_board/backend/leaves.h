// The board as a tree of named values, some of which can be set. A name is the
// path through the tree: "disks.0.present".
#ifndef VIRTUAL_BOARD_BACKEND_LEAVES_H
#define VIRTUAL_BOARD_BACKEND_LEAVES_H

#include <stdint.h>
#include <time.h>

#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "virtual_board/board.h"

namespace virtual_board {

// Values that a leaf takes.
struct Domain {
    enum class Kind { nothing, truth, number, real, date };

    Kind kind = Kind::nothing;
    int64_t min = 0;
    int64_t max = 0;
    bool nullable = false;

    // "0 to 255 or null"; empty for nothing.
    std::string words() const;
};

struct Leaf {
    std::string name;
    std::function<nlohmann::json()> get;
    Domain domain = {};
    // Throws a RequestError for a value outside the domain.
    std::function<void(const nlohmann::json &)> set = nullptr;
};

class Leaves {
public:
    template <typename Value> using Setter = std::function<void(Value)>;

    // A value that can only be looked at; costly ones are given as functions.
    void shown(const std::string &name, nlohmann::json value);
    void shown(const std::string &name, std::function<nlohmann::json()> get);

    void truth(const std::string &name, bool now, Setter<bool> set);
    void number(const std::string &name, int64_t now, int64_t min, int64_t max,
                Setter<int64_t> set);
    void optional_number(const std::string &name, std::optional<int64_t> now, int64_t min,
                         int64_t max, Setter<std::optional<int64_t>> set);
    void real(const std::string &name, double now, int64_t min, int64_t max, Setter<double> set);
    // "2020-01-01 00:00:00"
    void date(const std::string &name, const tm &now, Setter<const tm &> set);

    const std::vector<Leaf> &all() const { return leaves_; }
    // By its name; of a register, "cpld.TEST" stands for "cpld.TEST.value" and
    // "cpld.CHIPSET.NMI_REQUEST" for "cpld.CHIPSET.bits.NMI_REQUEST". Null if
    // there is none.
    const Leaf *find(const std::string &name) const;
    // What is below a name; everything below "". Null if there is nothing.
    nlohmann::json tree(const std::string &name) const;

private:
    std::vector<Leaf> leaves_;
};

// The leaves of a board; valid as long as it stands still.
Leaves leaves_of(Board &board);
// Some things are countless: GPIO lines and FPGA registers have leaves once
// somebody has touched them. This touches the one that the name tells.
void touch(Board &board, const std::string &name);

// A fault of the board's plan.
nlohmann::json fault_json(const Fault &fault);

} // namespace virtual_board

#endif
