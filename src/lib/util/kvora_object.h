// Base of every persistent class: an object knows its size and its registered
// type, can be copied or moved through virtual operations, writes and reads
// its members by keyword through the object streams, and can be made new from
// its type name. Destructors have no environment, so an object is destroyed by
// one rule (kvoraDestroyObject): take its size off the account, releasePrimitive,
// delete.
//
// How a persistent class declares itself
// --------------------------------------
// Header, first thing in the class body (it leaves the access at `public:`):
//
//     class KVORAFoo : public KVORABar {
//         KVORA_OBJECT_DECL(KVORAFoo)            // or KVORA_ABSTRACT_OBJECT_DECL(KVORAFoo)
//     public:
//         void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
//         void transferFromPrimitive(KVORAObject *source, KVORA_ENV env) override;
//         void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
//         void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
//         void releasePrimitive(KVORA_ENV env) override;
//         int32_t ivCount; KVORAOwnPtr<KVORABaz> ivChild; ...
//     };
//
// Source file: the registration, with the number of the class's own member
// keywords, then one keyword per member in declaration order (local numbers
// from 1; the global numbers count on from the base's last keyword):
//
//     KVORA_OBJECT_IMPL(KVORAFoo, KVORABar, 2)   // or KVORA_ABSTRACT_OBJECT_IMPL(...)
//     KVORA_MEMBER_KEYWORD(KVORAFoo, ivCount, 1)
//     KVORA_MEMBER_KEYWORD(KVORAFoo, ivChild, 2)
//
//     void KVORAFoo::writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const {
//         KVORABar::writePrimitive(w, env);
//         kvoraWrite(w, KVORA_KWD(ivCount), ivCount, env);   // keyword, then value
//         kvoraWrite(w, KVORA_KWD(ivChild), ivChild, env);
//     }
//     void KVORAFoo::readPrimitive(KVORAObjReader &r, KVORA_ENV env) {
//         KVORABar::readPrimitive(r, env);
//         kvoraRead(r, KVORA_KWD(ivCount), ivCount, env);    // only if the stream is at it
//         kvoraRead(r, KVORA_KWD(ivChild), ivChild, env);
//     }
//
// The source file includes util/kvora_objio.h, which brings the typed
// kvoraRead/kvoraWrite functions and KVORA_KWD / KVORA_MEMBER_KEYWORD. An
// owned member is reset in releasePrimitive (destructors have no env). A class
// with no members of its own passes 0 and writes no keywords. An abstract
// class (no factory, cloneObject left to its subclasses) registers its name
// with the flag 0.
#pragma once

#include <cstdint>
#include <new>

#include "util/kvora_env.h"
#include "util/kvora_typename.h"

class KVORAObjReader;
class KVORAObjWriter;
template <class T> class KVORAOwnPtr;

// Root of the class tree: only a virtual destructor.
class KVORAObjectReleaseCode {
public:
    virtual ~KVORAObjectReleaseCode() {}
};

class KVORAObject : private KVORAObjectReleaseCode {
public:
    KVORAObject() {}
    ~KVORAObject() override {}

    // The eleven virtual operations, in slot order (the destructor above is the first).
    virtual int64_t getObjectSize() const;
    virtual void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env);
    virtual void transferFromPrimitive(KVORAObject *source, KVORA_ENV env);
    virtual const KVORATypeName &getObjectType() const;
    virtual int32_t isKindOf(const KVORATypeName &typeName) const;
    virtual void readPrimitive(KVORAObjReader &reader, KVORA_ENV env);
    virtual void postReadPrimitive(KVORAObjReader &reader, KVORA_ENV env);
    virtual void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const;
    virtual void releasePrimitive(KVORA_ENV env);
    virtual void cloneObject(KVORAOwnPtr<KVORAObject> &result, KVORA_ENV env) const;

    static const KVORATypeName &classType();
    static int32_t keywordBase() { return 0; }
    // The six reserved keywords take the global numbers 1 to 6.
    static int32_t lastKeywordId() { return 6; }
    static void factory(KVORAOwnPtr<KVORAObject> &result, KVORA_ENV env);
};

// Destroys an object by the one rule: size off the account, releasePrimitive,
// delete. A null pointer does nothing.
void kvoraDestroyObject(KVORAObject *object, KVORA_ENV env);

// Counts a freshly made object on the account and puts it under the owner,
// destroying what the owner held. A null object is "Cannot allocate object memory".
void kvoraAdoptObject(KVORAOwnPtr<KVORAObject> &result, KVORAObject *object, KVORA_ENV env);

// Makes a default object of T under the owner: what the factories do.
template <class T>
inline void kvoraNewObject(KVORAOwnPtr<KVORAObject> &result, KVORA_ENV env) {
    kvoraAdoptObject(result, new (std::nothrow) T(), env);
}

#define KVORA_OBJECT_COMMON_DECL(Class)                                         \
public:                                                                        \
    static const KVORATypeName &classType();                                   \
    static int32_t keywordBase();                                              \
    static int32_t lastKeywordId();                                            \
    int64_t getObjectSize() const override;                                    \
    const KVORATypeName &getObjectType() const override;                       \
    int32_t isKindOf(const KVORATypeName &typeName) const override;

#define KVORA_OBJECT_DECL(Class)                                                \
    KVORA_OBJECT_COMMON_DECL(Class)                                            \
    static void factory(KVORAOwnPtr<KVORAObject> &result, KVORA_ENV env);      \
    void cloneObject(KVORAOwnPtr<KVORAObject> &result, KVORA_ENV env) const override;

#define KVORA_ABSTRACT_OBJECT_DECL(Class) KVORA_OBJECT_COMMON_DECL(Class)

#define KVORA_OBJECT_COMMON_IMPL(Class, Base, OwnKeywords)                                   \
    int32_t Class::keywordBase() { return Base::lastKeywordId(); }                           \
    int32_t Class::lastKeywordId() { return Base::lastKeywordId() + (OwnKeywords); }         \
    int64_t Class::getObjectSize() const { return static_cast<int64_t>(sizeof(Class)); }     \
    const KVORATypeName &Class::getObjectType() const { return Class::classType(); }         \
    int32_t Class::isKindOf(const KVORATypeName &typeName) const {                           \
        if (typeName.getIndex() == Class::classType().getIndex()) return 1;                  \
        return Base::isKindOf(typeName);                                                     \
    }                                                                                        \
    /* Registration before main; getObjectType() reaches the same guarded function. */       \
    [[maybe_unused]] static const KVORATypeName &kvoraTypeRegistration_##Class = Class::classType();

#define KVORA_OBJECT_IMPL(Class, Base, OwnKeywords)                                          \
    const KVORATypeName &Class::classType() {                                                \
        static const KVORATypeName type(#Class, &Class::factory);                            \
        return type;                                                                         \
    }                                                                                        \
    void Class::factory(KVORAOwnPtr<KVORAObject> &result, KVORA_ENV env) {                   \
        kvoraNewObject<Class>(result, env);                                                  \
    }                                                                                        \
    void Class::cloneObject(KVORAOwnPtr<KVORAObject> &result, KVORA_ENV env) const {         \
        kvoraNewObject<Class>(result, env);                                                  \
    }                                                                                        \
    KVORA_OBJECT_COMMON_IMPL(Class, Base, OwnKeywords)

#define KVORA_ABSTRACT_OBJECT_IMPL(Class, Base, OwnKeywords)                                 \
    const KVORATypeName &Class::classType() {                                                \
        static const KVORATypeName type(#Class);                                             \
        return type;                                                                         \
    }                                                                                        \
    KVORA_OBJECT_COMMON_IMPL(Class, Base, OwnKeywords)
