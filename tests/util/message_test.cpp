// The message catalogue and the issuing of messages. Sample texts are typed
// by hand where rows break most easily (quotes, misspellings, double and
// trailing blanks); every row is rendered with marked arguments to confirm
// that each place takes its own argument, in order.
#include "util/kvora_message.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "util/kvora_debug.h"
#include "util/kvora_env.h"

namespace {

// An environment of the test's own, kept for the whole run: the status table
// is keyed by the environment's address.
KVORAEnv *freshEnv() {
    KVORAEnv *env = new KVORAEnv();
    env->setValid(1);
    return env;
}

struct Row {
    int32_t number;
    std::vector<std::string> pieces;  // "\x01" marks an argument place
};

struct RowArg {};
const char *const kArgMark = "\x01";
inline const char *asPiece(const char *text) { return text; }
inline const char *asPiece(RowArg) { return kArgMark; }
template <class... P>
std::vector<std::string> piecesOf(P... p) {
    return {asPiece(p)...};
}

std::vector<Row> tableRows() {
    std::vector<Row> rows;
#define KVORA_MSG_ARG RowArg{}
#define KVORA_MSG_ROW(number, ...) rows.push_back(Row{number, piecesOf(__VA_ARGS__)});
#include "util/kvora_message_table.inc"
#undef KVORA_MSG_ROW
#undef KVORA_MSG_ARG
    return rows;
}

}  // namespace

// Rows numbered without gaps, each place filled by its own argument in order,
// and no text for numbers outside the catalogue.
TEST(MessageCatalogue, EveryRowFillsItsArgumentPlacesInOrder) {
    const char *marks[5] = {"<1>", "<2>", "<3>", "<4>", "<5>"};
    std::vector<Row> rows = tableRows();
    ASSERT_EQ(rows.size(), 137u);
    for (size_t i = 0; i < rows.size(); ++i) {
        const Row &row = rows[i];
        EXPECT_EQ(row.number, 9001 + static_cast<int32_t>(i));
        std::string expected, bare;
        int32_t used = 0;
        for (const std::string &piece : row.pieces) {
            if (piece == kArgMark) {
                ASSERT_LT(used, 5) << row.number << " has more than five argument places";
                expected += marks[used++];
            } else {
                EXPECT_EQ(piece.find("{}"), std::string::npos) << row.number;
                expected += piece;
                bare += piece;
            }
        }
        EXPECT_EQ(kvoraMessageText(row.number, marks[0], marks[1], marks[2], marks[3], marks[4]), expected)
            << row.number;
        EXPECT_EQ(kvoraMessageText(row.number), bare) << row.number;  // no arguments: every place empty
    }
    EXPECT_EQ(kvoraMsg9137Number(), 9137);
    for (int32_t outside : {0, 9000, 9138, -9001}) {
        std::ostringstream out;
        EXPECT_FALSE(kvoraWriteMessage(outside, out, nullptr));
        EXPECT_EQ(out.str(), "");
    }
}

TEST(MessageCatalogue, SampleTextsReadAsWritten) {
    EXPECT_EQ(kvoraMessageText(9002, "in.csv", "reading"), "Cannot open file \"in.csv\" for reading");
    EXPECT_EQ(kvoraMessageText(9013, "p.xml", "12", "<", ">"),
              "File \"p.xml\", line 12: Syntax error near [<] (expecting [>]).");
    EXPECT_EQ(kvoraMessageText(9015, "m", "f.bin"), "Loading of [m] from \"f.bin\" failed.  ");
    EXPECT_EQ(kvoraMessageText(9025, "age"),
              "The sepecifed semantic type is not valid for the field data type for field age");
    EXPECT_EQ(kvoraMessageText(9030), "GetFrom() format error: no \"{\" or \"=\" or \"}\" found in input string");
    EXPECT_EQ(kvoraMessageText(9035, "x"), "Field named [x] has type mismatch ");
    EXPECT_EQ(kvoraMessageText(9097, "?", "3"),
              "Category symbol [\"?\" : 3] as defined in the metadata file is identical to the missing value code");
    EXPECT_EQ(kvoraMessageText(9110), "kv_msg_inconsistent_field_length");
    EXPECT_EQ(kvoraMessageText(9135), "The Generic Naive Bayes Model has  not been Initialized");
    EXPECT_EQ(kvoraMessageText(9137, "a.cpp", "12", "run"), "Next message was generated from a.cpp:12:run");
    // By name, on the caller's stream; a null argument is empty.
    std::ostringstream out;
    kvoraMsg9011Write(out, "tok");
    kvoraMsg9021Write(out, nullptr, "4");
    EXPECT_EQ(out.str(), "Unrecognized token [tok]Field number  out of range (range is 1..4)");
}

TEST(MessageIssue, SeveritiesMapToStatusLettersAndStates) {
    const struct {
        int32_t severity;
        int32_t status;
        const char *text;
        const char *state;
    } cases[] = {{0, 0, "I9004: Enter", "38M01"},
                 {1, 1, "W9004: Enter", "01HM0"},
                 {2, -2, "E9004: Enter", "38M01"},
                 {3, -3, "S9004: Enter", "38M01"}};
    for (const auto &c : cases) {
        KVORAEnv *env = freshEnv();
        EXPECT_EQ(kvoraIssueMessage(c.severity, 9004, env), c.status);
        EXPECT_EQ(kvoraLastMessage(env), c.text);
        EXPECT_EQ(kvoraLastMessageParams(env), "Message Params =");
        EXPECT_EQ(kvoraMessageInfo(2, env), c.state);
    }
}

TEST(MessageIssue, ArgumentsFillTheTextAndTheParameterRecord) {
    KVORAEnv *env = freshEnv();
    // Six arguments: five go into the text, all six into the record.
    kvoraIssueMessage(2, 9120, "f", "inputs", "tree", "text", "number", "extra", env);
    EXPECT_EQ(kvoraLastMessage(env), "E9120: Field f of the inputs for the tree model is specified to be of type "
                                     "text when the correct type should be number");
    EXPECT_EQ(kvoraLastMessageParams(env), "Message Params = (f) (inputs) (tree) (text) (number) (extra)");
    // Too few: the rest are empty; empty parameters are left out of the list.
    KVORAEnv *few = freshEnv();
    kvoraIssueMessage(KVORA_MSG_ERROR, 9008, "7", "", "1", few);
    EXPECT_EQ(kvoraLastMessage(few), "E9008: Value 7 of  is outside the range of 1 to ");
    EXPECT_EQ(kvoraLastMessageParams(few), "Message Params = (7) (1)");
}

// The ordering itself belongs to the status record; here: issuing goes through it.
TEST(MessageIssue, AWorseMessageDisplacesTheStoredOneAndALesserDoesNot) {
    KVORAEnv *env = freshEnv();
    kvoraIssueMessage(1, 9039, "age", env);
    kvoraIssueMessage(0, 9114, "1", env);
    EXPECT_EQ(kvoraLastMessage(env), "W9039: Field name age was defaulted rather than given.");
    kvoraIssueMessage(3, 9036, env);
    EXPECT_EQ(kvoraLastMessage(env), "S9036: I/O failure");
    kvoraClearLastMessage(env);
    kvoraIssueMessage(0, 9113, "1", env);
    EXPECT_EQ(kvoraLastMessage(env), "I9113: Start scan number 1 of data.");
}

TEST(MessageIssue, SilentRunsIssueNothingAndAnUnknownModeIsAFailedAssertion) {
    KVORAEnv *env = freshEnv();
    kvoraSilentFlag = 1;
    EXPECT_EQ(kvoraIssueMessage(2, 9036, env), -2);
    EXPECT_EQ(kvoraLastMessage(env), "Messaging not initialized !");
    EXPECT_EQ(kvoraLastMessageParams(env), "");
    EXPECT_EQ(kvoraMessageInfo(2, env), "");
    int32_t savedError = kvoraErrorFlag;
    EXPECT_THROW(kvoraMessageInfo(3, env), int);
    EXPECT_THROW(kvoraMessageInfo(-1, env), int);
    kvoraSilentFlag = 0;
    kvoraErrorFlag = savedError;
    kvoraExceptionInFlightFlag = 0;
}
