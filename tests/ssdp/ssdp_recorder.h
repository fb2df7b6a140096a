// ssdp_recorder.h - what the library would send, recorded in place of sending.
#ifndef TESTS_SSDP_SSDP_RECORDER_H
#define TESTS_SSDP_SSDP_RECORDER_H

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

struct SentPacket {
    std::string text;
    std::string ip;
    uint16_t    port;
};

// Sends a datagram from loopback, past the recorder.
void really_send(const std::string &text, const char *ip, uint16_t port);

// The packets since the last call.
std::vector<SentPacket> take_sent();

// Waits until count packets have been sent, and takes them; fewer when that
// takes longer than the limit.
std::vector<SentPacket>
await_sent(size_t                    count,
           std::chrono::milliseconds limit = std::chrono::seconds(10));

// The value of a header line in a packet, empty if there is none.
std::string line_of(const SentPacket &packet, const std::string &name);

// "alive TYPE", "byebye TYPE", "answer TYPE" or "search TYPE" for each packet.
std::vector<std::string> summary(const std::vector<SentPacket> &packets);

#endif
