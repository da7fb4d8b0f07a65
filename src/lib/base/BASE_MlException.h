// Exception of the base library: carries a text and the source place where it
// was raised, and reports itself on standard error. The graph and array
// libraries use it to end the run on the spot (exitOnFailure), since they sit
// below the environment and have no other way out.
#pragma once

#include <cstdint>
#include <string>

class BASE_MlException {
public:
    BASE_MlException(const std::string &text, const char *file, int32_t line);
    virtual ~BASE_MlException();

    // Slot order matters to derived classes: thrown, catch, final catch.
    virtual void reportThrown() const;
    virtual void reportCatch(const char *file, int32_t line, const std::string &text) const;
    virtual void reportFinalCatch(const char *file, int32_t line, const std::string &text) const;

    // Reports "Internal Error" and "Thrown" and ends the process with status 1.
    [[noreturn]] void exitOnFailure() const;

    const std::string &getText() const { return ivText; }
    const char *getFile() const { return ivFile; }
    int32_t getLine() const { return ivLine; }

protected:
    // The kind word of the thrown report: "Internal Error" here.
    virtual const char *kindText() const;
    void printThrown() const;
    void printCatch(const char *what, const char *file, int32_t line, const std::string &text) const;

    std::string ivText;
    const char *ivFile;
    int32_t ivLine;
};
