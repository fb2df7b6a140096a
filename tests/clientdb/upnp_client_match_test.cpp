// upnp_client_match_test.cpp - the type behind a head, and behind a Browse.

#include "clientdb/client_test_db.h"
#include "clientdb/upnp_client_identify.h"
#include "clientdb/upnp_client_table.h"
#include "support/edge_text.h"
#include "support/log_lines.h"

#include <gtest/gtest.h>
#include <regex>

TEST(ShippedTypes, AreFoundByTheHeadsThatDevicesSend)
{
    static const std::regex record("(.+?) \\| (.) \\| (.+)"), gap(" \\| ");
    ClientTestDb            db(read_file(QM_RESOURCES "/clients.db"));
    std::ifstream           file(QM_HEADS);
    std::smatch             field;
    int                     heads = 0;

    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line[0] == '#')
            continue;
        ASSERT_TRUE(std::regex_match(line, field, record)) << line;
        EdgeText head(
            "GET /media/clip.mp4 HTTP/1.1\r\nHost: 10.0.0.5:9000\r\n" +
            std::regex_replace(field.str(3), gap, "\r\n") +
            "\r\nConnection: close\r\n\r\n");
        int32_t fix_level = -1;
        char   *name = nullptr;
        upnp_client_db_check_header(head.data, nullptr, &fix_level, nullptr,
                                    nullptr, &name);
        EXPECT_EQ(name ? take(name) : "-", field.str(1)) << line;
        EXPECT_EQ(std::to_string(fix_level), field.str(2)) << line;
        ++heads;
    }
    EXPECT_GE(heads, 50);
}

TEST(Head, IsMatchedByTheRulesOfPrecedence)
{
    static const struct {
        const char *why, *types, *head, *expected;  // id, level, H, H2, NA
    } cases[] = {
        { "the later one wins", ">>\n>>HH:a\nNA:1\n>>HH:b\nNA:2\n>>\n", "a b",
          "2 0 b||2" },
        { "nothing of an earlier one stays", ">>\n>>HH:a\nNA:1\n>>H2:b\n>>\n",
          "a b", "2 0 |b|" },
        { "a fixed one ends the search",
          ">>\n>>HH:a\nDB:FIX\n>>HH:b\n>>HH:a\n>>\n", "a b", "1 1 a||" },
        { "fixed for the address", ">>\n>>HH:b\n>>HH:a\nDB:FIXPC\n>>HH:b\n>>\n",
          "a b", "2 2 a||" },
        { "a fixed H2 serves for both", ">>\n>>H2:a\nDB:FIX\n>>\n", "a",
          "1 1 a|a|" },
        { "HH in any case", ">>\n>>HH:aB\n>>\n", "Ab", "1 0 aB||" },
        { "H2 only in its own", ">>\n>>H2:aB\n>>\n", "Ab", "-" },
        { "H2 is not asked beside HH", ">>\n>>HH:x\nH2:a\n>>\n", "a", "-" },
        { "type 0 never unfixed", ">>HH:a\n>>\n", "a", "-" },
        { "type 0 fixed", ">>HH:a\nDB:FIX\n>>\n", "a", "0 1 a||" },
        { "no types", "", "a", "-" },
        { "no head", ">>\n>>HH:a\n>>\n", nullptr, "-" },
    };
    for (const auto &c : cases) {
        ClientTestDb db(c.types);
        int32_t      id = -1, fix_level = 9;
        char        *header1 = nullptr, *header2 = nullptr, *name = nullptr;
        std::string  found = "-";

        if (upnp_client_db_check_header(c.head, &id, &fix_level, &header1,
                                        &header2, &name))
            found = std::to_string(id) + " " + std::to_string(fix_level) + " " +
                    take(header1) + "|" + take(header2) + "|" + take(name);
        else
            EXPECT_EQ(fix_level, 0) << c.why;
        EXPECT_EQ(found, c.expected) << c.why;
    }
}

TEST(Browse, IsComparedWhereTheMarksNameAValue)
{
    ClientTestDb db(">>\n>>\nHB:App/\n>>\nHB:APP/\n"
                    "MB:<Filter>*</Filter><requestcount>20</requestcount>"
                    "<ObjectID></ObjectID><SortCriteria>+dc:title\n"
                    ">>\nHB:App/\nMB:<Filter>*</Filter>\n>>\n");
    static const struct {
        const char *why, *head, *object, *filter, *count, *sort;
        int32_t     expected;
    } cases[] = {
        { "all alike", "app/1", "0", "*", "20", "", 2 },
        { "another value: the next one", "app/1", "0", "*", "30", "", 3 },
        { "another value in all", "app/1", "0", "dc:title", "20", "", -1 },
        { "null is not compared", "app/1", nullptr, nullptr, nullptr, nullptr,
          2 },
        { "marks that name nothing", "app/1", "7", "*", "20", "x", 2 },
        { "another head", "other", "0", "*", "20", "", -1 },
        { "no head", nullptr, "0", "*", "20", "", -1 },
    };
    for (const auto &c : cases) {
        int32_t id = -1;
        upnp_client_db_match_by_browse("BrowseMetadata", c.object, c.filter,
                                       "0", c.count, c.sort, &id, nullptr,
                                       c.head);
        EXPECT_EQ(id, c.expected) << c.why;
    }
}

TEST(Browse, RetypesTheFirstRecordOfAnotherType)
{
    ClientTestDb db(">>\n>>\nNA:New\nHB:app\nMB:x\n>>\n");
    for (int32_t id : { 7, 8, 1 }) {
        ClientEntry *entry = upnp_client_db_add_new_client();
        entry->id = id;
        entry->ip = upnp_strdup_impl("10.0.0.9");
        entry->friendly_name = id == 8 ? upnp_strdup_impl("Old") : nullptr;
    }
    auto retype = [](const char *ip) {
        return log_lines([=] {
            upnp_client_db_match_by_browse(nullptr, nullptr, nullptr, nullptr,
                                           nullptr, nullptr, nullptr, ip,
                                           "App");
        });
    };
    EXPECT_EQ(retype("10.0.0.8"), "");
    EXPECT_EQ(
        retype("10.0.0.9"),
        "[Warning] - LOG_CLIENT_DB: upnp_client_db_update_by_ip : Old (id=1) "
        "detected at IP 10.0.0.9 by browse parameters\n");
    EXPECT_STREQ(g_pClients->friendly_name, "Old");
    EXPECT_EQ(g_pClients->id, 1);
    EXPECT_EQ(g_pClients->fix_level, 1);
    EXPECT_EQ(g_pClients->next->id, 1);
    EXPECT_NE(retype("10.0.0.9"), "");
    EXPECT_EQ(retype("10.0.0.9"), "");
}
