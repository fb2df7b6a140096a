// xml_bench.cpp - XML read and written, beside two common libraries.
//
// All three build a whole tree with its own copies of every text and release
// it, and all three write that tree, from the same generated documents.

#include "documents/upnp_xml_write.h"

#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <pugixml.hpp>
#include <sstream>
#include <string>

static std::string number(int value)
{
    return std::to_string(value);
}

// A ContentDirectory answer's result.
static std::string make_didl(int items)
{
    std::string text =
        "<DIDL-Lite xmlns=\"urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/\""
        " xmlns:dc=\"http://purl.org/dc/elements/1.1/\""
        " xmlns:upnp=\"urn:schemas-upnp-org:metadata-1-0/upnp/\">\n";

    for (int i = 0; i < items; ++i)
        text += "<item id=\"0$1$" + number(i) +
                "\" parentID=\"0$1\" restricted=\"1\">\n"
                "<dc:title>Track &amp; title number " +
                number(i) +
                "</dc:title>\n"
                "<dc:creator>Example Artist</dc:creator>\n"
                "<upnp:album>An album of a common length</upnp:album>\n"
                "<upnp:genre>Jazz</upnp:genre>\n"
                "<dc:date>2009-01-02</dc:date>\n"
                "<upnp:originalTrackNumber>7</upnp:originalTrackNumber>\n"
                "<upnp:class>object.item.audioItem.musicTrack</upnp:class>\n"
                "<res protocolInfo=\"http-get:*:audio/mpeg:DLNA.ORG_PN=MP3;"
                "DLNA.ORG_OP=01;DLNA.ORG_CI=0\" size=\"5242880\""
                " duration=\"0:03:25.000\">http://192.0.2.1:9000/media/" +
                number(i) + ".mp3</res>\n</item>\n";
    return text + "</DIDL-Lite>\n";
}

static std::string make_flat(size_t bytes)
{
    std::string text = "<list>";

    while (text.size() < bytes)
        text += "<entry>some text</entry>\n";
    return text + "</list>";
}

static std::string make_comments(size_t bytes)
{
    std::string text = "<list>";

    while (text.size() < bytes)
        text += "<!-- A remark, in some detail --><entry>text</entry>\n";
    return text + "</list>";
}

static std::string make_nested(size_t bytes)
{
    static constexpr int LEVELS = 90;
    std::string          text = "<list>";

    while (text.size() < bytes) {
        for (int i = 0; i < LEVELS; ++i)
            text += "<level n=\"" + number(i) + "\">";
        for (int i = 0; i < LEVELS; ++i)
            text += "</level>";
    }
    return text + "</list>";
}

static const std::string &document(int64_t which)
{
    static const std::string documents[] = {
        make_didl(200),
        make_flat(1 << 20),
        make_comments(1 << 20),
        make_nested(1 << 20),
    };
    return documents[which];
}

static void every_document(benchmark::internal::Benchmark *bench)
{
    bench->ArgName("didl,flat,comments,nested")->DenseRange(0, 3);
}

static void count_bytes(benchmark::State &state, size_t bytes)
{
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}

static void BM_parse_qm(benchmark::State &state)
{
    const std::string &text = document(state.range(0));

    for (auto _ : state) {
        XmlNode *root = upnp_xml_parse(text.c_str());
        benchmark::DoNotOptimize(root);
        upnp_xml_release(root);
    }
    count_bytes(state, text.size());
}
BENCHMARK(BM_parse_qm)->Apply(every_document);

static void BM_parse_libxml2(benchmark::State &state)
{
    const std::string &text = document(state.range(0));

    for (auto _ : state) {
        xmlDoc *doc =
            xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr,
                          nullptr, XML_PARSE_NONET | XML_PARSE_NOERROR);
        benchmark::DoNotOptimize(doc);
        xmlFreeDoc(doc);
    }
    count_bytes(state, text.size());
}
BENCHMARK(BM_parse_libxml2)->Apply(every_document);

static void BM_parse_pugixml(benchmark::State &state)
{
    const std::string &text = document(state.range(0));

    for (auto _ : state) {
        pugi::xml_document doc;
        benchmark::DoNotOptimize(doc.load_buffer(text.data(), text.size()));
    }
    count_bytes(state, text.size());
}
BENCHMARK(BM_parse_pugixml)->Apply(every_document);

static void BM_write_qm(benchmark::State &state)
{
    const std::string &text = document(state.range(0));
    XmlNode           *root = upnp_xml_parse(text.c_str());

    for (auto _ : state) {
        UpnpString *out = upnp_xml_tree_to_string_valid(root, 0, 1);
        benchmark::DoNotOptimize(out->buffer);
        upnp_string_free(out);
    }
    count_bytes(state, text.size());
    upnp_xml_release(root);
}
BENCHMARK(BM_write_qm)->Apply(every_document);

static void BM_write_qm_compliant(benchmark::State &state)
{
    const std::string &text = document(state.range(0));
    XmlNode           *root = upnp_xml_parse(text.c_str());

    for (auto _ : state) {
        UpnpString *out = upnp_xml_tree_to_compliant_string(root, 0, 1);
        benchmark::DoNotOptimize(out->buffer);
        upnp_string_free(out);
    }
    count_bytes(state, text.size());
    upnp_xml_release(root);
}
BENCHMARK(BM_write_qm_compliant)->Apply(every_document);

static void BM_write_libxml2(benchmark::State &state)
{
    const std::string &text = document(state.range(0));
    xmlDoc *doc = xmlReadMemory(text.data(), static_cast<int>(text.size()),
                                nullptr, nullptr, XML_PARSE_NONET);

    for (auto _ : state) {
        xmlChar *out;
        int      length;
        xmlDocDumpMemory(doc, &out, &length);
        benchmark::DoNotOptimize(out);
        xmlFree(out);
    }
    count_bytes(state, text.size());
    xmlFreeDoc(doc);
}
BENCHMARK(BM_write_libxml2)->Apply(every_document);

static void BM_write_pugixml(benchmark::State &state)
{
    const std::string &text = document(state.range(0));
    pugi::xml_document doc;

    doc.load_buffer(text.data(), text.size());
    for (auto _ : state) {
        std::ostringstream out;
        doc.save(out, "", pugi::format_raw);
        benchmark::DoNotOptimize(out);
    }
    count_bytes(state, text.size());
}
BENCHMARK(BM_write_pugixml)->Apply(every_document);

// Time for a whole parse of 1, 10 and 100 MB: it must grow with the size alone.
static void BM_parse_grows_evenly(benchmark::State &state)
{
    static constexpr decltype(&make_flat) makers[] = { make_flat, make_comments,
                                                       make_nested };
    size_t            bytes = static_cast<size_t>(state.range(1)) * 1000000;
    const std::string text = makers[state.range(0)](bytes);

    // The first parse takes fresh pages from the system, at a cost of its own.
    upnp_xml_release(upnp_xml_parse(text.c_str()));
    for (auto _ : state)
        upnp_xml_release(upnp_xml_parse(text.c_str()));
    count_bytes(state, text.size());
}
BENCHMARK(BM_parse_grows_evenly)
    ->ArgNames({ "flat,comments,nested", "MB" })
    ->ArgsProduct({ { 0, 1, 2 }, { 1, 10, 100 } })
    ->Unit(benchmark::kMillisecond);
