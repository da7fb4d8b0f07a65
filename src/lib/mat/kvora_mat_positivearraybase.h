// A growable array of unsigned 32-bit values: the common body of dimension
// lists, positions and dimension sizes. Every change goes through
// valuesChanged() so that a derived class holding a cache (the product of the
// sizes) can drop it; reads stay plain inline accesses.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <vector>

#include "mat/kvora_mat_failure.h"
#include "mat/kvora_mat_printable.h"
#include "mat/kvora_mat_saveable.h"

class PositiveArrayBase : public Printable, public Saveable {
public:
    PositiveArrayBase() {}
    PositiveArrayBase(std::initializer_list<uint32_t> values) : ivValues(values) {}
    explicit PositiveArrayBase(uint32_t count, uint32_t fill = 0) : ivValues(count, fill) {}
    ~PositiveArrayBase() override {}

    uint32_t size() const { return static_cast<uint32_t>(ivValues.size()); }
    bool empty() const { return ivValues.empty(); }
    uint32_t capacity() const { return static_cast<uint32_t>(ivValues.capacity()); }

    uint32_t operator[](uint32_t i) const {
        if (i >= ivValues.size()) failIndex(i);
        return ivValues[i];
    }
    const uint32_t *data() const { return ivValues.data(); }

    void set(uint32_t i, uint32_t value) {
        if (i >= ivValues.size()) failIndex(i);
        ivValues[i] = value;
        valuesChanged();
    }
    void append(uint32_t value) {
        ivValues.push_back(value);
        valuesChanged();
    }
    void resize(uint32_t count, uint32_t fill = 0) {
        ivValues.resize(count, fill);
        valuesChanged();
    }
    void clear() {
        ivValues.clear();
        valuesChanged();
    }

    bool sameValues(const PositiveArrayBase &other) const { return ivValues == other.ivValues; }

    // "[ 2, 3 ]", and "[ ]" when empty.
    void print(std::ostream &out) const override {
        out << "[ ";
        for (size_t i = 0; i < ivValues.size(); ++i) {
            if (i > 0) out << ", ";
            out << ivValues[i];
        }
        if (!ivValues.empty()) out << " ";
        out << "]";
    }

    void save(std::ostream &out) const override {
        writeInt32(out, static_cast<int32_t>(ivValues.size()));
        for (uint32_t v : ivValues) writeInt32(out, static_cast<int32_t>(v));
    }

protected:
    virtual void valuesChanged() {}

    [[noreturn]] void failIndex(uint32_t i) const {
        MAT_FAIL("Index " << i << " out of range 0.." << static_cast<int64_t>(ivValues.size()) - 1);
    }

    std::vector<uint32_t> ivValues;
};
