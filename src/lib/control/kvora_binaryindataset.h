// The loader's binary dataset: a ".info" text file naming the columns, and
// rows of little-endian doubles in one file or in numbered pieces. Rows are
// shared among workers by arithmetic on the file size alone; the scan type
// of a pass decides which rows a worker sees. Each row is copied from the
// page reader's window into a fixed buffer and written into fields that were
// looked up once per open, so delivering a row allocates nothing, looks up
// nothing by name and makes no virtual call for the common column kinds.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "control/kvora_inputdataset.h"
#include "control/kvora_pagereader.h"
#include "kernel/kvora_catfield.h"
#include "kernel/kvora_datapoint.h"
#include "kernel/kvora_field.h"
#include "kernel/kvora_numfield.h"
#include "kvo/kv2ustra.h"

class KVORABinaryInputDataset final : public KVORAInputDataset {
    KVORA_OBJECT_DECL(KVORABinaryInputDataset)
public:
    // Column types and purposes of the ".info" file.
    enum { ColumnNumeric = 1, ColumnCategorical = 2 };
    enum { PurposeExplanatory = 1, PurposeTarget = 2, PurposeLineNumber = 3 };
    static constexpr double cvMissingValue = -99999.0;
    static constexpr int32_t cvSparseRecordDoubles = 4;

    KVORABinaryInputDataset();

    void releasePrimitive(KVORA_ENV env) override;

    int32_t open(const std::string &fileName, KVORAOwnPtr<KVORADataPoint> &dataPoint, int32_t workerRank,
                 int32_t workerCount, KVORA_ENV env) override;
    int32_t rewind(KVORA_ENV env) override;
    int64_t getNextRecord(KVORADataPoint &dataPoint, KVORA_ENV env) override;
    void setMultiFile(int32_t flag) override { ivMultiFile = flag; }

    void beginScan(int32_t scanType);
    void beginSampledScan(int32_t scanType, double sampleRate);
    // The caller owns the page reader and keeps it from one dataset to the next.
    void setPageReader(KVORAPageReader *pageReader) { ivPageReader = pageReader; }
    // The model usage of column `index` (from 1): 1 target, 2 explanatory, 7 line number.
    int32_t getFieldUsage(int32_t index) const;
    // Forgets the fields found at open; the next row looks them up again.
    void resetFieldCache() { ivCachedDataPoint = nullptr; }

    // A row without its delivery, for a caller that takes the values straight
    // from the row: the next row of the pass by the scan type (not the sparse
    // type 8), whose values rowValues() holds until the next read; its index,
    // or -1 at the end. getNextRecord is this and deliverRow.
    int64_t nextRow() {
#if !(defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__)
        // Most rows of a pass shared by line continue a line already found to
        // be this worker's, and lie in the window: they are taken where they
        // lie. The same line value has the same owner.
        if (ivScanType == 5 && ivCurrentRow <= ivLastRow) {
            const char *bytes = ivPageReader->recordInWindow(ivCurrentRow, ivColumnCount);
            if (bytes != nullptr) {
                const double *row = reinterpret_cast<const double *>(bytes);
                if (row[ivLineNumberIndex] == ivOwnedLineValue) {
                    KVORAPageReader::passRecord(ivCurrentRow);
                    ivRow = row;
                    return ivCurrentRow++;
                }
            }
        }
#endif
        return readNextRow();
    }
    const double *rowValues() const { return ivRow; }
    // Up to `capacity` rows (at least 1) of those that nextRow would give one
    // by one, as long as they lie in the reader's window: their addresses,
    // valid until the next read, go to `rows`, and the last is the row in
    // hand. The count, 0 at the end. A row whose number is printed as it is
    // passed begins a call, never continues one, so that the print comes
    // after the work on the rows before it.
    int32_t nextRows(const double **rows, int32_t capacity);
    // A later row of the pass, `ahead` rows after the row in hand, where it
    // lies in the window; null when it does not (or on a big-endian host).
    // Only for a look ahead: the scan type may not deliver it.
    const double *rowAhead(int64_t ahead) const {
#if !(defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__)
        const int64_t row = ivCurrentRow - 1 + ahead;
        if (row > ivLastRow) return nullptr;
        return reinterpret_cast<const double *>(ivPageReader->recordInWindow(row, ivColumnCount));
#else
        return nullptr;
#endif
    }
    // Writes the row in hand into the data point's fields.
    void deliverRow(KVORADataPoint &dataPoint) {
        cacheFieldsOf(dataPoint);
        const double *record = ivRow;
        if (ivAllNumeric != 0) {
            // The usual dataset: numeric columns into numeric fields, one
            // plain loop with the setters inlined.
            KVORANumField *const *fields = ivNumericFields.data();
            for (int32_t c = 0; c < ivColumnCount; ++c) {
                const double value = record[c];
                if (value == cvMissingValue)
                    fields[c]->setMissing(1);
                else
                    fields[c]->setRealValue(value);
            }
            return;
        }
        for (int32_t c = 0; c < ivColumnCount; ++c) setColumnValue(c, record[c]);
    }
    // The fields of the data point that the columns write, in column order,
    // when every column is numeric and writes a numeric field; else null.
    KVORANumField *const *numericColumnFields(KVORADataPoint &dataPoint) {
        cacheFieldsOf(dataPoint);
        return ivAllNumeric != 0 ? ivNumericFields.data() : nullptr;
    }

    // A count of records to skip, geometric in the rate; -1 for a rate of 10 or more.
    static int32_t skipCount(double sampleRate);

    int32_t getColumnCount() const { return ivColumnCount; }
    const KV2AscString &getColumnName(int32_t column) const { return ivColumnNames[column]; }
    int32_t getColumnType(int32_t column) const { return ivColumnTypes[column]; }
    int32_t getColumnPurpose(int32_t column) const { return ivColumnPurposes[column]; }
    int32_t getLineNumberIndex() const { return ivLineNumberIndex; }
    int32_t getTargetIndex() const { return ivTargetIndex; }
    int64_t getTotalSize() const { return ivTotalSize; }
    const std::vector<int64_t> &getPieceSizes() const { return ivPieceSizes; }
    int32_t getScanType() const { return ivScanType; }
    int64_t getFirstRow() const { return ivFirstRow; }
    int64_t getLastRow() const { return ivLastRow; }
    int64_t getCurrentRow() const { return ivCurrentRow; }
    int64_t getExcludedFirst() const { return ivExcludedFirst; }
    int64_t getExcludedLast() const { return ivExcludedLast; }
    int32_t getSparseRowCount() const { return ivSparseRowCount; }
    double getSampleRate() const { return ivSampleRate; }

    // The share of a worker as first and last row of its block of q = N / W
    // rows, the last worker taking the remainder too. 64-bit throughout.
    static void workerBlock(int64_t rowCount, int32_t workerRank, int32_t workerCount, int64_t &first,
                            int64_t &last);
    // Overrides the measured size, so that the row arithmetic of very large
    // datasets can be checked without such a file.
    void setTotalSizeForTesting(int64_t totalSize) { ivTotalSize = totalSize; }

private:
    // How a column's value reaches its field: through the field's own class
    // without a virtual call, or through the base for a column whose field is
    // of the other kind (two columns of one name).
    enum { WriteNumeric = 0, WriteCategorical = 1, WriteNumericGeneric = 2, WriteCategoricalGeneric = 3 };

    void measureFiles(KVORA_ENV env);
    void readInfoFile(KVORA_ENV env);
    void takeColumnsFromDataPoint(const KVORADataPoint &dataPoint);
    void makeFields(KVORADataPoint &dataPoint, KVORA_ENV env);
    void buildFieldCache(KVORADataPoint &dataPoint);
    // The fields are looked up again only for another data point or one
    // whose fields changed.
    void cacheFieldsOf(KVORADataPoint &dataPoint) {
        if (&dataPoint != ivCachedDataPoint || dataPoint.getFieldCount() != ivCachedFieldCount)
            buildFieldCache(dataPoint);
    }
    void attachPageReader();

    int64_t readNextRow();
    bool readRow(int64_t row) {
        ivRow = ivRecord.data();
        return ivPageReader->readRecord(row, ivColumnCount, ivRecord.data());
    }
    bool readSparseRecord(int64_t record) {
        return ivPageReader->readRecord(record, cvSparseRecordDoubles, ivRecord.data());
    }
    int64_t lineNumberOfRow() const;
    // Passes over the rows that follow a row of a line this worker does not
    // own, while they are of that line and in the reader's window, looking
    // at their line number only.
    void skipRestOfLine();
    // Whether the rows of a line number go to this worker. The rows of one
    // line come together, so the answer for the last line is kept.
    bool ownsLine(int64_t lineNumber) {
        if (ivOwnedLineKnown == 0 || lineNumber != ivOwnedLine) {
            ivOwnedLine = lineNumber;
            // Alone, a worker owns every line: no division for each.
            ivOwnedLineMine = ivWorkerCount == 1 || lineNumber % ivWorkerCount == ivWorkerRank ? 1 : 0;
            ivOwnedLineKnown = 1;
        }
        return ivOwnedLineMine != 0;
    }
    void setColumnValue(int32_t column, double value) {
        KVORAField *field = ivColumnFields[column];
        if (value == cvMissingValue) {
            field->setMissing(1);
            return;
        }
        switch (ivColumnWrite[column]) {
        case WriteNumeric:
            static_cast<KVORANumField *>(field)->setRealValue(value);
            return;
        case WriteCategorical: {
            char text[64];
            const int32_t n = formatCategory(value, text);
            static_cast<KVORACatField *>(field)->setTextValue(text, n);
            return;
        }
        case WriteNumericGeneric:
            field->setRealValue(value);
            return;
        default: {
            char text[64];
            const int32_t n = formatCategory(value, text);
            field->setTextValue(text, n);
            return;
        }
        }
    }
    static int32_t formatCategory(double value, char *text);
    int64_t nextSparseRow(KVORADataPoint &dataPoint, KVORA_ENV env);

    std::string ivFileName;
    int32_t ivColumnCount = 0;
    std::vector<KV2AscString> ivColumnNames;
    std::vector<int32_t> ivColumnTypes;
    std::vector<int32_t> ivColumnPurposes;
    std::vector<int64_t> ivPieceSizes;
    int32_t ivWorkerRank = 0;
    int32_t ivWorkerCount = 1;
    int64_t ivCurrentRow = 0;
    int64_t ivFirstRow = 0;
    int64_t ivLastRow = -1;
    int64_t ivTotalSize = 0;
    int32_t ivLineNumberIndex = -1;
    KVORAPageReader *ivPageReader = nullptr;
    double ivSampleRate = 1.0;
    int32_t ivScanType = 0;
    int64_t ivExcludedFirst = 0;
    int64_t ivExcludedLast = -1;
    int64_t ivPrevLineNumber = 0;
    int32_t ivSparseRowCount = 0;
    int32_t ivMultiFile = 0;
    int32_t ivSparseStarted = 0;
    int32_t ivEndOfShare = 0;
    int32_t ivTargetIndex = -1;
    int64_t ivOwnedLine = 0;
    int32_t ivOwnedLineMine = 0;
    int32_t ivOwnedLineKnown = 0;

    // Per open: the record buffer and each column's field.
    std::vector<double> ivRecord;
    // The row in hand: the record buffer, or the row where it lies in the
    // page reader's window; valid until the next read.
    const double *ivRow = nullptr;
    // The line value of the last row found to be of a line of this worker's
    // (a pass shared by line); NaN when none, which no row value equals.
    double ivOwnedLineValue = __builtin_nan("");
    std::vector<KVORAField *> ivColumnFields;
    std::vector<int32_t> ivColumnFieldIndex;  // the field's position from 1
    std::vector<int32_t> ivColumnWrite;
    // Every column numeric into a numeric field: the fields, cast once.
    int32_t ivAllNumeric = 0;
    std::vector<KVORANumField *> ivNumericFields;
    KVORADataPoint *ivCachedDataPoint = nullptr;
    int32_t ivCachedFieldCount = -1;
    // Used only when no page reader was given.
    std::unique_ptr<KVORAPageReader> ivOwnPageReader;
};
