// upnp_client_query_test.cpp - the questions about a client type.

#include "clientdb/upnp_client_query.h"

#include "clientdb/client_test_db.h"
#include "clientdb/upnp_client_table.h"
#include "support/edge_text.h"
#include "support/failing_heap.h"

#include <gtest/gtest.h>

TEST(Flags, FindTheirWordAnywhereInTheSection)
{
    ClientTestDb db(">>\nNA:PSP Go XM:FORCERES\nHP:1.0PROXYRESPONSE "
                    "HP:closed XM:noutf8\nxm:aares XM:moov_not_supported\n"
                    ">>\nNA:My PSP\n>>\n");
    static const struct {
        const char *why;
        int32_t (*ask)(int32_t);
        int32_t first, second;  // answers of the two types
    } cases[] = {
        // clang-format off
        { "inside a name",     upnp_client_db_force_res,                1, 0 },
        { "at a name's start", upnp_client_db_is_psp,                   1, 0 },
        { "as a piece",        upnp_client_db_allways_close_connection, 1, 0 },
        { "lower case word",   upnp_client_db_no_utf,                   1, 0 },
        { "other case",        upnp_client_db_add_albumart_as_res,      0, 0 },
        { "another 1.0",       upnp_client_db_needs_1_0_response,       0, 0 },
        { "the inverted one",  upnp_client_db_supports_moov_at_the_end, 0, 1 },
        // clang-format on
    };
    for (const auto &c : cases) {
        EXPECT_EQ(c.ask(0), c.first) << c.why;
        EXPECT_EQ(c.ask(1), c.second) << c.why;
    }
}

TEST(Queries, AnswerNothingForAnUnknownType)
{
    ClientTestDb db(">>\nXM:AARES\n>>\n");
    EXPECT_EQ(upnp_client_db_supports_option(0, "XM:AARES"), 1);
    EXPECT_EQ(upnp_client_db_supports_option(0, nullptr), 0);
    for (int32_t id : { 1, 199, 200, -1, INT32_MIN, INT32_MAX }) {
        EXPECT_EQ(upnp_client_db_supports_option(id, "XM:AARES"), 0) << id;
        EXPECT_EQ(upnp_client_db_supports_moov_at_the_end(id), 1) << id;
        EXPECT_EQ(upnp_client_db_DLNA_version(id), 0) << id;
        EXPECT_EQ(upnp_client_db_get_value(id, "XM:"), 0) << id;
        EXPECT_EQ(upnp_client_db_get_webbrowse(id), nullptr) << id;
        EXPECT_EQ(upnp_client_db_get_extra_params(id, "a"), nullptr) << id;
        EXPECT_EQ(upnp_client_db_needs_special_mime_type(id, "a"), nullptr)
            << id;
    }
    EXPECT_EQ(upnp_client_db_get_table(), nullptr);
}

TEST(Values, RunFromTheKeyToTheirEnd)
{
    static const std::string many(2000, 'a');
    auto                     file = upnp_client_db_get_description_file;
    auto profiles = upnp_client_db_get_supported_transcoding_profiles;
    auto scaling = upnp_client_db_albumart_scaling;
    auto view = upnp_client_db_get_default_view;
    const struct {
        std::string section;
        char *(*ask)(int32_t);
        std::string expected;
    } cases[] = {
        { "DF:a.xml\r\n", file, "a.xml" },
        { "DF:" + many, file, many.substr(0, 1023) },
        { "WB:on\r\nX", upnp_client_db_get_webbrowse, "on\r" },
        { "DV:\nX", view, "" },
        { "NA:A", view, "(null)" },
        { "TR:a,b \t\r\nX", profiles, "a,b" },
        { "TR:" + many, profiles, many },
        { "XM:AASCALE=160# X", scaling, "160" },
        { "XM:AASCALE=" + many, scaling, many.substr(0, 63) },
        { "XM:AASCALE", scaling, "" },
        { "XM:AASC", scaling, "(null)" },
    };
    for (const auto &c : cases) {
        ClientTestDb db(">>\n" + c.section + "\n>>\n");
        EXPECT_EQ(take(c.ask(0)), c.expected) << c.section.substr(0, 30);
    }
}

TEST(Values, ExtraParamsNumbersAndLevels)
{
    static const struct {
        const char *section;
        int32_t     version;
    } levels[] = {
        { "XM:DLNA10", 10 },           { "XM:DLNA15", 15 },
        { "XM:DLNANO", -1 },           { "XM:DLNA20", 0 },
        { "XM:DLNA15 XM:DLNA10", 15 }, { "XM:DLNAx XM:DLNA10", 0 },
    };
    for (const auto &c : levels) {
        ClientTestDb db(std::string(">>") + c.section + "\n>>\n");
        EXPECT_EQ(upnp_client_db_DLNA_version(0), c.version) << c.section;
    }

    const std::string cut(28, 'n');
    ClientTestDb      db(">>\nTP:aac,-b 1,2\r\nTP:" + cut +
                         "+rest\nQQ=-12x\nQR=4294967297\n>>\n");
    auto              params = [](const char *name) {
        return take(upnp_client_db_get_extra_params(0, name));
    };
    EXPECT_EQ(params("aac"), "-b 1,2");
    EXPECT_EQ(params("aa") + params(nullptr), "(null)(null)");
    EXPECT_EQ(params((cut + "longer").c_str()), "+rest");
    EXPECT_EQ(upnp_client_db_get_value(0, "QQ="), -12);
    EXPECT_EQ(upnp_client_db_get_value(0, "QR="), 1);
    EXPECT_EQ(upnp_client_db_get_value(0, nullptr), 0);
}

TEST(Keyword, CopiesBehindThreeCharacters)
{
    static const struct {
        const char *section, *key;
        uint32_t    size;
        int32_t     running;
        const char *expected;
    } cases[] = {
        // clang-format off
        { "NA:ABCDE", "NA:",    4,  1, "ABC" },
        { "NA:ABCDE", "NA:",    64, 1, "ABCDE" },
        { "NA:ABCDE", "NA:",    64, 0, "A" },
        { "NA:A\tB",  "NA:",    64, 1, "A" },
        { "NA:A\xC3", "NA:",    64, 1, "A" },  { "NA:\xC3", "NA:", 64, 1, "" },
        { "NA:ABCDE", "N",      64, 1, "ABCDE" },
        { "NA:ABCDE", "NA:ABC", 64, 1, "ABCDE" },
        { "NA:",      "NA:",    64, 1, "" },   { "xxNA",  "NA",  64, 1, "" },
        { "xxxN",     "N",      64, 1, "" },   { "NA:A",  "NA:", 1,  1, "" },
        { "NA:A",     "NA:",    0,  1, "" },   { nullptr, "NA:", 64, 1, "" },
        { "NA:A",     nullptr,  64, 1, "" },
        // clang-format on
    };
    for (const auto &c : cases) {
        char     buffer[64] = "old";
        EdgeText section(c.section ? c.section : "");
        shared::store(g_server_running, c.running);
        int32_t copied = upnp_client_db_getKeyword(
            c.section ? section.data : nullptr, buffer, c.size, c.key);
        EXPECT_STREQ(buffer, c.expected) << text_of(c.section);
        EXPECT_EQ(copied, *c.expected != '\0');
    }
    shared::store(g_server_running, 0);
    EXPECT_EQ(upnp_client_db_getKeyword("NA:A", nullptr, 9, "NA:"), 0);
}

TEST(MimeTypes, AreFoundByTheFirstPlaceOfTheExtension)
{
    ClientTestDb db(">>\nMT:MP3,wav audio/x-y\nMT:m2ts,ts video/a\n"
                    ">>\nMT:ts video/a2 more\n>>,\n");
    static const struct {
        int32_t     id;
        const char *extension, *expected;
    } cases[] = {
        { 0, "mp3", "audio/x-y" }, { 0, "WAV", "audio/x-y" },
        { 0, "p3", nullptr },      { 0, "wa", nullptr },
        { 0, "ts", nullptr },      { 0, "m2ts", "video/a" },
        { 0, "", nullptr },        { 0, nullptr, nullptr },
        { 1, "ts", "video/a" },
    };
    for (const auto &c : cases)
        EXPECT_STREQ(upnp_client_db_needs_special_mime_type(c.id, c.extension),
                     c.expected)
            << text_of(c.extension);

    EXPECT_STREQ(upnp_client_db_special_mime_type_get_extension("audio/x-y"),
                 "MP3");
    EXPECT_EQ(upnp_client_db_special_mime_type_get_extension("audio"), nullptr);
    EXPECT_EQ(upnp_client_db_special_mime_type_get_extension(nullptr), nullptr);
    EXPECT_EQ(upnp_client_db_get_from_mime_type_table("audio/x"), nullptr);
    EXPECT_EQ(upnp_client_db_get_from_mime_type_table(nullptr), nullptr);
}

TEST(Lists, NameTypesAndMachines)
{
    ClientTestDb db(">>\nNA:First\n>>\nXM:X\n>>\nNA:" + std::string(200, 'n') +
                    "\n>>\n");
    EXPECT_EQ(take(upnp_client_db_get_table()),
              "000,First,002," + std::string(127, 'n'));
    for_each_failing_allocation([] { take(upnp_client_db_get_table()); });

    EXPECT_EQ(upnp_client_db_have_netgear_rtp_client(), 0);
    for (const char *name : { "last", "first", "" }) {
        ClientEntry *entry = upnp_client_db_add_new_client();
        entry->id = 19;
        entry->friendly_name = *name ? upnp_strdup_impl(name) : nullptr;
        entry->view = *name ? nullptr : upnp_strdup_impl("Music");
    }
    EXPECT_EQ(upnp_client_db_have_netgear_rtp_client(), 1);
    EXPECT_EQ(take(upnp_client_get_friendlyname(19)), "first");
    EXPECT_EQ(take(upnp_client_db_get_updated_view(19)), "Music");
    EXPECT_EQ(take(upnp_client_get_friendlyname(1)), "(null)");
    EXPECT_EQ(take(upnp_client_db_get_updated_view(1)), "(null)");
}
