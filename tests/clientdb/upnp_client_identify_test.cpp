// upnp_client_identify_test.cpp - machines recognised by address, MAC and
// description, and what is kept of them.

#include "clientdb/upnp_client_identify.h"

#include "clientdb/client_match.h"
#include "clientdb/client_state.h"
#include "clientdb/client_test_db.h"
#include "clientdb/upnp_client_admin.h"
#include "clientdb/upnp_client_table.h"
#include "http/http_client.h"
#include "netif/upnp_netif.h"
#include "runtime/upnp_thread.h"
#include "support/failing_heap.h"

#include <atomic>
#include <gtest/gtest.h>
#include <pthread.h>
#include <thread>
#include <vector>

// The network of these tests: 10.0.0.* has MACs, "10.0.0.7" for one
// "00:00:00:00:00:70"; all devices give one description.
static std::atomic<int> mac_lookups;
static std::atomic<int> fetches;
static std::string      description, fetched_url;
static constexpr char   types[] = ">>\nNA:Own\n>>\nNA:Generic\n"
                                  ">>\nNA:Plain\nHH:plain\nDV:Mus\n"
                                  ">>\nNA:Pc\nHH:desk\nDB:FIXPC\n"
                                  ">>\nNA:Hard\nHH:hard\nDB:FIX\n"
                                  ">>\nNA:Dlna\nHH:DLNADOC/1.50\n>>\n";
static constexpr char   base_url[] = "http://10.0.0.5:9000/";

extern "C" {
int32_t     __wrap_GetMACaddress(const char *ip, char *mac);
UpnpString *__wrap_HTTP_get(const char *url);
}

int32_t __wrap_GetMACaddress(const char *ip, char *mac)
{
    ++mac_lookups;
    snprintf(mac, UPNP_MAC_SIZE, "00:00:00:00:00:%.2s0", ip + 7);
    return strncmp(ip, "10.0.0.", 7) == 0;
}

UpnpString *__wrap_HTTP_get(const char *url)
{
    fetched_url = url;
    ++fetches;
    return description.empty() ? nullptr
                               : upnp_string_create(description.c_str(), 0);
}

// The table, from its head: "ip id/fix_level name view;" of each record.
static std::string table()
{
    std::string all;
    for (const ClientEntry *e = g_pClients; e; e = e->next)
        all += text_of(e->ip) + " " + std::to_string(e->id) + "/" +
               std::to_string(e->fix_level) + " " + text_of(e->friendly_name) +
               " " + text_of(e->view) + ";";
    return all;
}

static ClientEntry *add_record(const char *ip, const char *mac, int32_t id,
                               int32_t fix_level, const char *header)
{
    ClientEntry *entry = upnp_client_db_add_new_client();
    entry->ip = upnp_strdup_impl(ip);
    entry->mac = upnp_strdup_impl(mac);
    entry->header2 = upnp_strdup_impl(header);
    entry->id = id;
    entry->fix_level = fix_level;
    entry->connected = 1;
    return entry;
}

TEST(Request, OfTheServerItselfIsNoClient)
{
    ClientTestDb db(types);
    static const struct {
        const char *url, *ip, *head;
        int32_t     expected;
    } cases[] = {
        { base_url, "10.0.0.5", "GET /rpc/x HTTP/1.1\r\n\r\n", 0 },
        { base_url, "10.0.0.5", "GET / HTTP/1.1\r\nReferer: /rpc/\r\n", 5 },
        { base_url, "10.0.0.5", "GET /RPC/", 5 },
        { base_url, "10.0.0.5", "a\r\nM-SEARCH", 0 },
        { base_url, "10.0.0.5", "a\r\nAggregation, QuorelMedia/1", 0 },
        { "http://10.0.0.50:9000/", "10.0.0.5", "GET /configpage/", 0 },
        { base_url, "10.0.0.6", "GET /rpc/", 5 },
        { base_url, "", "GET /", 0 },
        { base_url, "10.0.0.6", "", 0 },
        { nullptr, "10.0.0.6", "GET /", 0 },
    };
    for (const auto &c : cases)
        EXPECT_EQ(upnp_client_db_add_by_ip(c.url, c.ip, c.head), c.expected)
            << text_of(c.head);
    EXPECT_EQ(table(), "10.0.0.6 5/0 Dlna -;10.0.0.5 5/0 Dlna -;");
}

TEST(Request, KeepsOrChangesTheRecordOfItsAddress)
{
    static const struct {
        const char *why, *head;
        int32_t     id, fix_level, connected;
        const char *expected;
        bool        is_written;
    } cases[] = {
        { "settled", "hard", 7, 1, 1, "10.0.0.7 7/1 - -;", false },
        { "free, nothing matches", "?", 7, 0, 1, "10.0.0.7 7/0 - -;", false },
        { "free, the same type", "plain", 2, 0, 1, "10.0.0.7 2/0 - -;", false },
        { "free, another", "plain", 7, 0, 1, "10.0.0.7 2/0 Plain Mus;", true },
        { "pc, its header", "hard own", 7, 2, 1, "10.0.0.7 7/2 - -;", false },
        { "pc, another case", "OWN", 7, 2, 1, "10.0.0.7 7/2 - -;", false },
        { "pc, a free type", "plain", 7, 2, 1, "10.0.0.7 7/2 - -;", false },
        { "pc, a fixed one", "hard", 7, 2, 1, "10.0.0.7 4/1 Hard -;", true },
        { "pc, another pc", "desk", 7, 2, 1, "10.0.0.7 3/2 Pc -;", true },
        { "back, settled", "hard", 7, 1, 0, "10.0.0.7 7/1 - -;", true },
        { "back, pc", "plain", 7, 2, 0, "10.0.0.7 7/2 - -;", true },
        { "back, free: later", "plain", 7, 0, 0, "10.0.0.7 7/0 - -;", false },
    };
    for (const auto &c : cases) {
        ClientTestDb db(types);
        upnp_client_db_add_view("Music");
        add_record("10.0.0.7", "00:00:00:00:00:70", c.id, c.fix_level, "own")
            ->connected = c.connected;
        int32_t id = upnp_client_db_add_by_ip(base_url, "10.0.0.7", c.head);
        EXPECT_EQ(id, c.connected || c.fix_level ? g_pClients->id : 2) << c.why;
        EXPECT_EQ(table(), c.expected) << c.why;
        EXPECT_EQ(g_pClients->connected, 1) << c.why;
        EXPECT_EQ(read_file(db) != "-", c.is_written) << c.why;
    }
}

TEST(Request, FindsAMachineThatMovedByItsMac)
{
    ClientTestDb db(types);
    add_record("10.0.0.1", "other", 2, 1, "");
    add_record("10.0.0.2", "00:00:00:00:00:70", 2, 1, "");
    add_record("10.0.0.3", "other", 2, 1, "");
    add_record(nullptr, "00:00:00:00:00:70", 9, 0, "");

    EXPECT_EQ(upnp_client_db_add_by_ip(base_url, "10.0.0.7", "hard"), 2);
    EXPECT_EQ(table(), "10.0.0.7 2/1 - -;10.0.0.7 9/0 - -;10.0.0.3 2/1 - -;"
                       "10.0.0.1 2/1 - -;");
    EXPECT_GT(read_file(db).size(), 1u);
}

TEST(Request, OfANewMachineMakesARecordOnlyWithAMac)
{
    ClientTestDb db(">>\n>>\nNA:Generic\n>>\nHH:plain\n>>\n");
    EXPECT_EQ(upnp_client_db_add_by_ip(base_url, "10.0.0.8", "?"), 1);
    EXPECT_EQ(table(), "10.0.0.8 1/0 - -;");
    EXPECT_STREQ(g_pClients->mac, "00:00:00:00:00:80");
    EXPECT_EQ(g_pClients->header1, nullptr);

    int before = mac_lookups;
    EXPECT_EQ(upnp_client_db_add_by_ip(base_url, "10.0.9.8", "plain"), 2);
    EXPECT_EQ(upnp_client_db_add_by_ip(base_url, "10.0.9.8", "?"), 1);
    EXPECT_EQ(mac_lookups - before, 1) << "a failed lookup is remembered";
    for (int i = 0; i < 100; ++i)
        upnp_client_db_add_by_ip(base_url,
                                 ("10.0.8." + std::to_string(i)).c_str(), "?");
    EXPECT_EQ(mac_lookups - before, 101) << "for its address only";
    EXPECT_EQ(table(), "10.0.0.8 1/0 - -;");
}

TEST(Request, IsAnsweredWithoutMemory)
{
    ClientTestDb db(types);
    for_each_failing_allocation([] {
        exit_client_table();
        EXPECT_EQ(upnp_client_db_add_by_ip(base_url, "10.0.0.7", "hard"), 4);
        EXPECT_TRUE(!g_pClients || (g_pClients->ip && g_pClients->mac));
    });
}

TEST(Access, FollowsTheRecordAndElseTheSetting)
{
    ClientTestDb db(types);
    add_record("10.0.0.7", "", 1, 0, "")->enabled = 0;
    add_record("10.0.0.5", "", 1, 0, "")->enabled = 0;
    strcpy(g_IPaddress[0], "10.0.0.5");
    g_nInterfaceCount = 1;
    for (int32_t value : { 0, 1 }) {
        upnp_client_db_set_autoenable(value);
        EXPECT_EQ(upnp_client_db_access_allowed(nullptr), value);
        EXPECT_EQ(upnp_client_db_access_allowed("10.0.0.8"), value);
        EXPECT_EQ(upnp_client_db_access_allowed("10.0.0.7"), 0);
        EXPECT_EQ(upnp_client_db_access_allowed("10.0.0.5"), 1);
    }
    g_nInterfaceCount = 0;
}

TEST(Description, IsSearchedForTheFirstTypeWithAllItsMarks)
{
    ClientTestDb db(">>\nDD:A\nD2:B\nD3:C\n>>\nDD:A\nD2:B\nDB:FIX\nHH:h\n"
                    "H2:2\n>>\nDD:A\nD3:Z\nDB:FIXPC\n>>\nD2:B\n>>\n");
    static const struct {
        const char *body, *expected;  // id, level, H2, HH, name, icon
    } cases[] = {
        { "", "0: -1 -1" },
        { "none", "1: -1 -1" },
        { "A C", "1: 0 0  " },
        { "A B", "1: 1 1 2 h" },
        { "A", "1: 2 2  " },
        { "<a>B<icon><mimetype>i/p</mimetype><url>/u</url></icon><icon><url>v"
          "</url></icon><friendlyName>N&amp;A</friendlyName></a>",
          "1: 1 1 2 h N&A /u i/p" },
        { "<a><icon/><url>/u</url></a>", "1: -1 -1" },
    };
    for (const auto &c : cases) {
        int32_t id = -1, fix_level = -1;
        char   *texts[5] = {};
        description = c.body;
        std::string found =
            std::to_string(upnp_client_db_check_device_description(
                "http://10.0.0.7/", &texts[2], &texts[0], &texts[1], &texts[3],
                &texts[4], &id, &fix_level));
        found += ": " + std::to_string(id) + " " + std::to_string(fix_level);
        for (char *text : texts)
            found += text ? " " + take(text) : "";
        EXPECT_EQ(found, c.expected) << c.body;
    }
}

// Type 1 has no marks, and 19 is for an operator to give. A general mark in
// the wrong place hides a special one: heads go by the last match, or the
// first fixed one, and descriptions by the first.
TEST(ShippedTypes, AreEachFoundByTheirOwnMarks)
{
    ClientTestDb db(read_file(QM_RESOURCES "/clients.db"));
    auto         mark_of = [](int32_t id, const char *key) {
        return take(clientdb::copy_keyword(id, key));
    };
    for (int32_t id = 2; clientdb::client_db_entries[id]; ++id) {
        int32_t     by_head = id, by_description = id;
        std::string mark = mark_of(id, "HH:") + mark_of(id, "H2:");
        if (!mark.empty())
            upnp_client_db_check_header(mark.c_str(), &by_head, nullptr,
                                        nullptr, nullptr, nullptr);
        EXPECT_EQ(by_head, id) << mark;
        EXPECT_LT(mark.size(), 127u) << mark;

        description = mark_of(id, "DD:") + "\n" + mark_of(id, "D2:");
        upnp_client_db_check_device_description(
            "http://10.0.0.7/", nullptr, nullptr, nullptr, nullptr, nullptr,
            description == "\n" ? nullptr : &by_description, nullptr);
        EXPECT_EQ(by_description, id) << description;
        EXPECT_NE(mark.empty() && description == "\n", id != 19) << id;
    }
}

static void follow(const std::string &packet)
{
    uintptr_t thread = upnp_start_joinable_thread(
        upnp_client_db_check_client, upnp_strdup_impl(packet.c_str()), 5);
    pthread_join(static_cast<pthread_t>(thread), nullptr);
}

TEST(Announcement, IsFetchedWhereItNamesADevice)
{
    static const std::string usn = "\r\nUsn: UUID:12345-67::x\r\n";
    static const struct {
        std::string packet, expected;
    } cases[] = {
        { "LOCATION: HTTP://10.0.0.7:80/d.xml" + usn,
          "HTTP://10.0.0.7:80/d.xml" },
        { "http://10.0.0.7/d.xml\xC3" + usn, "http://10.0.0.7/d.xml" },
        { usn + "http://10.0.0.7", "http://10.0.0.7" },
        { "http://10.0.0.7/" + std::string(300, 'x') + usn,
          "http://10.0.0.7/" + std::string(239, 'x') },
        { "https://10.0.0.7/" + usn, "" },
        { "http://10.0.9.7/" + usn, "" },
        { "http://10.0.0.7/\r\nUSN: uuid:123", "" },
        { "http://10.0.0.7/\r\nUSN: uuid:12345", "" },
        { "http://10.0.0.7/ USN: uuid:RemoteUI-Client-Embedded-Device:", "" },
        { "http://10.0.0.7/" + std::string(1000, ' ') + usn, "" },
        { "", "" },
    };
    for (const auto &c : cases) {
        ClientTestDb db(types);
        fetched_url = description = "";
        follow(c.packet);
        EXPECT_EQ(fetched_url, c.expected) << c.packet;
        EXPECT_EQ(g_pDiscoveredUDNs != nullptr, !c.expected.empty());
        EXPECT_EQ(g_pClients, nullptr);
    }
}

TEST(Announcement, TypesTheDeviceOnce)
{
    ClientTestDb db(">>\n>>\nDD:Acme\nHH:h\nH2:2\nDB:FIX\n>>\n");
    auto         packet = [](int n) {
        return "LOCATION: http://10.0.0.7:80/d\r\nUSN: uuid:1234567" +
               std::to_string(n) + "::x";
    };
    description = "<a><friendlyName>Acme</friendlyName></a>";
    int before = fetches;
    upnp_client_db_add_by_ssdp_alive(nullptr);
    upnp_client_db_add_by_ssdp_alive(packet(1).c_str());
    while (read_file(db) == "-")
        std::this_thread::yield();
    follow(packet(1));
    EXPECT_EQ(fetches - before, 1);
    EXPECT_EQ(table(), "10.0.0.7 1/1 Acme -;");
    EXPECT_STREQ(g_pClients->header1, "2");
    EXPECT_STREQ(g_pClients->header2, "h");
    EXPECT_STREQ(g_pClients->udn, "uuid:12345671");
    EXPECT_EQ(g_pClients->connected, 1);

    g_pClients->connected = g_pClients->enabled = 0;
    add_record("10.0.0.8", "", 1, 1, "");
    description = "Acme";
    follow(packet(2));
    EXPECT_EQ(table(), "10.0.0.7 1/1 - -;10.0.0.8 1/1 - -;")
        << "the name is gone, the record leads";
    EXPECT_EQ(g_pClients->connected + g_pClients->enabled, 0);
}

// Identifying, enabling, listing and deleting in one small network.
TEST(Threads, ShareTheTable)
{
    ClientTestDb             db(types);
    std::vector<std::thread> threads;

    description = "";
    for (int n = 0; n < 16; ++n)
        threads.emplace_back([n] {
            static const char *const words[] = { "plain", "desk", "hard", "?" };
            for (int i = 0; i < 60; ++i) {
                std::string digit = std::to_string((n + i) % 5 + 1);
                std::string ip = "10.0.0." + digit;
                std::string mac = "00:00:00:00:00:" + digit + "0";
                upnp_client_db_add_by_ip("http://10.0.1.1/", ip.c_str(),
                                         words[(n + i) % 4]);
                upnp_string_free(upnp_client_enable_by_ip(ip.c_str(), i & 1));
                upnp_string_free(upnp_get_connected_client_list());
                if (i % 3 == 0)
                    upnp_string_free(upnp_client_delete(mac.c_str()));
                if (i % 7 == 0)
                    upnp_string_free(upnp_client_add(mac.c_str(), 4, 1, "v"));
                upnp_client_db_access_allowed(ip.c_str());
            }
        });
    for (std::thread &thread : threads)
        thread.join();

    int records = 0;
    for (const ClientEntry *e = g_pClients; e; e = e->next, ++records)
        EXPECT_NE(e->mac, nullptr);
    EXPECT_LE(records, 5);
}
