// The array handle: value semantics over a shared body. Copying a handle
// costs a count; the data are copied at the first write through a handle
// whose body is shared (copy on write), so that passing arrays around is
// cheap. Every read checks that there is a body ("No object exist"); every
// write first makes the body this handle's own.
#pragma once

#include <cstdint>
#include <vector>

#include "mat/kvora_mat_mdarrayimpcarray.h"
#include "mat/kvora_mat_mdarrayimpmap.h"
#include "mat/kvora_mat_referencecounter.h"
#include "mat/kvora_mat_saveable.h"

template <class T>
class MDArray : public Printable, public Saveable {
public:
    // A handle without a body: any use of it fails.
    MDArray() : ivBody(nullptr) {}

    // `sparse` chooses the family: false a contiguous block, true a map.
    MDArray(const DimensionSizes &sizes, T fill, bool sparse = false)
        : ivBody(sparse ? static_cast<MDArrayImp<T> *>(new MDArrayImpMap<T>(sizes, fill))
                        : static_cast<MDArrayImp<T> *>(new MDArrayImpCArray<T>(sizes, fill))) {
        ivCount.start();
    }

    // A one-dimensional array of the values.
    explicit MDArray(const std::vector<T> &values, bool sparse = false)
        : ivBody(sparse ? static_cast<MDArrayImp<T> *>(new MDArrayImpMap<T>(values))
                        : static_cast<MDArrayImp<T> *>(new MDArrayImpCArray<T>(values))) {
        ivCount.start();
    }

    MDArray(const MDArray &other) : Saveable(other), ivBody(other.ivBody) { ivCount.share(other.ivCount); }

    MDArray(MDArray &&other) noexcept : ivBody(other.ivBody) {
        ivCount.takeFrom(other.ivCount);
        other.ivBody = nullptr;
    }

    MDArray &operator=(const MDArray &other) {
        if (other.ivBody != ivBody) {
            release();
            ivBody = other.ivBody;
            ivCount.share(other.ivCount);
        }
        return *this;
    }

    MDArray &operator=(MDArray &&other) noexcept {
        if (&other != this) {
            release();
            ivBody = other.ivBody;
            ivCount.takeFrom(other.ivCount);
            other.ivBody = nullptr;
        }
        return *this;
    }

    ~MDArray() override { release(); }

    // --- reads ---
    bool hasBody() const { return ivBody != nullptr; }
    int32_t referenceCount() const { return ivCount.count(); }
    const MDArrayImp<T> &body() const { return checkedBody(); }
    bool isSparse() const { return checkedBody().isSparse(); }
    const DimensionSizes &dimensionSizes() const { return checkedBody().dimensionSizes(); }
    uint64_t size() const { return checkedBody().size(); }

    const T &elementAt(uint64_t flat) const { return checkedBody().elementAt(flat); }
    const T &elementAtIndexes(const Indexes &at) const { return checkedBody().elementAtIndexes(at); }
    T sum() const { return checkedBody().sum(); }
    T product() const { return checkedBody().product(); }
    uint64_t countEqual(T value) const { return checkedBody().countEqual(value); }
    void argMax(Indexes &at) const { checkedBody().argMax(at); }
    void toVector(std::vector<T> &out) const { checkedBody().toVector(out); }
    MDArray subArray(const Indexes &at) const { return MDArray(checkedBody().subArray(at)); }
    MDArray sumDimension(uint32_t d) const { return MDArray(checkedBody().sumDimension(d)); }
    template <class Combine>
    MDArray applyFold(uint32_t d, Combine combine) const {
        return MDArray(checkedBody().applyFold(d, combine));
    }

    // The contiguous block of a dense body, for loops that must not pay a
    // virtual call per element; null for a sparse one.
    const T *denseData() const {
        const MDArrayImpCArray<T> *dense = dynamic_cast<const MDArrayImpCArray<T> *>(&checkedBody());
        return dense != nullptr ? dense->data() : nullptr;
    }

    // --- writes: the body is made this handle's own first ---
    // The contiguous block of a dense body, made this handle's own, for
    // filling a matrix without a virtual call per element; null if sparse.
    T *denseDataForWrite() {
        MDArrayImpCArray<T> *dense = dynamic_cast<MDArrayImpCArray<T> *>(&ownBody());
        return dense != nullptr ? dense->data() : nullptr;
    }
    void setElement(uint64_t flat, T value) { ownBody().setElement(flat, value); }
    void setAtIndexes(const Indexes &at, T value) { ownBody().setAtIndexes(at, value); }
    void setDiagonal(T value) { ownBody().setDiagonal(value); }
    void add(const MDArray &other) { addOrSubtract(other, true); }
    void subtract(const MDArray &other) { addOrSubtract(other, false); }
    void addScalar(T value) { ownBody().addScalar(value); }
    void multiplyScalar(T value) { ownBody().multiplyScalar(value); }
    void multiplyElements(const MDArray &other) {
        MDArray keep(other);  // the operand stays readable while this body changes
        ownBody().multiplyElements(keep.checkedBody());
    }
    void divideElements(const MDArray &other) {
        MDArray keep(other);
        ownBody().divideElements(keep.checkedBody());
    }
    void normalize() { ownBody().normalize(); }

    // This = this * other (matrix product). A shared body is not copied just
    // to be overwritten: the product goes straight into a new private body,
    // which is what copying it and multiplying in place would give.
    void multiply(const MDArray &other) {
        const MDArrayImp<T> &right = other.checkedBody();
        checkedBody();
        if (ivCount.count() != 1) {
            MDArrayImp<T> *product = ivBody->newProduct(right);
            release();
            ivBody = product;
            ivCount.start();
        } else {
            ivBody->multiply(right);
        }
    }

    // The matrix product as a new handle: it shares the left operand, then
    // multiplies.
    friend MDArray operator*(const MDArray &left, const MDArray &right) {
        MDArray result(left);
        result.multiply(right);
        return result;
    }

    void print(std::ostream &out) const override { checkedBody().print(out); }

    // "MDArray", the family, the sizes, then the elements in storage order.
    void save(std::ostream &out) const override {
        const MDArrayImp<T> &b = checkedBody();
        writeString(out, "MDArray");
        writeInt32(out, b.isSparse() ? 1 : 0);
        b.dimensionSizes().save(out);
        uint64_t n = b.size();
        for (uint64_t i = 0; i < n; ++i) writeDouble(out, static_cast<double>(b.elementAt(i)));
    }

private:
    // Adopts a new body made by one of the body's operations.
    explicit MDArray(MDArrayImp<T> *body) : ivBody(body) { ivCount.start(); }

    const MDArrayImp<T> &checkedBody() const {
        if (ivBody == nullptr) MAT_FAIL("No object exist");
        return *ivBody;
    }

    MDArrayImp<T> &ownBody() {
        checkedBody();
        if (ivCount.count() != 1) {
            MDArrayImp<T> *copy = ivBody->clone();
            ivCount.drop();  // others still hold it, so the body stays
            ivBody = copy;
            ivCount.start();
        }
        return *ivBody;
    }

    void addOrSubtract(const MDArray &other, bool adding) {
        MDArray keep(other);  // if other shares this body, it keeps the old one
        const MDArrayImp<T> &right = keep.checkedBody();
        MDArrayImp<T> &left = ownBody();
        if (adding) {
            left.add(right);
        } else {
            left.subtract(right);
        }
    }

    void release() {
        if (ivCount.drop()) delete ivBody;
        ivBody = nullptr;
    }

    MDArrayImp<T> *ivBody;
    BASE_GEC_ReferenceCounter ivCount;
};
