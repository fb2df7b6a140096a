// upnp_file_bits.h - numbers and bits from a buffered file.
//
// The names tell the byte order of the file: little-endian, or big-endian with
// "_be". Bytes that are missing at the end read as 0: ask upnp_file_eof_b
// first. A null file gives 0.
//
// Threads: a BufferedFile belongs to one thread at a time.
#ifndef FILES_UPNP_FILE_BITS_H
#define FILES_UPNP_FILE_BITS_H

#include "files/upnp_file_buffered.h"
#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

UPNP_API uint16_t upnp_file_read_word(BufferedFile *file);
UPNP_API uint32_t upnp_file_read_dword(BufferedFile *file);
UPNP_API uint64_t upnp_file_read_qword(BufferedFile *file);
UPNP_API uint16_t upnp_file_read_word_be(BufferedFile *file);
UPNP_API uint32_t upnp_file_read_dword_be(BufferedFile *file);
UPNP_API uint64_t upnp_file_read_qword_be(BufferedFile *file);

// The next bit of the bit reader's word, which is loaded as a little-endian
// dword when it is used up. Bits come from the middle of the word: bits 15 to
// 0, and then sixteen times 0.
UPNP_API uint32_t upnp_file_read_bit(BufferedFile *file);

// Takes count bits. If the word still has them they are its top bits, of which
// count must not pass 16. Otherwise they are taken by upnp_file_read_bit, and
// the result stands one place further to the left. A count of 0 or less gives
// 0 and changes nothing.
UPNP_API uint32_t upnp_file_read_nbits(BufferedFile *file, int32_t count);

UPNP_C_END
#endif
