// upnp_wpl_read.cpp - reads WPL text.
//
// Elements count wherever they stand: the reader asks for title, meta and media
// alone. The walk from one element to the next goes on through following
// siblings and what they hold, never upwards, so that of several lists the
// first one is read.

#include "documents/upnp_wpl_text.h"

#include "documents/upnp_xml.h"

#include <algorithm>
#include <iterator>
#include <string.h>

// What an item keeps of its element, besides its src.
static constexpr const char *kept_attributes[] = { "title", "udn", "objectId",
                                                   "bookmark", "metadata" };

namespace {
// What the meta elements say; the texts are borrowed from the tree.
struct Head {
    uint32_t    type;
    uint32_t    source;
    const char *generator;
    const char *orig_filename;
};
}

static bool is_word(const char *text, const char *word)
{
    return upnp_util_strings_equal(text, word, 0, 0);
}

static uint32_t number_of(const wpl::Words &words, const char *text,
                          uint32_t unknown)
{
    for (uint32_t i = 0; i < std::size(words); ++i) {
        if (is_word(text, words[i]))
            return i + 1;
    }
    return unknown;
}

static void read_meta(Head *head, const XmlNode *meta)
{
    const char *name = upnp_xml_find_attribute_value(meta, "name");
    const char *content = upnp_xml_find_attribute_value(meta, "content");

    if (!name || !content)
        return;
    if (is_word(name, "Type"))
        head->type = number_of(wpl::type_words, content, WPL_TYPE_M);
    else if (is_word(name, "Source"))
        head->source =
            number_of(wpl::source_words, content, WPL_SOURCE_UNKNOWN);
    else if (is_word(name, "Generator"))
        head->generator = content;
    else if (is_word(name, "OrigFilename"))
        head->orig_filename = content;
}

static Head read_head(const XmlNode *root)
{
    Head head = { WPL_TYPE_M, WPL_SOURCE_FILE, nullptr, nullptr };

    for (XmlNode *meta = upnp_xml_find_tag(root, "meta"); meta;
         meta = upnp_xml_find_next_tag(meta, "meta"))
        read_meta(&head, meta);
    return head;
}

static bool is_kept(const XmlAttribute *attribute)
{
    return attribute->value &&
           std::any_of(std::begin(kept_attributes), std::end(kept_attributes),
                       [&](const char *name) {
                           return strcmp(attribute->name, name) == 0;
                       });
}

// The list is in reverse order, and so are the item's attributes.
static bool read_attributes(WplItem *item, const XmlAttribute *attribute)
{
    for (; attribute; attribute = attribute->next) {
        if (is_kept(attribute) &&
            upnp_wpl_add_item_attribute(item, attribute->name,
                                        attribute->value) != UPNP_WPL_OK)
            return false;
    }
    return true;
}

// Appends the item of one element. False when out of memory.
static bool read_media(wpl::WplPlaylist *playlist, const XmlNode *media)
{
    const char *src = upnp_xml_find_attribute_value(media, "src");
    WplItem    *item;

    if (!src)
        return true;
    item = upnp_wpl_create_item(src);
    if (item && read_attributes(item, media->attributes) &&
        wpl::append_item(playlist, item))
        return true;
    upnp_wpl_free_item(item);
    return false;
}

static bool read_body(wpl::WplPlaylist *playlist, const XmlNode *root)
{
    for (XmlNode *media = upnp_xml_find_tag(root, "media"); media;
         media = upnp_xml_find_next_tag(media, "media")) {
        if (!read_media(playlist, media))
            return false;
    }
    return true;
}

// The playlist of a tree, or null when out of memory.
static wpl::WplPlaylist *read_playlist(const XmlNode *root, const char *title)
{
    Head              head = read_head(root);
    wpl::WplPlaylist *playlist = wpl::create_playlist(
        title, head.type, head.source, head.generator, head.orig_filename);

    if (!playlist || read_body(playlist, root))
        return playlist;
    wpl::release_playlist(playlist);
    return nullptr;
}

bool wpl::parse_text(const char *text, WplPlaylist **playlist)
{
    XmlNode    *root = upnp_xml_parse(text);
    const char *title = upnp_xml_find_tag_value(root, "title");

    *playlist = nullptr;
    if (!root)
        return false;
    if (title)
        *playlist = read_playlist(root, title);
    upnp_xml_release(root);
    return *playlist || !title;
}
