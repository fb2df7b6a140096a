// ini_fuzz.cpp - any bytes as an INI file: read, asked, written, read again.

#include "config/upnp_ini_file.h"
#include "fuzz/fuzz.h"
#include "runtime/upnp_charset.h"
#include "runtime/upnp_mem.h"

#include <cstring>

using fuzz::require;

static constexpr uint32_t LIST = 100;

// The others are disabled, since each costs two writes.
static constexpr uint32_t keys[] = { INI_FRIENDLYNAME, INI_HTTPPORT,
                                     INI_NICRESTART, INI_LANGUAGE, LIST };

static bool start()
{
    upnp_ini_file_init();
    for (uint32_t key = 0; key < LIST; ++key)
        upnp_ini_file_disableProperty(key, 1);
    for (uint32_t key : keys)
        upnp_ini_file_disableProperty(key, 0);
    upnp_ini_file_create_property(LIST, "list", "a,b", nullptr, 1, 0, 0, 0);

    upnp_ini_file_disableProperty(INI_INIPATH, 0);
    upnp_ini_file_setPropertyByKey(INI_INIPATH, "/memory");
    upnp_ini_file_get_ini_path();
    return true;
}

static void ask()
{
    for (uint32_t key : keys) {
        const char *text = upnp_ini_file_getString(key);
        require(!text || !strpbrk(text, "\r\n\t"));
        upnp_ini_file_getInt(key);
        upnp_ini_file_getBoolean(key);
    }
    for (int32_t i = 0; char *entry = upnp_ini_file_get_next_CSV(LIST, i);
         ++i) {
        require(!strchr(entry, ','));
        upnp_free_impl(entry);
    }
}

// All values, which are then forgotten.
static std::string take_values()
{
    UpnpString *all = upnp_ini_file_get_all_properties();
    std::string values = all->buffer;

    upnp_string_free(all);
    for (uint32_t key : keys)
        upnp_ini_file_setPropertyByKey(key, nullptr);
    return values;
}

// Once a file has the mark of UTF-16, all later ones of the process are taken
// as such: so a text with the mark is only converted.
static void convert(const uint8_t *data, size_t size)
{
    auto text = std::make_unique<char[]>(size + 1);

    memcpy(text.get(), data + 2, size - 2);
    char     *narrow = upnp_string_utf16_to_utf8(text.get());
    uint16_t *wide = upnp_string_utf8_to_utf16(narrow);
    require(narrow && wide);
    upnp_free_impl(wide);
    upnp_free_impl(narrow);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const bool is_started = start();
    int64_t           used = upnp_mem_used();

    if (size >= 2 && data[0] == 0xFF && data[1] == 0xFE) {
        convert(data, size);
    } else {
        require(is_started);
        fuzz::Text text = fuzz::stretch(data, size);
        disk::store(text.bytes.get(), text.size);
        upnp_ini_file_read_properties();
        ask();
        upnp_ini_file_write_properties();
        std::string values = take_values();
        upnp_ini_file_read_properties();
        require(take_values() == values);
    }
    require(upnp_mem_used() == used);
    return 0;
}
