// The labeled matrix: sizing, appending rows, and its text dump.
#include "simple_algorithm/kvora_labeled_matrix.h"

#include "util/kvora_debug.h"
#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORALabeledMatrix, KVORAObject, 4)
KVORA_MEMBER_KEYWORD(KVORALabeledMatrix, ivRows, 1)
KVORA_MEMBER_KEYWORD(KVORALabeledMatrix, ivLabels, 2)
KVORA_MEMBER_KEYWORD(KVORALabeledMatrix, ivRowNum, 3)
KVORA_MEMBER_KEYWORD(KVORALabeledMatrix, ivColumnNum, 4)

KVORALabeledMatrix::KVORALabeledMatrix() : ivRowNum(0), ivColumnNum(0) {}

void KVORALabeledMatrix::dropRows(int32_t from, KVORA_ENV env) {
    const int32_t n = ivRows.getSize();
    if (from > n) return;
    for (int32_t i = from; i <= n; ++i) ivRows[i].reset(env);
    ivRows.setSize(from - 1, env);
}

void KVORALabeledMatrix::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) {
    if (source == nullptr || source == this) return;
    KVORAObject::copyFromPrimitive(source, env);
    const KVORALabeledMatrix *other = static_cast<const KVORALabeledMatrix *>(source);
    const int32_t n = other->ivRows.getSize();
    dropRows(n + 1, env);
    ivRows.setSize(n, env);
    for (int32_t i = 1; i <= n; ++i) ivRows[i].copyFrom(other->ivRows[i], env);
    ivLabels.copyFrom(other->ivLabels, env);
    ivRowNum = other->ivRowNum;
    ivColumnNum = other->ivColumnNum;
}

void KVORALabeledMatrix::transferFromPrimitive(KVORAObject *source, KVORA_ENV env) {
    if (source == nullptr || source == this) return;
    KVORAObject::transferFromPrimitive(source, env);
    KVORALabeledMatrix *other = static_cast<KVORALabeledMatrix *>(source);
    dropRows(1, env);
    ivRows.transferFrom(other->ivRows, env);
    ivLabels.transferFrom(other->ivLabels, env);
    ivRowNum = other->ivRowNum;
    ivColumnNum = other->ivColumnNum;
    other->ivRowNum = 0;
    other->ivColumnNum = 0;
}

void KVORALabeledMatrix::readPrimitive(KVORAObjReader &reader, KVORA_ENV env) {
    KVORAObject::readPrimitive(reader, env);
    if (reader.keywordMatches(KVORA_KWD(ivRows), env)) {
        // Rows that the stream doesn't fill must give their storage back first.
        dropRows(1, env);
        kvoraRead(reader, ivRows, env);
        reader.clearKeyword();
    }
    kvoraRead(reader, KVORA_KWD(ivLabels), ivLabels, env);
    kvoraRead(reader, KVORA_KWD(ivRowNum), ivRowNum, env);
    kvoraRead(reader, KVORA_KWD(ivColumnNum), ivColumnNum, env);
}

void KVORALabeledMatrix::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const {
    KVORAObject::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivRows), ivRows, env);
    kvoraWrite(writer, KVORA_KWD(ivLabels), ivLabels, env);
    kvoraWrite(writer, KVORA_KWD(ivRowNum), ivRowNum, env);
    kvoraWrite(writer, KVORA_KWD(ivColumnNum), ivColumnNum, env);
}

void KVORALabeledMatrix::releasePrimitive(KVORA_ENV env) {
    dropRows(1, env);
    ivRows.reset(env);
    ivLabels.reset(env);
    ivRowNum = 0;
    ivColumnNum = 0;
    KVORAObject::releasePrimitive(env);
}

void KVORALabeledMatrix::setSize(int32_t rows, int32_t columns, double fill, KVORA_ENV env) {
    KVORA_ASSERT(rows >= 0 && columns >= 0);
    dropRows(rows + 1, env);
    ivRows.setSize(rows, env);
    ivLabels.setSize(rows, env);
    for (int32_t i = 1; i <= rows; ++i) {
        KVORAXaRay<double, 1> &r = ivRows[i];
        r.setSize(columns, env);
        for (int32_t j = 1; j <= columns; ++j) r[j] = fill;
        ivLabels[i] = 0.0;
    }
    ivRowNum = rows;
    ivColumnNum = columns;
}

void KVORALabeledMatrix::resizeKeeping(int32_t rows, int32_t columns, KVORA_ENV env) {
    if (rows < ivRowNum) rows = ivRowNum;
    if (columns < ivColumnNum) columns = ivColumnNum;
    if (rows > 0) {
        ivRows.autoExtend(rows, env);
        ivLabels.autoExtend(rows, env);
    }
    if (columns > 0)
        for (int32_t i = 1; i <= rows; ++i) ivRows[i].autoExtend(columns, env);
    ivRowNum = rows;
    ivColumnNum = columns;
}

void KVORALabeledMatrix::setShape(int32_t rows, int32_t columns, KVORA_ENV env) {
    KVORA_ASSERT(rows >= 0 && columns >= 0);
    dropRows(rows + 1, env);
    ivRows.setSize(rows, env);
    ivLabels.setSize(rows, env);
    for (int32_t i = 1; i <= rows; ++i) ivRows[i].setSize(columns, env);
    ivRowNum = rows;
    ivColumnNum = columns;
}

void KVORALabeledMatrix::addRow(const KVORAXaRay<double, 1> &vector, KVORA_ENV env) {
    const int32_t index = ivRowNum + 1;
    dropRows(index, env);  // cells past the count hold nothing, but may hold storage
    ivRows.autoExtend(index, env);
    ivLabels.autoExtend(index, env);
    ivRows[index].copyFrom(vector, env);
    ivLabels[index] = 0.0;
    if (ivRowNum == 0) ivColumnNum = vector.getSize();
    ivRowNum = index;
}

void KVORALabeledMatrix::getRow(int32_t index, KVORAXaRay<double, 1> &vector, KVORA_ENV env) const {
    KVORA_ASSERT(index >= 1 && index <= ivRowNum);
    vector.copyFrom(ivRows[index], env);
}

void KVORALabeledMatrix::print(std::ostream &stream, int32_t withLabels, KVORA_ENV) const {
    stream << "% Matrix " << ivRowNum << "x" << ivColumnNum << ":" << '\n';
    if (withLabels) stream << "% first column is label" << '\n';
    for (int32_t i = 1; i <= ivRowNum; ++i) {
        if (withLabels) stream << ivLabels[i] << " ";
        const KVORAXaRay<double, 1> &r = ivRows[i];
        for (int32_t j = 1; j <= r.getSize(); ++j) stream << r[j] << " ";
        stream << '\n';
    }
}
