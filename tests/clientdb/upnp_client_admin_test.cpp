// upnp_client_admin_test.cpp - clients.data and what an operator does.

#include "clientdb/upnp_client_admin.h"

#include "clientdb/client_test_db.h"
#include "clientdb/upnp_client_table.h"
#include "support/failing_heap.h"
#include "support/log_lines.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

static constexpr char types[] = ">>\nNA:Own\n>>\nNA:Generic\n"
                                ">>\nNA:Tv\nHH:tv\nH2:t\nDV:Mus\n>>\n";
static constexpr char mac[] = "AA:BB:CC:DD:EE:0F";

// "-" for null.
static std::string take(UpnpString *text)
{
    std::string copy = text_of(text ? text->buffer : nullptr);
    upnp_string_free(text);
    return copy;
}

static void write_file(const ClientTestDb &db, const std::string &text)
{
    std::ofstream(db.directory + "/clients.data", std::ios::binary) << text;
}

static int count_clients()
{
    int n = 0;
    for (const ClientEntry *entry = g_pClients; entry; entry = entry->next)
        ++n;
    return n;
}

static const std::string full_record =
    "007Example\n017AA:BB:CC:DD:EE:0F\n00810.0.0.7\n006uuid:1\n002h1\n000\n"
    "002/i\n009image/png\n003002\n0010\n003001\n003Own\n0011\n";
static const std::string empty_record =
    "000\n000\n000\n000\n000\n000\n000\n000\n"
    "003-12\n0017\n003002\n000\n0010\n";

TEST(File, IsReadAndWrittenToTheByte)
{
    ClientTestDb db(types);
    write_file(db, full_record + empty_record);
    client_table_read();
    ASSERT_EQ(count_clients(), 2);
    EXPECT_EQ(g_pClients->id, -12);
    EXPECT_EQ(g_pClients->enabled, 7);
    EXPECT_EQ(g_pClients->mac, nullptr);
    EXPECT_STREQ(g_pClients->next->friendly_name, "Example");
    EXPECT_STREQ(g_pClients->next->icon_mime_type, "image/png");
    EXPECT_EQ(g_pClients->next->connected, 0);

    client_table_write();
    EXPECT_EQ(read_file(db), empty_record + full_record)
        << "each restart turns the order around";
}

TEST(File, GivesItsWholeRecordsWhereverItIsCut)
{
    ClientTestDb      db(types);
    const std::string whole = full_record + empty_record;
    for (size_t length = 0; length <= whole.size(); ++length) {
        write_file(db, whole.substr(0, length));
        client_table_read();
        EXPECT_EQ(count_clients(),
                  (length >= full_record.size()) + (length == whole.size()))
            << length;
    }
    write_file(db, whole);
    for_each_failing_allocation([] { client_table_read(); });
    EXPECT_EQ(count_clients(), 2);
}

TEST(File, OfRandomBytesOrDigitsIsSurvived)
{
    ClientTestDb db(types);
    std::mt19937 random(1);
    for (int turn = 0; turn < 500; ++turn) {
        std::string text(random() % 3000, '\0');
        for (char &c : text)
            c = turn & 1 ? static_cast<char>(random())
                         : "0001239-+ \n"[random() % 11];
        write_file(db, text);
        client_table_read();
        for (const ClientEntry *e = g_pClients; e; e = e->next)
            upnp_string_free(upnp_print_client(nullptr, e));
    }
}

// Adds records with all ids below count, with names of 12 bytes times the id.
static void add_settled_clients(int count)
{
    for (int i = 0; i < count; ++i) {
        ClientEntry *entry = upnp_client_db_add_new_client();
        entry->id = i;
        entry->fix_level = 1;
        entry->friendly_name =
            upnp_strdup_impl(std::string(12 * i, 'n').c_str());
    }
}

TEST(File, HoldsWholeRecordsWhenItsWriterIsKilled)
{
    constexpr int     RECORDS = 40;
    ClientTestDb      db(types);
    const std::string path = db.directory + "/clients.data";
    std::mt19937      random(1);
    std::error_code   error;
    int               cut = 0;
    for (int turn = 0; turn < 10; ++turn) {
        std::filesystem::remove(path);
        pid_t writer = fork();
        if (writer == 0) {
            add_settled_clients(RECORDS);
            for (int i = 0; i < 1000; ++i)
                client_table_write();
            _exit(0);
        }
        intmax_t size = static_cast<intmax_t>(random() % 9000);
        while (static_cast<intmax_t>(std::filesystem::file_size(path, error)) <
               size) {}
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);

        client_table_read();
        int id = RECORDS - count_clients();
        cut += id > 0;
        for (const ClientEntry *e = g_pClients; e; e = e->next, ++id) {
            EXPECT_EQ(e->id, id);
            EXPECT_EQ(text_of(e->friendly_name),
                      id ? std::string(12 * id, 'n') : "-");
        }
        exit_client_table();
    }
    EXPECT_GT(cut, 0);
}

TEST(File, LeavesOutWhatIsDetectedAgainAndWhatIsTooMuch)
{
    static const struct {
        const char *why;
        int32_t     fix_level, autoenable;
        const char *view;
        bool        is_kept;
    } cases[] = {
        { "detected", 0, 1, nullptr, false },
        { "detected, default view", 0, 1, "Default", false },
        { "a view of its own", 0, 1, "Own", true },
        { "settled", 1, 1, nullptr, true },
        { "nobody is let in", 0, 0, nullptr, true },
    };
    ClientTestDb db(types);
    upnp_client_db_set_defaultview("Default");
    for (const auto &c : cases) {
        ClientEntry *entry = upnp_client_db_add_new_client();
        entry->enabled = 0;
        entry->fix_level = c.fix_level;
        entry->view = upnp_strdup_impl(c.view);
        upnp_client_db_set_autoenable(c.autoenable);
        client_table_write();
        upnp_client_db_set_autoenable(1);
        EXPECT_EQ(!read_file(db).empty(), c.is_kept) << c.why;
        exit_client_table();
    }

    add_settled_clients(103);
    g_pClients->fix_level = 0;
    client_table_write();
    client_table_read();
    EXPECT_EQ(count_clients(), 100);
    EXPECT_EQ(g_pClients->id, 2);
    size_t longest = 0;
    for (const ClientEntry *e = g_pClients; e; e = e->next)
        longest = std::max(longest, strlen(e->friendly_name));
    EXPECT_EQ(longest, 999u);
    clear_clients();
    EXPECT_EQ(g_pClients, nullptr);
    EXPECT_EQ(read_file(db), "-");
    upnp_client_db_set_defaultview("");
}

TEST(Operator, AddsAndChangesAMachine)
{
    ClientTestDb db(types);
    upnp_client_db_add_view("Music");
    upnp_client_db_set_defaultview("Default");
    static const struct {
        const char *why;
        int32_t     id, enabled;
        const char *view, *expected;  // id, enabled, name, view, has view
        bool        is_written;
    } steps[] = {
        { "new, view unused", 1, 1, "A", "1 1 Generic Default 0", true },
        { "the same", 1, 1, nullptr, "1 1 Generic Default 0", false },
        { "a view", 1, 1, "A", "1 1 Generic A 0", true },
        { "the same view", 1, 1, "A", "1 1 Generic A 0", false },
        { "the view cleared", 1, 1, "Default", "1 1 Generic Default 0", true },
        { "not enabled", 1, 0, nullptr, "1 0 Generic Default 0", true },
        { "another type, view dropped", 2, 0, "A", "2 0 Tv Mus 1", true },
        { "no such type", -1, 0, nullptr, "-1 0  Default 0", true },
        { "behind the table", 200, 0, nullptr, "200 0  Default 0", true },
    };
    for (const auto &c : steps) {
        std::filesystem::remove(db.directory + "/clients.data");
        std::istringstream shown(take(
            upnp_client_add("aa:bb:Cc:dd:ee:0f", c.id, c.enabled, c.view)));
        std::string        lines[11];
        for (std::string &line : lines)
            std::getline(shown, line);
        EXPECT_EQ(lines[0] + " " + lines[4] + " " + lines[5] + " " + lines[8] +
                      " " + lines[9],
                  c.expected)
            << c.why;
        EXPECT_EQ(lines[1] + lines[10], mac + std::string("##########"));
        EXPECT_EQ(read_file(db) != "-", c.is_written) << c.why;
    }
    EXPECT_EQ(count_clients(), 1);
    EXPECT_EQ(g_pClients->ip, nullptr);
    EXPECT_EQ(g_pClients->fix_level, 1);
    upnp_client_db_set_defaultview("");
}

TEST(Operator, IsToldOfAddressesThatAreNone)
{
    ClientTestDb db(types);
    for (const char *text : { "", "aa-bb-cc-dd-ee-ff", "aa:bb:cc:dd:ee:f",
                              "aa:bb:cc:dd:ee:ff:", "aa:bb:cc:dd:ee:fg",
                              "aabbccddeeff00112", "aa:bb:cc:dd:ee:f\xC3" })
        EXPECT_EQ(take(upnp_client_add(text, 1, 1, nullptr)),
                  "invalid MAC address")
            << text;
    EXPECT_EQ(
        log_lines([] { take(upnp_client_add("x", 1, 1, nullptr)); }),
        "[Info] - LOG_CLIENT_DB: upnp_client_add : \"x\" is not a valid MAC "
        "adddress\n");
    EXPECT_EQ(take(upnp_client_add(nullptr, 1, 1, nullptr)), "-");
    EXPECT_EQ(g_pClients, nullptr);
}

TEST(Operator, EnablesListsAndDeletes)
{
    ClientTestDb db(types);
    write_file(db, empty_record + full_record + full_record);
    client_table_read();
    static const std::string shown =
        "2\nAA:BB:CC:DD:EE:0F\n10.0.0.7\nuuid:1\n1\nExample\n/i\nimage/png\n"
        "Own\n1\n##########\n";

    EXPECT_EQ(take(upnp_client_enable_by_ip("10.0.0.7", 0)), "-");
    EXPECT_EQ(read_file(db), empty_record + full_record + full_record);
    EXPECT_EQ(take(upnp_client_enable_by_ip("10.0.0.7", 1)), shown + shown);
    for (auto enable :
         { upnp_client_enable_by_friendlyname, upnp_client_enable_by_udn,
           upnp_client_enable_by_mac, upnp_client_enable_by_ip }) {
        EXPECT_EQ(take(enable("other", 0)), "-");
        EXPECT_EQ(take(enable(nullptr, 0)), "-");
    }
    EXPECT_NE(take(upnp_client_enable_by_friendlyname("Example", 0)), "-");
    EXPECT_EQ(take(upnp_client_enable_by_udn("uuid:1", 1)), shown + shown);

    EXPECT_EQ(take(upnp_get_connected_client_list()),
              shown + shown + "-12\n\n\n\n7\n\n\n\n\n0\n##########\n");
    for_each_failing_allocation([] {
        take(upnp_get_connected_client_list());
        take(upnp_client_enable_by_mac(mac, 0));
        take(upnp_client_enable_by_mac(mac, 1));
        take(upnp_client_add("00:00:00:00:00:00", 2, 1, nullptr));
        take(upnp_client_delete("00:00:00:00:00:00"));
    });
    EXPECT_EQ(take(upnp_client_delete(nullptr)), "-");
    EXPECT_EQ(take(upnp_client_delete("aa:bb:cc:dd:ee:0f")), "not found!");
    EXPECT_EQ(take(upnp_client_delete(mac)), "deleted!");
    EXPECT_EQ(take(upnp_client_delete(mac)), "deleted!");
    EXPECT_EQ(read_file(db), empty_record);
    EXPECT_EQ(take(upnp_print_client(nullptr, nullptr)), "-");
}
