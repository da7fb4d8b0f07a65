// Owner pointers. Every object has one owner; since destructors have no
// environment, an owner is reset explicitly with its `env`, and one that is
// destroyed still holding its object says where it was made and lets the
// object leak rather than free it off the books. KVORALocal is the same rule
// for an object held by value in a scope. Access is inline: a load and a test.
#pragma once

#include <cstdint>
#include <cstdio>
#include <new>
#include <type_traits>
#include <utility>

#include "base/KVOMemoryException.h"
#include "util/kvora_debug.h"
#include "util/kvora_env.h"

// Complaint of an owner destroyed while holding an object: the header with
// the destructor's place, then where the owner was made.
void kvoraOwnPtrDestructorComplaint(int32_t copied, const char *file, int32_t line, const char *function,
                                    const char *headerFile, int32_t headerLine, const char *headerFunction);
// Failure of an access through an empty owner: after deletion the deletion
// place is told; otherwise the plain assertion.
[[noreturn]] void kvoraOwnPtrAccessFailed(int32_t deleted, const char *file, int32_t line, const char *function);
// Prints "Cannot allocate object memory" with the place and throws KVOMemoryException.
[[noreturn]] void kvoraObjectAllocFailed(const char *file, int32_t line, const char *function);
// Complaint of a KVORALocal destroyed without reset.
void kvoraLocalDestructorComplaint();

// How an owned object is released: objects of the object base by their own
// size and releasePrimitive; other types by their size and, if they have one,
// their reset(env).
template <class T, class = void>
struct KVORAHasReleasePrimitive : std::false_type {};
template <class T>
struct KVORAHasReleasePrimitive<
    T, std::void_t<decltype(std::declval<T &>().releasePrimitive(std::declval<KVORAEnv *&>())),
                   decltype(std::declval<const T &>().getObjectSize())>> : std::true_type {};
template <class T, class = void>
struct KVORAHasResetEnv : std::false_type {};
template <class T>
struct KVORAHasResetEnv<T, std::void_t<decltype(std::declval<T &>().reset(std::declval<KVORAEnv *&>()))>>
    : std::true_type {};

template <class T>
inline int64_t kvoraOwnedSize(const T &object) {
    if constexpr (KVORAHasReleasePrimitive<T>::value)
        return object.getObjectSize();
    else
        return static_cast<int64_t>(sizeof(T));
}

template <class T>
inline void kvoraReleaseOwned(T &object, KVORA_ENV env) {
    if constexpr (KVORAHasReleasePrimitive<T>::value)
        object.releasePrimitive(env);
    else if constexpr (KVORAHasResetEnv<T>::value)
        object.reset(env);
}

template <class T>
class KVORAOwnPtr {
public:
    // The place defaults to the caller's, so that a plain declaration records it.
    explicit KVORAOwnPtr(const char *file = __builtin_FILE(), int32_t line = __builtin_LINE(),
                         const char *function = __builtin_FUNCTION())
        : ivFile(file), ivLine(line), ivFunction(function) {}
    // Takes the other's object, and remembers where the other was made.
    KVORAOwnPtr(KVORAOwnPtr &other)
        : ivObject(other.ivObject), ivEnv(other.ivEnv), ivFile(other.ivFile), ivLine(other.ivLine),
          ivFunction(other.ivFunction), ivCopied(1) {
        other.ivObject = nullptr;
    }
    // Relocation (inside growing arrays) keeps the record as it is.
    KVORAOwnPtr(KVORAOwnPtr &&other) noexcept
        : ivObject(other.ivObject), ivEnv(other.ivEnv), ivFile(other.ivFile), ivLine(other.ivLine),
          ivFunction(other.ivFunction), ivCopied(other.ivCopied), ivDeleted(other.ivDeleted),
          ivDeletedFile(other.ivDeletedFile), ivDeletedLine(other.ivDeletedLine),
          ivDeletedFunction(other.ivDeletedFunction) {
        other.ivObject = nullptr;
    }
    KVORAOwnPtr &operator=(const KVORAOwnPtr &) = delete;

    ~KVORAOwnPtr() {
        if (ivObject != nullptr) kvoraOwnPtrDestructorComplaint(ivCopied, ivFile, ivLine, ivFunction, KVORA_PLACE);
    }

    T *get() const { return ivObject; }
    T *operator->() const {
        if (__builtin_expect(ivObject == nullptr, 0)) accessFailed();
        return ivObject;
    }
    T &operator*() const {
        if (__builtin_expect(ivObject == nullptr, 0)) accessFailed();
        return *ivObject;
    }
    bool isNull() const { return ivObject == nullptr; }
    explicit operator bool() const { return ivObject != nullptr; }

    // Gives the object to the caller and leaves the owner empty.
    T *transfer() {
        T *object = ivObject;
        ivObject = nullptr;
        return object;
    }

    // Destroys the held object: its size off the account, releasePrimitive,
    // delete. The place of the call is kept for later complaints.
    void reset(KVORA_ENV env, const char *file = __builtin_FILE(), int32_t line = __builtin_LINE(),
               const char *function = __builtin_FUNCTION()) {
        ivEnv = env;
        if (ivObject == nullptr) return;
        T *object = ivObject;
        ivObject = nullptr;
        kvoraMemAccount(-kvoraOwnedSize(*object), env);
        kvoraReleaseOwned(*object, env);
        delete object;
        ivDeleted = 1;
        ivDeletedFile = file;
        ivDeletedLine = line;
        ivDeletedFunction = function;
    }

    // Destroys the held object and holds `object` (already on the account).
    void reset(T *object, KVORA_ENV env) {
        if (object == ivObject) return;
        reset(env);
        hold(object);
    }

    // Assignment from a new object: reset with the environment last given.
    KVORAOwnPtr &operator=(T *object) {
        reset(object, ivEnv);
        return *this;
    }

    // Makes a default object of T, puts it on the account, and holds it.
    void create(KVORA_ENV env) {
        T *object = new (std::nothrow) T();
        if (object == nullptr) kvoraObjectAllocFailed(ivFile, ivLine, ivFunction);
        reset(env);
        kvoraMemAccount(kvoraOwnedSize(*object), env);
        hold(object);
    }

    // Takes the object of another owner, of this type or a related one.
    template <class U>
    void transferFrom(KVORAOwnPtr<U> &other, KVORA_ENV env) {
        if (static_cast<void *>(other.get()) == static_cast<void *>(ivObject)) return;
        T *object = static_cast<T *>(other.transfer());
        reset(env);
        hold(object);
    }

    const char *getFile() const { return ivFile; }
    int32_t getLine() const { return ivLine; }
    const char *getFunction() const { return ivFunction; }

private:
    void hold(T *object) {
        ivObject = object;
        if (object != nullptr) ivDeleted = 0;
    }
    [[noreturn]] void accessFailed() const {
        if (ivDeleted != 0) kvoraOwnPtrAccessFailed(1, ivDeletedFile, ivDeletedLine, ivDeletedFunction);
        kvoraOwnPtrAccessFailed(0, ivFile, ivLine, ivFunction);
    }

    T *ivObject = nullptr;
    KVORAEnv *ivEnv = nullptr;
    const char *ivFile;
    int32_t ivLine;
    const char *ivFunction;
    int32_t ivCopied = 0;
    int32_t ivDeleted = 0;
    const char *ivDeletedFile = nullptr;
    int32_t ivDeletedLine = 0;
    const char *ivDeletedFunction = nullptr;
};

// A scoped object held by value, which must be reset before its scope ends.
template <class T>
class KVORALocal {
public:
    KVORALocal() = default;
    KVORALocal(const KVORALocal &) = delete;
    KVORALocal &operator=(const KVORALocal &) = delete;
    ~KVORALocal() {
        if (ivReset == 0) kvoraLocalDestructorComplaint();
    }

    T &get() { return ivObject; }
    T *operator->() { return &ivObject; }
    T &operator*() { return ivObject; }

    void reset(KVORA_ENV env) {
        if (ivReset == 0) kvoraReleaseOwned(ivObject, env);
        ivReset = 1;
    }

private:
    T ivObject{};
    int32_t ivReset = 0;
};

// Ends an owner's or a local's holding with the environment.
#define KVORA_DELETE(holder, env) (holder).reset(env)
