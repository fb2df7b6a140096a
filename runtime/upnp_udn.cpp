// upnp_udn.cpp - who this device is: its UDNs and its friendly name.

#include "runtime/upnp_udn.h"

#include "config/upnp_ini_file.h"
#include "netif/upnp_netif.h"
#include "runtime/upnp_lock.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_socket.h"
#include "runtime/upnp_string.h"

#include <stdio.h>
#include <string.h>

static constexpr size_t  UDN_BYTES = 256;
static constexpr uint8_t NO_PATH_SUM = 105;
static constexpr size_t  ROLE_AT = 6;  // positions in the text
static constexpr size_t  INSTANCE_AT = 7;

// The first nine bytes of each UDN.
static constexpr uint8_t maker[] = { 'Q', 'u', 'o', 'r', 'e', 'l', 'M', 'e',
                                     'd' };

static constexpr char host_mark[] = "%HOSTNAME%";
static constexpr uint32_t LONGEST_USELESS_NAME = 4;

namespace {
// One role's text: empty until the first call, then for good.
struct Udn {
    char role;
    char text[UDN_BYTES];
};
}

// Guards the making of the texts.
static CriticalSection udn_lock = { PTHREAD_MUTEX_INITIALIZER, 0, 0 };

static Udn server = { '5', "" };
static Udn renderer = { '6', "" };
static Udn renderer2 = { '6', "" };
static Udn ruis = { '7', "" };
static Udn ruic = { '8', "" };
static Udn mtp = { '9', "" };

int32_t g_nInstance;

// Installations on one machine differ by the path of their INI file.
static uint8_t path_sum()
{
    const char *path = upnp_ini_file_get_ini_path();
    uint8_t     sum = 0;

    if (!path)
        return NO_PATH_SUM;
    for (; *path; ++path)
        sum = static_cast<uint8_t>(sum + static_cast<uint8_t>(*path));
    return sum;
}

static char *make_udn(Udn &udn, int32_t instance)
{
    uint8_t mac[6] = {};

    EnterCriticalSection(&udn_lock);
    if (udn.text[0] == '\0') {
        upnp_get_mac(mac);
        snprintf(udn.text, sizeof(udn.text),
                 "uuid:%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-"
                 "%02x%02x%02x%02x%02x%02x",
                 maker[0], maker[1], maker[2], maker[3], maker[4], maker[5],
                 maker[6], maker[7], maker[8], path_sum(), mac[0], mac[1],
                 mac[2], mac[3], mac[4], mac[5]);
        udn.text[ROLE_AT] = udn.role;
        udn.text[INSTANCE_AT] =
            static_cast<char>('0' + static_cast<uint8_t>(instance));
    }
    LeaveCriticalSection(&udn_lock);
    return udn.text;
}

// clang-format off
char *upnp_get_server_udn(void)    { return make_udn(server, g_nInstance); }
char *upnp_get_renderer_udn(void)  { return make_udn(renderer, 0); }
char *upnp_get_renderer2_udn(void) { return make_udn(renderer2, 1); }
char *upnp_get_ruis_udn(void)      { return make_udn(ruis, 0); }
char *upnp_get_ruic_udn(void)      { return make_udn(ruic, 0); }
char *upnp_get_mtp_udn(void)       { return make_udn(mtp, 0); }
// clang-format on

// The short host name in a block of its own; null when out of memory.
static char *short_host_name(uint32_t max_length)
{
    char *name = nullptr;

    if (max_length < UINT32_MAX)
        name = static_cast<char *>(upnp_calloc_impl(1, max_length + 1));
    if (!name)
        return nullptr;
    upnp_gethostname(name, max_length + 1);
    name[max_length] = '\0';
    name[strcspn(name, ".")] = '\0';
    return name;
}

char *upnp_util_create_friendlyname(const char *name_template,
                                    uint32_t    max_host_length)
{
    char *host = nullptr;
    char *name = nullptr;

    if (!name_template)
        return nullptr;
    if (max_host_length <= LONGEST_USELESS_NAME ||
        !strstr(name_template, host_mark)) {
        name = upnp_strdup_impl(name_template);
    } else if ((host = short_host_name(max_host_length)) != nullptr) {
        name = upnp_string_replace(name_template, host_mark, host);
        upnp_free_impl(host);
    }
    if (!name)
        upnp_log_impl(UPNP_LOG_ERROR, LOG_SYSTEM,
                      "upnp_util_create_friendlyname",
                      "Out of memory creating friendlyname");
    return name;
}
