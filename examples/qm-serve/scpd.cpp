// scpd.cpp - what the services of a media server can do, as UPnP describes it.
//
// ContentDirectory:1 and ConnectionManager:1, each with its required actions,
// and Search.

#include "qm-serve/scpd.h"

#include <span>

namespace {
enum class Way { IN, OUT };

struct Argument {
    const char *name;
    Way         way;
    const char *variable;
};

struct Action {
    const char               *name;
    std::span<const Argument> arguments;
};

struct Variable {
    const char                  *name;
    const char                  *type;
    bool                         sends_events;
    std::span<const char *const> allowed;  // empty for any value
};
}

using enum Way;

// clang-format off

// --- ContentDirectory:1 ------------------------------------------------------

static constexpr Argument get_search_capabilities[] = {
    { "SearchCaps", OUT, "SearchCapabilities" },
};
static constexpr Argument get_sort_capabilities[] = {
    { "SortCaps", OUT, "SortCapabilities" },
};
static constexpr Argument get_system_update_id[] = {
    { "Id", OUT, "SystemUpdateID" },
};
static constexpr Argument browse[] = {
    { "ObjectID",       IN,  "A_ARG_TYPE_ObjectID" },
    { "BrowseFlag",     IN,  "A_ARG_TYPE_BrowseFlag" },
    { "Filter",         IN,  "A_ARG_TYPE_Filter" },
    { "StartingIndex",  IN,  "A_ARG_TYPE_Index" },
    { "RequestedCount", IN,  "A_ARG_TYPE_Count" },
    { "SortCriteria",   IN,  "A_ARG_TYPE_SortCriteria" },
    { "Result",         OUT, "A_ARG_TYPE_Result" },
    { "NumberReturned", OUT, "A_ARG_TYPE_Count" },
    { "TotalMatches",   OUT, "A_ARG_TYPE_Count" },
    { "UpdateID",       OUT, "A_ARG_TYPE_UpdateID" },
};
static constexpr Argument search[] = {
    { "ContainerID",    IN,  "A_ARG_TYPE_ObjectID" },
    { "SearchCriteria", IN,  "A_ARG_TYPE_SearchCriteria" },
    { "Filter",         IN,  "A_ARG_TYPE_Filter" },
    { "StartingIndex",  IN,  "A_ARG_TYPE_Index" },
    { "RequestedCount", IN,  "A_ARG_TYPE_Count" },
    { "SortCriteria",   IN,  "A_ARG_TYPE_SortCriteria" },
    { "Result",         OUT, "A_ARG_TYPE_Result" },
    { "NumberReturned", OUT, "A_ARG_TYPE_Count" },
    { "TotalMatches",   OUT, "A_ARG_TYPE_Count" },
    { "UpdateID",       OUT, "A_ARG_TYPE_UpdateID" },
};
static constexpr Action directory_actions[] = {
    { "GetSearchCapabilities", get_search_capabilities },
    { "GetSortCapabilities",   get_sort_capabilities },
    { "GetSystemUpdateID",     get_system_update_id },
    { "Browse",                browse },
    { "Search",                search },
};

static constexpr const char *browse_flags[] = {
    "BrowseMetadata", "BrowseDirectChildren",
};
static constexpr Variable directory_variables[] = {
    { "A_ARG_TYPE_ObjectID",       "string", false, {} },
    { "A_ARG_TYPE_Result",         "string", false, {} },
    { "A_ARG_TYPE_SearchCriteria", "string", false, {} },
    { "A_ARG_TYPE_BrowseFlag",     "string", false, browse_flags },
    { "A_ARG_TYPE_Filter",         "string", false, {} },
    { "A_ARG_TYPE_SortCriteria",   "string", false, {} },
    { "A_ARG_TYPE_Index",          "ui4",    false, {} },
    { "A_ARG_TYPE_Count",          "ui4",    false, {} },
    { "A_ARG_TYPE_UpdateID",       "ui4",    false, {} },
    { "SearchCapabilities",        "string", false, {} },
    { "SortCapabilities",          "string", false, {} },
    { "SystemUpdateID",            "ui4",    true,  {} },
};

// --- ConnectionManager:1 -----------------------------------------------------

static constexpr Argument get_protocol_info[] = {
    { "Source", OUT, "SourceProtocolInfo" },
    { "Sink",   OUT, "SinkProtocolInfo" },
};
static constexpr Argument get_connection_ids[] = {
    { "ConnectionIDs", OUT, "CurrentConnectionIDs" },
};
static constexpr Argument get_connection_info[] = {
    { "ConnectionID",          IN,  "A_ARG_TYPE_ConnectionID" },
    { "RcsID",                 OUT, "A_ARG_TYPE_RcsID" },
    { "AVTransportID",         OUT, "A_ARG_TYPE_AVTransportID" },
    { "ProtocolInfo",          OUT, "A_ARG_TYPE_ProtocolInfo" },
    { "PeerConnectionManager", OUT, "A_ARG_TYPE_ConnectionManager" },
    { "PeerConnectionID",      OUT, "A_ARG_TYPE_ConnectionID" },
    { "Direction",             OUT, "A_ARG_TYPE_Direction" },
    { "Status",                OUT, "A_ARG_TYPE_ConnectionStatus" },
};
static constexpr Action connection_actions[] = {
    { "GetProtocolInfo",          get_protocol_info },
    { "GetCurrentConnectionIDs",  get_connection_ids },
    { "GetCurrentConnectionInfo", get_connection_info },
};

static constexpr const char *statuses[] = {
    "OK", "ContentFormatMismatch", "InsufficientBandwidth",
    "UnreliableChannel", "Unknown",
};
static constexpr const char *directions[] = { "Input", "Output" };
static constexpr Variable connection_variables[] = {
    { "SourceProtocolInfo",           "string", true,  {} },
    { "SinkProtocolInfo",             "string", true,  {} },
    { "CurrentConnectionIDs",         "string", true,  {} },
    { "A_ARG_TYPE_ConnectionStatus",  "string", false, statuses },
    { "A_ARG_TYPE_ConnectionManager", "string", false, {} },
    { "A_ARG_TYPE_Direction",         "string", false, directions },
    { "A_ARG_TYPE_ProtocolInfo",      "string", false, {} },
    { "A_ARG_TYPE_ConnectionID",      "i4",     false, {} },
    { "A_ARG_TYPE_AVTransportID",     "i4",     false, {} },
    { "A_ARG_TYPE_RcsID",             "i4",     false, {} },
};

// clang-format on

// --- XML ---------------------------------------------------------------------

static std::string element(const char *name, const std::string &content)
{
    return std::string("<") + name + ">" + content + "</" + name + ">\n";
}

static std::string list_of(std::span<const Argument> arguments)
{
    std::string list;

    for (const Argument &row : arguments)
        list += element("argument",
                        element("name", row.name) +
                            element("direction", row.way == IN ? "in" : "out") +
                            element("relatedStateVariable", row.variable));
    return element("argumentList", list);
}

static std::string list_of(std::span<const Action> actions)
{
    std::string list;

    for (const Action &row : actions)
        list += element("action",
                        element("name", row.name) + list_of(row.arguments));
    return element("actionList", list);
}

static std::string list_of(std::span<const char *const> values)
{
    std::string list;

    for (const char *value : values)
        list += element("allowedValue", value);
    return values.empty() ? list : element("allowedValueList", list);
}

static std::string table_of(std::span<const Variable> variables)
{
    std::string table;

    for (const Variable &row : variables) {
        table += std::string("<stateVariable sendEvents=\"") +
                 (row.sends_events ? "yes" : "no") + "\">\n" +
                 element("name", row.name) + element("dataType", row.type) +
                 list_of(row.allowed) + "</stateVariable>\n";
    }
    return element("serviceStateTable", table);
}

static std::string scpd(std::span<const Action>   actions,
                        std::span<const Variable> variables)
{
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
           "<scpd xmlns=\"urn:schemas-upnp-org:service-1-0\">\n"
           "<specVersion><major>1</major><minor>0</minor></specVersion>\n" +
           list_of(actions) + table_of(variables) + "</scpd>\n";
}

std::string serve::content_directory_scpd()
{
    return scpd(directory_actions, directory_variables);
}

std::string serve::connection_manager_scpd()
{
    return scpd(connection_actions, connection_variables);
}
