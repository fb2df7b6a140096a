// ssdp_driver.cpp - the SSDP peers on the other hosts of a network.
//
// Each works on the network of one of its host's addresses.
//
// ssdp-driver capture ADDRESS
//     prints "ready", then what is sent to the group, until it is killed: time
//     in ms of the wall clock, sender, port and packet, its line ends as "|".
// ssdp-driver ask ADDRESS <packet
//     sends its input to the group, then a search for "upnp:rootdevice", and
//     prints the targets of the answers that come before those to the latter.
// ssdp-driver latency ADDRESS COUNT
//     searches so often and prints for each the ms until the first answer.
// ssdp-driver flood ADDRESS COUNT SECONDS
//     sends so many searches and as many datagrams of random bytes, evenly
//     over the time.

#include <arpa/inet.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <iterator>
#include <linux/sockios.h>
#include <netinet/in.h>
#include <random>
#include <string>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

static constexpr int    PORT = 1900;
static constexpr size_t MOST_BYTES = 65507;
static constexpr int    ANSWERS = 3;  // each answer comes so often
static constexpr auto   PATIENCE = std::chrono::seconds(5);

static in_addr   local;
static in_addr_t group = inet_addr("239.255.255.250");

[[noreturn]] static void fail(const char *what)
{
    perror(what);
    exit(1);
}

static sockaddr_in address_of(in_addr_t ip, int port)
{
    sockaddr_in address = {};

    address.sin_family = AF_INET;
    address.sin_addr.s_addr = ip;
    address.sin_port = htons(static_cast<uint16_t>(port));
    return address;
}

static int open_socket(in_addr_t ip, int port)
{
    int         fd = socket(AF_INET, SOCK_DGRAM, 0);
    int         on = 1;
    sockaddr_in address = address_of(ip, port);

    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    if (bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)) != 0)
        fail("bind");
    if (setsockopt(fd, IPPROTO_IP, IP_MULTICAST_IF, &local, sizeof(local)) != 0)
        fail("IP_MULTICAST_IF");
    return fd;
}

static void send_to_group(int fd, std::string_view data)
{
    sockaddr_in address = address_of(group, PORT);

    if (sendto(fd, data.data(), data.size(), 0,
               reinterpret_cast<sockaddr *>(&address), sizeof(address)) == -1)
        fail("sendto");
}

// False when nothing comes for a while.
static bool receive(int fd, std::string &packet, sockaddr_in &sender)
{
    char      data[MOST_BYTES];
    socklen_t size = sizeof(sender);
    ssize_t   count = recvfrom(fd, data, sizeof(data), 0,
                               reinterpret_cast<sockaddr *>(&sender), &size);

    if (count >= 0)
        packet.assign(data, static_cast<size_t>(count));
    return count >= 0;
}

static void set_patience(int fd)
{
    timeval time = { std::chrono::seconds(PATIENCE).count(), 0 };

    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof(time));
}

static std::string search_for(const std::string &target)
{
    return "M-SEARCH * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\n"
           "MAN: \"ssdp:discover\"\r\nMX: 1\r\nST: " +
           target + "\r\n\r\n";
}

// --- Commands ----------------------------------------------------------------

// When the last packet arrived, by the kernel's stamp.
static int64_t arrival_ms(int fd)
{
    timeval time = {};

    ioctl(fd, SIOCGSTAMP, &time);
    return int64_t{ time.tv_sec } * 1000 + time.tv_usec / 1000;
}

static void capture()
{
    int         fd = open_socket(group, PORT);
    int         off = 0;
    int         room = 1 << 22;
    ip_mreq     request = { { group }, local };
    std::string packet;
    sockaddr_in sender;

    setsockopt(fd, IPPROTO_IP, IP_MULTICAST_ALL, &off, sizeof(off));
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &room, sizeof(room));
    if (setsockopt(fd, IPPROTO_IP, IP_ADD_MEMBERSHIP, &request,
                   sizeof(request)) != 0)
        fail("IP_ADD_MEMBERSHIP");
    arrival_ms(fd);  // from now on packets are stamped
    std::cout << "ready" << std::endl;
    while (receive(fd, packet, sender)) {
        for (size_t end; (end = packet.find("\r\n")) != packet.npos;)
            packet.replace(end, 2, "|");
        std::cout << arrival_ms(fd) << ' ' << inet_ntoa(sender.sin_addr) << ' '
                  << ntohs(sender.sin_port) << ' ' << packet << std::endl;
    }
}

static void ask()
{
    int         fd = open_socket(local.s_addr, 0);
    std::string input(std::istreambuf_iterator<char>(std::cin), {});
    std::string packet, target, last;
    sockaddr_in sender;

    set_patience(fd);
    send_to_group(fd, input);
    send_to_group(fd, search_for("upnp:rootdevice"));
    while (receive(fd, packet, sender)) {
        size_t start = packet.find("\r\nST: ") + 6;
        target = packet.substr(start, packet.find("\r\n", start) - start);
        if (target == "upnp:rootdevice")
            return;
        if (target != last)
            std::cout << target << std::endl;
        last = target;
    }
    std::cout << "no answer" << std::endl;
}

static void latency(int count)
{
    for (int i = 0; i < count; ++i) {
        int         fd = open_socket(local.s_addr, 0);
        auto        start = Clock::now();
        std::string packet;
        sockaddr_in sender;

        set_patience(fd);
        send_to_group(fd, search_for("upnp:rootdevice"));
        for (int answer = 0; answer < ANSWERS; ++answer) {
            if (!receive(fd, packet, sender))
                fail("receive");
            if (answer == 0)
                std::cout << (Clock::now() - start) / milliseconds(1)
                          << std::endl;
        }
        close(fd);
    }
}

static void flood(int count, int seconds)
{
    static const char *const targets[] = {
        "ssdp:all", "upnp:rootdevice",
        "urn:schemas-upnp-org:service:ContentDirectory:1", "urn:other:device:1"
    };
    std::mt19937     random(1);
    std::string      noise(MOST_BYTES, '\0');
    std::vector<int> sockets;
    auto             start = Clock::now();

    for (char &c : noise)
        c = static_cast<char>(random());
    for (int i = 0; i < 64; ++i)
        sockets.push_back(open_socket(local.s_addr, 0));
    for (int i = 0; i < count; ++i) {
        int    fd = sockets[random() % sockets.size()];
        size_t size = i < 2 ? i * MOST_BYTES : random() % (MOST_BYTES + 1);

        send_to_group(fd, search_for(targets[random() % 4]));
        send_to_group(fd, std::string_view(noise).substr(
                              random() % (MOST_BYTES + 1 - size), size));
        std::this_thread::sleep_until(start + std::chrono::seconds(seconds) *
                                                  i / count);
    }
    std::cout << (Clock::now() - start) / milliseconds(1) << std::endl;
}

int main(int argc, char **argv)
{
    std::string command = argc > 2 ? argv[1] : "";

    if (argc < 3 || inet_aton(argv[2], &local) == 0)
        return 2;
    if (command == "capture" && argc == 3)
        capture();
    else if (command == "ask" && argc == 3)
        ask();
    else if (command == "latency" && argc == 4)
        latency(atoi(argv[3]));
    else if (command == "flood" && argc == 5)
        flood(atoi(argv[3]), atoi(argv[4]));
    else
        return 2;
    return 0;
}
