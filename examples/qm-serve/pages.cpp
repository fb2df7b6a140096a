// pages.cpp - the HTML that people see.

#include "qm-serve/pages.h"

#include "qm-serve/url_text.h"

// The folder above "a/b/", "a/"; above "a/" it is "".
static std::string parent_of(const std::string &relative)
{
    size_t slash = relative.rfind('/', relative.size() - 2);

    return slash == std::string::npos ? "" : relative.substr(0, slash + 1);
}

// Names may hold anything, so links start from the root.
static std::string link(const std::string &relative, const std::string &text)
{
    return "<a href=\"/media/" + serve::percent_coded(relative) + "\">" +
           serve::html_escaped(text) + "</a>";
}

std::string serve::folder_page(const std::string             &relative,
                               const std::vector<MediaEntry> &entries)
{
    std::string title = html_escaped("/" + relative);
    std::string page = "<!DOCTYPE html>\n"
                       "<html>\n"
                       "<head><meta charset=\"utf-8\"><title>" +
                       title +
                       "</title></head>\n"
                       "<body>\n"
                       "<h1>" +
                       title +
                       "</h1>\n"
                       "<ul>\n";

    if (!relative.empty())
        page += "<li>" + link(parent_of(relative), "..") + "</li>\n";
    for (const MediaEntry &entry : entries) {
        std::string name = entry.is_folder ? entry.name + "/" : entry.name;

        page += "<li>" + link(relative + name, name);
        if (!entry.is_folder)
            page += " (" + std::to_string(entry.size) + " bytes)";
        page += "</li>\n";
    }
    return page + "</ul>\n</body>\n</html>\n";
}
