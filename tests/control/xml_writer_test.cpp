// The tree operations and the writer: long-name creation, the set operations'
// texts, clearTag, the exact written form, and that what the writer writes the
// reader reads back into an equal tree, escaped texts included, as does the
// object stream that carries the tree to the workers.
#include "control/kvora_XML_handler.h"
#include "util/kvora_binobjio.h"
#include "util/kvora_objio.h"
#include "util/kvora_streamblobreader.h"
#include "util/kvora_streamblobwriter.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <unistd.h>
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

TEST_F(XMLTree, GetOrAddMakesMissingLevelsAndKeepsExistingOnes) {
    KVORAXMLTag &root = handler.getRootTag();
    KVORAXMLTag &coef = root.getOrAddLeafTag("InputParameters/Spreading Coefficient", env);
    coef.setRealValue(0.1, env);
    EXPECT_STREQ(coef.ivName.c_str(), "SpreadingCoefficient");
    EXPECT_EQ(coef.ivIsLeaf, 1);

    EXPECT_EQ(root.getTagByLongName("InputParameters", env).ivIsLeaf, 0);
    root.getOrAddLeafTag("InputParameters/MinClusterSize", env).setIntValue(-7, env);
    // Asking again finds the tag and leaves its value until a set overwrites it.
    KVORAXMLTag &again = root.getOrAddLeafTag("InputParameters/SpreadingCoefficient", env);
    EXPECT_STREQ(again.getValue().c_str(), "0.1");
    EXPECT_EQ(root.getTagByLongName("InputParameters", env).getNumChildren(), 2);
    EXPECT_EQ(root.getNumChildren(), 1);

    EXPECT_EQ(root.getOrAddTag("RunParameters", env).ivIsLeaf, 0);
    EXPECT_STREQ(root.lastChild().ivName.c_str(), "RunParameters");
    EXPECT_STREQ(root.getTagByLongName("InputParameters/MinClusterSize", env).getValue().c_str(), "-7");
    EXPECT_ANY_THROW(root.getTagByLongName("InputParameters/Nothing", env));
}

TEST_F(XMLTree, SetOperationsWriteTheirTexts) {
    KVORAXMLTag &t = handler.getRootTag().addLeafTag("  v\t", env);
    EXPECT_STREQ(t.ivName.c_str(), "v");
    auto text = [&] { return std::string(t.getValue().c_str()); };
    t.setRealValue(1234567.0, env);
    EXPECT_EQ(text(), "1.23457e+06");
    t.setRealValue(-0.000012345678, env);
    EXPECT_EQ(text(), "-1.23457e-05");
    t.setIntValue(2147483647, env);
    EXPECT_EQ(text(), "2147483647");
    t.setBoolValue(-3, env);
    EXPECT_EQ(text(), "True");
    t.setBoolValue(0, env);
    EXPECT_EQ(text(), "False");
    t.setValue(" \t x y \t", env);
    EXPECT_EQ(text(), "x y");
}

TEST_F(XMLTree, ClearTagEmptiesANonLeafAndLeavesALeafAlone) {
    KVORAXMLTag &root = handler.getRootTag();
    KVORAXMLTag &group = root.addTag("G", env);
    group.setValue("kept", env);
    group.addAttributeName("a", env);
    group.addAttributeValue("1", env);
    group.getOrAddLeafTag("X/Y", env).setValue("1", env);
    EXPECT_TRUE(group.clearTag(env));
    EXPECT_EQ(group.getNumChildren(), 0);
    EXPECT_EQ(group.ivAttrVals.getSize(), 0);
    EXPECT_STREQ(group.getValue().c_str(), "kept");

    KVORAXMLTag &leaf = root.addLeafTag("L", env);
    leaf.addAttributeName("b", env);
    EXPECT_TRUE(leaf.clearTag(env));
    EXPECT_EQ(leaf.ivAttrNames.getSize(), 1);
}

TEST_F(XMLTree, WriterFormIndentsEscapesAndPrintsNullForMissingValues) {
    KVORAXMLTag &report = handler.getRootTag().addTag("QRVReport", env);
    report.addAttributeName("v", env);
    report.addAttributeValue("1<2", env);
    report.addAttributeName("w", env);  // no value
    report.getOrAddLeafTag("Name", env).setValue("a<b & \"c\" 'd'>", env);
    report.getOrAddLeafTag("Empty", env);
    report.getOrAddLeafTag("Group/X", env).setRealValue(1.5, env);
    EXPECT_EQ(written(handler, env),
              "<QRVReport v=\"1&lt;2\" w=\"NULL\">\n"
              "  <Name>a&lt;b &amp; &quot;c&quot; &apos;d&apos;&gt;</Name>\n"
              "  <Empty></Empty>\n"
              "  <Group>\n"
              "    <X>1.5</X>\n"
              "  </Group>\n"
              "</QRVReport>\n");
}

TEST_F(XMLTree, WrittenFileReadsBackIntoAnEqualTree) {
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

    char name[] = "/tmp/qrv_xml_roundtrip_XXXXXX";
    int fd = mkstemp(name);
    ASSERT_GE(fd, 0);
    close(fd);
    ASSERT_TRUE(handler.writeXMLFile(name, env));

    // Read and written again, the file is the same text.
    KVORAXMLHandler back(env);
    EXPECT_TRUE(back.readXMLFile(name, env));
    EXPECT_EQ(written(back, env), written(handler, env));
    back.releasePrimitive(env);
    std::remove(name);
}

// The tree is copied and moved through the object system and sent to the
// workers over the binary object stream; a name without a value stays so.
TEST_F(XMLTree, CopyTransferAndTheBinaryObjectStreamKeepTheTree) {
    KVORAXMLTag &group = handler.getRootTag().addTag("QRVInput", env);
    group.addAttributeName("a", env);
    group.addAttributeName("b", env);
    group.addAttributeValue("1", env);
    group.getOrAddLeafTag("AlgorithmName", env).setValue("DIF", env);
    group.getOrAddLeafTag("X/Y", env).setRealValue(2.5, env);

    KVORAXMLTag copy, moved;
    copy.copyFromPrimitive(&group, env);
    expectEqualTrees(group, copy, "copy");
    moved.transferFromPrimitive(&copy, env);
    expectEqualTrees(group, moved, "moved");
    EXPECT_EQ(copy.getNumChildren(), 0);
    copy.releasePrimitive(env);
    moved.releasePrimitive(env);

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
