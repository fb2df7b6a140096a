// upnp_wpl_write.cpp - writes a playlist as WPL text.
//
// No value is escaped: other programs read these files as they are, and so does
// the forgiving reader of this library.

#include "documents/upnp_wpl_text.h"

#include <iterator>
#include <stdio.h>
#include <string_view>
#include <utility>

static constexpr char default_generator[] = "QuorelMedia";

// Appends while memory lasts: str is null once it has run out.
static void put(UpnpString **str, std::string_view text)
{
    if (*str)
        *str = upnp_string_add(*str, text.data(),
                               static_cast<uint32_t>(text.size()));
}

static const char *word_of(const wpl::Words &words, uint32_t number)
{
    return words[number >= 1 && number <= std::size(words) ? number - 1 : 0];
}

static void put_meta(UpnpString **str, const char *name, const char *content)
{
    put(str, "    <meta name=\"");
    put(str, name);
    put(str, "\" content=\"");
    put(str, content);
    put(str, "\"/>\n");
}

static void put_head(UpnpString **str, const wpl::WplPlaylist *playlist)
{
    char count[sizeof("-2147483648")];

    snprintf(count, sizeof(count), "%d",
             static_cast<int32_t>(playlist->item_count));
    put(str, "<?wpl version=\"1.0\"?>\n"
             "<smil>\n"
             "  <head>\n");
    put_meta(str, "Generator",
             playlist->generator ? playlist->generator : default_generator);
    if (playlist->orig_filename)
        put_meta(str, "OrigFilename", playlist->orig_filename);
    put_meta(str, "ItemCount", count);
    put_meta(str, "Type", word_of(wpl::type_words, playlist->type));
    put_meta(str, "Source", word_of(wpl::source_words, playlist->source));
    put(str, "    <title>");
    put(str, playlist->title);
    put(str, "</title>\n"
             "  </head>\n");
}

static void put_src(UpnpString **str, const char *src, WplSrcFilter filter,
                    void *context)
{
    char *filtered;

    if (!filter) {
        put(str, src);
        return;
    }
    filtered = filter(context, src);
    if (!filtered)
        return;
    put(str, filtered);
    upnp_free_impl(filtered);
}

// <media src="a"/> or <media src="a"  title="b"  />
static void put_item(UpnpString **str, const WplItem *item, WplSrcFilter filter,
                     void *context)
{
    put(str, "      <media src=\"");
    put_src(str, item->src, filter, context);
    if (item->attribute_count == 0) {
        put(str, "\"/>\n");
        return;
    }

    put(str, "\" ");
    for (uint32_t i = 0; i < item->attribute_count; ++i) {
        put(str, " ");
        put(str, item->attributes[i].name);
        put(str, "=\"");
        put(str, item->attributes[i].value);
        put(str, "\" ");
    }
    put(str, " />\n");
}

// Writes into a copy of the caller's record and then lets the two change
// places: a record that could not grow would be gone.
static bool write_locked(const wpl::WplPlaylist *playlist, UpnpString *string,
                         WplSrcFilter filter, void *context)
{
    UpnpString *whole;

    if (!playlist->title)
        return false;
    whole = upnp_string_add(nullptr, string->buffer, string->length);
    if (whole)
        whole = wpl::append_text(whole, playlist, filter, context);
    if (!whole)
        return false;
    std::swap(*string, *whole);
    upnp_string_free(whole);
    return true;
}

UpnpString *wpl::append_text(UpnpString *str, const WplPlaylist *playlist,
                             WplSrcFilter filter, void *context)
{
    put_head(&str, playlist);
    put(&str, "  <body>\n");
    if (playlist->item_count > 0) {
        put(&str, "    <seq>\n");
        for (uint32_t i = 0; i < playlist->item_count && str; ++i)
            put_item(&str, &playlist->items[i], filter, context);
        put(&str, "    </seq>\n");
    }
    put(&str, "  </body>\n"
              "</smil>\n");
    return str;
}

uint32_t upnp_wpl_convert_to_xml(uint32_t id, UpnpString *string)
{
    return upnp_wpl_convert_to_xml_with_filter(id, string, nullptr, nullptr);
}

uint32_t upnp_wpl_convert_to_xml_with_filter(uint32_t id, UpnpString *string,
                                             WplSrcFilter filter, void *context)
{
    if (!string)
        return UPNP_WPL_FAILED;
    return wpl::change(id, [&](const wpl::WplPlaylist *playlist) {
        return write_locked(playlist, string, filter, context);
    });
}
