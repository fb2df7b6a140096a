// Uses the installed static library from C++.
#include "http/http.h"
#include "runtime/upnp_mem.h"

#include <cstring>

int main()
{
    upnp_mem_init();
    char *text = upnp_strdup_impl("/a%20b+c");
    HTTP_unescape_url(text);
    bool same = std::strcmp(text, "/a b c") == 0;
    upnp_free_impl(text);
    return same && upnp_mem_used() == 0 ? 0 : 1;
}
