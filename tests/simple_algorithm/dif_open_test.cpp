// The diffusion object's parameters and seed file: the announced lines of
// every key in their order, each illegal value with its exact failure text,
// the raw scan of the parameter file for the seed file's name, and the seed
// reader's two number paths with their warnings.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "control/kvora_XML_handler.h"
#include "control/kvora_XML_tag.h"
#include "qrv_run.h"
#include "simple_algorithm/kvora_DIF.h"

namespace {

class DIFOpenTest : public ::testing::Test {
protected:
    void TearDown() override {
        fresh(false);
        KVORADIFData::cvParamFileName = nullptr;
    }

    // Drops the object and the tree; with `again`, makes a new object.
    void fresh(bool again = true) {
        object->releasePrimitive(env);
        delete object;
        object = again ? new KVORADIFData() : nullptr;
        handler->releasePrimitive(env);
        delete handler;
        handler = again ? new KVORAXMLHandler(env) : nullptr;
    }

    // Writes the parameter file (the keys inside QRVInput) and the seed file,
    // reads the tree and opens the object; answers what open printed. A
    // fatal report throws out of open and is caught here.
    std::string openWith(const std::string &keys, const std::string &seeds = "7\n", bool *failed = nullptr) {
        dir = qrvtest::makeTempDir("difopen");
        qrvtest::writeFile(dir, "seeds.txt", seeds);
        paramPath = qrvtest::writeFile(dir, "params.xml",
                                       "<QRVInput>\n<AlgorithmName>DIF</AlgorithmName>\n" + keys + "</QRVInput>\n");
        KVORADIFData::cvParamFileName = paramPath.c_str();
        EXPECT_TRUE(handler->readXMLFile(paramPath.c_str(), env));
        KVORAXMLTag &parameters = handler->getTagByLongName("QRVInput", env);
        testing::internal::CaptureStdout();
        bool threw = false;
        try {
            object->open(parameters, env);
        } catch (...) {
            threw = true;
        }
        if (failed != nullptr) *failed = threw;
        else EXPECT_FALSE(threw);
        return testing::internal::GetCapturedStdout();
    }

    KVORAEnv *env = nullptr;
    KVORAXMLHandler *handler = new KVORAXMLHandler(env);
    KVORADIFData *object = new KVORADIFData();
    KVORADIFData &data() { return *object; }
    std::string dir, paramPath;
};

TEST_F(DIFOpenTest, DefaultsAreAnnouncedInTheOrderOfTheKeys) {
    const std::string seedDir = qrvtest::makeTempDir("difopen");
    const std::string seedPath = seedDir + "/s.txt";
    qrvtest::writeFile(seedDir, "s.txt", "7\n");
    const std::string out = openWith("<Seed>" + seedPath + "</Seed>\n<OutputFileName>r.csv</OutputFileName>\n");
    EXPECT_EQ(out, "Using default sparse data flag\nUsing default spreading coeeficient value of 0.5 \n"
                   "Seed file: " + seedPath + " modelParameters file = " + paramPath + "\nOutput file: r.csv\n"
                   "Using default output format - CSV \nUsing default end condition value of 0.01\n"
                   "Using default maximal number of iterations value of 100\nDefaulting verbosity level to 1\n"
                   "find seed file: [" + seedPath + "]\n"
                   "Warning;|5003;|2;|Warning: ignoring empty line or invalid numeric value - 2 ;|WarningEnd\n");
}

TEST_F(DIFOpenTest, PresentKeysAreAnnouncedWithTheirValues) {
    const std::string seedDir = qrvtest::makeTempDir("difopen");
    qrvtest::writeFile(seedDir, "s.txt", "7");
    const std::string out = openWith("<isSparseData>1</isSparseData>\n<VerbosityLevel>0x10</VerbosityLevel>\n"
                                     "<SpreadCoefficient>0.999</SpreadCoefficient>\n<Seed>" + seedDir +
                                     "/s.txt</Seed>\n<OutputFileName>r.csv</OutputFileName>\n"
                                     "<OutputFormat>CSV</OutputFormat>\n<TagPrefix>dif_</TagPrefix>\n"
                                     "<EndConditionValue>2.5e-3</EndConditionValue>\n"
                                     "<MaxNumIterations>0x10</MaxNumIterations>\n");
    const std::vector<std::string> lines = qrvtest::splitLines(out);
    const std::vector<std::string> expected = {
        "Using sparse data - flag set to 1",
        "Using spreading coefficient: 0.999",
        "Seed file: " + seedDir + "/s.txt modelParameters file = " + paramPath,
        "Output file: r.csv",
        "Output format set to CSV",
        "Using tagprefix: dif_",
        "Using EndConditionValue of 0.0025",
        "Maximal number of iterations set to 16",
        "Verbosity level 16",
        "find seed file: [" + seedDir + "/s.txt]",
    };
    // At verbosity 16 nothing traces in open; the file ends without a line
    // feed, so no warning follows.
    EXPECT_EQ(lines, expected);
    EXPECT_EQ(data().ivMaxNumIterations, 16);
    EXPECT_EQ(data().ivEpsilon, 0.0025);
}

TEST_F(DIFOpenTest, EveryIllegalValueEndsTheRunWithItsText) {
    // The end-to-end runs hold one case per text; these are the edges of each rule.
    const std::string range = "KVORADIFData::open: Illegal value. Spreading coefficient must be in the range (0,1)";
    const std::string positive = "KVORADIFData::open: Illegal value. Maximal number of iterations must be a positive integer";
    const std::vector<std::pair<std::string, std::string>> refusals = {  // keys, text
        {"<isSparseData>1abc</isSparseData>\n",
         "KVORADIFData::open: illegal value: isSparseData flag must be 0 or 1 "},
        {"<VerbosityLevel>-1</VerbosityLevel>\n", "KVORACGAData::open, illegal verbosity level"},
        {"<SpreadCoefficient>0</SpreadCoefficient>\n", range},
        {"<SpreadCoefficient>0.5x</SpreadCoefficient>\n", range},
        {"<OutputFormat>csv</OutputFormat>\n", "KVORADIFData::open: Data format must be CSV"},
        {"<EndConditionValue>0</EndConditionValue>\n",
         "KVORADIFData::open: Illegal value. End condition value must be positive"},
        {"<MaxNumIterations>0</MaxNumIterations>\n", positive},
        {"<MaxNumIterations>2147483647</MaxNumIterations>\n", positive},
        {"<MaxNumIterations>99999999999</MaxNumIterations>\n", positive},
        {"<MaxNumIterations>3.5</MaxNumIterations>\n", positive},
    };
    for (const auto &r : refusals) {
        SCOPED_TRACE(r.first);
        bool failed = false;
        const std::string out =
            openWith("<Seed>s.txt</Seed>\n<OutputFileName>r.csv</OutputFileName>\n" + r.first, "7\n", &failed);
        EXPECT_TRUE(failed);
        EXPECT_NE(out.find("Error;|2202;|" + r.second + ";|ErrorEnd\nTerminating NELO\n"), std::string::npos) << out;
        fresh();
    }
}

TEST_F(DIFOpenTest, AnIllegalVerbosityIsFirstToldByTheNumericTest) {
    bool failed = false;
    const std::string out = openWith("<VerbosityLevel>12abc</VerbosityLevel>\n<Seed>s</Seed>\n", "", &failed);
    EXPECT_TRUE(failed);
    EXPECT_EQ(out.find("Using default sparse data flag\nTestInputStringType, illegal int value found: 12abc\n"
                       "Error;|2202;|KVORACGAData::open, illegal verbosity level;|ErrorEnd\n"),
              0u)
        << out;
}

TEST(DIFSeedName, DecodingGoesRuleByRuleOverTheWholeText) {
    EXPECT_EQ(decodeXmlEntities("a&amp;lt;b"), "a<b");
    EXPECT_EQ(decodeXmlEntities("&quot;x&quot;&#9;&#10;&#13;"), "\"x\"\t\n\r");
    EXPECT_EQ(decodeXmlEntities("a &#32;b&#32;c"), "a  b c");
    EXPECT_EQ(decodeXmlEntities("&gt;&amp;amp;"), ">&amp;");  // one pass per rule: &amp;amp; -> &amp;
    EXPECT_EQ(decodeXmlEntities("&unknown;"), "&unknown;");
}

// Scans a parameter file of the given content; answers found, name, output.
struct Scan {
    bool found;
    std::string name;
    std::string out;
};

Scan scanParamFile(const std::string &content) {
    const std::string dir = qrvtest::makeTempDir("difseed");
    const std::string path = qrvtest::writeFile(dir, "p.xml", content);
    Scan s;
    testing::internal::CaptureStdout();
    s.found = KVORADIFData::FindSeedFileNameInParamFile(path.c_str(), s.name);
    s.out = testing::internal::GetCapturedStdout();
    return s;
}

TEST(DIFSeedName, TheFirstLineWithBothTagsWinsAndBlanksAreCutUnlessOneCharacterRemains) {
    Scan s = scanParamFile("<QRVInput>\n<Seed> ab </Seed>\n<Seed>other</Seed>\n</QRVInput>\n");
    EXPECT_TRUE(s.found);
    EXPECT_EQ(s.name, "ab");
    EXPECT_EQ(s.out, "find seed file: [ab]\n");
    EXPECT_EQ(scanParamFile("<Seed> a </Seed>\n").name, " a ");
    EXPECT_EQ(scanParamFile("<Seed>\ta b\t</Seed>").name, "\ta b\t");  // tabs are never cut
    EXPECT_EQ(scanParamFile("<!-- <Seed>x&amp;y</Seed> -->\n").name, "x&y");  // comments are not understood
    EXPECT_FALSE(scanParamFile("</Seed><Seed>late</Seed>\n").found);  // closing tag first
}

TEST(DIFSeedName, NoNameFoundTellsWhy) {
    // Split over two lines: no name; the file ends with a line feed, so the
    // read behind it fails first.
    Scan s = scanParamFile("<Seed>\nname</Seed>\n");
    EXPECT_FALSE(s.found);
    EXPECT_EQ(s.out, "FindSeedFileNameInParamFile: reading failure in line 3\n"
                     "Warning: param file should contain a line of the form <Seed> fname </Seed>\n");
    // Without a final line feed the loop ends at the end of the file.
    s = scanParamFile("<seed>x</seed>");
    EXPECT_FALSE(s.found);
    EXPECT_EQ(s.out, "Warning: param file should contain a line of the form <Seed> fname </Seed>\n");
    // 9,999 characters still pass; 10,000 fail (checked end to end).
    EXPECT_TRUE(scanParamFile(std::string(9999, 'x') + "\n<Seed>ab</Seed>\n").found);
}

TEST_F(DIFOpenTest, SeedLinesTakeTheShortOrTheLongPath) {
    // Line: 1 "12abc", 2 "abc", 3 "", 4 "0", 5 "-1", 6 "-5", 7 "0x1F", 8 11 digits,
    // 9 "12345678901x", 10 "12" again, 11 "4294967296", 12 80 characters, 13 "9",
    // then the read behind the last line feed.
    const std::string seeds = "12abc\nabc\n\n0\n-1\n-5\n0x1F\n12345678901\n12345678901x\n12\n4294967296\n" +
                              std::string(80, '1') + "\n9\n";
    const std::string seedDir = qrvtest::makeTempDir("difopen");
    qrvtest::writeFile(seedDir, "s.txt", seeds);
    const std::string out =
        openWith("<Seed>" + seedDir + "/s.txt</Seed>\n<OutputFileName>r.csv</OutputFileName>\n");
    const std::vector<uint64_t> expectedNodes = {12, 4294967291ull, 31, 12345678901ull, 12, 9};
    ASSERT_EQ(data().ivModel1FreshEnergiesSamples.getSize(), 6);
    for (int32_t i = 1; i <= 6; ++i) EXPECT_EQ(data().ivModel1FreshEnergiesSamples[i], expectedNodes[i - 1]);
    // Short path warnings by element index, long path by line number.
    EXPECT_NE(out.find("Warning;|5003;|9;|Warning: ignoring empty line or invalid numeric value - 9 ;|WarningEnd"),
              std::string::npos)
        << out;
}

// The other two failures of the seed file are checked end to end.
TEST_F(DIFOpenTest, ADirectoryIsNoSeedFile) {
    bool failed = false;
    const std::string out = openWith("<Seed>/tmp</Seed>\n<OutputFileName>r.csv</OutputFileName>\n", "7\n", &failed);
    EXPECT_TRUE(failed);
    EXPECT_NE(out.find("Error;|2307;|KVORADIFData::readSeedFile: Unable to open seed file;|ErrorEnd"),
              std::string::npos)
        << out;
}

}  // namespace
