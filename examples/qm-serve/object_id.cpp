// object_id.cpp - the ObjectIDs of files, folders and playlists.

#include "qm-serve/object_id.h"

#include "qm-serve/title.h"

#include <algorithm>
#include <charconv>
#include <cinttypes>
#include <cstdio>

static constexpr size_t KEY_DIGITS = 16;
static constexpr size_t MAX_LEVELS = 50;

using namespace serve;

// FNV-1a. Two names of one folder with the same key are as good as impossible;
// the first would hide the second.
uint64_t serve::name_key(std::string_view name)
{
    uint64_t key = 0xCBF29CE484222325;

    for (char c : name)
        key = (key ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    return key;
}

static std::string digits_of(uint64_t key)
{
    char digits[KEY_DIGITS + 1];

    snprintf(digits, sizeof(digits), "%016" PRIx64, key);
    return digits;
}

static Object root_of(const MediaFolder &folder)
{
    std::string name = folder.path.substr(folder.path.rfind('/') + 1);

    return { root_id,
             "-1",
             "",
             { name, title_of(name, true),
               upnp_class_of(name, EntryKind::FOLDER), 0, EntryKind::FOLDER,
               "" } };
}

Object serve::child_of(const Object &container, const ListedEntry &entry)
{
    bool is_top = container.id == root_id;

    return { (is_top ? "" : container.id) + digits_of(entry.key), container.id,
             !entry.target.empty() ? entry.target
             : is_top              ? entry.name
                                   : container.relative + "/" + entry.name,
             entry };
}

std::string serve::id_of(std::string_view relative)
{
    std::string id;

    while (!relative.empty()) {
        std::string_view name = relative.substr(0, relative.find('/'));

        if (name.starts_with('.') || id.size() >= MAX_LEVELS * KEY_DIGITS)
            return "";
        id += digits_of(name_key(name));
        relative.remove_prefix(std::min(name.size() + 1, relative.size()));
    }
    return id.empty() ? root_id : id;
}

Object serve::original_of(const Object &object)
{
    Object original = object;

    if (!is_reference(object.entry))
        return object;
    original.id = id_of(object.relative);
    original.parent_id =
        original.id.size() > KEY_DIGITS
            ? original.id.substr(0, original.id.size() - KEY_DIGITS)
            : root_id;
    return original;
}

std::shared_ptr<const Listing> serve::children(const MediaFolder &folder,
                                               const Object      &container,
                                               const SortOrder   &order)
{
    if (container.id.size() >= MAX_LEVELS * KEY_DIGITS)
        return std::make_shared<Listing>();
    return listing(folder, container.relative, container.entry, order);
}

// The child whose ID ends in these digits. There is one way to write them: IDs
// are compared as texts.
static std::optional<Object> find_child(const MediaFolder &folder,
                                        const Object      &container,
                                        std::string_view   digits)
{
    auto     contents = children(folder, container, {});
    uint64_t key = 0;

    std::from_chars(digits.begin(), digits.end(), key, 16);
    if (!contents || digits_of(key) != digits)
        return {};
    for (const ListedEntry &entry : contents->entries) {
        if (entry.key == key)
            return child_of(container, entry);
    }
    return {};
}

std::optional<Object> serve::find_object(const MediaFolder &folder,
                                         std::string_view   id)
{
    std::optional<Object> object = root_of(folder);

    if (id == root_id)
        return object;
    if (id.empty() || id.size() % KEY_DIGITS != 0)
        return {};
    while (object && !id.empty()) {
        object = find_child(folder, *object, id.substr(0, KEY_DIGITS));
        id.remove_prefix(KEY_DIGITS);
    }
    return object;
}
