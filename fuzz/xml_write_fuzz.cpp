// xml_write_fuzz.cpp - parsed trees in every form, and every way of escaping.

#include "documents/upnp_xml_write.h"
#include "runtime/upnp_mem.h"

#include <cstdlib>
#include <cstring>
#include <string>

static void require(bool condition)
{
    if (!condition)
        abort();
}

static void write_forms(const XmlNode *root)
{
    for (int32_t pretty = 0; pretty <= 1; ++pretty) {
        UpnpString *plain = upnp_xml_tree_to_string(root, pretty, 1);
        UpnpString *valid = upnp_xml_tree_to_string_valid(root, pretty, 0);
        UpnpString *compliant =
            upnp_xml_tree_to_compliant_string(root, pretty, 0);

        require(plain && valid && compliant);
        require(plain->length <= valid->length);
        require(plain->length == strlen(plain->buffer));
        require(compliant->length == strlen(compliant->buffer));
        upnp_string_free(plain);
        upnp_string_free(valid);
        upnp_string_free(compliant);
    }
}

// What was escaped once comes back whole: all references that are written are
// among those that are read.
static void escape(const char *text)
{
    UpnpString *holder = upnp_string_create("before", 8);

    for (int32_t columns = 0; columns < 4; ++columns) {
        upnp_xml_escape_cond_externout(text, &holder, columns & 1, columns & 2);
        require(holder && !strpbrk(holder->buffer, "\"'<>\t"));
        upnp_xml_unescape(holder->buffer);
        if (columns & 1)
            upnp_xml_unescape(holder->buffer);
        require(strcmp(holder->buffer, text) == 0);
    }
    upnp_string_free(holder);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string text(reinterpret_cast<const char *>(data), size);
    int64_t     used = upnp_mem_used();

    XmlNode *root = upnp_xml_parse(text.c_str());
    if (root)
        write_forms(root);
    upnp_xml_release(root);

    escape(text.c_str());
    char *escaped = upnp_xml_escape(text.c_str());
    upnp_free_impl(escaped);

    require(upnp_mem_used() == used);
    return 0;
}
