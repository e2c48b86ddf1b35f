// What stands in for the board's drivers in a benchmark. Every call is a real
// system call on memory or on /dev/zero, so that its cost is the kernel's.
#ifndef BENCHMARKS_DRIVERS_H
#define BENCHMARKS_DRIVERS_H

#include <stddef.h>
#include <stdint.h>

#include <string>

// Maps the registers, opens the FPGA and makes a flash and an environment of
// memory; a thread that sleeps keeps the C library from taking the short cuts of
// programs without threads. False after a message if something is missing.
bool start_drivers();

// A file of memory with so many bytes; the path leads there while the program
// runs.
std::string file_of_memory(const char *name, size_t size, unsigned seed);

// Where the flash and the environment lie for programs that are not led there.
const std::string &environment_file();

// Sends what is printed to nowhere, as a service's console that nobody reads;
// reports go to the files that the program's arguments name.
void silence();

#endif
