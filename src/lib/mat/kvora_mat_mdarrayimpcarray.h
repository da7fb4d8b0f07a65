// The dense array body: one contiguous block, by columns. This is the body
// pageRank runs on, so its loops (sum, product, the matrix product) read the
// block directly instead of going through elementAt.
#pragma once

#include <vector>

#include "mat/kvora_mat_mdarrayimpdense.h"

template <class T>
class MDArrayImpCArray : public MDArrayImpDense<T> {
    using Base = MDArrayImp<T>;

public:
    MDArrayImpCArray() {}
    MDArrayImpCArray(const DimensionSizes &sizes, T fill)
        : MDArrayImpDense<T>(sizes), ivData(static_cast<size_t>(sizes.product()), fill) {}
    explicit MDArrayImpCArray(const std::vector<T> &values)
        : MDArrayImpDense<T>(DimensionSizes{static_cast<uint32_t>(values.size())}), ivData(values) {}

    T *data() { return ivData.data(); }
    const T *data() const { return ivData.data(); }

    Base *clone() const override { return new MDArrayImpCArray(*this); }
    Base *newEmpty() const override { return new MDArrayImpCArray(); }

    const T &elementAt(uint64_t flat) const override {
        this->checkFlat(flat);
        return ivData[flat];
    }
    T &elementAt(uint64_t flat) {
        this->checkFlat(flat);
        return ivData[flat];
    }

    T sum() const override {
        T s = T(0);
        for (const T &v : ivData) s += v;
        return s;
    }

    T product() const override {
        T p = T(1);
        for (const T &v : ivData) p *= v;
        return p;
    }

    uint64_t countEqual(T value) const override {
        uint64_t count = 0;
        for (const T &v : ivData) count += v == value ? 1 : 0;
        return count;
    }

    // The first of equal largest entries; position 0 when empty.
    void argMax(Indexes &at) const override {
        uint64_t best = 0;
        for (uint64_t i = 1; i < ivData.size(); ++i) {
            if (ivData[i] > ivData[best]) best = i;
        }
        this->indexesOf(best, at);
    }

    void toVector(std::vector<T> &out) const override { out = ivData; }

    void setElement(uint64_t flat, T value) override {
        this->checkFlat(flat);
        ivData[flat] = value;
    }

    void add(const Base &other) override {
        const MDArrayImpCArray *same = dynamic_cast<const MDArrayImpCArray *>(&other);
        if (same == nullptr) return Base::add(other);
        this->checkSameSizes(other, "add");
        const T *o = same->ivData.data();
        for (size_t i = 0; i < ivData.size(); ++i) ivData[i] += o[i];
    }

    void addScalar(T value) override {
        if (value == T(0)) return;
        for (T &v : ivData) v += value;
    }

    void subtract(const Base &other) override {
        const MDArrayImpCArray *same = dynamic_cast<const MDArrayImpCArray *>(&other);
        if (same == nullptr) return Base::subtract(other);
        this->checkSameSizes(other, "subtract");
        const T *o = same->ivData.data();
        for (size_t i = 0; i < ivData.size(); ++i) ivData[i] -= o[i];
    }

    void multiply(const Base &other) override {
        std::vector<T> result;
        DimensionSizes sizes;
        productInto(other, result, sizes);
        ivData.swap(result);  // the old block goes with `result`
        this->ivSizes = sizes;
    }

    void multiplyScalar(T value) override {
        if (value == T(1)) return;
        for (T &v : ivData) v *= value;
    }

    void resetTo(const DimensionSizes &sizes) override {
        this->ivSizes = sizes;
        ivData.assign(static_cast<size_t>(sizes.product()), T(0));
    }

    Base *newProduct(const Base &other) const override {
        MDArrayImpCArray *result = new MDArrayImpCArray();
        productInto(other, result->ivData, result->ivSizes);
        return result;
    }

private:
    void productInto(const Base &other, std::vector<T> &result, DimensionSizes &sizes) const {
        uint64_t rows, inner, otherRows, cols;
        this->productShape(other, rows, inner, otherRows, cols);
        result.assign(static_cast<size_t>(rows * cols), T(0));
        const MDArrayImpCArray *same = dynamic_cast<const MDArrayImpCArray *>(&other);
        if (same != nullptr) {
            matMultiplyBlocks(ivData.data(), rows, inner, same->ivData.data(), cols, result.data());
        } else {
            std::vector<T> right;
            other.toVector(right);
            matMultiplyBlocks(ivData.data(), rows, inner, right.data(), cols, result.data());
        }
        sizes = DimensionSizes{static_cast<uint32_t>(rows), static_cast<uint32_t>(cols)};
    }

    std::vector<T> ivData;
};
