// Failure exits and temporary-file bookkeeping of the loader. Every output is
// first written under a temporary name; when the tool stops on bad input it
// removes all of them, so a failed load leaves nothing that the engine could
// mistake for a dataset.
#pragma once

#include <cstdint>
#include <string>

// Exit statuses: 1 for usage and system errors, 2 for input that is wrong.
constexpr int kExitUsage = 1;
constexpr int kExitBadInput = 2;

// Prints "qrvload: <message>" on standard error, removes every registered
// temporary file and exits with the given status.
[[noreturn]] void qrvloadFail(int status, const std::string &message);

// Stops on a bad input line: file name, line number, the reason and the line.
[[noreturn]] void qrvloadBadLine(const std::string &file, uint64_t line, const std::string &reason,
                                 const char *text, size_t textLength);

// Temporary files to remove on failure; forget() once a file has been renamed.
void qrvloadRegisterTemp(const std::string &path);
void qrvloadForgetTemp(const std::string &path);
void qrvloadRemoveTemps();
