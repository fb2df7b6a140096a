// upnp_client_table.cpp - the records of the machines met, and their lists.

#include "clientdb/upnp_client_table.h"

#include "clientdb/client_state.h"
#include "clientdb/upnp_client_query.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_shared.h"

static constexpr int32_t GENERIC_PROFILE = 1;
static constexpr int32_t NETGEAR_RTP_CLIENT = 19;

ClientEntry    *g_pClients;
ClientUdnEntry *g_pDiscoveredUDNs;

constinit CriticalSection clientdb::client_db_lock = {
    PTHREAD_MUTEX_INITIALIZER, 0, 0
};

void clientdb::lock()
{
    EnterCriticalSection(&client_db_lock);
}

void clientdb::unlock()
{
    LeaveCriticalSection(&client_db_lock);
}

void clientdb::client_table_move_to_front(ClientEntry *entry,
                                          ClientEntry *previous)
{
    if (!previous)
        return;
    previous->next = entry->next;
    entry->next = g_pClients;
    g_pClients = entry;
}

ClientEntry *upnp_client_db_add_new_client(void)
{
    ClientEntry *entry =
        static_cast<ClientEntry *>(upnp_calloc_impl(1, sizeof(ClientEntry)));

    if (!entry)
        return nullptr;
    entry->id = GENERIC_PROFILE;
    entry->enabled = shared::load(clientdb::client_autoenable);
    entry->next = g_pClients;
    g_pClients = entry;
    return entry;
}

void client_table_free(ClientEntry *entry)
{
    if (!entry)
        return;
    for (char *text : { entry->ip, entry->header1, entry->header2,
                        entry->friendly_name, entry->mac, entry->icon_url,
                        entry->icon_mime_type, entry->udn, entry->view }) {
        if (text)
            upnp_free_impl(text);
    }
    upnp_free_impl(entry);
}

void exit_client_table(void)
{
    clientdb::lock();

    while (ClientEntry *entry = g_pClients) {
        g_pClients = entry->next;
        client_table_free(entry);
    }
    clientdb::unlock();
}

void exit_client_udn_table(void)
{
    clientdb::lock();

    while (ClientUdnEntry *entry = g_pDiscoveredUDNs) {
        g_pDiscoveredUDNs = entry->next;
        if (entry->udn)
            upnp_free_impl(entry->udn);
        upnp_free_impl(entry);
    }
    clientdb::unlock();
}

void init_client_table(void)
{
    clientdb::lock();

    g_pClients = nullptr;
    g_pDiscoveredUDNs = nullptr;
    clientdb::unlock();
    client_table_read();
}

int32_t upnp_client_db_have_netgear_rtp_client(void)
{
    clientdb::lock();
    ClientEntry *entry = g_pClients;

    while (entry && entry->id != NETGEAR_RTP_CLIENT)
        entry = entry->next;
    clientdb::unlock();
    return entry != nullptr;
}

char *upnp_client_db_get_updated_view(int32_t id)
{
    clientdb::lock();
    ClientEntry *entry = g_pClients;

    while (entry && entry->id != id)
        entry = entry->next;

    char *view = entry ? upnp_strdup_impl(entry->view) : nullptr;
    clientdb::unlock();
    return view;
}

char *upnp_client_get_friendlyname(int32_t id)
{
    clientdb::lock();
    ClientEntry *entry = g_pClients;

    while (entry && (entry->id != id || !entry->friendly_name))
        entry = entry->next;

    char *name = entry ? upnp_strdup_impl(entry->friendly_name) : nullptr;
    clientdb::unlock();
    return name;
}
