// upnp_dlna_test.cpp - DLNA flags, protocolInfo, image sizes, media names, UDNs.

#include "config/upnp_ini_file.h"
#include "runtime/upnp_dlna.h"
#include "runtime/upnp_media_name.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_udn.h"
#include "support/edge_text.h"
#include "support/failing_heap.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

// The text of a result that the caller frees, or "(null)".
static std::string take(char *text)
{
    std::string copy = text ? text : "(null)";

    if (text)
        upnp_free_impl(text);
    return copy;
}

TEST(DlnaFlags, AreReadFromEightDigits)
{
    static const struct {
        const char *why, *text;
        uint32_t    flags;
    } cases[] = {
        { "behind the mark", "a;DLNA.ORG_FLAGS=01700000000000", 0x01700000 },
        { "bare", "0D5000000", 0x0d500000 },
        { "begins with a letter", "DLNA.ORG_FLAGS=C1000000", 0 },
        { "too short", "0170000", 0 },
        { "no digits", "01xx0000", 0 },
        { "none", "", 0 },
    };
    for (const auto &c : cases) {
        EdgeText text(c.text);
        EXPECT_EQ(dlnaflagstring_flags_get_from_string(text.data), c.flags)
            << c.why;
    }
    EXPECT_EQ(dlnaflagstring_flags_get_from_string(nullptr), 0u);
    EXPECT_EQ(dlnaflagstring_bit_get_from_string("00000001", 0), 1);
    EXPECT_EQ(dlnaflagstring_bit_get_from_string("00000001", 32), 1);
    EXPECT_EQ(dlnaflagstring_bit_get_from_string("00000001", 33), 0);

    char text[] = "x;DLNA.ORG_FLAGS=00000000;y";
    EXPECT_EQ(dlnaflagstring_bit_set_in_string(text, 24), 0);
    EXPECT_STREQ(text, "x;DLNA.ORG_FLAGS=01000000;y");
    EXPECT_EQ(dlnaflagstring_bit_set_in_string(text, 33), -1);
    char unusable[] = "A0000000";
    EXPECT_EQ(dlnaflagstring_bit_set_in_string(unusable, 1), 0);
    EXPECT_STREQ(unusable, "A0000000");
}

TEST(ProtocolInfo, FieldsAreCountedFromOne)
{
    static const struct {
        const char *text;
        int32_t     field, start;  // -1 for none
        uint32_t    length;
    } cases[] = {
        { "http-get:*:audio/mpeg:*", 1, 0, 8 },
        { "http-get:*:audio/mpeg:*", 3, 11, 10 },
        { "http-get:*:audio/mpeg:*", 4, 22, 1 },
        { "http-get:*:audio/mpeg:*", 5, -1, 0 },
        { "http-get:*:audio/mpeg:*", 0, -1, 0 },
        { "a::c", 2, 2, 0 },
        { "a:", 2, -1, 0 },
        { "", 1, -1, 0 },
    };
    for (const auto &c : cases) {
        uint32_t    length = 99;
        const char *field = upnp_get_protocolInfoField(c.text, c.field, &length);
        EXPECT_EQ(field ? field - c.text : -1, c.start) << c.text << c.field;
        EXPECT_EQ(length, c.length) << c.text << c.field;
    }
    EXPECT_EQ(upnp_get_protocolInfoField("a", 1, nullptr), nullptr);
}

TEST(ProtocolInfo, ParametersAreMeasured)
{
    static const struct {
        const char *text;
        int32_t     result;
        uint32_t    name, value, total;
    } cases[] = {
        { "DLNA.ORG_PN=MP3;DLNA.ORG_OP=01", 1, 11, 3, 15 },
        { "a=b c;d", 0, 1, 1, 5 },
        { "name;x", 0, 4, 0, 4 },
        { "=v;x", 0, 0, 0, 2 },
        { "a=", 1, 1, 0, 2 },
        { "", 0, 0, 0, 0 },
    };
    for (const auto &c : cases) {
        uint32_t name = 9, value = 9, total = 9;
        EXPECT_EQ(upnp_get_otherParamLength(c.text, &name, &value, &total),
                  c.result)
            << c.text;
        EXPECT_EQ(name, c.name) << c.text;
        EXPECT_EQ(value, c.value) << c.text;
        EXPECT_EQ(total, c.total) << c.text;
    }
    EXPECT_EQ(upnp_get_otherParamLength("a=b", nullptr, nullptr, nullptr), 1);
}

TEST(Images, FitProfilesAndBoxes)
{
    EXPECT_EQ(take(jpeg_map_dlna_profile(160, 160)), "JPEG_TN");
    EXPECT_EQ(take(jpeg_map_dlna_profile(161, 100)), "JPEG_SM");
    EXPECT_EQ(take(jpeg_map_dlna_profile(480, 640)), "JPEG_MED");
    EXPECT_EQ(take(jpeg_map_dlna_profile(4096, 4096)), "JPEG_LRG");
    EXPECT_EQ(take(jpeg_map_dlna_profile(4097, 10)), "(null)");

    static const struct {
        int32_t width, height, max_width, max_height, out_width, out_height;
    } cases[] = {
        { 1000, 500, 100, 100, 100, 50 }, { 500, 1000, 100, 100, 50, 100 },
        { 100, 100, 200, 200, 200, 200 }, { 3, 2, 100, 100, 100, 67 },
        { 0, 5, 100, 50, 100, 50 },       { 1, INT32_MAX, 9, 9, 0, 9 },
    };
    for (const auto &c : cases) {
        int32_t width, height;
        get_proportional_scale(c.width, c.height, c.max_width, c.max_height,
                               &width, &height);
        EXPECT_EQ(width, c.out_width);
        EXPECT_EQ(height, c.out_height);
    }
}

TEST(Durations, AreNormalised)
{
    static const struct {
        const char *text, *expected;
    } cases[] = {
        { "1:02:03.5", "00001:02:03.005" },
        { "90", "00000:00:59.000" },
        { "75:10", "00000:59:10.000" },
        { "1:2:3:4.5000", "00001:03:04.999" },
        { "999999:00:00", "99999:00:00.000" },
        { "", "00000:00:00.000" },
    };
    for (const auto &c : cases) {
        char text[32], out[16];
        strcpy(text, c.text);
        upnp_util_scrub_res_duration(text, out);
        EXPECT_STREQ(out, c.expected) << c.text;
    }
}

TEST(Names, AreMadeFromPathsAndTexts)
{
    EXPECT_EQ(take(upnp_build_title_from_filename("/a/b.c.mp3")), "b.c");
    EXPECT_EQ(take(upnp_build_title_from_filename("C:\\x\\song.mp3")), "song");
    EXPECT_EQ(take(upnp_build_title_from_filename("/a/.mp3")), "No Title");
    EXPECT_EQ(take(upnp_build_title_from_filename(nullptr)), "(null)");
    EXPECT_EQ(take(upnp_get_extension("/a.b/c")), "b/c");
    EXPECT_EQ(take(upnp_get_extension(nullptr)), "bin");
    EXPECT_EQ(take(upnp_remove_bad_chars("a b/c\\d?e:f*g\"h")),
              "a#b#c#d#e#f#g\"h");

    char name[] = "a<b|\"c";
    upnp_util_convert_string_to_filename(name, 5);
    EXPECT_STREQ(name, "a#b##c");

    EXPECT_EQ(take(upnp_remove_illegal_chars("abc", "b")), "ac");
    EXPECT_EQ(take(upnp_remove_illegal_chars("abc", nullptr)), "abc");
    // Nothing removed: the block is as long as the text and has no NUL.
    int64_t used = upnp_mem_used();
    char   *whole = upnp_remove_illegal_chars("abc", "x");
    EXPECT_EQ(upnp_mem_used() - used, 3);
    EXPECT_EQ(memcmp(whole, "abc", 3), 0);
    upnp_free_impl(whole);
}

TEST(EmbeddedUrls, ComeBackAsTheyWereEncoded)
{
    std::string url = take(upnp_util_create_embedded_url(
        "http://h/", "http://a/b?c=d", "mp3"));
    EXPECT_EQ(url, "http://h/httpproxy/embeddedhttp:%2F%2Fa%2Fb?c%3Dd.mp3");
    EXPECT_EQ(take(upnp_util_get_embedded_url(url.c_str())),
              "http:%2F%2Fa%2Fb?c%3Dd");
    EXPECT_EQ(take(upnp_util_create_embedded_url("b", "u", "toolong")),
              "b/httpproxy/embeddedu");
    EXPECT_EQ(take(upnp_util_get_embedded_url("no mark")), "(null)");
}

TEST(Addresses, AreFoundInTexts)
{
    uint32_t start, length, port;

    EXPECT_NE(upnp_extract_ipaddress("host 10.0.0.1:80", &start, &length),
              nullptr);
    EXPECT_EQ(start, 5u);
    EXPECT_EQ(length, 8u);
    EXPECT_EQ(upnp_extract_ipaddress("none", &start, &length), nullptr);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(take(upnp_copy_ipaddress_and_port("x1.2.3.4..:55/", &port)),
              "1.2.3.4");
    EXPECT_EQ(port, 0u);
    EXPECT_EQ(take(upnp_copy_ipaddress_and_port("1.2.3.4:55/", &port)),
              "1.2.3.4");
    EXPECT_EQ(port, 55u);
    EXPECT_EQ(take(upnp_copy_ipaddress("12")), "12");
}

TEST(Hexdump, ShowsSixteenBytesALine)
{
    char  *text = nullptr;
    size_t size;
    FILE  *stream = open_memstream(&text, &size);

    EXPECT_EQ(upnp_hexdump("0123456789abcdefg", 17, stream, 2), 0);
    EXPECT_EQ(upnp_hexdump("a", 0, stream, 0), -1);
    fclose(stream);
    EXPECT_STREQ(text, "  30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66\n"
                       "  67 \n");
    free(text);
}

TEST(Devices, HaveStableNames)
{
    upnp_ini_file_init();
    std::string udn = upnp_get_server_udn();
    g_nInstance = 3;
    EXPECT_EQ(upnp_get_server_udn(), udn);
    g_nInstance = 0;
    // The maker's letters, role 5 and instance 0 over them; without a path of
    // an INI file its sum counts as 0x69.
    EXPECT_EQ(udn.substr(0, 29), "uuid:55056f72-656c-4d65-6469-");
    EXPECT_EQ(udn.size(), 29u + 12);
    EXPECT_EQ(std::string(upnp_get_renderer2_udn()).substr(0, 9), "uuid:5615");

    char host[256];
    ASSERT_EQ(gethostname(host, sizeof(host)), 0);
    host[strcspn(host, ".")] = '\0';
    EXPECT_EQ(take(upnp_util_create_friendlyname("%HOSTNAME%+%HOSTNAME%", 255)),
              std::string(host) + "+" + host);
    EXPECT_EQ(take(upnp_util_create_friendlyname("%HOSTNAME%", 4)),
              "%HOSTNAME%");
    for_each_failing_allocation([&] {
        std::string name =
            take(upnp_util_create_friendlyname("a %HOSTNAME%", 64));
        EXPECT_TRUE(name == "(null)" ||
                    name == "a " + std::string(host).substr(0, 64));
    });
    upnp_ini_file_release();
}
