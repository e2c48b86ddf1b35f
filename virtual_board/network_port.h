// The management network port, as far as programs ask for its link.
#ifndef VIRTUAL_BOARD_NETWORK_PORT_H
#define VIRTUAL_BOARD_NETWORK_PORT_H

#include <stdint.h>

#include <string>
#include <string_view>

namespace virtual_board {

// Traffic goes past it: the port is there for the ethtool requests alone. In
// traces and faults a control socket is an open of the port.
class NetworkPort {
public:
    explicit NetworkPort(std::string name = "eth0") : name_(std::move(name)) {}

    const std::string &name() const { return name_; }

    // Backend face. What the driver answers to a link query: 1 up, 0 down; a
    // broken one may answer anything.
    void set_link(uint32_t value) { link_ = value; }
    uint32_t link() const { return link_; }
    // Whether the driver knows the link query at all.
    void answers_link_query(bool answers) { answers_ = answers; }
    bool knows_link_query() const { return answers_; }

    // Bus face: an ethtool request and its record; results are a driver's.
    long ethtool(void *record) const;

private:
    std::string name_;
    uint32_t link_ = 0;
    bool answers_ = true;
};

} // namespace virtual_board

#endif
