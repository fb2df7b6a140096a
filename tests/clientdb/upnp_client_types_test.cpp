// upnp_client_types_test.cpp - cutting clients.db, its MIME table, settings.

#include "clientdb/client_state.h"
#include "clientdb/client_test_db.h"
#include "clientdb/upnp_client_query.h"
#include "clientdb/upnp_client_table.h"
#include "runtime/upnp_exit.h"
#include "support/failing_heap.h"
#include "support/log_lines.h"

#include <gtest/gtest.h>
#include <sstream>

using clientdb::client_db_entries;
using clientdb::client_mime_extensions;
using clientdb::client_mime_types;

static std::vector<std::string> sections()
{
    std::vector<std::string> all;
    for (char *const *slot = client_db_entries; *slot; ++slot)
        all.push_back(*slot);
    return all;
}

static std::string mime_rows()
{
    std::string all;
    for (size_t i = 0; i < clientdb::MIME_ROWS && client_mime_types[i]; ++i)
        all += std::string(client_mime_extensions[i]) + "=" +
               client_mime_types[i] + " ";
    return all;
}

TEST(Sections, RunFromMarkToMark)
{
    static const struct {
        const char              *why, *file;
        std::vector<std::string> expected;
    } cases[] = {
        { "one byte", ">", {} },
        { "a single mark has no end", ">>\nNA:A\n", {} },
        { "two marks, the last byte cut", ">>\nNA:A\n>>\n", { ">>\nNA:A" } },
        { "text around", "x\n>>A\n>>B\n>>tail\n", { ">>A", ">>B" } },
        { "a mark inside a value", ">>A>>B\n>>\n", { ">>", ">>B" } },
        { "three in a row: an empty one", ">>>A\n>>B\n>>\n", { "", ">>B" } },
        { "the last mark must be whole", ">>A\n>>", {} },
    };
    ClientTestDb db("");
    for (const auto &c : cases) {
        db.reload(c.file);
        EXPECT_EQ(sections(), c.expected) << c.why;
    }
}

TEST(Sections, AreAtMost199)
{
    std::string file;
    for (int i = 0; i < 250; ++i)
        file += ">>\nNA:" + std::to_string(i) + "\n";

    ClientTestDb db("");
    register_upnp_exit_function([](int32_t code) { return code; });
    std::string lines = log_lines([&] { db.reload(file + ">>\n"); });
    register_upnp_exit_function(nullptr);
    EXPECT_NE(lines.find("Too much clients in clients.db\n"), lines.npos);
    EXPECT_EQ(sections().size(), 199u);
    EXPECT_EQ(client_db_entries[199], nullptr);
}

TEST(MimeTable, IsReadAcrossAllSections)
{
    static const struct {
        const char *why, *file, *expected;
    } cases[] = {
        { "a list", ">>\nMT:mp4,m4v video/x-a\n>>,\n",
          "mp4=video/x-a m4v=video/x-a " },
        { "two types for one extension",
          "MT:mp4 video/x-a\nMT:mp4 video/x-b\nMT:mp4 video/x-a\n,\n",
          "mp4=video/x-a mp4=video/x-b " },
        { "no comma behind: the end", "MT:a v/a\nMT:b v/b\n", "a=v/a " },
        { "no blank", "MT:a,b\n", "" },
        { "cut to nine and at the comma", "MT:abcdefghijk v/a,v/b\n",
          "abcdefghi=v/a " },
        { "high bytes end a word", "MT:a\xC3\xA4 v/\xC3\n", "a=v/ " },
        { "no file: nothing is left", "", "" },
    };
    ClientTestDb db("");
    for (const auto &c : cases) {
        db.reload(c.file);
        EXPECT_EQ(mime_rows(), c.expected) << c.why;
    }
    EXPECT_TRUE(sections().empty());
}

TEST(MimeTable, HoldsAHundredRows)
{
    ClientTestDb db("");
    for (int i = 0; i < 100; ++i)
        upnp_client_db_add_mime_table(std::to_string(i).c_str(), "v/a");
    EXPECT_EQ(log_lines([] {
                  upnp_client_db_add_mime_table("99", "v/a");
                  upnp_client_db_add_mime_table("100", "v/a");
                  upnp_client_db_add_mime_table(nullptr, "v/b");
              }),
              "[Warning] - LOG_CLIENT_DB: upnp_client_db_add_mime_table : MIME "
              "TYPE TABLE FULL!\n");
    EXPECT_STREQ(client_mime_extensions[99], "99");
}

TEST(MimeTable, KeepsWholeRowsWhenMemoryIsOut)
{
    ClientTestDb db("");
    for_each_failing_allocation([] {
        upnp_client_db_add_mime_table("a", "v/a");
        upnp_client_db_add_view("view");
        EXPECT_EQ(!client_mime_types[0], !client_mime_extensions[0]);
    });
    EXPECT_EQ(mime_rows(), "a=v/a ");
}

TEST(Settings, ViewsAndDefaults)
{
    ClientTestDb db(">>\nDV:Mus\n>>\nDV:Video\n>>\n");
    upnp_client_db_add_view(nullptr);
    upnp_client_db_add_view("Music");
    upnp_client_db_add_view("Photo");
    EXPECT_STREQ(clientdb::client_views, "Music#Photo#");
    EXPECT_EQ(take(clientdb::client_registered_default_view(0)), "Mus");
    EXPECT_EQ(take(clientdb::client_registered_default_view(1)), "(null)");

    upnp_client_db_set_defaultview(std::string(200, 'v').c_str());
    upnp_client_db_set_defaultview(nullptr);
    upnp_client_db_set_defaultview(g_strTreeDefaultView + 27);
    EXPECT_EQ(g_strTreeDefaultView, std::string(100, 'v'));
    for (int32_t value : { 0, 1 }) {
        EXPECT_EQ(upnp_client_db_set_autoenable(value), value);
        EXPECT_EQ(upnp_client_db_add_new_client()->enabled, value);
    }
    EXPECT_EQ(g_pClients->id, 1);
}

// The file that is shipped: its fixed places, and every line of MIME types
// found again by each of its extensions.
TEST(ShippedTypes, KeepTheirPlacesAndAnswerForEveryMimeLine)
{
    ClientTestDb db(read_file(QM_RESOURCES "/clients.db"));

    ASSERT_GE(sections().size(), 150u);
    EXPECT_LT(sections().size(), 199u) << "the 199th ends the program";
    EXPECT_EQ(sections()[0].find(">>\nNA:This server\n"), 0u);
    EXPECT_EQ(sections()[1].find(">>\nNA:Generic\n"), 0u);
    EXPECT_EQ(sections()[19], ">>\nNA:Netgear RTP client");
    EXPECT_EQ(client_mime_types[clientdb::MIME_ROWS - 1], nullptr);

    for (int32_t id = 0; client_db_entries[id]; ++id) {
        std::istringstream lines(client_db_entries[id]);
        char               list[64], type[64];
        for (std::string line; std::getline(lines, line);) {
            if (sscanf(line.c_str(), "MT:%63s %63s", list, type) != 2)
                continue;
            for (const char *word = strtok(list, ","); word;
                 word = strtok(nullptr, ","))
                EXPECT_EQ(
                    text_of(upnp_client_db_needs_special_mime_type(id, word)),
                    type)
                    << id << " " << line;
        }
    }
}
