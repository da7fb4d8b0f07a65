// User exception: "User Error", and its place only when a verbosity flag is set.
#include "base/BASE_MlExceptionUser.h"

#include <cstdio>

uint8_t baseUserExceptionVerbose = 0;
uint8_t baseUserExceptionDebug = 0;

BASE_MlExceptionUser::BASE_MlExceptionUser(const std::string &text, const char *file, int32_t line)
    : BASE_MlException(text, file, line) {}

BASE_MlExceptionUser::~BASE_MlExceptionUser() = default;

const char *BASE_MlExceptionUser::kindText() const { return "User Error"; }

bool BASE_MlExceptionUser::verbose() { return baseUserExceptionVerbose != 0 || baseUserExceptionDebug != 0; }

void BASE_MlExceptionUser::reportThrown() const {
    if (verbose()) {
        printThrown();
        return;
    }
    std::fprintf(stderr, "%s: %s\n", kindText(), ivText.c_str());
    std::fflush(stderr);
}

void BASE_MlExceptionUser::reportCatch(const char *file, int32_t line, const std::string &text) const {
    if (verbose()) printCatch("Catch", file, line, text);
}

void BASE_MlExceptionUser::reportFinalCatch(const char *file, int32_t line, const std::string &text) const {
    if (verbose()) printCatch("Final catch", file, line, text);
}
