// xml_write_fuzz.cpp - parsed trees in every form, and every way of escaping.

#include "documents/upnp_xml_write.h"
#include "fuzz/fuzz.h"
#include "runtime/upnp_mem.h"

#include <cstring>

using fuzz::require;

static void write_forms(const XmlNode *root, int32_t pretty)
{
    UpnpString *plain = upnp_xml_tree_to_string(root, pretty, 1);
    UpnpString *valid = upnp_xml_tree_to_string_valid(root, pretty, 0);
    UpnpString *compliant = upnp_xml_tree_to_compliant_string(root, pretty, 0);

    require(plain && valid && compliant);
    require(plain->length <= valid->length);
    require(plain->length == strlen(plain->buffer));
    require(compliant->length == strlen(compliant->buffer));
    upnp_string_free(plain);
    upnp_string_free(valid);
    upnp_string_free(compliant);
}

// What was escaped once comes back whole: all references that are written are
// among those that are read.
static void escape(const char *text, bool twice, bool strict)
{
    UpnpString *holder = upnp_string_create("before", 8);

    upnp_xml_escape_cond_externout(text, &holder, twice, strict);
    require(holder && !strpbrk(holder->buffer, "\"'<>\t"));
    upnp_xml_unescape(holder->buffer);
    if (twice)
        upnp_xml_unescape(holder->buffer);
    require(strcmp(holder->buffer, text) == 0);
    upnp_string_free(holder);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    auto    text = fuzz::make_text(data, size).bytes;
    int64_t used = upnp_mem_used();

    // The length chooses the form: it changes from input to input.
    XmlNode *root = upnp_xml_parse(text.get());
    if (root)
        write_forms(root, size & 1);
    upnp_xml_release(root);

    escape(text.get(), size & 1, size & 2);
    char *escaped = upnp_xml_escape(text.get());
    upnp_free_impl(escaped);

    require(upnp_mem_used() == used);
    return 0;
}
