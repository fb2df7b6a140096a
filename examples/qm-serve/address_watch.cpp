// address_watch.cpp - follows the machine's addresses while it serves.
//
// The library compares the addresses twice a minute. The kernel's notices make
// it look at once, so that a new network sees the device within seconds.

#include "qm-serve/address_watch.h"

#include "config/upnp_ini_file.h"
#include "runtime/upnp_thread.h"
#include "server/upnp_nic.h"

#include <cstdint>
#include <fcntl.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

static int notices = -1;  // a routing socket that raises the signal

void serve::start_address_watch()
{
    sockaddr_nl address = {};

    if (!upnp_ini_file_getBoolean(INI_NICRESTART))
        return;
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_IPV4_IFADDR | RTMGRP_LINK;
    notices = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK,
                     NETLINK_ROUTE);
    if (bind(notices, reinterpret_cast<sockaddr *>(&address),
             sizeof(address)) == -1 ||
        fcntl(notices, F_SETOWN, getpid()) == -1 ||
        fcntl(notices, F_SETFL, O_NONBLOCK | O_ASYNC) == -1)
        stop_address_watch();
}

void serve::stop_address_watch()
{
    if (notices != -1)
        close(notices);
    notices = -1;
}

// What has changed is not read out of the notices: the library finds out.
void serve::addresses_may_have_changed()
{
    char notice[256];

    while (recv(notices, notice, sizeof(notice), 0) > 0) {}
    Server_trigger_NICchange();
}

void serve::check_addresses()
{
    check_NIC_change(static_cast<uint32_t>(getSystemTime() / 1000));
}
