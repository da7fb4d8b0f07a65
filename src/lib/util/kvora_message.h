// The numbered message catalogue (9001 to 9137) and the issuing of messages
// through the status record of the calling environment. Every row is generated
// from kvora_message_table.inc: a function answering its number and a writer
// that puts its literal pieces and up to five arguments on a stream in order.
// The writers are reached by name (kvoraMsg9011Write) or by number through
// kvoraWriteMessage, a switch made from the same table.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "util/kvora_env.h"

#define KVORA_MSG_ROW(number, ...)               \
    int32_t kvoraMsg##number##Number();          \
    void kvoraMsg##number##Write(std::ostream &out, const char *a1 = "", const char *a2 = "", const char *a3 = "", \
                                 const char *a4 = "", const char *a5 = "");
#include "util/kvora_message_table.inc"
#undef KVORA_MSG_ROW

#define KVORA_MSG_FIRST 9001
#define KVORA_MSG_LAST 9137
#define KVORA_MSG_COUNT 137

// Catalogue severities of kvoraIssueMessage.
#define KVORA_MSG_INFORMATION 0
#define KVORA_MSG_WARNING 1
#define KVORA_MSG_ERROR 2
#define KVORA_MSG_SEVERE 3

// Writes the text of message `number` with the arguments args[0..4] (null:
// empty). Answers false, writing nothing, for a number outside the catalogue.
bool kvoraWriteMessage(int32_t number, std::ostream &out, const char *const *args);
// The text of message `number` as a string (empty outside the catalogue).
std::string kvoraMessageText(int32_t number, const char *a1 = "", const char *a2 = "", const char *a3 = "",
                             const char *a4 = "", const char *a5 = "");

// Status severity of a catalogue severity: 0 -> 0, 1 -> 1, 2 -> -2, 3 -> -3;
// any other value is taken as an error (-2).
int16_t kvoraMessageStatusSeverity(int32_t severity);

// Issues message `number` with up to six text arguments into the calling
// environment's status record, unless the run is silent; a worse message
// displaces the stored one. Answers the status severity.
int32_t kvoraIssueMessageArgs(int32_t severity, int32_t number, const char *const *args, int32_t argCount,
                              KVORA_ENV env);

inline int32_t kvoraIssueMessage(int32_t severity, int32_t number, KVORA_ENV env) {
    return kvoraIssueMessageArgs(severity, number, nullptr, 0, env);
}
inline int32_t kvoraIssueMessage(int32_t severity, int32_t number, const char *a1, KVORA_ENV env) {
    const char *args[] = {a1};
    return kvoraIssueMessageArgs(severity, number, args, 1, env);
}
inline int32_t kvoraIssueMessage(int32_t severity, int32_t number, const char *a1, const char *a2, KVORA_ENV env) {
    const char *args[] = {a1, a2};
    return kvoraIssueMessageArgs(severity, number, args, 2, env);
}
inline int32_t kvoraIssueMessage(int32_t severity, int32_t number, const char *a1, const char *a2, const char *a3,
                                 KVORA_ENV env) {
    const char *args[] = {a1, a2, a3};
    return kvoraIssueMessageArgs(severity, number, args, 3, env);
}
inline int32_t kvoraIssueMessage(int32_t severity, int32_t number, const char *a1, const char *a2, const char *a3,
                                 const char *a4, KVORA_ENV env) {
    const char *args[] = {a1, a2, a3, a4};
    return kvoraIssueMessageArgs(severity, number, args, 4, env);
}
inline int32_t kvoraIssueMessage(int32_t severity, int32_t number, const char *a1, const char *a2, const char *a3,
                                 const char *a4, const char *a5, KVORA_ENV env) {
    const char *args[] = {a1, a2, a3, a4, a5};
    return kvoraIssueMessageArgs(severity, number, args, 5, env);
}
inline int32_t kvoraIssueMessage(int32_t severity, int32_t number, const char *a1, const char *a2, const char *a3,
                                 const char *a4, const char *a5, const char *a6, KVORA_ENV env) {
    const char *args[] = {a1, a2, a3, a4, a5, a6};
    return kvoraIssueMessageArgs(severity, number, args, 6, env);
}

// What the environment's status record holds: mode 0 its text, 1 its
// parameters, 2 its five-character state. Before any message was issued:
// "Messaging not initialized !" for the text, empty otherwise. Any other mode
// is a failed assertion.
std::string kvoraMessageInfo(int32_t mode, KVORA_ENV env);
std::string kvoraLastMessage(KVORA_ENV env);
std::string kvoraLastMessageParams(KVORA_ENV env);
// Empties the environment's status record, so that the next message is kept
// whatever its severity.
void kvoraClearLastMessage(KVORA_ENV env);
