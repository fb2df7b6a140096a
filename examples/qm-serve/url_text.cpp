// url_text.cpp - request targets in, links and page text out.

#include "qm-serve/url_text.h"

#include <algorithm>

static bool is_unreserved(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ||
           (c >= 'a' && c <= 'z') ||
           std::string_view("-._~").find(c) != std::string_view::npos;
}

static int hex_value(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

// The target without scheme, host and query, still coded.
static std::string_view coded_path(std::string_view head)
{
    size_t           blank = head.find(' ');
    std::string_view target;

    if (blank == std::string_view::npos)
        return {};
    target = head.substr(blank + 1);
    target = target.substr(0, target.find_first_of(" \r\n"));
    if (target.starts_with("http://")) {
        target.remove_prefix(7);
        target.remove_prefix(std::min(target.find('/'), target.size()));
    }
    return target.substr(0, target.find('?'));
}

std::string serve::percent_decoded(std::string_view coded)
{
    std::string path;

    for (size_t i = 0; i < coded.size(); ++i) {
        int high = -1;
        int low = -1;

        if (coded[i] == '%' && i + 2 < coded.size()) {
            high = hex_value(coded[i + 1]);
            low = hex_value(coded[i + 2]);
        }
        if (high < 0 || low < 0) {
            path += coded[i];
        } else {
            path += static_cast<char>(high * 16 + low);
            i += 2;
        }
    }
    return path;
}

std::string serve::request_path(const char *head)
{
    std::string path = serve::percent_decoded(coded_path(head));

    return path.find('\0') == std::string::npos ? path : "";
}

std::string serve::percent_coded(std::string_view path)
{
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string           coded;

    for (char c : path) {
        auto byte = static_cast<unsigned char>(c);

        if (is_unreserved(c) || c == '/')
            coded += c;
        else
            coded.append({ '%', digits[byte >> 4], digits[byte & 15] });
    }
    return coded;
}

std::string serve::html_escaped(std::string_view text)
{
    std::string escaped;

    for (char c : text) {
        switch (c) {
        case '&': escaped += "&amp;"; break;
        case '<': escaped += "&lt;"; break;
        case '>': escaped += "&gt;"; break;
        case '"': escaped += "&quot;"; break;
        case '\'': escaped += "&#39;"; break;
        default: escaped += c;
        }
    }
    return escaped;
}
