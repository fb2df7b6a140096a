// upnp_file_buffered_test.cpp - places, lines, numbers and bits through small
// buffers.

#include "files/upnp_file_bits.h"
#include "support/failing_heap.h"
#include "support/work_folder.h"

#include <cstring>
#include <sstream>
#include <string_view>

struct Buffered : WorkFolder {
    BufferedFile *open(const std::string &bytes, uint32_t buffer_size)
    {
        put("file", bytes);
        return upnp_file_open_read_b("file", buffer_size);
    }
};

TEST_F(Buffered, SeeksWithinTheBufferLeaveTheFileAlone)
{
    static const struct {
        const char *why;
        int64_t     offset;
        int         whence;
        int64_t     result, place, position;
    } cases[] = {
        { "inside", 2, SEEK_SET, 2, 2, 4 },
        { "its first byte", -1, SEEK_CUR, 0, 0, 4 },
        { "its end is outside", 4, SEEK_SET, 4, 4, 4 },
        { "from the end", -3, SEEK_END, 7, 7, 7 },
        { "beyond the end", 3, SEEK_END, 13, 13, 13 },
        { "before the start", -2, SEEK_CUR, -1, 4, 4 },
        { "unknown", 3, 9, 0, 1, 4 },
        { "far", INT64_MAX, SEEK_CUR, -1, 4, 4 },
    };
    for (const auto &c : cases) {
        BufferedFile *file = open("0123456789", 4);
        EXPECT_EQ(upnp_file_read_byte(file), '0');
        EXPECT_EQ(upnp_file_seek_b(file, c.offset, c.whence), c.result)
            << c.why;
        EXPECT_EQ(upnp_file_tell_b(file), c.place) << c.why;
        EXPECT_EQ(file->file->position, c.position) << c.why;
        EXPECT_EQ(upnp_file_eof_b(file), c.place >= 10) << c.why;
        EXPECT_EQ(upnp_file_read_byte(file), c.place < 10 ? '0' + c.place : 0)
            << c.why;
        upnp_file_close_b(file);
    }
}

TEST_F(Buffered, ReadsAreShortOnlyAtTheEnd)
{
    char bytes[16] = "012";

    for (uint32_t size : { 0u, 1u, 3u, 10u, 64u }) {
        BufferedFile *file = open("0123456789", size);
        EXPECT_EQ(upnp_file_read_b(file, bytes, 7), size ? 7 : 0);
        EXPECT_EQ(upnp_file_read_b(file, bytes, 16), size ? 3 : 0);
        EXPECT_EQ(std::string_view(bytes, 3), size ? "789" : "012") << size;
        EXPECT_EQ(upnp_file_eof_b(file), size != 0);
        upnp_file_close_b(file);
        strcpy(bytes, "012");
    }
    BufferedFile *empty = open("", 8);
    EXPECT_EQ(empty->available, 0u);
    EXPECT_EQ(upnp_file_eof_b(empty), 1);
    upnp_file_close_b(empty);

    BufferedFile *unreadable = upnp_file_open_read_b(".", 8);
    EXPECT_EQ(unreadable->available, 0u);
    EXPECT_EQ(upnp_file_read_b(unreadable, bytes, 4), 0);
    EXPECT_EQ(upnp_file_read_line_b(unreadable, bytes, 4), 0);
    upnp_file_close_b(unreadable);

    EXPECT_EQ(upnp_file_read_b(nullptr, bytes, 4), -1);
    EXPECT_EQ(upnp_file_open_read_b("none", 8), nullptr);
    for_each_failing_allocation(
        [] { upnp_file_close_b(upnp_file_open_read_b("file", 8)); });
}

TEST_F(Buffered, LinesAreNeverEmpty)
{
    static const struct {
        const char *text;
        int         size;
        const char *lines;  // each with a bar behind it
    } cases[] = {
        { "one\r\ntwo\n\n\r\nthree", 16, "one|two|three|" },
        { "\r\n\n", 16, "" },
        { "abcdef\nxy\n", 4, "abc|def|xy|" },
        { "ab", 1, "" },
        { "ab", -1, "" },
    };
    for (const auto &c : cases) {
        BufferedFile *file = open(c.text, 2);
        char          line[16];
        std::string   lines;
        while (int length = upnp_file_read_line_b(file, line, c.size)) {
            EXPECT_EQ(length, static_cast<int>(strlen(line)));
            lines += std::string(line) + "|";
        }
        EXPECT_EQ(lines, c.lines) << c.text;
        upnp_file_close_b(file);
    }
}

TEST_F(Buffered, NumbersKnowBothOrdersAndStartFromZero)
{
    const std::string bytes = "\x12\x34\x56\x78\x9a\xbc\xde\xf0";
    BufferedFile     *file = open(bytes, 3);
    auto              at = [&](int64_t offset) {
        upnp_file_seek_b(file, offset, SEEK_SET);
        return file;
    };

    EXPECT_EQ(upnp_file_read_word(at(0)), 0x3412);
    EXPECT_EQ(upnp_file_read_word_be(at(0)), 0x1234);
    EXPECT_EQ(upnp_file_read_dword(at(0)), 0x78563412u);
    EXPECT_EQ(upnp_file_read_dword_be(at(4)), 0x9abcdef0u);
    EXPECT_EQ(upnp_file_read_qword(at(0)), 0xf0debc9a78563412u);
    EXPECT_EQ(upnp_file_read_qword_be(at(0)), 0x123456789abcdef0u);
    EXPECT_EQ(upnp_file_read_dword(at(6)), 0xf0deu);
    EXPECT_EQ(upnp_file_read_dword_be(at(6)), 0xdef00000u);
    EXPECT_EQ(upnp_file_read_qword(at(8)), 0u);
    upnp_file_close_b(file);
}

TEST_F(Buffered, BitsComeFromTheirOddPlaces)
{
    using namespace std::string_literals;
    BufferedFile *file = open("\xff\xff\0\0"s, 4);
    for (int i = 0; i < 32; ++i)
        EXPECT_EQ(upnp_file_read_bit(file), i < 16 ? 1u : 0u) << i;
    upnp_file_close_b(file);

    file = open("\x00\xa0\x34\x92"s, 4);  // the word 9234a000
    EXPECT_EQ(upnp_file_read_nbits(file, 0), 0u);
    EXPECT_EQ(upnp_file_read_nbits(file, -1), 0u);
    EXPECT_EQ(file->bitCount, 0);
    EXPECT_EQ(upnp_file_read_nbits(file, 3), 0b1010u) << "a shift too many";
    EXPECT_EQ(upnp_file_read_nbits(file, 16), 0x91a5u) << "now from the top";
    EXPECT_EQ(file->bitCount, 13);
    upnp_file_close_b(file);
}

// --- Heads of real files -----------------------------------------------------

// Words of two bytes.
static std::string from_hex(const char *words)
{
    std::istringstream in(words);
    std::string        bytes;

    for (unsigned word; in >> std::hex >> word;)
        bytes += { static_cast<char>(word >> 8), static_cast<char>(word) };
    return bytes;
}

// The first frame's head, behind the tag, whose size has 7 bits to the byte.
static std::string mp3(BufferedFile *file)
{
    uint32_t size = 0;
    upnp_file_seek_b(file, 6, SEEK_CUR);
    for (int i = 0; i < 4; ++i)
        size = size << 7 | upnp_file_read_byte(file);
    upnp_file_seek_b(file, size, SEEK_CUR);
    return std::to_string(upnp_file_read_dword_be(file));
}

// Time scale and duration, 28 bytes behind the box "ftyp".
static std::string mp4(BufferedFile *file)
{
    upnp_file_seek_b(file, upnp_file_read_dword_be(file) + 28, SEEK_SET);
    std::string scale = std::to_string(upnp_file_read_dword_be(file));
    return scale + " " + std::to_string(upnp_file_read_dword_be(file));
}

// Microseconds of a frame, width and height.
static std::string avi(BufferedFile *file)
{
    upnp_file_seek_b(file, 32, SEEK_SET);
    std::string text = std::to_string(upnp_file_read_dword(file));
    upnp_file_seek_b(file, 28, SEEK_CUR);
    text += " " + std::to_string(upnp_file_read_dword(file));
    return text + " " + std::to_string(upnp_file_read_dword(file));
}

TEST_F(Buffered, RealHeadsAreReadAndCutOnesEnd)
{
    // clang-format off
    static const struct {
        std::string (*read)(BufferedFile *);
        const char *head;
        const char *expected;
        size_t      needed;  // bytes
    } cases[] = {
        { mp3, "4944 3304 0000 0000 0023 5453 5345 0000 000f 0000 034c 6176"
               "6635 392e 3237 2e31 3030 0000 0000 0000 0000 0000 00ff fb90"
               "c000", "4294676672", 49 },
        { mp4, "0000 001c 6674 7970 6973 6f6d 0000 0200 6973 6f6d 6973 6f32"
               "6d70 3431 0000 0656 6d6f 6f76 0000 006c 6d76 6864 0000 0000"
               "0000 0000 0000 0000 0000 03e8 0000 0190", "1000 400", 64 },
        { avi, "5249 4646 c222 0000 4156 4920 4c49 5354 3812 0000 6864 726c"
               "6176 6968 3800 0000 409c 0000 a861 0000 0000 0000 1009 0000"
               "0a00 0000 0000 0000 0100 0000 0000 1000 4000 0000 3000 0000",
          "40000 64 48", 69 },
    };
    // clang-format on
    for (const auto &c : cases) {
        std::string head = from_hex(c.head);
        for (size_t length = 0; length <= head.size(); ++length)
            for (uint32_t buffer_size : { 1u, 7u, 4096u }) {
                BufferedFile *file = open(head.substr(0, length), buffer_size);
                EXPECT_EQ(c.read(file) == c.expected, length >= c.needed)
                    << c.expected << ": " << length << " bytes";
                upnp_file_close_b(file);
            }
    }
}
