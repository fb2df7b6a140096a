// upnp_xml_test.cpp - what the forgiving parser makes of texts, and tree calls.

#include "documents/upnp_xml.h"

#include "runtime/upnp_mem.h"
#include "support/edge_text.h"
#include "support/failing_heap.h"
#include "support/log_lines.h"
#include "support/work_folder.h"

#include <memory>
#include <pthread.h>
#include <string>

namespace {
struct ReleaseTree {
    void operator()(XmlNode *node) const
    {
        upnp_xml_release(node);
    }
};
using Tree = std::unique_ptr<XmlNode, ReleaseTree>;
}

// The text with its control bytes as in C.
static std::string shown(std::string_view text)
{
    static constexpr std::string_view bytes = "\\\t\n\r", letters = "\\tnr";
    std::string                       out;

    for (char byte : text) {
        size_t at = bytes.find(byte);
        out += at < bytes.size() ? std::string{ '\\', letters[at] }
                                 : std::string(1, byte);
    }
    return out;
}

// "name [attribute=value] : value" a line, attributes in list order, children
// indented by two blanks. An element without a value has no colon.
static std::string dump(const XmlNode *node, size_t indent = 0)
{
    std::string out;

    for (; node; node = node->next) {
        out += std::string(indent, ' ') + shown(node->name);
        for (auto *at = node->attributes; at; at = at->next)
            out += " [" + shown(at->name) + "=" + shown(at->value) + "]";
        if (node->value)
            out += " : " + shown(node->value);
        out += "\n" + dump(node->children, indent + 2);
    }
    return out;
}

static Tree parse(const std::string &text)
{
    return Tree(upnp_xml_parse(EdgeText(text).data));
}

static std::string repeat(int count, const std::string &text)
{
    std::string out;

    while (count-- > 0)
        out += text;
    return out;
}

TEST(XmlParse, MakesTheExpectedTreeOfEachDocument)
{
    int count = 0;

    for (auto &entry : std::filesystem::directory_iterator(CORPUS)) {
        auto path = entry.path();
        if (path.extension() != ".xml")
            continue;
        Tree tree = parse(WorkFolder::get(path));
        EXPECT_EQ(dump(tree.get()),
                  WorkFolder::get(path.replace_extension(".tree")))
            << path;
        ++count;
    }
    EXPECT_GE(count, 40);
}

TEST(XmlParse, ForgivesAndEndsWhereItShould)
{
    static const struct {
        const char *why, *text, *tree;
        uint32_t    end;
    } cases[] = {
        { "blanks stay", "<a>  x  </a>", "a :   x  \n", 11 },
        { "control bytes at the end go", "<a>x\r\n</a>", "a : x\n", 9 },
        { "empty text", "<a></a>", "a : \n", 6 },
        { "empty element", "<a/>", "a\n", 3 },
        { "only the first element", "<a>1</a><b>2</b>", "a : 1\n", 7 },
        { "reversed", "<a p=\"1\" q=\"2\"/>", "a [q=2] [p=1]\n", 15 },
        { "quotes in the middle", "<a p=x\"y\"z/>", "a [p=y]\n", 11 },
        { "the other quote", "<a p='1\"2'/>", "a [p=1\"2]\n", 11 },
        { "blanks around =", "<a p\t= \n1>x</a>", "a [p=1] : x\n", 14 },
        { "no attribute value", "<a b>x</a>", "a\n", 8 },
        { "no attribute name", "<a =1>x</a>", "a [=1] : x\n", 10 },
        { "no name", "<>x</>", " : x\n", 5 },
        { "longer end tag", "<ab>x</abc>", "ab : x\n", 10 },
        { "CDATA", "<a>1<![CDATA[<b>]]>2</a>", "a\n", 23 },
        { "instruction last", "<a><?i?></a>", "a\n  \n", 11 },
        { "no text behind child", "<a><b/>", "a\n  b\n", 6 },
        { "quote in first text", "<a>'<b/></a>", "a\n  b\n", 11 },
        { "text ends in tag", "<a", "", 0 },
        { "text ends behind name", "<a ", "a\n", 3 },
        { "text ends in attribute", "<a p", "a\n", 4 },
        { "text ends in value", "<a p='x> ", "a [p='x> ]\n", 9 },
        { "text ends behind value", "<a p=1 ", "a [p=1]\n", 7 },
        { "text ends in content", "<a>x", "a\n", 3 },
        { "text ends in end tag", "<a>x</", "a : x\n", 6 },
        { "text ends in comment", "<a><!--x", "a\n", 3 },
        { "text ends in CDATA", "<a><![CDATA", "a\n", 3 },
        { "nothing but opening", "<", "", 0 },
        { "empty", "", "", 0 },
    };
    for (const auto &c : cases) {
        Tree tree = parse(c.text);
        EXPECT_EQ(dump(tree.get()), c.tree) << c.why;
        EXPECT_EQ(tree ? tree->end_offset : 0, c.end) << c.why;
    }
    EXPECT_EQ(upnp_xml_parse(nullptr), nullptr);
}

TEST(XmlParse, TakesTheRestOfATagForContentBehind100Attributes)
{
    Tree tree = parse("<a " + repeat(100, "p=1 ") + "zz>x</a>");

    EXPECT_STREQ(tree->value, "z>x");
}

TEST(XmlParse, LogsWrongEndTagsAndGivesUpOnlyAtLevel101)
{
    static const char too_deep[] =
        "[Warning] - LOG_SYSTEM: upnp_xml_parse_with_depth : XML node maximum "
        "depth reached\n";
    static const struct {
        std::string text, logged;
        int32_t     depth, flag;
    } cases[] = {
        { repeat(100, "<a>") + repeat(100, "</a>"), "", 0, 0 },
        { repeat(101, "<a>") + "x", too_deep, 0, 1 },
        { "<a><b/></a>", too_deep, 99, 1 },
        { "<a>x</b>",
          "[Info] - LOG_SYSTEM: upnp_xml_parse_with_depth : bad end tag!\na\n",
          0, 0 },
        { "<a>x</abc>", "", 0, 0 },
        { "<a><b/>x", "", 0, 0 },
        { "<a>x", "", 0, 0 },
    };
    for (const auto &c : cases) {
        int32_t flag = 0;
        Tree    tree;
        EXPECT_EQ(log_lines([&] {
                      tree.reset(upnp_xml_parse_with_depth(
                          EdgeText(c.text).data, c.depth, &flag));
                  }),
                  c.logged);
        EXPECT_EQ(flag, c.flag) << c.text;
        EXPECT_EQ(tree == nullptr, c.flag) << c.text;
    }
}

// Any cost above linear would run into the time limit of the tests.
TEST(XmlParse, TakesTimeInProportionToTheText)
{
    static const struct {
        const char *head, *unit, *tail;
    } cases[] = {
        { "<a>", "<b>x</b>", "" },
        { "<a>", "<!-- x -->", "<b/></a>" },
        { "", "<", "" },
        { "", "<!--", "" },
        { "<a>", "<!--", "" },
        { "<a>", "<![CDATA[", "" },
        { "<a>", "&", "</a>" },
        { "<a>", "&#1", "</a>" },
        { "<a p='", "&amp;", "'/>" },
        { "<a><b/>", "\"'>", "" },
        { "<a><b/>", "' <c/ >", "" },
        { "<a>", "<b p='1'/x ", "" },
        { "<a>", "<b>'<c/ \">", "" },
        { "<a ", "p=1 ", ">" },
        { "<a>", "<?<", "" },
        { "<a>", "</b '>", "" },
    };
    for (const auto &c : cases)
        parse(repeat(98, "<l>") + c.head + repeat(500000, c.unit) + c.tail);
}

static void *use_small_stack(void *)
{
    parse(repeat(100, "<a p='1'>") + repeat(100, "</a>"));

    // A tree as deep as memory allows is still released.
    XmlNode *root = upnp_xml_new_node("root", nullptr);
    for (int level = 0; level < 100000; ++level) {
        XmlNode *above = upnp_xml_new_node("a", nullptr);
        above->children = root;
        root = above;
    }
    upnp_xml_release(root);
    return nullptr;
}

TEST(XmlTree, FitsASmallStack)
{
    pthread_attr_t attributes;
    pthread_t      thread;

    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 192 * 1024);
    ASSERT_EQ(pthread_create(&thread, &attributes, use_small_stack, nullptr),
              0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

TEST(XmlTree, IsBuiltAndCopied)
{
    Tree tree = parse("<a p='1' q='2'><b>x</b></a>");
    Tree other(upnp_xml_new_node("c", nullptr));

    tree->next = other.release();
    Tree one(upnp_xml_copy_node(tree.get()));
    EXPECT_EQ(dump(one.get()), "a [q=2] [p=1]\n  b : x\n");
    EXPECT_EQ(one->end_offset, tree->end_offset);

    upnp_xml_copy_to_subnode(one.get(), tree.get());
    upnp_xml_copy_to_subnode(nullptr, tree.get());
    EXPECT_EQ(dump(one->children), "b : x\na [q=2] [p=1]\n  b : x\nc\n");

    XmlAttribute *bare = upnp_xml_new_attribute("p", nullptr);
    EXPECT_EQ(bare->value, nullptr);
    upnp_xml_release_attributes(bare);
    EXPECT_EQ(upnp_xml_new_node(nullptr, "x"), nullptr);
    EXPECT_EQ(upnp_xml_new_attribute(nullptr, "x"), nullptr);
    EXPECT_EQ(upnp_xml_copy_tree(nullptr), nullptr);
}

TEST(XmlTree, SurvivesEachFailingAllocation)
{
    static const char text[] = "<a p='1' q='2'><b r='3'>x</b><c/></a>";

    for_each_failing_allocation([] {
        Tree      tree(upnp_xml_parse(text));
        Tree      copied(upnp_xml_copy_tree(tree.get()));
        Tree      node(upnp_xml_new_node("a", "b"));
        int32_t   count = 0;
        XmlNode **found =
            upnp_xml_find_all_nodes(tree.get(), "c", nullptr, &count);

        EXPECT_EQ(found != nullptr, count == 1);
        if (found)
            upnp_free_impl(found);
        upnp_xml_release_attributes(upnp_xml_new_attribute("a", "b"));
        // A copy is whole or not there.
        if (tree && copied) {
            EXPECT_EQ(dump(copied.get()), dump(tree.get()));
        }
    });
}

TEST(XmlFind, MeetsElementsInPreOrderByTheirWholeName)
{
    Tree tree = parse("<a><dc:title>1</dc:title><b id='x'><t>-2z</t><t>3</t>"
                      "</b><t>4294967297</t><u> 5</u></a>");
    const XmlNode *root = tree.get();

    EXPECT_EQ(upnp_xml_find_tag(root, "title"), nullptr);
    EXPECT_EQ(upnp_xml_find_tag(root, nullptr), nullptr);
    EXPECT_STREQ(upnp_xml_find_tag_value(root, "t"), "-2z");
    EXPECT_EQ(upnp_xml_find_tag_value_int(root, "t"), -2);
    EXPECT_EQ(upnp_xml_find_tag_value_int(root, "b"), 0);
    EXPECT_EQ(upnp_xml_find_tag_value_uint(root, "t", 7), 7u);
    EXPECT_EQ(upnp_xml_find_tag_value_uint(root, "u", 7), 7u);
    EXPECT_EQ(upnp_xml_find_tag_value_uint(root, "dc:title", 7), 1u);

    const XmlNode *b = upnp_xml_find_tag(root, "b");
    EXPECT_EQ(upnp_xml_find_tag_value_uint64(b->next, "t", 0), 4294967297u);
    EXPECT_EQ(upnp_xml_find_next_tag(b, "t"), b->next);
    EXPECT_EQ(upnp_xml_find_next_tag(nullptr, "t"), nullptr);
    EXPECT_STREQ(upnp_xml_find_attribute_value(b, "id"), "x");
    EXPECT_EQ(upnp_xml_find_attribute_value(nullptr, "id"), nullptr);

    int32_t   count = 0;
    XmlNode **found = upnp_xml_find_all_nodes(root, "b", nullptr, &count);
    int64_t   used = upnp_mem_used();
    found = upnp_xml_find_all_nodes(root, "t", found, &count);
    ASSERT_EQ(count, 4);
    EXPECT_EQ(upnp_mem_used() - used, 3 * 24);
    EXPECT_EQ(found[0], b);
    EXPECT_EQ(found[1], b->children);
    EXPECT_EQ(found[3], b->next);
    upnp_free_impl(found);
}

TEST(XmlText, FindsAndCopiesWithinTheText)
{
    static const struct {
        const char *text;
        int32_t     find, tag;  // of "=/", of a tag
        const char *quoted;
    } cases[] = {
        { "a=\"b/c\"", 1, -1, "b/c" },
        { "'a='/<b>", 4, 6, "a=" },
        { "a'b\"=", 5, -1, "a'b\"=" },
        { "''</x>\t", 3, 3, "" },
        { "<!x><?y><!-- <a> --><![CDATA[<b>]]><c\"", 38, 36,
          "<!x><?y><!-- <a> --><![CDATA[<b>]]><c\"" },
        { "<!-->\r\n", 7, -1, "<!-->" },
        { "", 0, -1, "" },
    };
    for (const auto &c : cases) {
        EdgeText text(c.text);
        char    *quoted = upnp_strdup_quoted(text.data, 99);
        EXPECT_EQ(upnp_xml_find(text.data, "=/"), c.find) << c.text;
        EXPECT_EQ(upnp_xml_find_tagstart(text.data), c.tag) << c.text;
        EXPECT_STREQ(quoted, c.quoted) << c.text;
        upnp_free_impl(quoted);
    }

    char *copy = upnp_xml_strdup(" \x80 \x1f\n", 5);
    EXPECT_STREQ(copy, " \x80 ");
    upnp_free_impl(copy);
    EXPECT_EQ(upnp_xml_strdup("x", -1), nullptr);
    EXPECT_EQ(upnp_xml_strdup(nullptr, 1), nullptr);
}

TEST(XmlText, ResolvesEntitiesInPlace)
{
    static const struct {
        const char *text, *resolved;
    } cases[] = {
        { "&amp;lt;&lt;&gt;&apos;&quot;&nbsp;", "&lt;<>'\" " },
        { "&#65;&#x41;&#321;&#x1F;&#-1;", "AAA\x1F\xFF" },
        { "&#12345;&foo;&AMP;&#65", "&#12345;&foo;&AMP;&#65" },
        { "a&#X41;b", "a" },
        { "a&#;b", "a" },
        { "&&#&am&#1", "&&#&am&#1" },
    };
    for (const auto &c : cases) {
        EdgeText text(c.text);
        upnp_xml_unescape(text.data);
        EXPECT_STREQ(text.data, c.resolved) << c.text;
    }
    upnp_xml_unescape(nullptr);
}
