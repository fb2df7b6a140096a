// fake_machine.cpp - stands in for the addresses, the role and the pauses.

#include "server/fake_machine.h"

#include <cstring>

std::atomic<int32_t>     FakeMachine::is_renderer;
std::vector<std::string> FakeMachine::addresses;
int                      FakeMachine::looks;

extern "C" {
int32_t __wrap_upnp_ssdp_getRenderer();
void    __wrap_upnp_get_interfaces(int32_t *count, char (*table)[UPNP_IP_SIZE],
                                   int32_t max, const char *fixed_ip);
void    __wrap_Sleep(int32_t ms);
void    __real_Sleep(int32_t ms);
}

int32_t __wrap_upnp_ssdp_getRenderer()
{
    return FakeMachine::is_renderer;
}

void __wrap_upnp_get_interfaces(int32_t *count, char (*table)[UPNP_IP_SIZE],
                                int32_t  max, const char *)
{
    ++FakeMachine::looks;
    *count = 0;
    for (const std::string &ip : FakeMachine::addresses) {
        if (*count < max)
            strcpy(table[(*count)++], ip.c_str());
    }
}

void __wrap_Sleep(int32_t ms)
{
    __real_Sleep(ms / 50 + 1);
}
