// take.h - the results that a caller frees, as values to compare.
#ifndef TESTS_SUPPORT_TAKE_H
#define TESTS_SUPPORT_TAKE_H

#include "runtime/upnp_mem.h"

#include <string>

// A tracked text, "(null)" for none. Frees it.
inline std::string take(char *text)
{
    std::string taken = text ? text : "(null)";

    if (text)
        upnp_free_impl(text);
    return taken;
}

#endif
