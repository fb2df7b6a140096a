// http_mime_test.cpp - MIME types and file extensions, both ways.

#include "http/http_mime.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>

extern "C" {
const char *
__wrap_upnp_client_db_needs_special_mime_type(int32_t     id,
                                              const char *extension);
const char *
__wrap_upnp_client_db_special_mime_type_get_extension(const char *mime);
}

// The client database knows one client with a wish, and one type of its own.
const char *__wrap_upnp_client_db_needs_special_mime_type(int32_t     id,
                                                          const char *extension)
{
    return id == 7 && strcmp(extension, "avi") == 0 ? "video/x-divx" : nullptr;
}

const char *
__wrap_upnp_client_db_special_mime_type_get_extension(const char *mime)
{
    return strcmp(mime, "video/x-own") == 0 ? "own" : nullptr;
}

TEST(HttpMime, TypesOfExtensions)
{
    static const struct {
        int32_t     client;  // -1: no request
        const char *extension, *expected;
    } cases[] = {
        { -1, "JPG", "image/jpeg" },
        { -1, "3gp", "video/3gpp" },
        { -1, "tts", "video/mpeg2" },
        { -1, "mp4.a", "audio/mp4" },
        { -1, "xml", " text/xml; charset=\"utf-8\"" },
        { -1, "pyv", "video/vnd.ms-playready.media.pyv" },
        { -1, "text/css", "application/octet-stream" },
        { -1, "", "application/octet-stream" },
        { -1, nullptr, nullptr },
        { 7, "avi", "video/x-divx" },
        { 8, "avi", "video/x-msvideo" },
    };
    for (const auto &c : cases) {
        auto request = std::make_unique<HttpRequest>();
        request->client = c.client;
        EXPECT_STREQ(HTTP_get_mime_type(c.client < 0 ? nullptr : request.get(),
                                        c.extension),
                     c.expected);
    }
}

TEST(HttpMime, ExtensionsOfTypes)
{
    static const struct {
        const char *mime, *extension;
        int32_t     known;
    } cases[] = {
        { "audio/mpeg;rate=44100", "mp3", 1 },
        { "x audio/mpeg", "mp3", 1 },
        { "video/mpeg2", "mpg", 1 },  // the shorter type comes first
        { "text/html; charset=utf-8", "htm", 1 },
        { " text/xml; charset=\"utf-8\"", "xml", 1 },
        { "text/xml", nullptr, 0 },
        { "Audio/mpeg", nullptr, 0 },
        { "application/octet-stream", "", 1 },
        { "video/x-own", "own", 0 },
        { nullptr, nullptr, 0 },
    };
    for (const auto &c : cases) {
        EXPECT_STREQ(HTTP_get_extension_by_mime_type(c.mime), c.extension);
        EXPECT_EQ(HTTP_is_known_mime_type(c.mime), c.known)
            << (c.mime ? c.mime : "(null)");
    }
}

TEST(HttpMime, ExtensionsOfNames)
{
    EXPECT_STREQ(HTTP_get_extension("a.tar.gz"), "gz");
    EXPECT_STREQ(HTTP_get_extension("a.b/c"), "b/c");
    EXPECT_STREQ(HTTP_get_extension("a."), "");
    EXPECT_EQ(HTTP_get_extension("a"), nullptr);
    EXPECT_EQ(HTTP_get_extension(nullptr), nullptr);
}
