// sort_order.cpp - the SortCriteria of ContentDirectory:1, 2.5.7.

#include "qm-serve/sort_order.h"

#include "runtime/upnp_sort.h"

#include <algorithm>
#include <cstring>

// More keys than there are fields say nothing more.
static constexpr size_t MAX_KEYS = 2;

using namespace serve;

static std::optional<SortKey> read_key(std::string_view text)
{
    SortKey key = {};

    if (text.empty() || (text[0] != '+' && text[0] != '-'))
        return {};
    key.is_descending = text[0] == '-';
    text.remove_prefix(1);
    if (text == "dc:title")
        key.field = SortField::TITLE;
    else if (text == "upnp:class")
        key.field = SortField::CLASS;
    else
        return {};
    return key;
}

std::optional<SortOrder> serve::read_sort_order(std::string_view criteria)
{
    SortOrder order;

    while (!criteria.empty()) {
        size_t                 comma = criteria.find(',');
        std::optional<SortKey> key = read_key(criteria.substr(0, comma));

        if (!key || comma == criteria.size() - 1)
            return {};
        if (order.keys.size() < MAX_KEYS)
            order.keys.push_back(*key);
        criteria.remove_prefix(std::min(comma, criteria.size() - 1) + 1);
    }
    return order;
}

int serve::compare(const SortOrder &order, const std::string &title_a,
                   const char *class_a, const std::string &title_b,
                   const char *class_b)
{
    auto compare_texts = order.by_bytes ? strcmp : upnp_utf8_stricmp;

    for (const SortKey &key : order.keys) {
        int result = key.field == SortField::TITLE
                         ? compare_texts(title_a.c_str(), title_b.c_str())
                         : compare_texts(class_a, class_b);

        if (result != 0)
            return key.is_descending ? -result : result;
    }
    return 0;
}
