// The run reports: the three kinds of line that a controlling program parses
// on standard output ("Error;|", "Warning;|", "Log;|"), and the two ways an
// error ends a process: through the entry point's catch clause (status 99) or
// at once (status 1). Free functions, callable before any environment exists.
#pragma once

#include <cstdint>
#include <sstream>
#include <string>

#include "util/kvora_env.h"

// terminate: 0 returns after the line; anything else ends the run through the
// fatal condition (throws).
void reportError(int32_t code, const char *text, KVORA_ENV env, uint8_t terminate);
void reportError(int32_t code, const std::string &text, KVORA_ENV env, uint8_t terminate);
void reportError(int32_t code, const std::ostringstream &text, KVORA_ENV env, uint8_t terminate);
void reportError(int32_t code, const std::stringstream &text, KVORA_ENV env, uint8_t terminate);
// Two texts, joined by ";|".
void reportError(int32_t code, const std::string &text1, const std::string &text2, KVORA_ENV env,
                 uint8_t terminate);

// terminate non-zero: exit(1) right after the line.
void reportErrorAndExit(int32_t code, const char *text, uint8_t terminate);
void reportErrorAndExit(int32_t code, const std::string &text, uint8_t terminate);
void reportErrorAndExit(int32_t code, const std::string &text1, const std::string &text2, uint8_t terminate);

void reportWarning(int32_t code, const char *text);
void reportWarning(int32_t code, const std::string &text);
void reportWarning(int32_t code, const std::string &text1, const std::string &text2);

void reportLog(int32_t level, const char *text);
void reportLog(int32_t level, const std::string &text);

// Whether `value` parses as the type "int" or "double"; prints the illegal
// value line and answers 0 if not. An unknown type with a non-empty value is
// error 2400 (exit 1).
int32_t TestInputStringType(const char *value, const char *typeName);
int32_t TestInputStringType(const std::string &value, const std::string &typeName);
