// content_directory.cpp - the service ContentDirectory:1.

#include "qm-serve/content_directory.h"

#include "clientdb/upnp_client_identify.h"
#include "http/http.h"
#include "qm-serve/client_access.h"
#include "qm-serve/client_needs.h"
#include "qm-serve/didl.h"
#include "qm-serve/listing.h"
#include "qm-serve/object_id.h"
#include "qm-serve/search.h"
#include "qm-serve/soap.h"
#include "qm-serve/sort_order.h"
#include "server/upnp_error.h"

#include <algorithm>
#include <cstring>

static constexpr char service[] =
    "urn:schemas-upnp-org:service:ContentDirectory:1";

// What the library's table of errors lacks.
static constexpr UpnpErrorMessage messages[] = {
    { serve::CANNOT_PROCESS, "Cannot process the request" },
    { -1, "" },
};

using namespace serve;

namespace {
// The arguments that Browse and Search share.
struct Query {
    ClientNeeds needs;
    const char *filter;
    uint32_t    start;
    uint32_t    count;  // 0: all
    const char *sort_criteria;
};
}

// Set before the server starts, then only read.
static const MediaFolder *media;

// --- Pages ------------------------------------------------------------------

static bool read_query(const SoapCall &call, Query &query)
{
    query.needs = needs_of(call.request);
    query.filter = argument(call, "Filter");
    query.sort_criteria = argument(call, "SortCriteria");
    return query.filter && query.sort_criteria &&
           number_argument(call, "StartingIndex", query.start) &&
           number_argument(call, "RequestedCount", query.count);
}

// The part of a list of size that is asked for, as its first and end index.
static std::pair<size_t, size_t> page_of(const Query &query, size_t size)
{
    size_t first = std::min<size_t>(query.start, size);
    size_t count = query.count == 0 ? size : query.count;

    return { first, first + std::min({ count, size - first,
                                       query.needs.max_objects }) };
}

static std::optional<SortOrder> order_of(const Query &query)
{
    std::optional<SortOrder> order =
        read_sort_order(query.needs.ignore_sort ? "" : query.sort_criteria);

    if (order)
        order->by_bytes = query.needs.plain_sort;
    return order;
}

static int32_t send_page(const SoapCall &call, const Query &query,
                         const std::vector<Object> &page, size_t total)
{
    std::string text = didl(*media, page, read_filter(query.filter),
                            query.needs, call.request->base_url);

    if (text.empty())
        return send_fault(call, CANNOT_PROCESS);
    return send_answer(call,
                       { { "Result", text },
                         { "NumberReturned", std::to_string(page.size()) },
                         { "TotalMatches", std::to_string(total) },
                         { "UpdateID", std::to_string(update_id()) } });
}

// --- Actions ----------------------------------------------------------------

static int32_t get_search_capabilities(const SoapCall &call)
{
    return send_answer(call, { { "SearchCaps", search_capabilities } });
}

static int32_t get_sort_capabilities(const SoapCall &call)
{
    return send_answer(call, { { "SortCaps", sort_capabilities } });
}

static int32_t get_system_update_id(const SoapCall &call)
{
    return send_answer(call, { { "Id", std::to_string(update_id()) } });
}

static std::vector<const ListedEntry *> shown_of(const Query   &query,
                                                 const Listing &contents)
{
    std::vector<const ListedEntry *> shown;

    for (const ListedEntry &entry : contents.entries) {
        if (is_shown(query.needs, entry))
            shown.push_back(&entry);
    }
    return shown;
}

static int32_t browse_children(const SoapCall &call, const Query &query,
                               const Object &container, const SortOrder &order)
{
    std::vector<Object> page;

    if (!is_container(container.entry))
        return send_fault(call, NO_SUCH_OBJECT);
    auto contents = children(*media, container, order);
    if (!contents)
        return send_fault(call, CANNOT_PROCESS);

    std::vector<const ListedEntry *> shown = shown_of(query, *contents);
    auto [first, end] = page_of(query, shown.size());
    for (size_t i = first; i < end; ++i)
        page.push_back(child_of(container, *shown[i]));
    return send_page(call, query, page, shown.size());
}

// Some players tell by what they browse for who they are.
static void identify(const SoapCall &call)
{
    upnp_client_db_match_by_browse(
        argument(call, "BrowseFlag"), argument(call, "ObjectID"),
        argument(call, "Filter"), argument(call, "StartingIndex"),
        argument(call, "RequestedCount"), argument(call, "SortCriteria"),
        &call.request->client, call.request->client_ip, call.request->header);
}

static int32_t browse(const SoapCall &call)
{
    const char *id = argument(call, "ObjectID");
    const char *flag = argument(call, "BrowseFlag");
    Query       query;

    identify(call);
    if (!id || !flag || !read_query(call, query))
        return send_fault(call, INVALID_ARGS);
    bool is_metadata = strcmp(flag, "BrowseMetadata") == 0;
    if (!is_metadata && strcmp(flag, "BrowseDirectChildren") != 0)
        return send_fault(call, VALUE_INVALID);
    std::optional<SortOrder> order = order_of(query);
    if (!order)
        return send_fault(call, INVALID_SORT_CRITERIA);
    std::optional<Object> object = find_object(*media, id);
    if (!object)
        return send_fault(call, NO_SUCH_OBJECT);
    return is_metadata ? send_page(call, query, { *object }, 1)
                       : browse_children(call, query, *object, *order);
}

static void sort(std::vector<Object> &objects, const SortOrder &order)
{
    std::stable_sort(
        objects.begin(), objects.end(), [&](const Object &a, const Object &b) {
            return compare(order, a.entry.title, a.entry.upnp_class,
                           b.entry.title, b.entry.upnp_class) < 0;
        });
}

static int32_t search_container(const SoapCall &call)
{
    const char *id = argument(call, "ContainerID");
    const char *criteria = argument(call, "SearchCriteria");
    Query       query;

    if (!id || !criteria || !read_query(call, query))
        return send_fault(call, INVALID_ARGS);
    std::optional<Condition> condition = read_search_criteria(criteria);
    if (!condition)
        return send_fault(call, INVALID_SEARCH_CRITERIA);
    std::optional<SortOrder> order = order_of(query);
    if (!order)
        return send_fault(call, INVALID_SORT_CRITERIA);
    std::optional<Object> container = find_object(*media, id);
    if (!container || !is_container(container->entry))
        return send_fault(call, NO_SUCH_CONTAINER);

    std::vector<Object> found = search(*media, *container, *condition);
    std::erase_if(found, [&](const Object &object) {
        return !is_shown(query.needs, object.entry);
    });
    sort(found, *order);
    auto [first, end] = page_of(query, found.size());
    return send_page(call, query,
                     { found.begin() + static_cast<ptrdiff_t>(first),
                       found.begin() + static_cast<ptrdiff_t>(end) },
                     found.size());
}

// clang-format off
static constexpr SoapAction actions[] = {
    { "Browse",                browse },
    { "Search",                search_container },
    { "GetSearchCapabilities", get_search_capabilities },
    { "GetSortCapabilities",   get_sort_capabilities },
    { "GetSystemUpdateID",     get_system_update_id },
};
// clang-format on

// --- Registration -----------------------------------------------------------

static int32_t handle_control(HttpRequest *request)
{
    return call_action(request, service, actions);
}

void serve::register_content_directory(const MediaFolder &folder)
{
    media = &folder;
    upnp_set_errmsgs(messages);
    upnp_http_register_handler(admitted_at_home<handle_control>,
                               HTTP_METHOD_POST, "/ContentDirectory/Control", 1,
                               1);
    upnp_http_register_handler(admitted_at_home<refuse_subscription>,
                               HTTP_METHOD_SUBSCRIBE | HTTP_METHOD_UNSUBSCRIBE,
                               "/ContentDirectory/Event", 1, 1);
}

void serve::forget_content_directory()
{
    upnp_set_errmsgs(nullptr);
    forget_listings();
}
