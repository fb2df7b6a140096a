// search.cpp - the SearchCriteria of ContentDirectory:1, 2.5.5.
//
//   any     = all { "or" all }
//   all     = one { "and" one }
//   one     = "(" any ")" | property operator "value" | property exists true

#include "qm-serve/search.h"

#include "runtime/upnp_string.h"

#include <algorithm>
#include <set>
#include <utility>

// Parentheses in parentheses, so that no text runs the stack full.
static constexpr int MAX_DEPTH = 32;

using namespace serve;
using Kind = Condition::Kind;

namespace {
// The text that is still to be read, and whether all went well up to there.
struct Reader {
    std::string_view rest;
    int              depth;
    bool             is_valid;
};
}

// clang-format off
static constexpr struct {
    std::string_view name;
    SearchField      field;
} fields[] = {
    { "dc:title",   SearchField::TITLE },
    { "upnp:class", SearchField::CLASS },
    { "@refID",     SearchField::REF_ID },
};

static constexpr struct {
    std::string_view name;
    Comparison       comparison;
} comparisons[] = {
    { "=",              Comparison::IS },
    { "!=",             Comparison::IS_NOT },
    { "contains",       Comparison::CONTAINS },
    { "doesNotContain", Comparison::LACKS },
    { "derivedfrom",    Comparison::DERIVED },
    { "exists",         Comparison::EXISTS },
};
// clang-format on

// --- Reading ----------------------------------------------------------------

static void skip_blanks(Reader &reader)
{
    while (!reader.rest.empty() && upnp_is_white_space(reader.rest[0]))
        reader.rest.remove_prefix(1);
}

// Takes a sign or a word if it comes next.
static bool take(Reader &reader, std::string_view word)
{
    skip_blanks(reader);
    if (!reader.rest.starts_with(word))
        return false;
    reader.rest.remove_prefix(word.size());
    return true;
}

// The next word: up to a blank, a quote or a parenthesis.
static std::string_view take_word(Reader &reader)
{
    skip_blanks(reader);
    std::string_view word =
        reader.rest.substr(0, reader.rest.find_first_of(" \t\r\n\"()"));
    reader.rest.remove_prefix(word.size());
    return word;
}

// A word that comes next is taken if it is this one, else it stays.
static bool take_word(Reader &reader, std::string_view expected)
{
    Reader ahead = reader;

    if (take_word(ahead) != expected)
        return false;
    reader = ahead;
    return true;
}

// "a \"b\" \\" with its quotes: a backslash takes the next character as it is.
static std::string take_quoted(Reader &reader)
{
    std::string value;

    reader.is_valid &= take(reader, "\"");
    while (!reader.rest.empty() && reader.rest[0] != '"') {
        if (reader.rest[0] == '\\' && reader.rest.size() > 1)
            reader.rest.remove_prefix(1);
        value += reader.rest[0];
        reader.rest.remove_prefix(1);
    }
    reader.is_valid &= take(reader, "\"");
    return value;
}

template <typename Table>
static auto take_row(Reader &reader, const Table &table)
{
    std::string_view word = take_word(reader);
    auto             found =
        std::find_if(std::begin(table), std::end(table),
                     [=](const auto &row) { return row.name == word; });

    reader.is_valid &= found != std::end(table);
    return found != std::end(table) ? *found : table[0];
}

static Condition take_comparison(Reader &reader)
{
    Condition condition = {};

    condition.kind = Kind::COMPARE;
    condition.field = take_row(reader, fields).field;
    condition.comparison = take_row(reader, comparisons).comparison;
    if (condition.comparison != Comparison::EXISTS) {
        condition.value = take_quoted(reader);
        return condition;
    }
    condition.value = take_word(reader);
    reader.is_valid &= condition.value == "true" || condition.value == "false";
    return condition;
}

static Condition take_any(Reader &reader);

static Condition take_one(Reader &reader)
{
    Condition condition;

    if (!take(reader, "("))
        return take_comparison(reader);
    if (++reader.depth > MAX_DEPTH) {
        reader.is_valid = false;
        return {};
    }
    condition = take_any(reader);
    reader.is_valid &= take(reader, ")");
    --reader.depth;
    return condition;
}

static Condition take_list(Reader &reader, Kind kind, std::string_view word,
                           Condition (*take_part)(Reader &))
{
    Condition list = {};

    list.kind = kind;
    do
        list.parts.push_back(take_part(reader));
    while (reader.is_valid && take_word(reader, word));
    return list.parts.size() == 1 ? std::move(list.parts[0]) : list;
}

static Condition take_all(Reader &reader)
{
    return take_list(reader, Kind::ALL_OF, "and", take_one);
}

static Condition take_any(Reader &reader)
{
    return take_list(reader, Kind::ANY_OF, "or", take_all);
}

std::optional<Condition> serve::read_search_criteria(std::string_view criteria)
{
    Reader    reader = { criteria, 0, true };
    Condition condition = {};

    // ANY is what "*" compares for.
    if (!take(reader, "*"))
        condition = take_any(reader);
    skip_blanks(reader);
    if (!reader.is_valid || !reader.rest.empty())
        return {};
    return condition;
}

// --- Comparing --------------------------------------------------------------

static bool is_derived(const std::string &upnp_class, const std::string &base)
{
    return upnp_class == base || upnp_class.starts_with(base + ".");
}

static bool fits(const Condition &condition, const std::string &text)
{
    const std::string &value = condition.value;
    bool is_equal = upnp_util_strings_equal(text.c_str(), value.c_str(), 0, 0);
    bool is_part = value.empty() || upnp_istrstr(text.c_str(), value.c_str());

    switch (condition.comparison) {
    case Comparison::ANY: return true;
    case Comparison::IS: return is_equal;
    case Comparison::IS_NOT: return !is_equal;
    case Comparison::CONTAINS: return is_part;
    case Comparison::LACKS: return !is_part;
    case Comparison::DERIVED: return is_derived(text, value);
    case Comparison::EXISTS: return value == "true";
    }
    return false;
}

// What an object does not have fits nothing but "exists false".
static bool compares(const Condition &condition, const ListedEntry &entry)
{
    switch (condition.field) {
    case SearchField::TITLE: return fits(condition, entry.title);
    case SearchField::CLASS: return fits(condition, entry.upnp_class);
    case SearchField::REF_ID:
        if (is_reference(entry))
            return fits(condition, id_of(entry.target));
        break;
    }
    return condition.comparison == Comparison::EXISTS &&
           condition.value == "false";
}

bool serve::matches(const Condition &condition, const ListedEntry &entry)
{
    auto holds = [&](const Condition &part) { return matches(part, entry); };

    switch (condition.kind) {
    case Kind::COMPARE: return compares(condition, entry);
    case Kind::ALL_OF:
        return std::all_of(condition.parts.begin(), condition.parts.end(),
                           holds);
    case Kind::ANY_OF:
        return std::any_of(condition.parts.begin(), condition.parts.end(),
                           holds);
    }
    return false;
}

// --- Walking ----------------------------------------------------------------

std::vector<Object> serve::search(const MediaFolder &folder,
                                  const Object      &container,
                                  const Condition   &condition)
{
    std::vector<Object>               found;
    std::vector<Object>               waiting = { container };
    std::set<std::pair<dev_t, ino_t>> seen;

    while (!waiting.empty()) {
        Object next = std::move(waiting.back());
        auto   contents = children(folder, next, {});

        waiting.pop_back();
        if (!contents ||
            !seen.emplace(contents->device, contents->inode).second)
            continue;
        for (const ListedEntry &entry : contents->entries) {
            if (matches(condition, entry))
                found.push_back(child_of(next, entry));
            if (is_container(entry))
                waiting.push_back(child_of(next, entry));
        }
    }
    return found;
}
