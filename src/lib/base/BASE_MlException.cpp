// Reports of the base exception. Everything goes to standard error so that
// the report lines on standard output stay parseable.
#include "base/BASE_MlException.h"

#include <cstdio>
#include <cstdlib>

BASE_MlException::BASE_MlException(const std::string &text, const char *file, int32_t line)
    : ivText(text), ivFile(file != nullptr ? file : "?\?\?"), ivLine(line) {}

BASE_MlException::~BASE_MlException() = default;

const char *BASE_MlException::kindText() const { return "Internal Error"; }

void BASE_MlException::printThrown() const {
    std::fprintf(stderr, "%s: %s\nThrown in file %s at line %d\n", kindText(), ivText.c_str(), ivFile,
                 static_cast<int>(ivLine));
    std::fflush(stderr);
}

void BASE_MlException::printCatch(const char *what, const char *file, int32_t line,
                                  const std::string &text) const {
    std::fprintf(stderr, "%s in file %s at line %d : %s\n", what, file != nullptr ? file : "?\?\?",
                 static_cast<int>(line), text.c_str());
    std::fflush(stderr);
}

void BASE_MlException::reportThrown() const { printThrown(); }

void BASE_MlException::reportCatch(const char *file, int32_t line, const std::string &text) const {
    printCatch("Catch", file, line, text);
}

void BASE_MlException::reportFinalCatch(const char *file, int32_t line, const std::string &text) const {
    printCatch("Final catch", file, line, text);
}

void BASE_MlException::exitOnFailure() const {
    reportThrown();
    std::exit(1);
}
