// A status record: one numbered condition with its severity, kind, text and
// parameters, kept beside the assertions as the library's way of telling a
// caller what went wrong without ending the run. The texts are built when the
// record is filled, so that reading them later can't fail; conditions are rare,
// so the record may allocate.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

// Status severities as stored (16-bit): the catalogue's 2 and 3 arrive as -2, -3.
#define KVORA_STATUS_INFO ((int16_t)0)
#define KVORA_STATUS_WARNING ((int16_t)1)
#define KVORA_STATUS_ERROR ((int16_t)-2)
#define KVORA_STATUS_SEVERE ((int16_t)-3)  // 0xFFFD

// Kinds of condition, which choose the family of five-character states.
#define KVORA_STATUS_KIND_LIBRARY 0
#define KVORA_STATUS_KIND_CLIENT 1

#define KVORA_STATUS_MAX_PARAMS 6

class KVORAStatus {
public:
    KVORAStatus();

    // Fills the record. A null or empty text takes the catalogue's text for the
    // number, written with the first five parameters. Parameters left out (or
    // null) count as empty. A failure while building the texts leaves
    // "An exception occurred.", or the out-of-memory text, as the whole text.
    void set(int16_t severity, int32_t number, int32_t kind, const char *text, const char *const *params,
             int32_t paramCount);
    void clear();

    // Takes `fresh` in place of this record if it is worse or this one is empty.
    // Answers whether it did.
    bool takeIfWorse(const KVORAStatus &fresh);

    bool isEmpty() const { return ivEmpty; }
    int16_t getSeverity() const { return ivSeverity; }
    int32_t getNumber() const { return ivNumber; }
    int32_t getKind() const { return ivKind; }
    // Letter, number, ": " and the text, e.g. "E9011: Unrecognized token [x]".
    const std::string &getText() const { return ivText; }
    // "Message Params =" and each non-empty parameter in " (" and ")".
    const std::string &getParamsText() const { return ivParamsText; }
    const std::string &getParam(int32_t ix) const { return ivParams[ix]; }
    // The five-character state, or empty.
    const char *getState() const { return ivState; }

    // Marks the record as read back from an earlier trace; print then heads it
    // with "OLD TRACE: Trace information.".
    void setFromOldTrace(bool flag) { ivFromOldTrace = flag; }
    // " TID: ", the thread, the text, and a line end.
    void print(std::ostream &out, int32_t threadId) const;

    // "I" for 0, "W" for 1, "S" for 0xFFFD, "E" for anything else.
    static char letterOf(int16_t severity);
    // Order of badness: information 0, warning 1, error 2, severe 3.
    static int32_t rankOf(int16_t severity);
    // The five-character state of a code number into `state` (6 bytes): empty
    // for number 0 and for kinds other than 0 and 1. A negative number is an
    // error: answers -2 with the state empty; otherwise 0.
    static int32_t stateOf(int32_t kind, int16_t severity, int32_t number, char *state);

private:
    void buildTexts(const char *text);

    int16_t ivSeverity;
    int32_t ivNumber;
    int32_t ivKind;
    bool ivEmpty;
    bool ivFromOldTrace;
    char ivState[6];
    std::string ivText;
    std::string ivParamsText;
    std::string ivParams[KVORA_STATUS_MAX_PARAMS];
};
