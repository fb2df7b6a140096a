// pages.cpp - the HTML that people see.

#include "qm-serve/pages.h"

#include "qm-serve/dlna_fields.h"
#include "qm-serve/media_type.h"
#include "qm-serve/url_text.h"
#include "runtime/upnp_date.h"

using serve::html_escaped;

// Small screens do without what does not fit on them: the file's name stays.
static constexpr char style[] =
    "<meta name=\"viewport\" content=\"width=device-width\">\n"
    "<style>\n"
    "body { font-family: sans-serif; margin: 1em auto; max-width: 60em; "
    "padding: 0 .5em }\n"
    "h1 { font-size: 1.4em; overflow-wrap: anywhere }\n"
    "table { border-collapse: collapse; width: 100% }\n"
    "th, td { border-bottom: 1px solid #ddd; padding: .5em; "
    "text-align: left }\n"
    "td:first-child { overflow-wrap: anywhere }\n"
    "th:nth-child(n+4), td:nth-child(n+4) { text-align: right }\n"
    "a { color: #05a; text-decoration: none }\n"
    "@media (max-width: 40em) { th:not(:first-child), "
    "td:not(:first-child) { display: none } }\n"
    "</style>\n";

// The folder above "a/b/", "a/"; above "a/" it is "".
static std::string parent_of(const std::string &relative)
{
    size_t slash = relative.rfind('/', relative.size() - 2);

    return slash == std::string::npos ? "" : relative.substr(0, slash + 1);
}

// Names may hold anything, so links start from the root.
static std::string link(const std::string &fields, const std::string &relative,
                        const std::string &text)
{
    return "<a href=\"/media/" + fields + serve::percent_coded(relative) +
           "\">" + html_escaped(text) + "</a>";
}

static std::string folder_row(const std::string &relative,
                              const std::string &name)
{
    return "<tr><td colspan=\"5\">" + link("", relative, name) + "</td></tr>\n";
}

static std::string duration_text(int32_t ms)
{
    char text[16] = "";

    if (ms > 0)
        upnp_format_time(ms, text);
    return text;
}

static std::string file_row(const std::string       &relative,
                            const serve::MediaEntry &entry)
{
    const serve::MediaFacts &facts = entry.facts;
    std::string              fields =
        serve::dlna_fields(serve::media_type(entry.name.c_str()), facts);

    // clang-format off
    return "<tr>"
           "<td>" + link(fields, relative + entry.name, entry.name) + "</td>"
           "<td>" + html_escaped(facts.title) + "</td>"
           "<td>" + html_escaped(facts.artist) + "</td>"
           "<td>" + duration_text(facts.duration_ms) + "</td>"
           "<td>" + std::to_string(entry.size) + "</td>"
           "</tr>\n";
    // clang-format on
}

std::string serve::folder_page(const std::string             &relative,
                               const std::vector<MediaEntry> &entries)
{
    std::string title = html_escaped("/" + relative);

    // clang-format off
    std::string page =
        "<!DOCTYPE html>\n"
        "<html>\n"
        "<head><meta charset=\"utf-8\"><title>" + title + "</title>\n" +
        style + "</head>\n"
        "<body>\n"
        "<h1>" + title + "</h1>\n"
        "<table>\n"
        "<tr><th>Name</th><th>Title</th><th>Artist</th><th>Duration</th>"
        "<th>Bytes</th></tr>\n";
    // clang-format on

    if (!relative.empty())
        page += folder_row(parent_of(relative), "..");
    for (const MediaEntry &entry : entries) {
        page += entry.is_folder
                    ? folder_row(relative + entry.name + "/", entry.name + "/")
                    : file_row(relative, entry);
    }
    return page + "</table>\n</body>\n</html>\n";
}
