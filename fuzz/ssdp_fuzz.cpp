// ssdp_fuzz.cpp - any bytes as a packet of discovery: handed to the handlers,
// a search answered, an announcement followed up to the device's description.
//
// What stands behind the first NUL of the input is the description.

#include "clientdb/upnp_client_identify.h"
#include "clientdb/upnp_client_table.h"
#include "fuzz/fuzz.h"
#include "http/http_body.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_number.h"
#include "runtime/upnp_udn.h"
#include "ssdp/ssdp_queue.h"
#include "ssdp/ssdp_state.h"

#include <algorithm>
#include <cstring>

using fuzz::require;

static constexpr char types[] = ">>\nNA:Own\n>>\nNA:Generic\n"
                                ">>\nNA:Tv\nDD:MediaRenderer\nD2:Acme\n"
                                "D3:Tv\nHH:Tv/1\n"
                                ">>\nNA:Any\nDD:<root\nDB:FIX\n>>\n";

static const char     *description;
static HttpServerEntry server;

// --- In the place of the network, by the linker's --wrap ---------------------

extern "C" int32_t __wrap_GetMACaddress(const char *, char *text)
{
    strcpy(text, "02:00:00:00:00:01");
    return 1;
}

extern "C" UpnpString *__wrap_HTTP_get(const char *)
{
    return description ? upnp_string_concat(nullptr, description) : nullptr;
}

// The follow-up runs on this thread.
extern "C" void __wrap_upnp_end_thread() {}

// --- Handlers ----------------------------------------------------------------

static int32_t answer_search(const char *packet, HttpServerEntry *row,
                             const char *ip, int32_t port)
{
    const char *target = HTTP_get_header_param(packet, "\nST:");

    if (!upnp_starts_with(packet, "M-SEARCH") || !target)
        return 0;
    auto *answer = static_cast<SsdpQueuedNotify *>(
        upnp_calloc_impl(1, sizeof(SsdpQueuedNotify)));
    size_t length = strcspn(target, "\r\n");
    memcpy(answer->searchTarget, target,
           std::min(length, sizeof(answer->searchTarget)));
    strcpy(answer->destIp, ip);
    answer->destPort = port;
    answer->server = row;
    answer->delay = 3;
    SSDP_queue_notify_packet(answer);
    return 0;
}

static int32_t follow_up(const char *packet, HttpServerEntry *, const char *,
                         int32_t)
{
    if (upnp_istrstr(packet, "ssdp:alive"))
        upnp_client_db_check_client(upnp_strdup_impl(packet));
    return 0;
}

static bool start()
{
    fuzz::load_client_types(types, sizeof(types));
    strcpy(server.ip, "10.0.0.5");
    upnp_ssdp_isMediaServer();
    upnp_get_server_udn();
    upnp_ssdp_register_handler(answer_search, nullptr);
    upnp_ssdp_register_handler(follow_up, nullptr);
    SSDP_init();
    return true;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const bool is_started = start();
    fuzz::Text        text = fuzz::stretch(data, size);
    const char       *packet = text.bytes.get();
    int64_t           used = upnp_mem_used();
    size_t            length = strlen(packet);

    description = length < text.size ? packet + length + 1 : nullptr;
    wire::out.clear();
    ssdp::call_handlers(packet, &server, "10.0.0.9", 1900);
    SSDP_process_queued_notify_packets();
    SSDP_queue_clear();

    require(is_started && (wire::out.empty() ||
                           wire::out.starts_with("HTTP/1.1 200 OK\r\n")));
    for (const ClientEntry *entry = g_pClients; entry; entry = entry->next)
        require(entry->ip && strlen(entry->ip) < 20 && entry->udn);
    exit_client_table();
    exit_client_udn_table();
    require(upnp_mem_used() == used);
    return 0;
}
