// search.h - the SearchCriteria of ContentDirectory:1, 2.5.5.
#ifndef QM_SERVE_SEARCH_H
#define QM_SERVE_SEARCH_H

#include "qm-serve/object_id.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace serve {

enum class Comparison { ANY, IS, IS_NOT, CONTAINS, LACKS, DERIVED, EXISTS };

// Which text of an object is looked at. Items of playlists alone have a refID:
// a control point that asks for what has none sees each file once.
enum class SearchField { TITLE, CLASS, REF_ID };

// A comparison, or other conditions of which all, or any, must hold.
struct Condition {
    enum class Kind { COMPARE, ALL_OF, ANY_OF };

    Kind                   kind;
    SearchField            field;  // these three of a COMPARE
    Comparison             comparison;
    std::string            value;
    std::vector<Condition> parts;
};

// What GetSearchCapabilities answers.
inline constexpr char search_capabilities[] = "dc:title,upnp:class,@refID";

// The condition of "upnp:class derivedfrom \"object.item\" and ..."; none for
// what is no such text, or uses another property.
std::optional<Condition> read_search_criteria(std::string_view criteria);

// Whether an object fits. Case does not count in titles.
bool matches(const Condition &condition, const ListedEntry &entry);

// All below the container that fits, containers too. No folder is searched
// twice, however many links lead to it.
std::vector<Object> search(const MediaFolder &folder, const Object &container,
                           const Condition &condition);

}

#endif
