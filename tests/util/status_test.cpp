// Status records: the letter of a severity, the five-character states of the
// code numbers (the list bounds are where a range test goes wrong), the texts
// and the rule that only a worse record displaces a stored one.
#include "util/kvora_status.h"

#include <gtest/gtest.h>

#include <string>

TEST(StatusRecord, SeverityLetters) {
    const struct {
        int16_t severity;
        char letter;
    } cases[] = {{0, 'I'}, {1, 'W'}, {-3, 'S'}, {-2, 'E'}, {-1, 'E'}, {2, 'E'}};
    for (const auto &c : cases) EXPECT_EQ(KVORAStatus::letterOf(c.severity), c.letter) << c.severity;
}

TEST(StatusRecord, StatesByKindSeverityAndNumber) {
    char state[6];
    struct Case {
        int32_t kind;
        int16_t severity;
        int32_t number;
        const char *state;
    } cases[] = {
        // Severity 1 wins over the lists.
        {0, 1, 3000, "01HM0"},   {0, 1, 9001, "01HM0"},   {1, 1, 4000, "20102"},
        {0, -2, 3000, "38M00"},  {0, -2, 3299, "38M00"},  {0, -2, 2999, "38M01"},  {0, -2, 3300, "38M01"},
        {0, -2, 4000, "38M00"},  {0, -2, 4499, "38M00"},  {0, -2, 4500, "38M01"},  {0, 0, 8000, "38M00"},
        {0, 0, 8199, "38M00"},   {0, 0, 8200, "38M01"},   {0, 0, 8399, "38M01"},   {0, 0, 8400, "38M00"},
        {0, 0, 8699, "38M00"},   {0, 0, 8700, "38M01"},   {0, -3, 9036, "38M01"},  {1, -2, 3100, "20100"},
        {1, -2, 8500, "20100"},  {1, -2, 9036, "20101"},  {1, 0, 1, "20101"},      {2, -2, 3100, ""},
        {-1, 1, 9001, ""},       {0, -2, 0, ""},          {1, 1, 0, ""},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(KVORAStatus::stateOf(c.kind, c.severity, c.number, state), 0);
        EXPECT_STREQ(state, c.state) << c.kind << "/" << c.severity << "/" << c.number;
    }
    EXPECT_EQ(KVORAStatus::stateOf(0, -2, -5, state), -2);
    EXPECT_STREQ(state, "");
}

TEST(StatusRecord, TextsOfAFilledRecord) {
    KVORAStatus status;
    EXPECT_TRUE(status.isEmpty());
    const char *params[] = {"tok", "", "third"};
    status.set(-2, 9011, 0, nullptr, params, 3);
    EXPECT_FALSE(status.isEmpty());
    EXPECT_EQ(status.getText(), "E9011: Unrecognized token [tok]");
    EXPECT_EQ(status.getParamsText(), "Message Params = (tok) (third)");
    EXPECT_STREQ(status.getState(), "38M01");

    // A record with its own text doesn't look in the catalogue.
    status.set(1, 3010, 1, "disk almost full", nullptr, 0);
    EXPECT_EQ(status.getText(), "W3010: disk almost full");
    EXPECT_EQ(status.getParamsText(), "Message Params =");
    EXPECT_STREQ(status.getState(), "20102");

    // A number outside the catalogue and no text: letter and number alone.
    status.set(-3, 4242, 0, nullptr, nullptr, 0);
    EXPECT_EQ(status.getText(), "S4242: ");
    EXPECT_STREQ(status.getState(), "38M00");
}

TEST(StatusRecord, OnlyAWorseRecordDisplacesTheStoredOne) {
    const int16_t order[] = {0, 1, -2, -3};  // information, warning, error, severe
    for (int32_t stored = 0; stored < 4; ++stored) {
        for (int32_t fresh = 0; fresh < 4; ++fresh) {
            KVORAStatus kept;
            kept.set(order[stored], 9001, 0, "stored", nullptr, 0);
            KVORAStatus next;
            next.set(order[fresh], 9002, 0, "fresh", nullptr, 0);
            EXPECT_EQ(kept.takeIfWorse(next), fresh > stored) << stored << "/" << fresh;
            EXPECT_EQ(kept.getNumber(), fresh > stored ? 9002 : 9001);
        }
    }
    KVORAStatus empty;
    KVORAStatus info;
    info.set(0, 9004, 0, nullptr, nullptr, 0);
    EXPECT_TRUE(empty.takeIfWorse(info));
    EXPECT_EQ(empty.getText(), "I9004: Enter");
    KVORAStatus stillEmpty;
    EXPECT_FALSE(info.takeIfWorse(stillEmpty));
    EXPECT_EQ(info.getText(), "I9004: Enter");
}
