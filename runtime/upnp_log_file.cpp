// upnp_log_file.cpp - where finished log lines go.

#include "runtime/upnp_log_file.h"

#include <stdio.h>

void upnp_log_puts(const char *text)
{
    printf("%s", text);
}
