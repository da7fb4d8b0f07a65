// Assertions and failure output: the one way in which the whole system fails.
// A broken invariant prints a header with its place and throws the integer 0;
// nothing below the entry point catches it. The macros keep the failing path
// out of line so that a check on a per-record path costs one test.
#pragma once

#include <cstdint>
#include <ostream>

// Run-wide behaviour flags (one thread per process, so plain values).
extern uint8_t kvoraSilentFlag;         // no output at all
extern uint8_t kvoraExpectedErrorFlag;  // "Expected Error" prefix
extern uint8_t kvoraSimulatedErrorFlag; // "Simulated Error" prefix, error flag stays clear
extern int32_t kvoraErrorFlag;          // set by any failure that isn't simulated
extern int32_t kvoraPendingMemoryErrorFlag;
extern int32_t kvoraExceptionInFlightFlag;

// Called at each assertion and throw with file, line, function and text; the
// tracing module installs it and applies its own level. Null: no tracing.
extern void (*kvoraAssertTraceHook)(const char *file, int32_t line, const char *function, const char *text);

// The part of a path after its last character that isn't a letter, digit,
// "." or "_".
const char *kvoraBaseName(const char *path);

// Prints the failure header ("\n*** ERROR in function F at line L in file B",
// or its expected or simulated form) unless silent; sets the error flag unless
// simulated. Answers whether output is wanted, so that callers append to it.
bool kvoraFailureHeader(const char *file, int32_t line, const char *function);
// The header's prefix alone ("\n*** ERROR" or its expected or simulated form),
// with the same flags and answer as kvoraFailureHeader.
bool kvoraFailurePrefix();

[[noreturn]] void kvoraAssertFail(const char *expression, const char *file, int32_t line, const char *function);
[[noreturn]] void kvoraAssertFailCause(const char *expression, const char *cause, const char *file, int32_t line,
                                       const char *function);
void kvoraAssertWarn(const char *expression, const char *file, int32_t line, const char *function);
void kvoraFatal(const char *message, const char *file, int32_t line, const char *function);
[[noreturn]] void kvoraThrow(const char *file, int32_t line, const char *function);
[[noreturn]] void kvoraSimulatedError(const char *file, int32_t line, const char *function);

// A place record: where an allocation or guarded operation was asked for.
// Records of nested calls into the tables stand on a run-wide stack.
struct KVORAPlace {
    const char *file;
    int32_t line;
    const char *function;
    const KVORAPlace *previous;
};

extern const KVORAPlace *kvoraPlaceStack;

// Pushes a place on the run-wide stack for the length of a scope.
class KVORAPlaceScope {
public:
    KVORAPlaceScope(const char *file, int32_t line, const char *function)
        : ivPlace{file, line, function, kvoraPlaceStack} {
        kvoraPlaceStack = &ivPlace;
    }
    ~KVORAPlaceScope() { kvoraPlaceStack = ivPlace.previous; }
    KVORAPlaceScope(const KVORAPlaceScope &) = delete;
    KVORAPlaceScope &operator=(const KVORAPlaceScope &) = delete;

private:
    KVORAPlace ivPlace;
};

// Per record: "Function F, File B, Line L" and a line end, down the chain.
void kvoraPrintPlaces(std::ostream &out, const KVORAPlace *place);

#define KVORA_PLACE __FILE__, __LINE__, __func__

#define KVORA_ASSERT(expr)                                                          \
    do {                                                                            \
        if (__builtin_expect(!(expr), 0)) kvoraAssertFail(#expr, KVORA_PLACE);      \
    } while (0)

#define KVORA_ASSERT_CAUSE(expr, cause)                                                     \
    do {                                                                                    \
        if (__builtin_expect(!(expr), 0)) kvoraAssertFailCause(#expr, (cause), KVORA_PLACE); \
    } while (0)

#define KVORA_ASSERT_WARN(expr)                                                     \
    do {                                                                            \
        if (__builtin_expect(!(expr), 0)) kvoraAssertWarn(#expr, KVORA_PLACE);      \
    } while (0)

#define KVORA_FATAL(message)                   \
    do {                                       \
        kvoraFatal((message), KVORA_PLACE);    \
        kvoraThrow(KVORA_PLACE);               \
    } while (0)

#define KVORA_NOT_IMPLEMENTED() KVORA_FATAL("Function/Feature not yet implemented")
#define KVORA_NEVER_HERE() KVORA_FATAL("Program control should never reach this point")
