// upnp_xml_write_test.cpp - the three forms, the field limits and escaping.

#include "documents/upnp_xml_write.h"

#include "runtime/upnp_mem.h"
#include "support/failing_heap.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

using Write = UpnpString *(const XmlNode *, int32_t, int32_t);

static constexpr Write *PLAIN = upnp_xml_tree_to_string;
static constexpr Write *VALID = upnp_xml_tree_to_string_valid;
static constexpr Write *COMPLIANT = upnp_xml_tree_to_compliant_string;

static std::string taken(UpnpString *str)
{
    if (!str)
        return "(null)";
    std::string out = str->buffer;
    EXPECT_EQ(str->length, out.size());
    upnp_string_free(str);
    return out;
}

static std::string rewritten(const std::string &text, Write write,
                             int32_t pretty = 0)
{
    XmlNode    *root = upnp_xml_parse(text.c_str());
    std::string out = taken(write(root, pretty, 1));

    upnp_xml_release(root);
    return out;
}

TEST(XmlWrite, HasThreeForms)
{
    static const struct {
        const char *text, *plain, *valid, *compliant;
    } cases[] = {
        { "<a b=''/>", "<a b=\"\"></a>", "<a b=\"\"></a>", "" },
        { "<a b='1' c='&lt;'/>", "<a c=\"<\" b=\"1\"></a>",
          "<a c=\"&lt;\" b=\"1\"></a>", "<a c=\"&lt;\" b=\"1\"/>" },
        { "<a>'&amp;\t x</a>", "<a>'&\t x</a>", "<a>&apos;&amp;&#9; x</a>",
          "<a>&apos;&amp;&#9; x</a>" },
        { "<a> <b/><c>1</c></a>", "<a><b></b><c>1</c></a>",
          "<a><b></b><c>1</c></a>", "<a><c>1</c></a>" },
        { "<a> </a>", "<a> </a>", "<a> </a>", "" },
        { "<a><b c=' '/><></></a>", "<a><b c=\" \"></b><></></a>",
          "<a><b c=\" \"></b><></></a>", "" },
        { "<desc nameSpace='u' xmlns='v'>x</desc>",
          "<desc xmlns=\"v\" nameSpace=\"u\">x</desc>",
          "<desc xmlns=\"v\" nameSpace=\"u\">x</desc>", "" },
        { "<desc nameSpace='u' xmlns='u'>x</desc>",
          "<desc xmlns=\"u\" nameSpace=\"u\">x</desc>",
          "<desc xmlns=\"u\" nameSpace=\"u\">x</desc>",
          "<desc xmlns=\"u\" nameSpace=\"u\">x</desc>" },
    };
    for (const auto &c : cases) {
        EXPECT_EQ(rewritten(c.text, PLAIN), c.plain);
        EXPECT_EQ(rewritten(c.text, VALID), c.valid);
        EXPECT_EQ(rewritten(c.text, COMPLIANT), c.compliant);
    }
    EXPECT_EQ(taken(PLAIN(nullptr, 0, 0)), "(null)");
}

TEST(XmlWrite, PrettyFormLeavesNoLineOfVanishedElements)
{
    static const char text[] =
        "<a><e/><b><c>1</c><e/><d>2</d></b><e><e/></e><f p='1'><e/></f></a>";

    EXPECT_EQ(rewritten(text, COMPLIANT, 1), "<a>\n"
                                             "    <b>\n"
                                             "        <c>1</c>\n"
                                             "        <d>2</d>\n"
                                             "    </b>\n"
                                             "    <f p=\"1\"/>\n"
                                             "</a>");
    EXPECT_EQ(rewritten("<a><b>1</b><c/></a>", PLAIN, 1), "<a>\n"
                                                          "    <b>1</b>\n"
                                                          "    <c></c>\n"
                                                          "</a>");
}

TEST(XmlWrite, TakesSiblingsAndLeavesOutWhatHasNoName)
{
    XmlNode *first = upnp_xml_parse("<a p='1'/>");

    upnp_free_impl(first->attributes->name);
    first->attributes->name = nullptr;
    first->next = upnp_xml_parse("<b><x/></b>");
    first->next->next = upnp_xml_parse("<c/>");
    EXPECT_EQ(taken(upnp_xml_node_to_string(first, 1)),
              "<a></a>\n<b>\n    <x></x>\n</b>\n<c></c>");

    upnp_free_impl(first->next->name);
    first->next->name = nullptr;
    EXPECT_EQ(taken(upnp_xml_node_to_string(first, 1)), "<a></a>\n<c></c>");
    EXPECT_EQ(taken(PLAIN(first, 1, 1)), "<a></a>");
    upnp_xml_release(first);
}

TEST(XmlWrite, HoldsFieldsToTheirLimits)
{
    auto        x = [](size_t n) { return std::string(n, 'x'); };
    std::string mp3 = "http-get:*:audio/mpeg:";
    const struct {
        std::string name, value, written;
    } cases[] = {
        { "dc:title", x(256), x(256) },
        { "dc:title", x(300), x(253) + "..." },
        { "dc:creator", x(252) + "&amp;", x(252) + "&..." },
        { "upnp:class", x(300), x(256) },
        { "upnp:albumArtURI", x(1024), x(1024) },
        { "upnp:albumArtURI", x(2000), "" },
        { "upnp:channelNr", x(12), "" },
        { "other", x(1025), x(1021) + "..." },
        { "restricted", "false", "0" },
        { "restricted", "0x", "0" },
        { "restricted", "False", "1" },
        { "restricted", "true", "1" },
        { "duration", "1:02:03.5", "01:02:03" },
        { "duration", "x", "00:00:00" },
        { "dc:date", "2009-01-02T03", "2009-01-02T03" },
        { "dc:date", "2009-13-02", "" },
        { "protocolInfo", mp3 + "*", mp3 + "*" },
        { "protocolInfo", mp3 + "a;b=1;c=2", mp3 + "b=1;c=2" },
        { "protocolInfo", mp3 + "b=1;;=;c=2;", mp3 + "b=1;c=2" },
        { "protocolInfo", mp3 + "a", mp3 },
        { "protocolInfo", "http-get:*:a", "http-get:*:a" },
    };
    for (const auto &c : cases) {
        bool        stays = !c.written.empty();
        std::string tag = "<" + c.name + ">", end = "</" + c.name + ">";
        std::string attribute =
            stays ? " " + c.name + "=\"" + c.written + "\"" : "";

        EXPECT_EQ(rewritten(tag + c.value + end, COMPLIANT),
                  stays ? tag + c.written + end : "");
        EXPECT_EQ(
            rewritten("<a k='1' " + c.name + "='" + c.value + "'/>", COMPLIANT),
            "<a" + attribute + " k=\"1\"/>");
    }
}

TEST(XmlWrite, GivesNoPartialTextWithoutMemory)
{
    XmlNode *root = upnp_xml_parse(("<a p='<' restricted='1'><dc:title>" +
                                    std::string(3000, '<') +
                                    "</dc:title><duration>1</duration></a>")
                                       .c_str());

    for (Write *write : { PLAIN, VALID, COMPLIANT }) {
        std::string whole = taken(write(root, 1, 1));
        for_each_failing_allocation([&] {
            UpnpString *text = write(root, 1, 1);
            EXPECT_EQ(allocation_has_failed(), text == nullptr);
            if (text) {
                EXPECT_EQ(text->buffer, whole);
            }
            upnp_string_free(text);
        });
    }
    upnp_xml_release(root);

    for_each_failing_allocation([] {
        char *text = upnp_xml_escape("<<<<");
        EXPECT_EQ(allocation_has_failed(), text == nullptr);
        if (text)
            upnp_free_impl(text);
    });
}

TEST(XmlEscape, HasAColumnForEachCaller)
{
    static const char all[] = "\"&'<>\t\x1f"
                              "a\x80";
    static const struct {
        int32_t     twice, numeric;
        const char *escaped;
    } cases[] = {
        { 0, 0, "&quot;&amp;&apos;&lt;&gt;&#9;&#31;a\x80" },
        { 1, 0,
          "&amp;quot;&amp;amp;&amp;apos;&amp;lt;&amp;gt;&amp;#9;&amp;#31;"
          "a\x80" },
        { 0, 1, "&quot;&amp;&#39;&lt;&gt;&#9;&#31;a\x80" },
        { 1, 1,
          "&amp;quot;&amp;amp;&amp;#39;&amp;lt;&amp;gt;&amp;#9;&amp;#31;"
          "a\x80" },
    };
    UpnpString *holder = upnp_string_create("what was there", 4);

    for (const auto &c : cases) {
        upnp_xml_escape_cond_externout(all, &holder, c.twice, c.numeric);
        EXPECT_STREQ(holder->buffer, c.escaped);
        if (c.numeric)
            continue;
        char *copy = upnp_xml_escape_cond(all, c.twice);
        EXPECT_STREQ(copy, c.escaped);
        upnp_free_impl(copy);
    }
    upnp_xml_escape_cond_externout(nullptr, &holder, 0, 0);
    EXPECT_STREQ(holder->buffer, "");
    upnp_string_free(holder);

    char *empty = upnp_xml_escape("");
    EXPECT_STREQ(empty, "");
    upnp_free_impl(empty);
    EXPECT_EQ(upnp_xml_escape(nullptr), nullptr);
}
