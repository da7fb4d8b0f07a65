// The parameter-file reader: what it accepts, the exact words with which it
// refuses, the dump that follows a refusal, and entity decoding. Inputs are
// fed as streams; one case goes through a real file.
#include "control/kvora_XML_handler.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

struct Parse {
    bool ok;
    std::string out;
};

// Reads `text` into `handler`, capturing what the reader prints.
Parse parseInto(KVORAXMLHandler &handler, const std::string &text, KVORA_ENV env) {
    std::istringstream in(text);
    testing::internal::CaptureStdout();
    bool ok = handler.readFrom(in, env);
    return {ok, testing::internal::GetCapturedStdout()};
}

class XMLReader : public testing::Test {
protected:
    KVORAEnv *env = nullptr;
    KVORAXMLHandler handler{env};

    void TearDown() override { handler.releasePrimitive(env); }

    Parse parse(const std::string &text) { return parseInto(handler, text, env); }

    std::string value(const char *longName) {
        EXPECT_TRUE(handler.findTagByLongName(longName, env)) << longName;
        if (!handler.findTagByLongName(longName, env)) return "<missing>";
        return handler.getTagByLongName(longName, env).getValue().c_str();
    }

    bool contains(const std::string &out, const std::string &what) { return out.find(what) != std::string::npos; }
};

}  // namespace

TEST_F(XMLReader, ReadsElementsAttributesAndOneLineValues) {
    Parse p = parse(
        "<QRVInput>\r\n"
        "  <AlgorithmName> DIF </AlgorithmName>\n"
        "  <InputParameters a=\"x y\" b = \"2\">\n"
        "    <MinClusterSize>\n"
        "      12\n"
        "    </MinClusterSize>\n"
        "    <Empty/>\n"
        "    <Other / >\n"
        "  </InputParameters>\n"
        "</QRVInput>");  // no line end after the last line
    EXPECT_TRUE(p.ok);
    EXPECT_EQ(p.out, "");
    EXPECT_EQ(value("QRVInput/AlgorithmName"), "DIF");
    EXPECT_EQ(value("QRVInput/InputParameters/MinClusterSize"), "12");
    EXPECT_EQ(value("QRVInput/InputParameters/Empty"), "");
    EXPECT_TRUE(handler.findTagByLongName("QRVInput/InputParameters/Other", env));
    // Blanks in a long name vanish; an empty piece or an empty name is false.
    EXPECT_EQ(value(" QRVInput / Algorithm Name "), "DIF");
    EXPECT_FALSE(handler.findTagByLongName("QRVInput//AlgorithmName", env));
    EXPECT_FALSE(handler.findTagByLongName("  ", env));
    EXPECT_FALSE(handler.findTagByLongName("QRVInput/Missing", env));

    KVORAXMLTag &params = handler.getTagByLongName("QRVInput/InputParameters", env);
    EXPECT_EQ(params.ivIsLeaf, 0);
    ASSERT_EQ(params.ivAttrNames.getSize(), 2);
    EXPECT_STREQ(params.ivAttrNames[1].c_str(), "a");
    EXPECT_STREQ(params.ivAttrVals[1].c_str(), "x y");
    EXPECT_STREQ(params.ivAttrNames[2].c_str(), "b");
    EXPECT_STREQ(params.ivAttrVals[2].c_str(), "2");
}

TEST_F(XMLReader, TabsAndHighBytesBecomeBlanksInValues) {
    Parse p = parse("<a>1\t2\xC3\xA9" "3 </a>\n");
    EXPECT_TRUE(p.ok);
    EXPECT_EQ(value("a"), "1 2  3");
}

TEST_F(XMLReader, ValueSplitOverTwoLinesIsRefused) {
    Parse p = parse("<a>1\n2</a>\n");
    EXPECT_FALSE(p.ok);
    EXPECT_TRUE(contains(p.out,
                         "Attempting to create a value for a non-leaf, or attempting to create more than one value "
                         "for a leaf\n"));
    EXPECT_TRUE(contains(p.out, "ERROR ecnountered while reading XML file\n"));
}

TEST_F(XMLReader, DuplicateChildIsRefusedWithTheDumpOfWhatWasRead) {
    Parse p = parse("<a><b>1</b><b>2</b></a>\n");
    EXPECT_FALSE(p.ok);
    EXPECT_EQ(p.out,
              "Duplicate child tag [b]\n"
              "XML Parse error.\n"
              "Current tag stack: \n"
              "__XMLRoot__ a \n"
              "Current XML partial read: \n"
              "[__XMLRoot__] { }\n"
              "  [a] { }\n"
              "    [b][1] { }\n"
              "\n"
              "ERROR ecnountered while reading XML file\n");
}

TEST_F(XMLReader, MixedContentIsRefused) {
    Parse first = parse("<a>1<b/></a>\n");
    EXPECT_FALSE(first.ok);
    EXPECT_TRUE(contains(first.out, "Cannot associate more than one value to [a]. Current value is [1]\n"));

    KVORAXMLHandler other(env);
    Parse second = parseInto(other, "<a><b/>x</a>\n", env);
    other.releasePrimitive(env);
    EXPECT_FALSE(second.ok);
    EXPECT_TRUE(contains(second.out, "Attempting to create a value for a non-leaf, "));
}

TEST_F(XMLReader, AttributeRules) {
    Parse empty = parse("<a b=\"\"/>\n");
    EXPECT_FALSE(empty.ok);
    EXPECT_TRUE(contains(empty.out, "Attribute value not followed by \"\n"));

    KVORAXMLHandler h2(env);
    Parse dup = parseInto(h2, "<a b=\"1\" b=\"2\"/>\n", env);
    EXPECT_FALSE(dup.ok);
    EXPECT_TRUE(contains(dup.out, "Duplicate attribute [b]\n"));
    // The dump shows the attribute with its value and the tag open.
    EXPECT_TRUE(contains(dup.out, "  [a][] { <b, 1> }\n"));
    h2.releasePrimitive(env);

    KVORAXMLHandler h3(env);
    Parse joined = parseInto(h3, "<a x y=\"1\"/>\n", env);
    EXPECT_TRUE(joined.ok);
    EXPECT_STREQ(h3.getTagByLongName("a", env).ivAttrNames[1].c_str(), "xy");
    h3.releasePrimitive(env);
}

TEST_F(XMLReader, BlankAfterLessThanCannotStartATag) {
    Parse p = parse("< a/>\n");
    EXPECT_FALSE(p.ok);
    EXPECT_TRUE(contains(p.out, "Could not locate end of tag\n"));
}

TEST_F(XMLReader, ClosingTagAtTopLevelDoesNotMatchTheRoot) {
    Parse p = parse("</a>\n");
    EXPECT_FALSE(p.ok);
    EXPECT_TRUE(contains(p.out, "Closing tag [a] does not match opening tag [__XMLRoot__]\n"));
    EXPECT_TRUE(contains(p.out, "ERROR ecnountered while reading XML file\n"));
}

TEST_F(XMLReader, UnclosedTagFailsTheFinalPopWithoutAStateError) {
    Parse p = parse("<a>\n");
    EXPECT_FALSE(p.ok);
    EXPECT_TRUE(contains(p.out, "XML Parse error.\nCurrent tag stack: \n__XMLRoot__ a \n"));
    EXPECT_TRUE(contains(p.out, "  [a][] { }\n\n"));
    EXPECT_FALSE(contains(p.out, "ERROR ecnountered"));
}

TEST_F(XMLReader, DeclarationLineFailsOnTheNextLine) {
    Parse p = parse("<?xml version=\"1.0\"?>\n<a>1</a>\n");
    EXPECT_FALSE(p.ok);
    EXPECT_TRUE(contains(p.out,
                         "Attribute value not preceded by \", or attribute name not followed by value at the same "
                         "line\n"));
    // "?>" became the attribute's name, with no value.
    EXPECT_TRUE(contains(p.out, "  [?xml][] { <version, 1.0> <?>, NULL> }\n"));
}

TEST_F(XMLReader, CommentLineFailsTheSameWay) {
    Parse p = parse("<!-- c -->\n<a/>\n");
    EXPECT_FALSE(p.ok);
    EXPECT_TRUE(contains(p.out, "Attribute value not preceded by \""));
}

TEST_F(XMLReader, EndTagBrokenOverALine) {
    Parse p = parse("<a>1<\nb>\n");
    EXPECT_FALSE(p.ok);
    EXPECT_TRUE(contains(p.out, "Expected end tag, got [b>]\n"));
}

TEST_F(XMLReader, StartTagBrokenAfterItsName) {
    // A start tag may break after its name: "x" on the next line is taken as
    // an attribute name whose value never comes, and the tag stays open.
    Parse p = parse("<a\nx\n");
    EXPECT_FALSE(p.ok);
    EXPECT_EQ(p.out,
              "Closing tag [__XMLRoot__] does not match opening tag [a]\n"
              "XML Parse error.\n"
              "Current tag stack: \n"
              "__XMLRoot__ a \n"
              "Current XML partial read: \n"
              "[__XMLRoot__] { }\n"
              "  [a][] { <x, NULL> }\n"
              "\n");

    KVORAXMLHandler h4(env);
    Parse slash = parseInto(h4, "<a/ x>\n", env);
    EXPECT_FALSE(slash.ok);
    EXPECT_TRUE(contains(slash.out, "Syntax error in empty tag\n"));
    h4.releasePrimitive(env);

    KVORAXMLHandler h2(env);
    Parse ok = parseInto(h2, "<a\n  b=\"1\"\n>v</a>\n", env);
    EXPECT_TRUE(ok.ok) << ok.out;
    h2.releasePrimitive(env);

    KVORAXMLHandler h3(env);
    Parse chain = parseInto(h3, "<a =\"1\"/>\n", env);
    EXPECT_FALSE(chain.ok);
    EXPECT_TRUE(contains(chain.out, "Attributes chain ended unexpectedly\n"));
    h3.releasePrimitive(env);
}

TEST_F(XMLReader, EntitiesInNamesValuesAndAttributes) {
    Parse p = parse("<a v=\"&quot;q&quot;\">&lt;1&amp;2&gt;&apos;&#65;&#x41;&#x7F;</a>\n");
    EXPECT_TRUE(p.ok) << p.out;
    EXPECT_EQ(value("a"), "<1&2>'AA\x7F");
    EXPECT_STREQ(handler.getTagByLongName("a", env).ivAttrVals[1].c_str(), "\"q\"");
}

TEST_F(XMLReader, BadEntityInAValueIsRefused) {
    Parse p = parse("<a>x&#x80;y</a>\n");
    EXPECT_FALSE(p.ok);
    EXPECT_TRUE(contains(p.out, "Could not preprocess [x]\n"));
}

TEST(XMLEntities, NumbersFollowTheirOddRules) {
    KVORAEnv *env = nullptr;
    struct Case {
        const char *in;
        bool ok;
        const char *out;
    } cases[] = {
        {"&#x7F;", true, "\x7F"},
        {"&#x41;", true, "A"},
        {"&#65;", true, "A"},
        {"&#1A;", true, "\x14"},   // "A" equals the base 10: passes and counts 10
        {"&#xG;", false, ""},      // a letter first fails the first-digit rule
        {"&#12;x", true, "\x0C" "x"},
        {"&#x80;", false, ""},     // first digit 8 is above 7
        {"&#9;", false, ""},
        {"&#90;", false, ""},
        {"&#128;", false, ""},     // the sum exceeds 127
        {"&#127;", true, "\x7F"},
        {"&#1B;", false, ""},      // 11 exceeds the base
        {"&#;", false, ""},
        {"&#x;", false, ""},
        {"&#1-;", false, ""},
        {"&nbsp;", false, ""},
        {"&AMP;", false, ""},
        {"ab&amp", false, "ab"},   // no ";": what was decoded before stays
        {"ab&#0;cd", true, "ab"},  // a zero ends the text
        {"&#0000000000000000000000065;", true, "A"},
        {"&amp;lt;", true, "&lt;"},
    };
    for (const Case &c : cases) {
        KV2AscString text(c.in);
        EXPECT_EQ(KVORAXMLHandler::preprocessText(text, env), c.ok) << c.in;
        EXPECT_STREQ(text.c_str(), c.out) << c.in;
    }
}

TEST(XMLReaderFile, MissingFileIsFalseWithoutAMessage) {
    KVORAEnv *env = nullptr;
    KVORAXMLHandler handler(env);
    testing::internal::CaptureStdout();
    bool ok = handler.readXMLFile("/nonexistent/dir/params.xml", env);
    std::string out = testing::internal::GetCapturedStdout();
    handler.releasePrimitive(env);
    EXPECT_FALSE(ok);
    EXPECT_EQ(out, "");
}
