// Folds for the per-dimension operations of arrays: a fold takes values one
// by one, the first value starting it, and is asked for its result at the end.
// The combining step is a plain function object, so that folding a line of an
// array is a loop without virtual calls.
#pragma once

#include "mat/kvora_mat_failure.h"

struct MAT_Plus {
    template <class T>
    T operator()(const T &a, const T &b) const { return a + b; }
};

struct MAT_Times {
    template <class T>
    T operator()(const T &a, const T &b) const { return a * b; }
};

struct MAT_Max {
    template <class T>
    T operator()(const T &a, const T &b) const { return b > a ? b : a; }
};

struct MAT_Min {
    template <class T>
    T operator()(const T &a, const T &b) const { return b < a ? b : a; }
};

template <class T, class Combine>
class MAT_Fold {
public:
    MAT_Fold() : ivValue(), ivStarted(false) {}

    void reset() { ivStarted = false; }

    void add(const T &value) {
        if (ivStarted) {
            ivValue = ivCombine(ivValue, value);
        } else {
            ivValue = value;
            ivStarted = true;
        }
    }

    bool started() const { return ivStarted; }

    const T &result() const {
        if (!ivStarted) MAT_FAIL("no start value");
        return ivValue;
    }

private:
    T ivValue;
    bool ivStarted;
    Combine ivCombine;
};
