// upnp_exit.cpp - the one way in which the library ends the process.

#include "runtime/upnp_exit.h"

#include <stdlib.h>

static UpnpExitFunction exit_function;

void register_upnp_exit_function(UpnpExitFunction fn)
{
    exit_function = fn;
}

int32_t upnp_exit(int32_t code)
{
    if (!exit_function)
        exit(code);
    return exit_function(code);
}
