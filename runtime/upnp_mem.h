// upnp_mem.h - the tracked heap: every block of the library comes from here.
//
// A tracked block is one C-heap block with an 8-byte prefix that holds the
// size asked for, so that the account knows what is live. A tracked pointer
// goes back through upnp_free_impl only, never to free(), and the reverse.
// Tracked pointers are 8-aligned. Messages of the allocator go to standard
// error, since logging allocates.
//
// Threads: all functions may be called from any thread once upnp_mem_init ran.
#ifndef RUNTIME_UPNP_MEM_H
#define RUNTIME_UPNP_MEM_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// Creates the lock of the memory account. May be repeated. A program calls it
// before it starts a thread; the first allocation calls it too, and complains.
UPNP_API void upnp_mem_init(void);

// Destroys the lock. The counters stay: upnp_mem_used then tells what leaked.
// Allocations after this complain and create the lock again; frees complain
// and go on without it.
UPNP_API void upnp_mem_exit(void);

// Allocates size bytes, uninitialised. Null when out of memory; nothing is
// logged. Caller frees with upnp_free_impl.
UPNP_API void *upnp_malloc_impl(uint32_t size);

// Allocates count * size zeroed bytes. Null when out of memory or when the
// product does not fit in 32 bits. Caller frees with upnp_free_impl.
UPNP_API void *upnp_calloc_impl(uint32_t count, uint32_t size);

// Resizes a tracked block and returns its new address; a null ptr allocates.
// Null when out of memory: the old block is then still valid and the caller's,
// but its size has already left the account, since callers treat the failure
// as the loss of the block.
UPNP_API void *upnp_realloc_impl(void *ptr, uint32_t size);

// A tracked copy of text; null for null or when out of memory.
// Caller frees with upnp_free_impl.
UPNP_API char *upnp_strdup_impl(const char *text);

// Releases a tracked block. A null pointer is reported on standard error, so
// callers test first.
UPNP_API void upnp_free_impl(void *ptr);

// Bytes in live tracked blocks, as they were asked for; 0 if the account has
// fallen below 0. Reads without the lock.
UPNP_API int64_t upnp_mem_used(void);

// The highest value upnp_mem_used has had in this process, in bytes.
UPNP_API int64_t upnp_max_mem_used(void);

// Allocates n blocks in one step. The arguments behind n are n pairs: a
// pointer to the caller's pointer, and a size (uint64_t, bytes). Stores each
// block through its pointer and returns the table that owns them all:
// table[0] is n, table[1] to table[n] are the blocks.
// Returns null for n = 0, for a pair with a null pointer or a size of 0, and
// when out of memory; the caller's pointers then must not be used. A negative
// n gives a table without members. Caller frees with upnp_group_free.
UPNP_API void **upnp_group_malloc(int32_t n, ...);

// Frees the table of upnp_group_malloc and all its blocks. May be null.
UPNP_API void upnp_group_free(void **table);

// Counts the pairs (as above) in front of the first one whose pointer or size
// is zero. The first argument is not looked at.
UPNP_API int32_t upnp_group_malloc_get_num(int32_t ignored, ...);

UPNP_C_END
#endif
