#include "virtual_board/personality.h"

#include <algorithm>

namespace virtual_board {

namespace {

Personality brava(uint8_t bom)
{
    Personality board;
    board.name = "brava-" + std::to_string(bom);
    board.bom_version = bom;
    board.raid_card_fitted = bom != 1;
    board.disks_fitted = {true, true, bom >= 1, bom >= 2};
    board.slot_number = static_cast<uint8_t>(bom + 1);
    return board;
}

Personality corvo(uint8_t bom)
{
    Personality board;
    board.name = "corvo-" + std::to_string(bom);
    board.board_id = 0x11;
    board.bom_version = bom;
    board.pcb_version = 2;
    board.cpus_fitted = {true, bom != 9};
    board.disks_fitted = {true, bom == 8, false, false};
    board.raid_card_fitted = bom != 9;
    board.board_6_fitted = true;
    board.hdd_backplane_ports = {1, 0, 0};
    board.slot_number = bom;
    return board;
}

std::vector<Personality> make_all()
{
    std::vector<Personality> all;
    for (uint8_t bom = 0; bom <= 3; ++bom) {
        all.push_back(brava(bom));
    }
    for (uint8_t bom = 8; bom <= 11; ++bom) {
        all.push_back(corvo(bom));
    }
    Personality unknown;
    unknown.name = "unknown-bom";
    unknown.bom_version = 5;
    all.push_back(unknown);
    return all;
}

} // namespace

const std::vector<Personality> &personalities()
{
    static const std::vector<Personality> all = make_all();
    return all;
}

const Personality *find_personality(std::string_view name)
{
    const std::vector<Personality> &all = personalities();
    const auto found = std::find_if(all.begin(), all.end(),
                                    [name](const Personality &one) { return one.name == name; });
    return found == all.end() ? nullptr : &*found;
}

} // namespace virtual_board
