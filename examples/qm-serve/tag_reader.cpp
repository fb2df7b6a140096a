// tag_reader.cpp - reads tags, durations and media profiles out of files.

#include "qm-serve/tag_reader.h"

#include "qm-serve/media_type.h"
#include "qm-serve/picture.h"

#include <aifffile.h>
#include <algorithm>
#include <asffile.h>
#include <flacfile.h>
#include <id3v2framefactory.h>
#include <mp4file.h>
#include <mpegfile.h>
#include <oggflacfile.h>
#include <opusfile.h>
#include <string>
#include <string_view>
#include <tag.h>
#include <tfilestream.h>
#include <unistd.h>
#include <vorbisfile.h>
#include <wavfile.h>

// Tags may be of any length; a page shows no more than this.
static constexpr unsigned MAX_CHARACTERS = 200;

using serve::MediaFacts;

static std::string text_of(const TagLib::String &text)
{
    return text.substr(0, MAX_CHARACTERS).to8Bit(true);
}

static void take_tags(MediaFacts &facts, const TagLib::Tag *tag,
                      const TagLib::AudioProperties *properties)
{
    if (tag) {
        facts.title = text_of(tag->title());
        facts.artist = text_of(tag->artist());
    }
    if (properties)
        facts.duration_ms = std::max(properties->lengthInMilliseconds(), 0);
}

// MP3 is MPEG-1 layer 3; MP3X adds the lower sampling rates of MPEG-2.
static const char *mp3_profile(const TagLib::MPEG::Properties &properties)
{
    if (properties.layer() != 3 || properties.bitrate() < 8 ||
        properties.bitrate() > 320)
        return "";
    switch (properties.version()) {
    case TagLib::MPEG::Header::Version1: return "MP3";
    case TagLib::MPEG::Header::Version2: return "MP3X";
    default: return "";
    }
}

static void read_mpeg_audio(MediaFacts &facts, TagLib::FileStream &stream)
{
    // Without this check a file of something else is searched to its end.
    if (!TagLib::MPEG::File::isSupported(&stream))
        return;

    TagLib::MPEG::File file(&stream, TagLib::ID3v2::FrameFactory::instance());

    take_tags(facts, file.tag(), file.audioProperties());
    if (file.audioProperties())
        facts.profile = mp3_profile(*file.audioProperties());
}

// A file whose content is not what its name says tells nothing.
template <typename File>
static bool read_tags(MediaFacts &facts, TagLib::FileStream &stream)
{
    if (!File::isSupported(&stream))
        return false;

    File file(&stream);

    take_tags(facts, file.tag(), file.audioProperties());
    return true;
}

static void read_flac(MediaFacts &facts, TagLib::FileStream &stream)
{
    if (!TagLib::FLAC::File::isSupported(&stream))
        return;

    TagLib::FLAC::File file(&stream, TagLib::ID3v2::FrameFactory::instance());

    take_tags(facts, file.tag(), file.audioProperties());
}

static void read_ogg(MediaFacts &facts, TagLib::FileStream &stream)
{
    read_tags<TagLib::Ogg::Vorbis::File>(facts, stream) ||
        read_tags<TagLib::Ogg::Opus::File>(facts, stream) ||
        read_tags<TagLib::Ogg::FLAC::File>(facts, stream);
}

static void read_mp4(MediaFacts &facts, TagLib::FileStream &stream)
{
    read_tags<TagLib::MP4::File>(facts, stream);
}

// A tag of its own kind holds the title where there is no ID3 tag.
static void read_wav(MediaFacts &facts, TagLib::FileStream &stream)
{
    if (!TagLib::RIFF::WAV::File::isSupported(&stream))
        return;

    TagLib::RIFF::WAV::File file(&stream);
    const TagLib::Tag      *tag = file.ID3v2Tag();

    if (!file.hasID3v2Tag())
        tag = file.InfoTag();
    take_tags(facts, tag, file.audioProperties());
}

static void read_aiff(MediaFacts &facts, TagLib::FileStream &stream)
{
    read_tags<TagLib::RIFF::AIFF::File>(facts, stream);
}

static void read_asf(MediaFacts &facts, TagLib::FileStream &stream)
{
    read_tags<TagLib::ASF::File>(facts, stream);
}

// Of other types neither tags nor durations are known.
// clang-format off
static constexpr struct {
    std::string_view type;
    void (*read)(MediaFacts &, TagLib::FileStream &);
} readers[] = {
    { "audio/flac",      read_flac },
    { "audio/mp4",       read_mp4 },
    { "audio/mpeg",      read_mpeg_audio },
    { "audio/ogg",       read_ogg },
    { "audio/wav",       read_wav },
    { "audio/x-aiff",    read_aiff },
    { "audio/x-ms-wma",  read_asf },
    { "video/mp4",       read_mp4 },
    { "video/quicktime", read_mp4 },
    { "video/x-ms-wmv",  read_asf },
};
// clang-format on

MediaFacts serve::read_facts(int fd, const char *type)
{
    MediaFacts facts;

    if (is_picture(type)) {
        facts.profile = picture_profile(fd);
        close(fd);
        return facts;
    }
    // The stream closes the descriptor.
    TagLib::FileStream stream(fd, true);

    for (const auto &row : readers) {
        if (row.type == type)
            row.read(facts, stream);
    }
    return facts;
}
