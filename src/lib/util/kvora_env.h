// The environment of a thread: its memory account, its class variables and
// its table of run-wide objects. Every operation takes the handle KVORA_ENV
// last, a reference to a pointer cell, so that the first use can fill it in
// and later uses cost a load and a test.
#pragma once

#include <cstdint>
#include <ostream>

class KVORAEnv;
class KVORAEnvAux;
class KVORAObject;

using KVORA_ENV = KVORAEnv *&;

class KVORAEnv {
public:
    KVORAEnv();
    ~KVORAEnv();
    KVORAEnv(const KVORAEnv &) = delete;
    KVORAEnv &operator=(const KVORAEnv &) = delete;

    KVORAEnvAux *getAux() const { return ivAuxPtr; }
    int64_t getBytesInUse() const { return ivBytesInUse; }
    void addBytes(int64_t bytes) { ivBytesInUse += bytes; }
    int64_t getLimit() const { return ivLimit; }
    void setLimit(int64_t limit) { ivLimit = limit; }
    int64_t getCounter() const { return ivCounter; }
    void setCounter(int64_t counter) { ivCounter = counter; }
    int32_t getThreadId() const { return ivThreadId; }
    int32_t isValid() const { return ivValid; }
    void setValid(int32_t valid) { ivValid = valid; }
    void *&classVarsSlot() { return ivClassVars; }
    // The process-wide default environment (made on first use).
    static KVORAEnv *defaultEnvironment() { return processWideEnv(); }

private:
    friend KVORAEnv *kvoraGetEnv(KVORA_ENV env);
    explicit KVORAEnv(bool processWide);
    // The process-wide default environment, made valid on first use.
    static KVORAEnv *processWideEnv();
    void construct(bool processWide);

    KVORAEnvAux *ivAuxPtr;
    int64_t ivCounter;
    int64_t ivBytesInUse;  // the memory account: bookkeeping only
    int64_t ivLimit;
    int32_t ivThreadId;
    int32_t ivValid;
    int32_t ivWord;
    void *ivClassVars;
};

// Answers the handle's environment if valid, else the calling thread's, else
// the process-wide default one (made on first use); fills the handle.
KVORAEnv *kvoraGetEnv(KVORA_ENV env);
// True if the handle's environment is the calling thread's and valid.
int32_t kvoraEnvIsCurrent(KVORA_ENV env);
// Takes an environment out of the thread table (before it is deleted).
void kvoraEnvLookUpRemove(KVORAEnv *env);

// The class-variable slot, made by `creator` when empty.
void *kvoraGetClassVars(void *(*creator)(KVORA_ENV), KVORA_ENV env);
// The run-wide object of a class, by class name (a text that lives for the
// whole run, such as a literal); made by `creator` on first use.
KVORAObject *kvoraGetGlobalObject(const char *key, KVORAObject *(*creator)(KVORA_ENV), KVORA_ENV env);

// The calling thread's identifier, or 42 for all threads when the shared
// switch is on.
int32_t kvoraCurrentThreadId();
extern uint8_t kvoraSharedThreadIdSwitch;

// Bytes allocated for the run-wide tables themselves (the environments' aux
// objects), outside any environment's account.
extern int64_t kvoraRunWideBytes;

// Memory account: adds (or with a negative count takes off) bytes. With a
// memory trace stream set, prints a "#mem#" line per allocation or release.
void kvoraMemAccount(int64_t bytes, KVORA_ENV env);
extern std::ostream *kvoraMemTraceStream;
extern int64_t kvoraMemTraceSequence;
void kvoraMemTraceLine(std::ostream &out, const void *address, const char *file, int32_t line,
                       const char *function, int64_t elementSize, int64_t count);
