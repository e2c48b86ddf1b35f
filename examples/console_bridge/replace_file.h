// A file that is either the old one or the whole new one.
#ifndef CONSOLE_BRIDGE_REPLACE_FILE_H
#define CONSOLE_BRIDGE_REPLACE_FILE_H

#include <string>

namespace console_bridge {

// Writes the bytes beside the file and gives them its name when all are on the
// disk. Returns what is wrong, the old file then being untouched; empty if
// nothing is. What is there and no plain file is left alone.
std::string replace_file(const std::string &path, const std::string &bytes);

} // namespace console_bridge

#endif
