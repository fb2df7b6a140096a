// ssdp_queue.cpp - answers to searches that go out from the heartbeat's tick.

#include "ssdp/ssdp_queue.h"

// Nothing is queued yet.
void SSDP_init(void)
{
}

void SSDP_exit(void)
{
}
