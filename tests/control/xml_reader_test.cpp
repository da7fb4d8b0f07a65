// The parameter-file reader: what it accepts, the exact words with which it
// refuses, the dump that follows a refusal, and entity decoding.
#include "control/kvora_XML_handler.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

struct Parse {
    bool ok;
    std::string out;
};

// Reads `text` into a fresh handler (or `into`), capturing what the reader prints.
Parse parse(const std::string &text, KVORAXMLHandler *into = nullptr) {
    KVORAEnv *env = nullptr;
    KVORAXMLHandler own(env);
    KVORAXMLHandler &handler = into != nullptr ? *into : own;
    std::istringstream in(text);
    testing::internal::CaptureStdout();
    const bool ok = handler.readFrom(in, env);
    const std::string out = testing::internal::GetCapturedStdout();
    own.releasePrimitive(env);
    return {ok, out};
}

class XMLReader : public testing::Test {
protected:
    KVORAEnv *env = nullptr;
    KVORAXMLHandler handler{env};

    void TearDown() override { handler.releasePrimitive(env); }

    std::string value(const char *longName) {
        if (!handler.findTagByLongName(longName, env)) return "<missing>";
        return handler.getTagByLongName(longName, env).getValue().c_str();
    }
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
        "    <Tabs>1\t2\xC3\xA9" "3 </Tabs>\n"
        "    <Split\n      c=\"1\"\n    >v</Split>\n"
        "  </InputParameters>\n"
        "</QRVInput>",  // no line end after the last line
        &handler);
    EXPECT_TRUE(p.ok);
    EXPECT_EQ(p.out, "");
    EXPECT_EQ(value("QRVInput/AlgorithmName"), "DIF");
    EXPECT_EQ(value("QRVInput/InputParameters/MinClusterSize"), "12");
    EXPECT_EQ(value("QRVInput/InputParameters/Empty"), "");
    EXPECT_EQ(value("QRVInput/InputParameters/Other"), "");
    // Tabs and bytes above 127 become blanks.
    EXPECT_EQ(value("QRVInput/InputParameters/Tabs"), "1 2  3");
    EXPECT_EQ(value("QRVInput/InputParameters/Split"), "v");
    // Blanks in a long name vanish; an empty piece or an empty name is false.
    EXPECT_EQ(value(" QRVInput / Algorithm Name "), "DIF");
    EXPECT_FALSE(handler.findTagByLongName("QRVInput//AlgorithmName", env));
    EXPECT_FALSE(handler.findTagByLongName("  ", env));

    KVORAXMLTag &params = handler.getTagByLongName("QRVInput/InputParameters", env);
    EXPECT_EQ(params.ivIsLeaf, 0);
    ASSERT_EQ(params.ivAttrNames.getSize(), 2);
    EXPECT_STREQ(params.ivAttrNames[2].c_str(), "b");
    EXPECT_STREQ(params.ivAttrVals[1].c_str(), "x y");
    EXPECT_STREQ(params.ivAttrVals[2].c_str(), "2");
}

TEST(XMLReaderRefusals, EachRefusalHasItsWords) {
    const char *const kEnd = "ERROR ecnountered while reading XML file\n";
    const char *const kNotLeaf =
        "Attempting to create a value for a non-leaf, or attempting to create more than one value for a leaf\n";
    const struct {
        const char *text;
        const char *message;
    } cases[] = {
        {"<a>1\n2</a>\n", kNotLeaf},
        {"<a><b/>x</a>\n", kNotLeaf},
        {"<a>1<b/></a>\n", "Cannot associate more than one value to [a]. Current value is [1]\n"},
        {"<a b=\"\"/>\n", "Attribute value not followed by \"\n"},
        // The dump shows the attribute with its value and the tag open.
        {"<a b=\"1\" b=\"2\"/>\n", "Duplicate attribute [b]\n"},
        {"<a b=\"1\" b=\"2\"/>\n", "  [a][] { <b, 1> }\n"},
        {"< a/>\n", "Could not locate end of tag\n"},
        {"</a>\n", "Closing tag [a] does not match opening tag [__XMLRoot__]\n"},
        {"</a>\n", kEnd},
        // A declaration: "?>" becomes an attribute name with no value.
        {"<?xml version=\"1.0\"?>\n<a>1</a>\n",
         "Attribute value not preceded by \", or attribute name not followed by value at the same line\n"},
        {"<?xml version=\"1.0\"?>\n<a>1</a>\n", "  [?xml][] { <version, 1.0> <?>, NULL> }\n"},
        {"<!-- c -->\n<a/>\n", "Attribute value not preceded by \""},
        {"<a>1<\nb>\n", "Expected end tag, got [b>]\n"},
        {"<a/ x>\n", "Syntax error in empty tag\n"},
        {"<a =\"1\"/>\n", "Attributes chain ended unexpectedly\n"},
        {"<a>x&#x80;y</a>\n", "Could not preprocess [x]\n"},
        {"<a b=\"&unknown;\"/>\n", "Could not preprocess []\n"},
        {"<a&lt>1</a>\n", "Could not preprocess [a]\n"},
        {"<a>&#99999999999999999999;</a>\n", "Could not preprocess []\n"},
    };
    for (const auto &c : cases) {
        Parse p = parse(c.text);
        EXPECT_FALSE(p.ok) << c.text;
        EXPECT_NE(p.out.find(c.message), std::string::npos) << c.text << "\n" << p.out;
    }
    // Attribute names broken by a blank are joined.
    KVORAEnv *env = nullptr;
    KVORAXMLHandler joined(env);
    EXPECT_TRUE(parse("<a x y=\"1\"/>\n", &joined).ok);
    EXPECT_STREQ(joined.getTagByLongName("a", env).ivAttrNames[1].c_str(), "xy");
    joined.releasePrimitive(env);
}

TEST(XMLReaderRefusals, TheDumpAfterARefusal) {
    // A start tag may break after its name: "x" on the next line is taken as
    // an attribute name whose value never comes, and the tag stays open; the
    // final pop fails without the state error's last line.
    EXPECT_EQ(parse("<a\nx\n").out,
              "Closing tag [__XMLRoot__] does not match opening tag [a]\n"
              "XML Parse error.\n"
              "Current tag stack: \n"
              "__XMLRoot__ a \n"
              "Current XML partial read: \n"
              "[__XMLRoot__] { }\n"
              "  [a][] { <x, NULL> }\n"
              "\n");
}

TEST_F(XMLReader, EntitiesInNamesValuesAndAttributes) {
    Parse p = parse("<a v=\"&quot;q&quot;\">&lt;1&amp;2&gt;&apos;&#65;&#x41;&#x7F;</a>\n", &handler);
    EXPECT_TRUE(p.ok) << p.out;
    EXPECT_EQ(value("a"), "<1&2>'AA\x7F");
    EXPECT_STREQ(handler.getTagByLongName("a", env).ivAttrVals[1].c_str(), "\"q\"");
}

TEST(XMLEntities, NumbersFollowTheirOddRules) {
    KVORAEnv *env = nullptr;
    struct Case {
        const char *in;
        bool ok;
        const char *out;
    } cases[] = {
        {"&#1A;", true, "\x14"},   // "A" equals the base 10: passes and counts 10
        {"&#xG;", false, ""},      // a letter first fails the first-digit rule
        {"&#12;x", true, "\x0C" "x"},
        {"&#x80;", false, ""},     // first digit 8 is above 7
        {"&#128;", false, ""},     // the sum exceeds 127
        {"&#127;", true, "\x7F"},
        {"&#1B;", false, ""},      // 11 exceeds the base
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
    EXPECT_FALSE(handler.readXMLFile("/nonexistent/dir/params.xml", env));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    handler.releasePrimitive(env);
}
