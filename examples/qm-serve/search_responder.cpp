// search_responder.cpp - answers the searches of control points.
//
// An answer goes out three times within 150 ms, and the thread that hears the
// network sends it. So what needs no answer is dropped before the queue, and a
// flood of searches costs no more than a few answers. UPnP Device Architecture
// 1.0, section 1.2.

#include "qm-serve/search_responder.h"

#include "common/ssdp_text.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_shared.h"
#include "runtime/upnp_udn.h"
#include "server/upnp_server.h"
#include "ssdp/ssdp_queue.h"
#include "ssdp/upnp_ssdp.h"

#include <algorithm>
#include <arpa/inet.h>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <netinet/in.h>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

using std::chrono::steady_clock;

// The targets that the library answers for a media server, beside its UDN.
static constexpr std::string_view targets[] = {
    "ssdp:all",
    "upnp:rootdevice",
    "urn:schemas-upnp-org:device:MediaServer:1",
    "urn:schemas-upnp-org:service:ContentDirectory:1",
    "urn:schemas-upnp-org:service:ConnectionManager:1",
    "urn:microsoft.com:service:X_MS_MediaReceiverRegistrar:1",
};

// An answer waits while those before it are sent, one for each thread that
// hears searches and 1.5 s at the worst. One that expired meanwhile would stay
// in the queue, so that a searcher's shorter patience is not taken literally.
static constexpr int32_t LEAST_DELAY_S = 3;
static constexpr int32_t MOST_DELAY_S = 120;

static constexpr auto QUIET_TIME = std::chrono::seconds(1);

namespace {
struct Searcher {
    in_addr ip;
    int32_t port;
};

// A search that was answered a short time ago.
struct Answered {
    Searcher                 searcher;
    char                     target[128];
    steady_clock::time_point until;  // the row is free from then on
};
}

// As many rows as answers in a second, guarded by answered_lock.
static Answered   answered[16];
static std::mutex answered_lock;

// --- The request -------------------------------------------------------------

static std::string_view unquoted(std::string_view text)
{
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"')
        return text.substr(1, text.size() - 2);
    return text;
}

static bool is_search(std::string_view packet)
{
    return ssdp_text::first_line(packet).starts_with("M-SEARCH * HTTP/1.") &&
           ssdp_text::is_same(unquoted(ssdp_text::field(packet, "MAN")),
                              "ssdp:discover");
}

// The seconds that the searcher waits; -1 without them.
static int32_t patience_s(std::string_view packet)
{
    std::string_view text = ssdp_text::field(packet, "MX");
    int32_t          seconds = -1;
    auto result = std::from_chars(text.begin(), text.end(), seconds);

    return result.ec == std::errc() && result.ptr == text.end() ? seconds : -1;
}

static bool is_own(std::string_view target)
{
    return target == upnp_get_server_udn() ||
           std::find(std::begin(targets), std::end(targets), target) !=
               std::end(targets);
}

// --- Who answers, and how often ----------------------------------------------

// The address of this machine that the searcher is reached from; 0 for none.
static in_addr_t local_address_towards(const Searcher &searcher)
{
    sockaddr_in address = {};
    socklen_t   size = sizeof(address);
    int         fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);

    address.sin_family = AF_INET;
    address.sin_addr = searcher.ip;
    address.sin_port = htons(static_cast<uint16_t>(searcher.port));
    if (connect(fd, reinterpret_cast<sockaddr *>(&address), size) == -1 ||
        getsockname(fd, reinterpret_cast<sockaddr *>(&address), &size) == -1)
        address.sin_addr.s_addr = 0;
    if (fd != -1)
        close(fd);
    return address.sin_addr.s_addr;
}

// Each listen thread hears the group on all networks. The one whose address
// the searcher can reach answers; if none of them is it, the first one does.
static bool is_for_another(const Searcher        &searcher,
                           const HttpServerEntry *server)
{
    in_addr_t local = local_address_towards(searcher);

    for (uint32_t i = 0; HttpServerEntry *other = getHTTPServerData(i); ++i) {
        char ip[UPNP_IP_SIZE];

        shared::copy_text_out(ip, other->ip, sizeof(ip));
        if (other != server && local != 0 && inet_addr(ip) == local)
            return true;
    }
    return false;
}

static bool is_same_search(const Answered &row, const Searcher &searcher,
                           std::string_view target)
{
    return row.searcher.ip.s_addr == searcher.ip.s_addr &&
           row.searcher.port == searcher.port && target == row.target;
}

// Takes note of an answer. False for a search that had one just now, and when
// there were too many.
static bool admit(const Searcher &searcher, std::string_view target)
{
    std::lock_guard guard(answered_lock);
    auto            now = steady_clock::now();
    Answered       *free_row = nullptr;

    for (Answered &row : answered) {
        if (row.until <= now)
            free_row = &row;
        else if (is_same_search(row, searcher, target))
            return false;
    }
    if (!free_row)
        return false;
    free_row->searcher = searcher;
    free_row
        ->target[target.copy(free_row->target, sizeof(free_row->target) - 1)] =
        '\0';
    free_row->until = now + QUIET_TIME;
    return true;
}

// --- The answer --------------------------------------------------------------

static void queue_answer(HttpServerEntry *server, const char *ip, int32_t port,
                         std::string_view target, int32_t delay_s)
{
    auto *answer = static_cast<SsdpQueuedNotify *>(
        upnp_malloc_impl(sizeof(SsdpQueuedNotify)));

    if (!answer)
        return;
    memset(answer, 0, sizeof(*answer));
    answer->delay = std::clamp(delay_s, LEAST_DELAY_S, MOST_DELAY_S);
    target.copy(answer->searchTarget, sizeof(answer->searchTarget) - 1);
    snprintf(answer->destIp, sizeof(answer->destIp), "%s", ip);
    answer->destPort = port;
    answer->server = server;
    SSDP_queue_notify_packet(answer);
}

static int32_t handle_packet(const char *packet, HttpServerEntry *server,
                             const char *ip, int32_t port)
{
    Searcher         searcher = { {}, port };
    std::string_view target;
    int32_t          seconds;

    if (!is_search(packet))
        return 0;
    target = ssdp_text::field(packet, "ST");
    seconds = patience_s(packet);
    if (seconds >= 0 && is_own(target) && port != 0 &&
        inet_pton(AF_INET, ip, &searcher.ip) == 1 &&
        !is_for_another(searcher, server) && admit(searcher, target))
        queue_answer(server, ip, port, target, seconds);
    return 0;
}

void serve::answer_searches()
{
    upnp_ssdp_register_handler(handle_packet, "search responder");
}
