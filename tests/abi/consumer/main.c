/* Uses the installed library from C. */
#include "http/http.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_string.h"

#include <string.h>

int main(void)
{
    UpnpString *str;
    int         same;

    upnp_mem_init();
    str = upnp_string_sprintf(NULL, "%s %d", "port", 9000);
    same = str && strcmp(upnp_string_get_cstring(str), "port 9000") == 0;
    upnp_string_safe_free(&str);
    return same && upnp_mem_used() == 0 ? 0 : 1;
}
