// fuzz.h - what the fuzz targets share.
//
// A target has one thread, and system calls would be most of its time. So its
// sockets are memory: what the library reads from any of them comes from
// wire::in, and what it sends ends in wire::out. The directory "/memory" holds
// one file at most, whatever its name. Nothing sleeps, and a block of more than
// 256 KiB finds the heap empty, so that an announced size costs no time.
#ifndef FUZZ_FUZZ_H
#define FUZZ_FUZZ_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <sys/types.h>

namespace fuzz {

// Ends the run, which keeps the input, unless condition holds.
void require(bool condition);

struct Text {
    std::unique_ptr<char[]> bytes;  // with a NUL, in a block of just that size
    size_t                  size;   // without it
};

Text make_text(const uint8_t *data, size_t size);

// The same with 250 letters for each byte 1, so that short inputs, which are
// fast, reach the limits of all buffers.
Text stretch(const uint8_t *data, size_t size);

// Serves this text, which is borrowed, as the resource "clients.db" and loads
// it. Machines are stored on the disk below.
void load_client_types(const char *text, size_t size);

}

namespace wire {

struct In {
    const void *next;
    size_t      left;
    size_t      most;  // bytes that one read gives
    ssize_t at_end;    // what reads give then: 0 for a close, -1 for a failure
};

extern In          in;
extern std::string out;  // streams and datagrams, one behind the other

}

namespace disk {

extern bool        exists;  // whether there is a file
extern std::string content;

// Makes a file of these bytes.
void store(const char *data, size_t size);

}

#endif
