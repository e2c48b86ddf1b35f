// The board's side of one connection of a program.
#ifndef VIRTUAL_BOARD_REMOTE_PROGRAM_SESSION_H
#define VIRTUAL_BOARD_REMOTE_PROGRAM_SESSION_H

#include <stdint.h>

#include <functional>
#include <memory>

#include "virtual_board/board.h"
#include "virtual_board/remote/programs.h"
#include "virtual_board/remote/protocol.h"
#include "virtual_board/remote/served_files.h"
#include "virtual_board/remote/wire.h"

namespace virtual_board::remote {

class ProgramSession {
public:
    ProgramSession(int socket, std::shared_ptr<Board> board, ServedFiles &files, Programs &programs,
                   uint64_t process_key);

    // Carries out one question; false if it is not understood, or the program has
    // gone meanwhile: the connection is over. The answer is still to be sent.
    bool carry_out(const Message &question);
    bool send_answer();

private:
    using Handler = bool (ProgramSession::*)(Reader &);

    static Handler handler_of(uint32_t kind);

    bool open(Reader &question);
    bool describe(Reader &question);
    bool read(Reader &question);
    bool write(Reader &question);
    bool seek(Reader &question);
    bool ioctl(Reader &question);
    bool status_of_path(Reader &question);
    bool status_of_file(Reader &question);
    bool map(Reader &question);
    bool unmapped(Reader &question);
    bool window_unmapped(Reader &question);
    bool access(Reader &question);
    bool store(Reader &question);
    bool synchronise(Reader &question);
    bool control_socket(Reader &question);
    bool ethtool(Reader &question);
    bool slept(Reader &question);
    bool get_time(Reader &question);
    bool set_time(Reader &question);
    bool pass(Reader &question);
    bool run(Reader &question);

    std::shared_ptr<OpenFile> file(uint64_t id) { return files_.find(*board_, id); }
    void put_status(long result, const struct stat &status);
    long let_program_do();

    int socket_;
    std::shared_ptr<Board> board_;
    ServedFiles &files_;
    Programs &programs_;
    uint64_t process_key_;
    Writer answer_;
    Descriptor descriptor_; // goes with the answer
    int lent_ = -1;         // as well, but stays
};

} // namespace virtual_board::remote

#endif
