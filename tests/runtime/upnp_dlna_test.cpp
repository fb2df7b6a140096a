// upnp_dlna_test.cpp - DLNA flags, protocolInfo, image sizes, names and UDNs.

#include "config/upnp_ini_file.h"
#include "runtime/upnp_dlna.h"
#include "runtime/upnp_media_name.h"
#include "runtime/upnp_udn.h"
#include "support/edge_text.h"
#include "support/failing_heap.h"
#include "support/take.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <unistd.h>

TEST(DlnaFlags, AreReadFromEightDigits)
{
    static const struct {
        const char *why, *text;
        uint32_t    flags;
        const char *with_bit_24;
    } cases[] = {
        // clang-format off
        { "behind the mark", "a;DLNA.ORG_FLAGS=02700000000000;b", 0x02700000,
          "a;DLNA.ORG_FLAGS=03700000000000;b" },
        { "bare",                 "0d5000000", 0x0D500000, "0D5000000" },
        { "begins with a letter", "C1000000",  0,          "C1000000" },
        { "too short",            "0170000",   0,          "0170000" },
        { "no digits",            "01xx0000",  0,          "01000000" },
        { "none",                 "",          0,          "" },
        // clang-format on
    };
    for (const auto &c : cases) {
        EdgeText text(c.text);
        EXPECT_EQ(dlnaflagstring_flags_get_from_string(text.data), c.flags)
            << c.why;
        EXPECT_EQ(dlnaflagstring_bit_set_in_string(text.data, 24), 0) << c.why;
        EXPECT_STREQ(text.data, c.with_bit_24) << c.why;
        EXPECT_EQ(dlnaflagstring_bit_set_in_string(text.data, 33), -1);
    }
    EXPECT_EQ(dlnaflagstring_flags_get_from_string(nullptr), 0u);
    for (uint32_t bit : { 0, 32, 33 })
        EXPECT_EQ(dlnaflagstring_bit_get_from_string("00000001", bit),
                  bit < 33);
}

TEST(ProtocolInfo, FieldsAreCountedFromOne)
{
    static const struct {
        const char *text;
        int32_t     field;
        const char *start;  // what follows included; null for none
        uint32_t    length;
    } cases[] = {
        { "http-get:*:audio/mpeg:*", 1, "http-get:*:audio/mpeg:*", 8 },
        { "http-get:*:audio/mpeg:*", 3, "audio/mpeg:*", 10 },
        { "http-get:*:audio/mpeg:*", 4, "*", 1 },
        { "http-get:*:audio/mpeg:*", 5, nullptr, 0 },
        { "http-get:*:audio/mpeg:*", 0, nullptr, 0 },
        { "a::c", 2, ":c", 0 },
        { "a:", 2, nullptr, 0 },
        { "", 1, nullptr, 0 },
        { nullptr, 1, nullptr, 0 },
    };
    for (const auto &c : cases) {
        uint32_t length = 99;
        EXPECT_STREQ(upnp_get_protocolInfoField(c.text, c.field, &length),
                     c.start);
        EXPECT_EQ(length, c.length) << c.field;
    }
    EXPECT_EQ(upnp_get_protocolInfoField("a", 1, nullptr), nullptr);
}

TEST(ProtocolInfo, ParametersAreMeasured)
{
    using Result = std::array<uint32_t, 4>;  // whether whole; name, value, all
    static const struct {
        const char *text;
        Result      expected;
    } cases[] = {
        { "DLNA.ORG_PN=MP3;DLNA.ORG_OP=01", { 1, 11, 3, 15 } },
        { "a=b c;d", { 0, 1, 1, 5 } },
        { "name;x", { 0, 4, 0, 4 } },
        { "=v;x", { 0, 0, 0, 2 } },
        { "a=", { 1, 1, 0, 2 } },
        { "", { 0, 0, 0, 0 } },
    };
    for (const auto &c : cases) {
        Result got = { 9, 9, 9, 9 };
        got[0] = static_cast<uint32_t>(
            upnp_get_otherParamLength(c.text, &got[1], &got[2], &got[3]));
        EXPECT_EQ(got, c.expected) << c.text;
    }
    EXPECT_EQ(upnp_get_otherParamLength("a=b", nullptr, nullptr, nullptr), 1);
}

using Size = std::array<int32_t, 2>;

static Size fitted(int32_t width, int32_t height, int32_t box_width,
                   int32_t box_height)
{
    Size size;

    get_proportional_scale(width, height, box_width, box_height, &size[0],
                           &size[1]);
    return size;
}

TEST(Images, FitProfilesAndBoxes)
{
    EXPECT_EQ(take(jpeg_map_dlna_profile(160, 160)), "JPEG_TN");
    EXPECT_EQ(take(jpeg_map_dlna_profile(161, 100)), "JPEG_SM");
    EXPECT_EQ(take(jpeg_map_dlna_profile(480, 640)), "JPEG_MED");
    EXPECT_EQ(take(jpeg_map_dlna_profile(4096, 4096)), "JPEG_LRG");
    EXPECT_EQ(take(jpeg_map_dlna_profile(4097, 10)), "(null)");

    EXPECT_EQ(fitted(1000, 500, 100, 100), (Size{ 100, 50 }));
    EXPECT_EQ(fitted(500, 1000, 100, 100), (Size{ 50, 100 }));
    EXPECT_EQ(fitted(100, 100, 200, 200), (Size{ 200, 200 }));
    EXPECT_EQ(fitted(3, 2, 100, 100), (Size{ 100, 67 }));
    EXPECT_EQ(fitted(0, 5, 100, 50), (Size{ 100, 50 }));
    EXPECT_EQ(fitted(1, INT32_MAX, 9, 9), (Size{ 0, 9 }));
}

static std::string normalised(std::string text)
{
    char out[16];

    upnp_util_scrub_res_duration(text.data(), out);
    return out;
}

TEST(Durations, AreNormalised)
{
    EXPECT_EQ(normalised("1:02:03.5"), "00001:02:03.005");
    EXPECT_EQ(normalised("90"), "00000:00:59.000");
    EXPECT_EQ(normalised("75:10"), "00000:59:10.000");
    EXPECT_EQ(normalised("1:2:3:4.5000"), "00001:03:04.999");
    EXPECT_EQ(normalised("999999:00:00"), "99999:00:00.000");
    EXPECT_EQ(normalised(""), "00000:00:00.000");
}

TEST(Names, AreMadeFromPathsAndTexts)
{
    EXPECT_EQ(take(upnp_build_title_from_filename("/a/b.c.mp3")), "b.c");
    EXPECT_EQ(take(upnp_build_title_from_filename("C:/x\\song.mp3")), "song");
    EXPECT_EQ(take(upnp_build_title_from_filename("/a/.mp3")), "No Title");
    EXPECT_EQ(take(upnp_build_title_from_filename(nullptr)), "(null)");
    EXPECT_EQ(take(upnp_get_extension("/a.b/c")), "b/c");
    EXPECT_EQ(take(upnp_get_extension(nullptr)), "bin");
    EXPECT_EQ(take(upnp_remove_bad_chars(" /\\?:*\"<")), "######\"<");

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
    static constexpr auto create = upnp_util_create_embedded_url;
    static constexpr auto get = upnp_util_get_embedded_url;

    EXPECT_EQ(take(create("h/", "a:/b=c", "mp3")),
              "h/httpproxy/embeddeda:%2Fb%3Dc.mp3");
    EXPECT_EQ(take(create("b", "u", "toolong")), "b/httpproxy/embeddedu");
    EXPECT_EQ(take(create(nullptr, "u", nullptr)), "httpproxy/embeddedu");
    EXPECT_EQ(take(create("b", nullptr, "mp3")), "(null)");
    EXPECT_EQ(take(get("x/httpproxy/embeddedu%2F.a.mp3")), "u%2F.a");
    EXPECT_EQ(take(get("httpproxy/embeddedu.jpeg")), "u.jpeg");
    EXPECT_EQ(take(get("no mark")), "(null)");
}

TEST(Addresses, AreFoundInTexts)
{
    uint32_t start, length, port;

    EXPECT_STREQ(upnp_extract_ipaddress("host 10.0.0.1:80", &start, &length),
                 "10.0.0.1:80");
    EXPECT_TRUE(start == 5 && length == 8) << start << " " << length;
    EXPECT_EQ(upnp_extract_ipaddress("none", &start, &length), nullptr);
    EXPECT_TRUE(start == 0 && length == 0) << start << " " << length;
    EXPECT_EQ(take(upnp_copy_ipaddress_and_port("x1.2..:55", &port)), "1.2");
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
