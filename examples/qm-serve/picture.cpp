// picture.cpp - what kind of picture a file is, and how large.

#include "qm-serve/picture.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <sys/types.h>
#include <unistd.h>

// Segments in front of the one that tells the size: metadata, mostly.
static constexpr int MAX_SEGMENTS = 64;

namespace {
struct Size {
    int width;
    int height;
};

struct Profile {
    const char *name;
    Size        largest;
};
}

// The first one that a picture fits in is its profile.
// clang-format off
static constexpr Profile jpeg_profiles[] = {
    { "JPEG_SM",  {  640,  480 } },
    { "JPEG_MED", { 1024,  768 } },
    { "JPEG_LRG", { 4096, 4096 } },
};
static constexpr Profile png_profiles[] = {
    { "PNG_LRG",  { 4096, 4096 } },
};
// clang-format on

template <size_t count>
static const char *smallest_fit(const Profile (&profiles)[count], Size size)
{
    for (const Profile &row : profiles) {
        if (size.width > 0 && size.width <= row.largest.width &&
            size.height > 0 && size.height <= row.largest.height)
            return row.name;
    }
    return "";
}

static int big_endian_16(const uint8_t *bytes)
{
    return bytes[0] << 8 | bytes[1];
}

template <size_t count>
static bool read_at(int fd, off_t offset, uint8_t (&bytes)[count])
{
    return pread(fd, bytes, count, offset) == static_cast<ssize_t>(count);
}

// The profiles know baseline pictures only, whose frame begins with FF C0;
// a segment that is none of those in front of a frame ends the search.
static Size baseline_jpeg_size(int fd)
{
    off_t   offset = 2;
    uint8_t segment[9];  // FF, marker, length of 2, precision, height, width

    for (int i = 0; i < MAX_SEGMENTS && read_at(fd, offset, segment); ++i) {
        uint8_t marker = segment[1];

        if (segment[0] != 0xFF)
            break;
        if (marker == 0xC0)
            return { big_endian_16(segment + 7), big_endian_16(segment + 5) };
        // Tables, application data and comments.
        if (marker != 0xC4 && marker != 0xDB && marker != 0xDD && marker < 0xE0)
            break;
        offset += 2 + big_endian_16(segment + 2);
    }
    return {};
}

// Widths of more than 16 bits are too large for any profile.
static Size png_size(const uint8_t (&head)[24])
{
    if (big_endian_16(head + 16) || big_endian_16(head + 20))
        return {};
    return { big_endian_16(head + 18), big_endian_16(head + 22) };
}

const char *serve::picture_profile(int fd)
{
    uint8_t head[24];

    if (!read_at(fd, 0, head))
        return "";
    if (memcmp(head, "\xFF\xD8", 2) == 0)
        return smallest_fit(jpeg_profiles, baseline_jpeg_size(fd));
    if (memcmp(head, "\x89PNG\r\n\x1A\n", 8) == 0)
        return smallest_fit(png_profiles, png_size(head));
    return "";
}
