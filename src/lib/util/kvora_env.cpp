// Environments and the thread table. The table from thread to environment is
// the one shared structure of the process, so it alone has a lock; the
// process-wide default environment is made first, and keeps the table's own
// memory on its account, so that making the table needs no environment.
#include "util/kvora_env.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <mutex>

#include "util/kvora_debug.h"
#include "util/kvora_hashtable.h"
#include "util/kvora_xenvaux.h"

uint8_t kvoraSharedThreadIdSwitch = 0;
int64_t kvoraRunWideBytes = 0;
std::ostream *kvoraMemTraceStream = nullptr;
int64_t kvoraMemTraceSequence = 1000000000LL;

namespace {

std::mutex &tableLock() {
    static std::mutex lock;
    return lock;
}

KVORAEnv *gDefaultEnv = nullptr;
KVORAKeyValueXAshTable<int32_t, KVORAEnv *> *gLookUpTable = nullptr;

KVORAEnv *defaultEnv();

// Made on first use and never freed: environments may be looked up until
// the very end of the process. Call with the lock held.
KVORAKeyValueXAshTable<int32_t, KVORAEnv *> &lookUpTable() {
    if (gLookUpTable == nullptr) gLookUpTable = new KVORAKeyValueXAshTable<int32_t, KVORAEnv *>();
    return *gLookUpTable;
}

KVORAEnv *threadEnv(int32_t threadId) {
    std::lock_guard<std::mutex> guard(tableLock());
    return lookUpTable().findValue(threadId, kvoraHashLong(threadId));
}

}  // namespace

int32_t kvoraCurrentThreadId() {
    if (kvoraSharedThreadIdSwitch != 0) return 42;
    return static_cast<int32_t>(::syscall(SYS_gettid));
}

KVORAEnv::KVORAEnv() { construct(false); }

KVORAEnv::KVORAEnv(bool processWide) { construct(processWide); }

void KVORAEnv::construct(bool processWide) {
    ivAuxPtr = new KVORAEnvAux();
    kvoraRunWideBytes += static_cast<int64_t>(sizeof(KVORAEnvAux));
    ivCounter = 0;
    ivBytesInUse = 0;
    ivLimit = 268435455LL;
    ivThreadId = kvoraCurrentThreadId();
    ivValid = 0;
    ivWord = 0;
    ivClassVars = nullptr;
    if (processWide) return;
    KVORAEnv *tableEnv = defaultEnv();
    std::lock_guard<std::mutex> guard(tableLock());
    auto &table = lookUpTable();
    if (table.find(ivThreadId, kvoraHashLong(ivThreadId)) == 0)
        table.put(ivThreadId, kvoraHashLong(ivThreadId), this, tableEnv);
}

KVORAEnv::~KVORAEnv() {
    kvoraEnvLookUpRemove(this);
    KVORAEnv *self = this;
    ivAuxPtr->reset(self);
    delete ivAuxPtr;
    kvoraRunWideBytes -= static_cast<int64_t>(sizeof(KVORAEnvAux));
    ivAuxPtr = nullptr;
}

KVORAEnv *KVORAEnv::processWideEnv() {
    static std::once_flag once;
    std::call_once(once, [] {
        gDefaultEnv = new KVORAEnv(true);
        gDefaultEnv->setValid(1);
    });
    return gDefaultEnv;
}

namespace {
KVORAEnv *defaultEnv() { return KVORAEnv::defaultEnvironment(); }
}  // namespace

KVORAEnv *kvoraGetEnv(KVORA_ENV env) {
    if (env != nullptr && env->ivValid != 0) return env;
    KVORAEnv *found = threadEnv(kvoraCurrentThreadId());
    if (found != nullptr && found->ivValid != 0) {
        env = found;
        return env;
    }
    env = defaultEnv();
    return env;
}

int32_t kvoraEnvIsCurrent(KVORA_ENV env) {
    if (env == nullptr || env->isValid() == 0) return 0;
    KVORAEnv *current = threadEnv(kvoraCurrentThreadId());
    if (current == nullptr) current = defaultEnv();
    return env == current ? 1 : 0;
}

void kvoraEnvLookUpRemove(KVORAEnv *env) {
    if (env == nullptr || env == gDefaultEnv) return;
    KVORAEnv *tableEnv = defaultEnv();
    std::lock_guard<std::mutex> guard(tableLock());
    auto &table = lookUpTable();
    const int32_t index = table.find(env->getThreadId(), kvoraHashLong(env->getThreadId()));
    if (index > 0 && table.getValue(index) == env) table.remove(index, tableEnv);
}

void *kvoraGetClassVars(void *(*creator)(KVORA_ENV), KVORA_ENV env) {
    KVORAEnv *e = kvoraGetEnv(env);
    void *&cvPtr = e->classVarsSlot();
    if (cvPtr == nullptr && creator != nullptr) cvPtr = creator(env);
    KVORA_ASSERT(cvPtr != 0);
    return cvPtr;
}

KVORAObject *kvoraGetGlobalObject(const char *key, KVORAObject *(*creator)(KVORA_ENV), KVORA_ENV env) {
    KVORAEnv *e = kvoraGetEnv(env);
    KVORAObject *found = e->getAux()->find(key);
    if (found != nullptr) return found;
    KVORAObject *newPtr = creator != nullptr ? creator(env) : nullptr;
    KVORA_ASSERT(newPtr != 0);
    e->getAux()->put(key, newPtr, env);
    return newPtr;
}

void kvoraMemAccount(int64_t bytes, KVORA_ENV env) { kvoraGetEnv(env)->addBytes(bytes); }

void kvoraMemTraceLine(std::ostream &out, const void *address, const char *file, int32_t line,
                       const char *function, int64_t elementSize, int64_t count) {
    ++kvoraMemTraceSequence;
    out << "\n#mem# addr " << address << " seq " << kvoraMemTraceSequence << ' '
        << (file != nullptr ? kvoraBaseName(file) : "?\?\?") << ' ' << line << ' '
        << (function != nullptr ? function : "?\?\?") << ' ' << elementSize << " * " << count << "    ";
    out.flush();
}
