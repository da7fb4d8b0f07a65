// Exception for faults of the user (a file that can't be opened and the like).
// It speaks only when one of the two run-wide verbosity flags asks for it,
// since the run reports already tell the user what went wrong.
#pragma once

#include "base/BASE_MlException.h"

// Run-wide verbosity flags of the user exception; both clear by default.
extern uint8_t baseUserExceptionVerbose;
extern uint8_t baseUserExceptionDebug;

class BASE_MlExceptionUser : public BASE_MlException {
public:
    BASE_MlExceptionUser(const std::string &text, const char *file, int32_t line);
    ~BASE_MlExceptionUser() override;

    void reportThrown() const override;
    void reportCatch(const char *file, int32_t line, const std::string &text) const override;
    void reportFinalCatch(const char *file, int32_t line, const std::string &text) const override;

protected:
    const char *kindText() const override;

private:
    static bool verbose();
};
