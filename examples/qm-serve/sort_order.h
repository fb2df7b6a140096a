// sort_order.h - the SortCriteria of ContentDirectory:1, 2.5.7.
#ifndef QM_SERVE_SORT_ORDER_H
#define QM_SERVE_SORT_ORDER_H

#include <compare>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace serve {

enum class SortField { TITLE, CLASS };

struct SortKey {
    SortField field;
    bool      is_descending;

    auto operator<=>(const SortKey &) const = default;
};

// The first key rules. Without any, folders stand first, and titles rise.
struct SortOrder {
    std::vector<SortKey> keys;
    bool by_bytes = false;  // not by characters: accents and case count

    auto operator<=>(const SortOrder &) const = default;
};

// What GetSortCapabilities answers.
inline constexpr char sort_capabilities[] = "dc:title,upnp:class";

// The order of "+dc:title,-upnp:class"; none for what is no such list.
std::optional<SortOrder> read_sort_order(std::string_view criteria);

// Two things that have a title and a class, by that order: below 0, 0 or above
// 0.
int compare(const SortOrder &order, const std::string &title_a,
            const char *class_a, const std::string &title_b,
            const char *class_b);

}

#endif
