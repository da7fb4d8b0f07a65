// The operations of an array body of element type T, in their slot order.
// Each has one general path through elementAt and setElement, so that any two
// bodies combine; the storage families override with fast paths where both
// operands are of their own class. The matrix product always goes through
// matMultiplyBlocks, so every family adds in the same order.
#pragma once

#include <cstdint>
#include <vector>

#include "mat/kvora_mat_functionobjects.h"
#include "mat/kvora_mat_mdarrayimpbase.h"
#include "mat/kvora_mat_multiply.h"

template <class T>
class MDArrayImp : public MDArrayImpBase {
public:
    MDArrayImp() {}
    explicit MDArrayImp(const DimensionSizes &sizes) : MDArrayImpBase(sizes) {}
    ~MDArrayImp() override {}

    virtual MDArrayImp *clone() const = 0;
    virtual MDArrayImp *newEmpty() const = 0;
    virtual const T &elementAt(uint64_t flat) const = 0;
    virtual const T &elementAtIndexes(const Indexes &at) const { return elementAt(flatIndex(at)); }
    virtual T sum() const = 0;
    virtual T product() const = 0;
    virtual uint64_t countEqual(T value) const = 0;
    virtual void argMax(Indexes &at) const = 0;

    virtual void toVector(std::vector<T> &out) const {
        uint64_t n = size();
        out.resize(n);
        for (uint64_t i = 0; i < n; ++i) out[i] = elementAt(i);
    }

    // The slice at a position of the last dimensions: `at` fixes the last
    // at.size() dimensions, and the new body has the dimensions before them.
    virtual MDArrayImp *subArray(const Indexes &at) const {
        uint32_t n = nDims();
        uint32_t fixed = at.size();
        if (fixed > n) MAT_FAIL("Position " << at << " does not fit array of sizes " << ivSizes);
        DimensionSizes sliceSizes;
        uint64_t sliceSize = 1;
        for (uint32_t d = 0; d < n - fixed; ++d) {
            sliceSizes.append(ivSizes[d]);
            sliceSize *= ivSizes[d];
        }
        uint64_t offset = 0;
        uint64_t stride = sliceSize;
        for (uint32_t d = n - fixed; d < n; ++d) {
            uint32_t p = at[d - (n - fixed)];
            if (p >= ivSizes[d]) MAT_FAIL("Position " << at << " does not fit array of sizes " << ivSizes);
            offset += static_cast<uint64_t>(p) * stride;
            stride *= ivSizes[d];
        }
        MDArrayImp *slice = newEmpty();
        slice->resetTo(sliceSizes);
        for (uint64_t i = 0; i < sliceSize; ++i) slice->setElement(i, elementAt(offset + i));
        return slice;
    }

    virtual void setElement(uint64_t flat, T value) = 0;
    virtual void setAtIndexes(const Indexes &at, T value) { setElement(flatIndex(at), value); }

    // Elements (k, k, ...) for k below the smallest dimension.
    virtual void setDiagonal(T value) {
        uint32_t n = nDims();
        if (n == 0) return;
        uint64_t smallest = ivSizes[0];
        uint64_t step = 0;
        uint64_t stride = 1;
        for (uint32_t d = 0; d < n; ++d) {
            if (ivSizes[d] < smallest) smallest = ivSizes[d];
            step += stride;
            stride *= ivSizes[d];
        }
        for (uint64_t k = 0; k < smallest; ++k) setElement(k * step, value);
    }

    virtual void add(const MDArrayImp &other) {
        checkSameSizes(other, "add");
        uint64_t n = size();
        for (uint64_t i = 0; i < n; ++i) {
            T v = elementAt(i) + other.elementAt(i);
            setElement(i, v);
        }
    }

    virtual void addScalar(T value) {
        if (value == T(0)) return;
        uint64_t n = size();
        for (uint64_t i = 0; i < n; ++i) {
            T v = elementAt(i) + value;
            setElement(i, v);
        }
    }

    virtual void subtract(const MDArrayImp &other) {
        checkSameSizes(other, "subtract");
        uint64_t n = size();
        for (uint64_t i = 0; i < n; ++i) {
            T v = elementAt(i) - other.elementAt(i);
            setElement(i, v);
        }
    }

    // Matrix product this * other; the result replaces this body's contents
    // and sizes (rows of this by columns of other).
    virtual void multiply(const MDArrayImp &other) {
        uint64_t rows, inner, otherRows, cols;
        productShape(other, rows, inner, otherRows, cols);
        std::vector<T> left, right;
        toVector(left);
        other.toVector(right);
        std::vector<T> result(rows * cols);
        matMultiplyBlocks(left.data(), rows, inner, right.data(), cols, result.data());
        resetTo(DimensionSizes{static_cast<uint32_t>(rows), static_cast<uint32_t>(cols)});
        for (uint64_t i = 0; i < result.size(); ++i) setElement(i, result[i]);
    }

    virtual void multiplyScalar(T value) {
        if (value == T(1)) return;
        uint64_t n = size();
        for (uint64_t i = 0; i < n; ++i) {
            T v = elementAt(i) * value;
            setElement(i, v);
        }
    }

    // Further slots: element-wise product and quotient, per-dimension sum,
    // and the normaliser.
    virtual void multiplyElements(const MDArrayImp &other) {
        checkSameSizes(other, "multiplyElements");
        uint64_t n = size();
        for (uint64_t i = 0; i < n; ++i) {
            T v = elementAt(i) * other.elementAt(i);
            setElement(i, v);
        }
    }

    virtual void divideElements(const MDArrayImp &other) {
        checkSameSizes(other, "divideElements");
        uint64_t n = size();
        for (uint64_t i = 0; i < n; ++i) {
            T v = elementAt(i) / other.elementAt(i);
            setElement(i, v);
        }
    }

    // The sums along dimension d, from 0.0 in ascending index; the result has
    // size 1 in that dimension.
    virtual MDArrayImp *sumDimension(uint32_t d) const {
        checkDimension(d);
        MDArrayImp *result = newEmpty();
        DimensionSizes sizes(ivSizes);
        sizes.set(d, 1);
        result->resetTo(sizes);
        uint64_t inner = 1;
        for (uint32_t e = 0; e < d; ++e) inner *= ivSizes[e];
        uint64_t extent = ivSizes[d];
        uint64_t outer = inner == 0 || extent == 0 ? 0 : size() / (inner * extent);
        for (uint64_t o = 0; o < outer; ++o) {
            for (uint64_t i = 0; i < inner; ++i) {
                T s = T(0);
                for (uint64_t k = 0; k < extent; ++k) s += elementAt(i + k * inner + o * inner * extent);
                result->setElement(i + o * inner, s);
            }
        }
        return result;
    }

    // Scales by the reciprocal of the entry count.
    virtual void normalize() { multiplyScalar(T(1) / static_cast<T>(size())); }

    virtual bool isSparse() const = 0;

    // Sets the sizes and makes every element 0 (the bodies' own storage).
    virtual void resetTo(const DimensionSizes &sizes) = 0;

    // A new body holding this * other, as clone() followed by multiply():
    // the dense family overrides it to skip copying the left operand.
    virtual MDArrayImp *newProduct(const MDArrayImp &other) const {
        MDArrayImp *result = clone();
        result->multiply(other);
        return result;
    }

    // Folds each line along dimension d; the result has size 1 there. A fold
    // over an empty line fails with "no start value".
    template <class Combine>
    MDArrayImp *applyFold(uint32_t d, Combine) const {
        checkDimension(d);
        MDArrayImp *result = newEmpty();
        DimensionSizes sizes(ivSizes);
        sizes.set(d, 1);
        result->resetTo(sizes);
        uint64_t inner = 1;
        for (uint32_t e = 0; e < d; ++e) inner *= ivSizes[e];
        uint64_t extent = ivSizes[d];
        uint64_t outer = 1;
        for (uint32_t e = d + 1; e < nDims(); ++e) outer *= ivSizes[e];
        for (uint64_t o = 0; o < outer; ++o) {
            for (uint64_t i = 0; i < inner; ++i) {
                MAT_Fold<T, Combine> fold;
                for (uint64_t k = 0; k < extent; ++k) fold.add(elementAt(i + k * inner + o * inner * extent));
                result->setElement(i + o * inner, fold.result());
            }
        }
        return result;
    }

    // Two dimensions print as one line per row; one dimension as a column;
    // more go slice by slice, each headed "(:,:,i,j...)".
    void print(std::ostream &out) const override {
        uint32_t n = nDims();
        if (n <= 2) {
            uint64_t rows = n == 0 ? 0 : ivSizes[0];
            uint64_t cols = n == 2 ? ivSizes[1] : 1;
            printMatrix(out, 0, rows, cols);
            return;
        }
        uint64_t rows = ivSizes[0];
        uint64_t cols = ivSizes[1];
        uint64_t slices = 1;
        for (uint32_t d = 2; d < n; ++d) slices *= ivSizes[d];
        std::vector<uint32_t> higher(n - 2, 0);
        for (uint64_t s = 0; s < slices; ++s) {
            out << "(:,:";
            for (uint32_t h : higher) out << "," << h;
            out << ")" << "\n";
            printMatrix(out, s * rows * cols, rows, cols);
            for (uint32_t d = 0; d < higher.size(); ++d) {
                if (++higher[d] < ivSizes[d + 2]) break;
                higher[d] = 0;
            }
        }
    }

protected:
    void checkSameSizes(const MDArrayImp &other, const char *operation) const {
        if (!ivSizes.sameValues(other.ivSizes)) {
            MAT_FAIL("Array sizes " << ivSizes << " and " << other.ivSizes << " differ in " << operation);
        }
    }

    void productShape(const MDArrayImp &other, uint64_t &rows, uint64_t &inner, uint64_t &otherRows,
                      uint64_t &cols) const {
        matrixShape(rows, inner);
        other.matrixShape(otherRows, cols);
        if (inner != otherRows) {
            MAT_FAIL("Matrix product of sizes " << ivSizes << " and " << other.ivSizes << " does not match");
        }
    }

    void printMatrix(std::ostream &out, uint64_t offset, uint64_t rows, uint64_t cols) const {
        for (uint64_t i = 0; i < rows; ++i) {
            for (uint64_t j = 0; j < cols; ++j) {
                if (j > 0) out << " ";
                out << elementAt(offset + i + j * rows);
            }
            out << "\n";
        }
    }
};
