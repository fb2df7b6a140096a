// ssdp_msearch.cpp - searches one interface for devices.

#include "ssdp/ssdp_state.h"

void *ssdp::msearch_thread(void *)
{
    return nullptr;
}
