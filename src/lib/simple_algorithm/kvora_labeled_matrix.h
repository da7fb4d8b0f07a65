// A row-wise matrix of doubles with one label per row, indexed from 1: the
// own samples and targets of the kernel data object and its dense kernel.
// Rows are separate growing arrays, so that a row can be appended or grown
// without moving the others.
#pragma once

#include <cstdint>
#include <ostream>

#include "util/kvora_env.h"
#include "util/kvora_object.h"
#include "util/kvora_xray.h"

class KVORALabeledMatrix : public KVORAObject {
    KVORA_OBJECT_DECL(KVORALabeledMatrix)
public:
    KVORALabeledMatrix();

    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void transferFromPrimitive(KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;

    // rows x columns, every label 0.0 and every element `fill`.
    void setSize(int32_t rows, int32_t columns, double fill, KVORA_ENV env);
    // Grows only: counts never shrink, rows keep their content and grow by
    // the arrays' growth rule.
    void resizeKeeping(int32_t rows, int32_t columns, KVORA_ENV env);
    // Sets both counts and sizes every row to `columns`.
    void setShape(int32_t rows, int32_t columns, KVORA_ENV env);
    // Appends a copy of `vector` as a new row (label 0.0); the first row sets
    // the column count.
    void addRow(const KVORAXaRay<double, 1> &vector, KVORA_ENV env);
    // Copies row `index` out.
    void getRow(int32_t index, KVORAXaRay<double, 1> &vector, KVORA_ENV env) const;
    // "% Matrix RxC:", optionally "% first column is label", then the rows.
    void print(std::ostream &stream, int32_t withLabels, KVORA_ENV env) const;

    int32_t getRowNum() const { return ivRowNum; }
    int32_t getColumnNum() const { return ivColumnNum; }
    // Element access without checks, for the per-pair paths.
    double &at(int32_t row, int32_t column) { return ivRows[row][column]; }
    double at(int32_t row, int32_t column) const { return ivRows[row][column]; }
    const KVORAXaRay<double, 1> &row(int32_t index) const { return ivRows[index]; }
    double &label(int32_t index) { return ivLabels[index]; }

    KVORAXaRay<KVORAXaRay<double, 1>, 1> ivRows;  // the matrix
    KVORAXaRay<double, 1> ivLabels;               // one label per row
    int32_t ivRowNum;
    int32_t ivColumnNum;

private:
    // Gives back the rows' storage from `from` on and cuts the row array there.
    void dropRows(int32_t from, KVORA_ENV env);
};
