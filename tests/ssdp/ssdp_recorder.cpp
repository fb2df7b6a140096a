// ssdp_recorder.cpp - what the library would send, recorded in place of
// sending.

#include "ssdp/ssdp_recorder.h"

#include "runtime/upnp_socket.h"

#include <condition_variable>
#include <mutex>
#include <utility>

static std::mutex              lock;
static std::condition_variable has_more;
static std::vector<SentPacket> sent;

extern "C" {
int32_t __real_upnp_sendto(int32_t fd, const void *data, uint32_t length,
                           const char *ip, uint16_t port);
int32_t __wrap_upnp_sendto(int32_t fd, const void *data, uint32_t length,
                           const char *ip, uint16_t port);
void    __real_Sleep(int32_t ms);
void    __wrap_Sleep(int32_t ms);
}

int32_t __wrap_upnp_sendto(int32_t, const void *data, uint32_t length,
                           const char *ip, uint16_t port)
{
    std::lock_guard guard(lock);

    sent.push_back(
        { std::string(static_cast<const char *>(data), length), ip, port });
    has_more.notify_all();
    return static_cast<int32_t>(length);
}

void __wrap_Sleep(int32_t ms)
{
    __real_Sleep(ms / 20);
}

void really_send(const std::string &text, const char *ip, uint16_t port)
{
    int32_t fd = upnp_socket_create_udp();

    setSockOptMulticast(fd, 1, "127.0.0.1");
    __real_upnp_sendto(fd, text.data(), static_cast<uint32_t>(text.size()), ip,
                       port);
    upnp_close_socket(&fd);
}

std::vector<SentPacket> take_sent()
{
    std::lock_guard guard(lock);

    return std::exchange(sent, {});
}

std::vector<SentPacket> await_sent(size_t                    count,
                                   std::chrono::milliseconds limit)
{
    std::unique_lock guard(lock);

    has_more.wait_for(guard, limit, [&] { return sent.size() >= count; });
    return std::exchange(sent, {});
}

std::string line_of(const SentPacket &packet, const std::string &name)
{
    size_t start = packet.text.find("\r\n" + name + ": ");

    if (start == std::string::npos)
        return "";
    start += name.size() + 4;
    return packet.text.substr(start, packet.text.find("\r\n", start) - start);
}

std::vector<std::string> summary(const std::vector<SentPacket> &packets)
{
    std::vector<std::string> rows;

    for (const SentPacket &packet : packets) {
        std::string target = line_of(packet, "ST");

        if (packet.text.starts_with("HTTP/"))
            rows.push_back("answer " + target);
        else if (packet.text.starts_with("M-SEARCH"))
            rows.push_back("search " + target);
        else
            rows.push_back(line_of(packet, "NTS").substr(5) + " " +
                           line_of(packet, "NT"));
    }
    return rows;
}
