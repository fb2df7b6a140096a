// upnp_file_bits.cpp - numbers and bits from a buffered file.

#include "files/upnp_file_bits.h"

#include <array>
#include <bit>
#include <stddef.h>

static constexpr int32_t WORD_BITS = 32;

// Single bits come from here, not from the top of the word.
static constexpr int32_t NEXT_BIT = 15;

template <typename Number>
static Number read_number(BufferedFile *file, std::endian order)
{
    std::array<uint8_t, sizeof(Number)> bytes = {};
    Number                              number = 0;

    upnp_file_read_b(file, bytes.data(), sizeof(Number));
    for (size_t i = 0; i < sizeof(Number); ++i) {
        size_t place =
            order == std::endian::little ? i : sizeof(Number) - 1 - i;
        number = static_cast<Number>(number | Number{ bytes[i] } << 8 * place);
    }
    return number;
}

uint16_t upnp_file_read_word(BufferedFile *file)
{
    return read_number<uint16_t>(file, std::endian::little);
}

uint32_t upnp_file_read_dword(BufferedFile *file)
{
    return read_number<uint32_t>(file, std::endian::little);
}

uint64_t upnp_file_read_qword(BufferedFile *file)
{
    return read_number<uint64_t>(file, std::endian::little);
}

uint16_t upnp_file_read_word_be(BufferedFile *file)
{
    return read_number<uint16_t>(file, std::endian::big);
}

uint32_t upnp_file_read_dword_be(BufferedFile *file)
{
    return read_number<uint32_t>(file, std::endian::big);
}

uint64_t upnp_file_read_qword_be(BufferedFile *file)
{
    return read_number<uint64_t>(file, std::endian::big);
}

uint32_t upnp_file_read_bit(BufferedFile *file)
{
    uint32_t bit;

    if (!file)
        return 0;

    if (file->bitCount == 0) {
        file->bitBuffer = upnp_file_read_dword(file);
        file->bitCount = WORD_BITS;
    }
    bit = file->bitBuffer >> NEXT_BIT & 1;
    file->bitBuffer <<= 1;
    --file->bitCount;
    return bit;
}

uint32_t upnp_file_read_nbits(BufferedFile *file, int32_t count)
{
    uint32_t value = 0;

    if (!file || count <= 0)
        return 0;

    if (count <= file->bitCount && count <= WORD_BITS) {
        uint64_t shifted = uint64_t{ file->bitBuffer } << count;
        file->bitBuffer = static_cast<uint32_t>(shifted);
        file->bitCount -= count;
        return static_cast<uint32_t>(shifted >> WORD_BITS);
    }

    // The last bit is shifted as well, on purpose: the bits 1 0 1 give 10.
    for (int32_t i = 0; i < count; ++i)
        value = (value + upnp_file_read_bit(file)) * 2;
    return value;
}
