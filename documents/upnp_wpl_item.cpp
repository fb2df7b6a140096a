// upnp_wpl_item.cpp - single items, in nobody's list yet.

#include "documents/upnp_wpl.h"

#include "documents/upnp_wpl_store.h"

#include <string.h>

static void release_attribute(WplItemAttribute *attribute)
{
    wpl::drop(&attribute->name);
    wpl::drop(&attribute->value);
}

static bool copy_attribute(WplItemAttribute *copy, const char *name,
                           const char *value)
{
    *copy = {};
    if (wpl::copy_text(&copy->name, name) &&
        wpl::copy_text(&copy->value, value))
        return true;
    release_attribute(copy);
    return false;
}

void wpl::release_contents(WplItem *item)
{
    for (uint32_t i = 0; i < item->attribute_count; ++i)
        release_attribute(&item->attributes[i]);
    item->attribute_count = 0;
    drop(&item->attributes);
    drop(&item->src);
}

WplItem *wpl::copy_item(const WplItem *item)
{
    WplItem *copy = upnp_wpl_create_item(item->src);

    if (!copy || item->attribute_count == 0)
        return copy;
    copy->attributes = static_cast<WplItemAttribute *>(
        upnp_calloc_impl(item->attribute_count, sizeof(WplItemAttribute)));
    if (!copy->attributes)
        goto fail;
    for (; copy->attribute_count < item->attribute_count;
         ++copy->attribute_count) {
        const WplItemAttribute &from = item->attributes[copy->attribute_count];

        if (!copy_attribute(&copy->attributes[copy->attribute_count], from.name,
                            from.value))
            goto fail;
    }
    return copy;

fail:
    upnp_wpl_free_item(copy);
    return nullptr;
}

WplItem *upnp_wpl_create_item(const char *src)
{
    WplItem *item;

    if (!src)
        return nullptr;
    item = static_cast<WplItem *>(upnp_calloc_impl(1, sizeof(WplItem)));
    if (!item)
        return nullptr;
    if (!wpl::copy_text(&item->src, src)) {
        upnp_free_impl(item);
        return nullptr;
    }
    return item;
}

void upnp_wpl_free_item(WplItem *item)
{
    if (!item)
        return;
    wpl::release_contents(item);
    upnp_free_impl(item);
}

uint32_t upnp_wpl_add_item_attribute(WplItem *item, const char *name,
                                     const char *value)
{
    if (!item || !name || !value)
        return UPNP_WPL_FAILED;
    if (!wpl::grow_by_one(&item->attributes, item->attribute_count) ||
        !copy_attribute(&item->attributes[item->attribute_count], name, value))
        return UPNP_WPL_FAILED;
    ++item->attribute_count;
    return UPNP_WPL_OK;
}

uint32_t upnp_wpl_set_item_title(WplItem *item, const char *title)
{
    return upnp_wpl_add_item_attribute(item, "title", title);
}

char *upnp_wpl_get_item_attribute(const WplItem *item, const char *name)
{
    if (!item || !name)
        return nullptr;
    for (uint32_t i = 0; i < item->attribute_count; ++i) {
        if (strcmp(item->attributes[i].name, name) == 0)
            return upnp_strdup_impl(item->attributes[i].value);
    }
    return nullptr;
}

char *upnp_wpl_get_item_title(const WplItem *item)
{
    return upnp_wpl_get_item_attribute(item, "title");
}
