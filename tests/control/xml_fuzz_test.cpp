// Whatever the bytes of a parameter file, the reader ends: it answers true or
// false, or, for the one input that breaks its own bookkeeping, fails an
// assertion (thrown as the integer 0). It never faults, never throws anything
// else, and never takes long. Inputs: every truncation of a valid file,
// seeded random mutations of it, binary garbage, very long lines and deep
// nesting.
#include "control/kvora_XML_handler.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <sstream>
#include <string>

namespace {

const char *const kValid =
    "<QRVInput>\n"
    "  <AlgorithmName>CGA</AlgorithmName>\n"
    "  <InputParameters kind=\"a &amp; b\" n=\"2\">\n"
    "    <MinClusterSize>12</MinClusterSize>\n"
    "    <Label>x &lt; y</Label>\n"
    "    <Flags/>\n"
    "  </InputParameters>\n"
    "  <ValidationFile>\n"
    "    valid.dat\n"
    "  </ValidationFile>\n"
    "</QRVInput>\n";

enum Outcome { ACCEPTED, REFUSED, ASSERTED };

struct Result {
    Outcome outcome;
    std::string out;
};

// Reads `text` into a fresh tree. Anything thrown but the assertion's 0 is a
// test failure (by escaping the test body).
Result read(const std::string &text) {
    KVORAEnv *env = nullptr;
    KVORAXMLHandler handler(env);
    std::istringstream in(text);
    testing::internal::CaptureStdout();
    Outcome outcome;
    try {
        outcome = handler.readFrom(in, env) ? ACCEPTED : REFUSED;
    } catch (int) {
        outcome = ASSERTED;
    }
    std::string out = testing::internal::GetCapturedStdout();
    // A tree read in part can still be written and released.
    std::ostringstream written;
    handler.writeTo(written, env);
    handler.releasePrimitive(env);
    return {outcome, out};
}

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::string nested(int depth, const char *separator) {
    std::string text;
    for (int i = 0; i < depth; ++i) text += "<t" + std::to_string(i % 7) + ">" + separator;
    text += "deep";
    for (int i = depth - 1; i >= 0; --i) text += std::string(separator) + "</t" + std::to_string(i % 7) + ">";
    return text + "\n";
}

}  // namespace

TEST(XMLFuzz, EveryTruncationEnds) {
    const std::string valid(kValid);
    std::string accepted;
    for (size_t n = 0; n < valid.size(); ++n) {
        Result r = read(valid.substr(0, n));
        EXPECT_NE(r.outcome, ASSERTED) << n;
        if (r.outcome == ACCEPTED) accepted += std::to_string(valid.size() - n) + " ";
        else EXPECT_NE(r.out.find("XML Parse error.\n"), std::string::npos) << n;
    }
    // Counted from the end: the whole file but its last line end, or but
    // ">\n" too (an end tag closes at the line's end); the empty file; and a
    // lone "<", which leaves the reader waiting for an end tag and so closes
    // no tag at all.
    EXPECT_EQ(accepted, std::to_string(valid.size()) + " " + std::to_string(valid.size() - 1) + " 2 1 ");
}

TEST(XMLFuzz, RandomMutationsAndBinaryGarbageEnd) {
    std::mt19937 random(20261122u);
    const char alphabet[] = "<>/=\"&;#x \t\r\n\0aZ9\x7F\x80\xFF";
    auto start = std::chrono::steady_clock::now();
    for (int round = 0; round < 50; ++round) {
        std::string text(4096 + random() % 60000, '\0');
        for (char &c : text) c = static_cast<char>(random());
        read(text);
    }
    for (int round = 0; round < 3000; ++round) {
        std::string text = kValid;
        int edits = 1 + static_cast<int>(random() % 8);
        for (int e = 0; e < edits && !text.empty(); ++e) {
            size_t at = random() % text.size();
            char c = alphabet[random() % (sizeof(alphabet) - 1)];
            switch (random() % 3) {
            case 0: text[at] = c; break;
            case 1: text.insert(text.begin() + static_cast<std::ptrdiff_t>(at), c); break;
            default: text.erase(at, 1 + random() % 4); break;
            }
        }
        read(text);
    }
    EXPECT_LT(secondsSince(start), 60.0);
}

TEST(XMLFuzz, VeryLongLines) {
    auto start = std::chrono::steady_clock::now();
    // One value of four million bytes.
    Result value = read("<a>" + std::string(4000000, 'v') + "</a>\n");
    EXPECT_EQ(value.outcome, ACCEPTED);
    // Two million bytes of opening tags on one line: refused at the bound.
    std::string opens;
    for (int i = 0; i < 700000; ++i) opens += "<a>";
    Result deep = read(opens + "\n");
    EXPECT_EQ(deep.outcome, REFUSED);
    EXPECT_NE(deep.out.find("Tags nested deeper than 2000 levels\n"), std::string::npos);
    // A long line of blanks and text with no tag at all.
    Result text = read(std::string(1000000, ' ') + "plain text" + std::string(1000000, '\t') + "\n");
    EXPECT_EQ(text.outcome, ACCEPTED);  // a value of the root itself
    EXPECT_LT(secondsSince(start), 30.0);
}

TEST(XMLFuzz, TwoThousandNestedTagsAreReadOneMoreIsRefused) {
    EXPECT_EQ(read(nested(2000, "")).outcome, ACCEPTED);
    EXPECT_EQ(read(nested(2000, "\n")).outcome, ACCEPTED);
    EXPECT_EQ(read(nested(2001, "\n")).outcome, REFUSED);
}

TEST(XMLFuzz, ABlankDecodedIntoATagNameFailsTheStackAssertion) {
    // The tree drops the blank by trimming, the stack keeps it: the next look
    // at the current tag cannot find it.
    Result r = read("<&#32;a>1</a>\n");
    EXPECT_EQ(r.outcome, ASSERTED);
    EXPECT_NE(r.out.find("Searched: tagStack[1] = [ a]. Found [__XMLRoot__] at level 0\n"), std::string::npos)
        << r.out;
}
