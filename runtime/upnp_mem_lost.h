// upnp_mem_lost.h - blocks that a failed resize has taken off the account.
#ifndef RUNTIME_UPNP_MEM_LOST_H
#define RUNTIME_UPNP_MEM_LOST_H

namespace mem {

// Gives a block back that upnp_realloc_impl could not resize. The account has
// forgotten it already and stays as it is.
void release_lost(void *ptr);

// Puts such a block back on the account, for a caller that goes on using it.
void keep_lost(void *ptr);

}

#endif
