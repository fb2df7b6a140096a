// upnp_netif.h - the machine's IPv4 addresses and the MACs around it.
//
// An address is a dotted-quad text in a row of UPNP_IP_SIZE bytes, a MAC text
// has UPNP_MAC_SIZE bytes: lower case for an interface of this machine, upper
// case for a peer. "00:00:00:00:00:00" means none. IPv4 only.
// Threads: no state is kept.
#ifndef NETIF_UPNP_NETIF_H
#define NETIF_UPNP_NETIF_H

#include "runtime/upnp_api.h"
#include "runtime/upnp_socket.h"
#include <stdint.h>

UPNP_C_BEGIN

struct ifreq;

#define UPNP_MAC_SIZE 18  // bytes for one MAC text and its NUL

// Fills table, maxCount rows of 17 bytes, with the addresses of the interfaces
// that are up, in the system's order, loopback included, and *count with their
// number. A fixedIp that is not empty is the one row instead, unchecked and
// cut to 16 characters. Does nothing for a null count or table. If the system
// cannot be asked *count is 0 and a critical message is logged, which ends the
// process.
UPNP_API void upnp_get_interfaces(int32_t *count, char (*table)[UPNP_IP_SIZE],
                                  int32_t maxCount, const char *fixedIp);

// Fills an array of byteSize bytes with the system's interface records, the
// flags of each laid over the start of its address part (ifr_flags), and
// returns their number, -1 on failure and for null.
UPNP_API int32_t get_interface_addresses(struct ifreq *ifreqArray,
                                         int32_t       byteSize);

// Name of the interface at position index of the first 8: 1 when copied, 0
// when there is none, -1 on failure, -2 when nameSize bytes are too few.
UPNP_API int32_t get_hwinterface(char *nameOut, int32_t nameSize,
                                 int32_t index);

// MAC text of a local interface, cut to textSize; returns textOut, or null on
// failure.
UPNP_API char *get_mac_address(const char *interfaceName, char *textOut,
                               int32_t textSize);

// The 6 bytes of the first local MAC that is not zero: 0, or -1 with all bytes
// 0x42, so that a machine without a MAC still has a defined identity.
UPNP_API int32_t upnp_get_mac(uint8_t *macOut);

// MAC text (18 bytes) of a peer on the local network, from the kernel's ARP
// table: 1, or 0 after five attempts of 100 ms each, also for a null argument.
// The text is empty then for "" and "127.0.0.1"; else it is as it was, or that
// of no MAC.
UPNP_API int32_t GetMACaddress(const char *ip, char *textOut);

UPNP_C_END
#endif
