// upnp_client_admin_test.cpp - clients.data and what an operator does.

#include "clientdb/upnp_client_admin.h"

#include "clientdb/client_test_db.h"
#include "clientdb/upnp_client_table.h"
#include "support/failing_heap.h"
#include "support/log_lines.h"

#include <fstream>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

static constexpr char types[] = ">>\nNA:Own\n>>\nNA:Generic\n"
                                ">>\nNA:Tv\nHH:tv\nH2:t\nDV:Mus\n>>\n";
static constexpr char mac[] = "AA:BB:CC:DD:EE:0F";

static std::string take(UpnpString *text)
{
    std::string copy = text ? text->buffer : "(null)";
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
    EXPECT_STREQ(g_pClients->next->header1, "h1");
    EXPECT_EQ(g_pClients->next->fix_level, 1);
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
    write_file(db, full_record + "-01\n" + empty_record);
    client_table_read();
    EXPECT_EQ(count_clients(), 1) << "no field has a negative length";
    write_file(db, whole);
    for_each_failing_allocation([] { client_table_read(); });
    EXPECT_EQ(count_clients(), 2);
}

static std::string name_of(int id)
{
    return std::string(12 * id + 1, 'n');
}

// Adds records with all ids below count, each with a longer name.
static void add_settled_clients(int count)
{
    for (int i = 0; i < count; ++i) {
        ClientEntry *entry = upnp_client_db_add_new_client();
        entry->id = i;
        entry->fix_level = 1;
        entry->friendly_name = upnp_strdup_impl(name_of(i).c_str());
    }
}

TEST(File, HoldsWholeRecordsWhenItsWriterIsKilled)
{
    constexpr int RECORDS = 40;
    ClientTestDb  db(types);
    int           cut = 0;
    for (int turn = 0; turn < 10; ++turn) {
        reset_clients();
        pid_t writer = fork();
        if (writer == 0) {
            add_settled_clients(RECORDS);
            for (int i = 0; i < 1000; ++i)
                client_table_write();
            _exit(0);
        }
        const size_t size = 900 * turn;
        while (read_file(db).size() < size) {}
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);

        client_table_read();
        int id = RECORDS - count_clients();
        cut += id > 0;
        for (const ClientEntry *e = g_pClients; e; e = e->next)
            EXPECT_EQ(e->friendly_name, name_of(id++));
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
    EXPECT_EQ(read_file(db).substr(0, 1003),
              "999" + std::string(999, 'n') + "\n");
    client_table_read();
    EXPECT_EQ(count_clients(), 100);
    EXPECT_EQ(g_pClients->id, 2);
    clear_clients();
    EXPECT_EQ(g_pClients, nullptr);
    EXPECT_EQ(read_file(db), "-");
}

TEST(Operator, AddsAndChangesAMachine)
{
    ClientTestDb db(types);
    upnp_client_db_add_view("Music");
    upnp_client_db_set_defaultview("Default");
    static const struct {
        const char *why;
        int32_t     id, enabled;
        const char *view, *expected;  // from the name on
        bool        is_written;
    } steps[] = {
        { "new, no view", 1, 1, "A", "Generic\n\n\nDefault\n0", true },
        { "the same", 1, 1, nullptr, "Generic\n\n\nDefault\n0", false },
        { "a view", 1, 1, "A", "Generic\n\n\nA\n0", true },
        { "the same view", 1, 1, "A", "Generic\n\n\nA\n0", false },
        { "cleared", 1, 1, "Default", "Generic\n\n\nDefault\n0", true },
        { "not enabled", 1, 0, nullptr, "Generic\n\n\nDefault\n0", true },
        { "another type, view dropped", 2, 0, "A", "Tv\n\n\nMus\n1", true },
        { "no such type", -1, 0, nullptr, "\n\n\nDefault\n0", true },
        { "behind the table", 200, 0, nullptr, "\n\n\nDefault\n0", true },
    };
    for (const auto &c : steps) {
        std::filesystem::remove(db.directory + "/clients.data");
        EXPECT_EQ(
            take(upnp_client_add("aa:bb:Cc:dd:ee:0f", c.id, c.enabled, c.view)),
            std::to_string(c.id) + "\n" + mac + "\n\n\n" +
                std::to_string(c.enabled) + "\n" + c.expected +
                "\n##########\n")
            << c.why;
        EXPECT_EQ(read_file(db) != "-", c.is_written) << c.why;
    }
    EXPECT_EQ(count_clients(), 1);
    EXPECT_EQ(g_pClients->ip, nullptr);
    EXPECT_EQ(g_pClients->fix_level, 1);
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
    EXPECT_EQ(take(upnp_client_add(nullptr, 1, 1, nullptr)), "(null)");
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

    EXPECT_EQ(take(upnp_client_enable_by_ip("10.0.0.7", 0)), "(null)");
    EXPECT_EQ(read_file(db), empty_record + full_record + full_record);
    EXPECT_EQ(take(upnp_client_enable_by_ip("10.0.0.7", 1)), shown + shown);
    for (auto enable :
         { upnp_client_enable_by_friendlyname, upnp_client_enable_by_udn,
           upnp_client_enable_by_mac, upnp_client_enable_by_ip }) {
        EXPECT_EQ(take(enable("other", 0)), "(null)");
        EXPECT_EQ(take(enable(nullptr, 0)), "(null)");
    }
    EXPECT_NE(take(upnp_client_enable_by_friendlyname("Example", 0)), "(null)");
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
    EXPECT_EQ(take(upnp_client_delete(nullptr)), "(null)");
    EXPECT_EQ(take(upnp_client_delete("aa:bb:cc:dd:ee:0f")), "not found!");
    EXPECT_EQ(take(upnp_client_delete(mac)), "deleted!");
    EXPECT_EQ(take(upnp_client_delete(mac)), "deleted!");
    EXPECT_EQ(read_file(db), empty_record);
    EXPECT_EQ(take(upnp_print_client(nullptr, nullptr)), "(null)");
}
