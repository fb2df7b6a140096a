// url_reference.cpp - URLs as people type them, and as devices refer to others.

#include "qm-find/url_reference.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

static constexpr std::string_view scheme = "http://";

static std::string percent_coded(std::string_view text)
{
    std::string result;
    char        code[4];

    for (char c : text) {
        auto byte = static_cast<unsigned char>(c);
        snprintf(code, sizeof(code), "%%%02X", byte);
        if (byte <= ' ' || byte == 0x7F)
            result += code;
        else
            result += c;
    }
    return result;
}

static size_t find_path(std::string_view url)
{
    return std::min(url.find_first_of("/?", scheme.size()), url.size());
}

// "/a/../b" becomes "/b". The query is none of its business.
static std::string without_dots(std::string_view path)
{
    size_t           query = std::min(path.find('?'), path.size());
    std::string_view head = path.substr(0, query);

    if (head.find("/.") == head.npos)
        return std::string(path);
    return std::filesystem::path(head).lexically_normal().string() +
           std::string(path.substr(query));
}

std::string find::clean_url(std::string_view url)
{
    url = url.substr(0, url.find('#'));
    size_t path = find_path(url);

    if (!url.starts_with(scheme) || path == scheme.size())
        return "";
    bool has_slash = path < url.size() && url[path] == '/';
    return percent_coded(url.substr(0, path)) + (has_slash ? "" : "/") +
           percent_coded(url.substr(path));
}

std::string find::host_of(std::string_view url)
{
    std::string_view host =
        url.substr(scheme.size(), find_path(url) - scheme.size());
    size_t user = host.find('@');

    host.remove_prefix(user == host.npos ? 0 : user + 1);
    return std::string(host.substr(0, host.find(':')));
}

// A colon behind the first segment is no sign of a scheme.
std::string find::resolve(const std::string &base, std::string_view reference)
{
    std::string host = base.substr(0, find_path(base));
    std::string path = base.substr(host.size());
    size_t      colon = reference.find_first_of(":/?#");

    if (reference.empty())
        return "";
    if (colon != reference.npos && reference[colon] == ':')
        return clean_url(reference);
    if (reference.starts_with("//"))
        return clean_url("http:" + std::string(reference));

    path.resize(std::min(path.find('?'), path.size()));
    if (reference[0] == '/')
        path.clear();
    else if (reference[0] != '?')
        path.resize(path.rfind('/') + 1);
    path += reference.substr(0, reference.find('#'));
    return clean_url(host + without_dots(path));
}
