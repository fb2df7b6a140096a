// upnp_netif_test.cpp - interfaces, their limits, and MAC addresses.

#include "netif/upnp_netif.h"

#include "support/failing_heap.h"
#include "support/log_lines.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <sched.h>
#include <string>
#include <sys/ioctl.h>
#include <thread>
#include <unistd.h>

TEST(Interfaces, FixedAddressIsTheOnlyRow)
{
    char    table[2][UPNP_IP_SIZE] = {};
    int32_t count = 7;

    upnp_get_interfaces(&count, table, 2, "10.0.0.1");
    EXPECT_EQ(count, 1);
    EXPECT_STREQ(table[0], "10.0.0.1");
    upnp_get_interfaces(&count, table, 2, "0123456789abcdefg");
    EXPECT_STREQ(table[0], "0123456789abcdef") << "unchecked, but cut";
    EXPECT_STREQ(table[1], "");

    upnp_get_interfaces(&count, table, 0, "10.0.0.2");
    EXPECT_EQ(count, 0) << "no row";
    upnp_get_interfaces(nullptr, table, 2, nullptr);
    upnp_get_interfaces(&count, nullptr, 2, nullptr);
    EXPECT_EQ(get_interface_addresses(nullptr, 400), -1);
}

TEST(Interfaces, NameNeedsRoomAndAnIndex)
{
    static const struct {
        bool    has_name;
        int32_t more_room, index, expected;
    } cases[] = {
        { true, 0, 0, 1 },   { true, -1, 0, -2 }, { true, -99, 0, -2 },
        { true, 0, 7, 0 },   { true, 0, 8, 0 },   { true, 0, -1, -1 },
        { false, 0, 0, -1 },
    };
    char name[IFNAMSIZ] = "?";

    if (get_hwinterface(name, sizeof(name), 0) != 1)
        GTEST_SKIP() << "no interface has an address";
    int32_t room = static_cast<int32_t>(strlen(name)) + 1;
    for (const auto &c : cases)
        EXPECT_EQ(get_hwinterface(c.has_name ? name : nullptr,
                                  room + c.more_room, c.index),
                  c.expected)
            << c.more_room << " " << c.index;
    EXPECT_EQ(get_hwinterface(name, 0, 0), -1);
}

TEST(Mac, BadNamesAndSizesGiveNull)
{
    static const struct {
        const char *name;
        int32_t     size;
        const char *log;
    } cases[] = {
        { "0123456789abcde", 18,
          "[Error] - LOG_SYSTEM: get_mac_address : "
          "Could not get MAC address of interface 0123456789abcde\n" },
        { "0123456789abcdef", 18,
          "[Error] - LOG_SYSTEM: init_ifreq : "
          "illegal interface name: 0123456789abcdef\n" },
        { nullptr, 18,
          "[Error] - LOG_SYSTEM: init_ifreq : "
          "illegal interface name: <null>\n" },
        { "lo", 0, "" },
    };
    char text[UPNP_MAC_SIZE] = "?";

    for (const auto &c : cases)
        EXPECT_EQ(log_lines([&] {
                      EXPECT_EQ(get_mac_address(c.name, text, c.size), nullptr);
                  }),
                  c.log);
    EXPECT_STREQ(text, "?");
    EXPECT_EQ(get_mac_address("lo", text, 6), text);
    EXPECT_STREQ(text, "00:00");
}

TEST(Mac, OfLoopbackAndNobodyIsNotKnown)
{
    char text[UPNP_MAC_SIZE] = "?";

    EXPECT_EQ(GetMACaddress("127.0.0.1", text), 0);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(GetMACaddress(nullptr, text), 0);
}

// A network of its own for one thread: lo with 127.0.0.1 and five more
// addresses, 10.0.0.1 to 10.0.0.5, and on demand "tap0" with a MAC.
struct Network {
    Network() : control(socket(AF_INET, SOCK_DGRAM, 0))
    {
        set(SIOCSIFFLAGS, "lo", "", IFF_UP);
        for (const char *i : { "1", "2", "3", "4", "5" })
            set(SIOCSIFADDR, std::string("lo:") + i, std::string("10.0.0.") + i,
                0);
    }
    ~Network()
    {
        close(tap);
        close(control);
    }

    // One setting of an interface: an address, or else flags.
    void set(unsigned long call, const std::string &name, const std::string &ip,
             short flags)
    {
        ifreq request = {};
        snprintf(request.ifr_name, IFNAMSIZ, "%s", name.c_str());
        if (ip.empty())
            request.ifr_flags = flags;
        else
            request.ifr_addr = address_of(ip.c_str());
        EXPECT_EQ(ioctl(control, call, &request), 0) << name;
    }
    static sockaddr address_of(const char *ip)
    {
        sockaddr_in in = { AF_INET, 0, { inet_addr(ip) }, {} };
        sockaddr    address;
        memcpy(&address, &in, sizeof(address));
        return address;
    }
    bool add_tap()
    {
        ifreq request = { { "tap0" }, {} };
        request.ifr_flags = IFF_TAP | IFF_NO_PI;
        tap = open("/dev/net/tun", O_RDWR | O_CLOEXEC);
        if (tap == -1 || ioctl(tap, TUNSETIFF, &request) == -1)
            return false;
        request.ifr_hwaddr = { ARPHRD_ETHER, "\x02\0\0\0\xab\xcd" };
        EXPECT_EQ(ioctl(control, SIOCSIFHWADDR, &request), 0);
        set(SIOCSIFADDR, "tap0", "192.168.7.1", 0);
        return true;
    }
    void add_peer(const char *ip)
    {
        arpreq request = {};
        request.arp_pa = address_of(ip);
        request.arp_ha = { ARPHRD_ETHER, "\x02\0\0\0\x0f\xa0" };
        request.arp_flags = ATF_PERM | ATF_COM;
        EXPECT_EQ(ioctl(control, SIOCSARP, &request), 0);
    }

    int control;
    int tap = -1;
};

// True when all could be made that the checks need.
static bool check_own_network()
{
    static const uint8_t own_mac[] = { 2, 0, 0, 0, 0xab, 0xcd };
    char                 table[8][UPNP_IP_SIZE] = {};
    char                 name[IFNAMSIZ], text[UPNP_MAC_SIZE];
    uint8_t              mac[6];
    int32_t              count;

    if (unshare(CLONE_NEWNET) == -1)
        return false;
    Network network;
    upnp_get_interfaces(&count, table, 5, nullptr);
    EXPECT_EQ(count, 5);
    EXPECT_STREQ(table[0], "127.0.0.1");
    EXPECT_STREQ(table[4], "10.0.0.4");
    EXPECT_STREQ(table[5], "");
    EXPECT_EQ(get_hwinterface(name, sizeof(name), 5), 1);
    EXPECT_STREQ(name, "lo:5");
    EXPECT_EQ(get_hwinterface(name, sizeof(name), 6), 0);

    fail_allocation_after(0);
    upnp_get_interfaces(&count, table, 8, nullptr);
    fail_allocation_after(-1);
    EXPECT_EQ(count, 6) << "no heap needed";

    bool has_tap = network.add_tap();
    EXPECT_EQ(upnp_get_mac(mac), -1) << "lo has none, its five hide others";
    EXPECT_EQ(std::count(mac, mac + 6, 0x42), 6);
    if (has_tap) {
        network.set(SIOCSIFFLAGS, "lo:5", "", 0);
        network.set(SIOCSIFFLAGS, "lo:4", "", 0);
        EXPECT_EQ(upnp_get_mac(mac), 0);
        EXPECT_EQ(memcmp(mac, own_mac, sizeof(mac)), 0);
        EXPECT_STREQ(get_mac_address("tap0", text, sizeof(text)),
                     "02:00:00:00:ab:cd");
        network.set(SIOCSIFFLAGS, "tap0", "", IFF_UP);
        network.add_peer("192.168.7.7");
        EXPECT_EQ(GetMACaddress("192.168.7.7", text), 1);
        EXPECT_STREQ(text, "02:00:00:00:0F:A0");
        network.set(SIOCSIFFLAGS, "tap0", "", 0);
    }
    network.set(SIOCSIFFLAGS, "lo", "", 0);
    upnp_get_interfaces(&count, table, 8, "");
    EXPECT_EQ(count, 0) << "all down";
    return has_tap;
}

TEST(Interfaces, FirstOnesAreKeptAndTellTheirMacs)
{
    bool is_checked = false;

    std::thread([&] { is_checked = check_own_network(); }).join();
    if (!is_checked)
        GTEST_SKIP() << "may not make a network or a tap device of its own";
}
