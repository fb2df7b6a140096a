// media_facts.cpp - what a media file tells about itself.

#include "qm-serve/media_facts.h"

#include "qm-serve/facts_process.h"
#include "qm-serve/media_type.h"

#include <map>
#include <mutex>
#include <tuple>

// Files whose facts are kept.
static constexpr size_t MAX_KEPT = 4096;

using serve::MediaFacts;

// A file that is changed or replaced differs in one of these.
using Identity = std::tuple<dev_t, ino_t, off_t, time_t, long>;

static std::mutex                     kept_lock;
static std::map<Identity, MediaFacts> kept;  // guarded by kept_lock

static Identity identity_of(const struct stat &status)
{
    return { status.st_dev, status.st_ino, status.st_size,
             status.st_mtim.tv_sec, status.st_mtim.tv_nsec };
}

static bool recall(const Identity &identity, MediaFacts &facts)
{
    std::scoped_lock lock(kept_lock);
    auto             found = kept.find(identity);

    if (found == kept.end())
        return false;
    facts = found->second;
    return true;
}

static void keep(const Identity &identity, const MediaFacts &facts)
{
    std::scoped_lock lock(kept_lock);

    if (kept.size() >= MAX_KEPT)
        kept.clear();
    kept[identity] = facts;
}

MediaFacts serve::media_facts(int fd, const struct stat &status,
                              const char *type)
{
    Identity   identity = identity_of(status);
    MediaFacts facts;

    if (!is_media(type) || recall(identity, facts))
        return facts;

    // A file that cannot be read is not tried again, either.
    facts = ask_facts_process(fd, type);
    keep(identity, facts);
    return facts;
}
