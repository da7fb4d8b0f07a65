// The tree operations and the writer: long-name creation and the set
// operations' texts seen through the exact written form, clearTag, and that
// what the writer writes the reader reads back, escaped texts included, as
// does the object stream that carries the tree to the workers.
#include "control/kvora_XML_handler.h"
#include "util/kvora_binobjio.h"
#include "util/kvora_objio.h"
#include "util/kvora_streamblobreader.h"
#include "util/kvora_streamblobwriter.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

void expectEqualTrees(const KVORAXMLTag &a, const KVORAXMLTag &b, const std::string &where) {
    EXPECT_EQ(a.ivIsLeaf, b.ivIsLeaf) << where;
    EXPECT_STREQ(a.ivName.c_str(), b.ivName.c_str()) << where;
    EXPECT_STREQ(a.ivValue.c_str(), b.ivValue.c_str()) << where;
    ASSERT_EQ(a.ivAttrNames.getSize(), b.ivAttrNames.getSize()) << where;
    ASSERT_EQ(a.ivAttrVals.getSize(), b.ivAttrVals.getSize()) << where;
    for (int32_t i = 1; i <= a.ivAttrNames.getSize(); ++i)
        EXPECT_STREQ(a.ivAttrNames[i].c_str(), b.ivAttrNames[i].c_str()) << where;
    for (int32_t i = 1; i <= a.ivAttrVals.getSize(); ++i)
        EXPECT_STREQ(a.ivAttrVals[i].c_str(), b.ivAttrVals[i].c_str()) << where;
    ASSERT_EQ(a.ivChildren.getSize(), b.ivChildren.getSize()) << where;
    for (int32_t i = 1; i <= a.ivChildren.getSize(); ++i)
        expectEqualTrees(a.ivChildren[i], b.ivChildren[i], where + "/" + a.ivChildren[i].ivName.c_str());
}

std::string written(KVORAXMLHandler &handler, KVORA_ENV env) {
    std::ostringstream out;
    EXPECT_TRUE(handler.writeTo(out, env));
    return out.str();
}

class XMLTree : public testing::Test {
protected:
    KVORAEnv *env = nullptr;
    KVORAXMLHandler handler{env};
    void TearDown() override { handler.releasePrimitive(env); }
};

}  // namespace

// A tree built by long names and set operations, seen through its exact
// written form: levels made once, blanks out of names, values as the sets
// format them, escapes, indentation, and NULL for a missing attribute value.
TEST_F(XMLTree, BuiltTreeHasItsExactWrittenForm) {
    KVORAXMLTag &report = handler.getRootTag().addTag("QRVReport", env);
    report.addAttributeName("v", env);
    report.addAttributeValue("1<2", env);
    report.addAttributeName("w", env);
    report.getOrAddLeafTag("In/Spreading Coefficient", env).setRealValue(1234567.0, env);
    report.getOrAddLeafTag("In/Min", env).setIntValue(-7, env);
    // Asked again, a tag is found with its value until a set overwrites it.
    EXPECT_STREQ(report.getOrAddLeafTag("In/SpreadingCoefficient", env).getValue().c_str(), "1.23457e+06");
    report.getOrAddLeafTag("In/Min", env).setIntValue(2147483647, env);
    report.addLeafTag("  Small\t", env).setRealValue(-0.000012345678, env);
    report.addLeafTag("T", env).setBoolValue(-3, env);
    report.addLeafTag("F", env).setBoolValue(0, env);
    report.getOrAddLeafTag("Name", env).setValue(" \t a<b & \"c\" 'd'> \t", env);
    report.getOrAddLeafTag("Empty", env);
    EXPECT_EQ(report.getTagByLongName("In", env).ivIsLeaf, 0);
    EXPECT_EQ(written(handler, env),
              "<QRVReport v=\"1&lt;2\" w=\"NULL\">\n"
              "  <In>\n"
              "    <SpreadingCoefficient>1.23457e+06</SpreadingCoefficient>\n"
              "    <Min>2147483647</Min>\n"
              "  </In>\n"
              "  <Small>-1.23457e-05</Small>\n"
              "  <T>True</T>\n"
              "  <F>False</F>\n"
              "  <Name>a&lt;b &amp; &quot;c&quot; &apos;d&apos;&gt;</Name>\n"
              "  <Empty></Empty>\n"
              "</QRVReport>\n");
    EXPECT_ANY_THROW(report.getTagByLongName("In/Nothing", env));
}

TEST_F(XMLTree, ClearTagEmptiesANonLeafAndLeavesALeafAlone) {
    KVORAXMLTag &group = handler.getRootTag().addTag("G", env);
    group.setValue("kept", env);
    group.addAttributeName("a", env);
    group.addAttributeValue("1", env);
    group.getOrAddLeafTag("X/Y", env).setValue("1", env);
    EXPECT_TRUE(group.clearTag(env));
    EXPECT_EQ(group.getNumChildren(), 0);
    EXPECT_EQ(group.ivAttrVals.getSize(), 0);
    EXPECT_STREQ(group.getValue().c_str(), "kept");
    KVORAXMLTag &leaf = handler.getRootTag().addLeafTag("L", env);
    leaf.addAttributeName("b", env);
    EXPECT_TRUE(leaf.clearTag(env));
    EXPECT_EQ(leaf.ivAttrNames.getSize(), 1);
}

TEST_F(XMLTree, WrittenTextReadsBackIntoTheSameText) {
    KVORAXMLTag &root = handler.getRootTag();
    KVORAXMLTag &report = root.addTag("Report", env);
    report.addAttributeName("title", env);
    report.addAttributeValue("A \"quoted\" & <odd> 'name'", env);
    report.getOrAddLeafTag("QRVInput/InputParametersFileName", env).setValue("dir/p&q<1>.xml", env);
    report.getOrAddLeafTag("ModelOutput/InputParameters/Threshold", env).setRealValue(0.25, env);
    report.getOrAddLeafTag("ModelOutput/RunParameters/Flag", env).setBoolValue(1, env);
    KVORAXMLTag &leaf = report.getOrAddLeafTag("Attributed", env);
    leaf.addAttributeName("k", env);
    leaf.addAttributeValue("v'1", env);
    leaf.setValue("x", env);
    root.addTag("Second", env).addLeafTag("Y", env).setIntValue(3, env);

    // Read and written again, the text is the same.
    const std::string text = written(handler, env);
    std::istringstream in(text);
    KVORAXMLHandler back(env);
    EXPECT_TRUE(back.readFrom(in, env));
    EXPECT_EQ(written(back, env), text);
    back.releasePrimitive(env);
}

// The tree goes to the workers over the binary object stream; an attribute
// name without a value stays so.
TEST_F(XMLTree, TheBinaryObjectStreamKeepsTheTree) {
    KVORAXMLTag &group = handler.getRootTag().addTag("QRVInput", env);
    group.addAttributeName("a", env);
    group.addAttributeName("b", env);
    group.addAttributeValue("1", env);
    group.getOrAddLeafTag("AlgorithmName", env).setValue("DIF", env);
    group.getOrAddLeafTag("X/Y", env).setRealValue(2.5, env);

    KVORAOwnPtr<KVORAXMLHandler> sent, received;
    sent.reset(&handler, env);
    std::stringstream bytes;
    {
        KVOStreamBlobWriter blob(&bytes);
        KVORABinObjWriter writer(&blob, 0);
        kvoraWrite(writer, sent, env);
    }
    sent.transfer();  // the fixture still owns it
    KVOStreamBlobReader blob(&bytes);
    KVORABinObjReader reader(&blob);
    kvoraRead(reader, received, env);
    ASSERT_NE(received.get(), nullptr);
    expectEqualTrees(handler.getRootTag(), received->getRootTag(), "");
    received.reset(env);
}
