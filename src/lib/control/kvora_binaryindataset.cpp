// Opening the binary dataset (sizes, ".info", fields), the split of rows
// among workers for each scan type, and the row and sparse-row readers.
#include "control/kvora_binaryindataset.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "nelo-common/kvora_reports.h"
#include "util/kvora_debug.h"

KVORA_OBJECT_IMPL(KVORABinaryInputDataset, KVORAInputDataset, 0)

namespace {

// A stored real truncated to an integer; what has no integer value (NaN,
// beyond the range) is clamped instead of left undefined.
int64_t truncToInt64(double value) {
    if (!(value == value)) return 0;
    if (value >= 9223372036854775807.0) return INT64_MAX;
    if (value <= -9223372036854775808.0) return INT64_MIN;
    return static_cast<int64_t>(value);
}

// Size of a file, or -1 if it cannot be opened.
int64_t fileSize(const std::string &path) {
    const int fd = ::open(path.c_str(), O_RDONLY);
    if (fd < 0) return -1;
    struct stat st;
    int64_t size = 0;
    if (::fstat(fd, &st) == 0) size = static_cast<int64_t>(st.st_size);
    ::close(fd);
    return size;
}

// The millisecond clock of the sampling scans.
uint32_t millisecondClock() {
    using namespace std::chrono;
    return static_cast<uint32_t>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

// Ends the run for a parameter that would make a pass run for ever.
[[noreturn]] void refuseSampleRate(const char *text) {
    KVORAEnv *cell = nullptr;
    KVORA_ENV env = cell;
    reportError(2202, text, env, 1);
    KVORA_NEVER_HERE();
}

}  // namespace

KVORABinaryInputDataset::KVORABinaryInputDataset() {}

void KVORABinaryInputDataset::releasePrimitive(KVORA_ENV env) {
    ivColumnNames.clear();
    ivColumnTypes.clear();
    ivColumnPurposes.clear();
    ivPieceSizes.clear();
    ivRecord.clear();
    ivRow = nullptr;
    ivColumnFields.clear();
    ivColumnFieldIndex.clear();
    ivColumnWrite.clear();
    ivNumericFields.clear();
    ivAllNumeric = 0;
    ivCachedDataPoint = nullptr;
    ivColumnCount = 0;
    ivOwnPageReader.reset();
    ivPageReader = nullptr;
    KVORAInputDataset::releasePrimitive(env);
}

int32_t KVORABinaryInputDataset::formatCategory(double value, char *text) {
    const int n = std::snprintf(text, 64, "%.15lg", value);
    return n < 1 ? 0 : (n > 63 ? 63 : n);
}

// ---- opening ----

int32_t KVORABinaryInputDataset::open(const std::string &fileName, KVORAOwnPtr<KVORADataPoint> &dataPoint,
                                      int32_t workerRank, int32_t workerCount, KVORA_ENV env) {
    ivSampleRate = 1.0;
    ivWorkerRank = workerRank;
    ivWorkerCount = workerCount;
    ivScanType = 0;
    ivSparseStarted = 0;
    ivEndOfShare = 0;
    ivSparseRowCount = 0;
    ivOwnedLineKnown = 0;
    ivOwnedLineValue = __builtin_nan("");
    ivFileName = fileName;
    KVORA_ASSERT_CAUSE(workerCount >= 1 && workerRank >= 0 && workerRank < workerCount,
                       "Worker rank and count of the dataset out of range");
    if (dataPoint.get() == nullptr) KVORA_FATAL("datapointPtr cannot be NULL \n");

    measureFiles(env);
    ivColumnNames.clear();
    ivColumnTypes.clear();
    ivColumnPurposes.clear();
    ivLineNumberIndex = -1;
    ivTargetIndex = -1;
    if (workerRank == 0)
        readInfoFile(env);
    else
        takeColumnsFromDataPoint(*dataPoint);
    ivColumnCount = static_cast<int32_t>(ivColumnNames.size());
    if (workerRank == 0) makeFields(*dataPoint, env);

    ivRecord.assign(static_cast<size_t>(ivColumnCount > cvSparseRecordDoubles ? ivColumnCount
                                                                             : cvSparseRecordDoubles),
                    0.0);
    ivRow = ivRecord.data();
    ivFirstRow = 0;
    ivLastRow = -1;
    ivCurrentRow = 0;
    attachPageReader();
    buildFieldCache(*dataPoint);
    return 1;
}

void KVORABinaryInputDataset::attachPageReader() {
    if (ivPageReader == nullptr) {
        if (!ivOwnPageReader) ivOwnPageReader.reset(new KVORAPageReader());
        ivPageReader = ivOwnPageReader.get();
    }
    ivPageReader->setSource(ivFileName, ivMultiFile, ivPieceSizes, ivTotalSize);
}

void KVORABinaryInputDataset::measureFiles(KVORA_ENV env) {
    ivPieceSizes.clear();
    ivTotalSize = 0;
    if (ivMultiFile != 0) {
        for (int32_t piece = 0;; ++piece) {
            const int64_t size = fileSize(ivFileName + "." + std::to_string(piece));
            if (size < 0) break;
            ivPieceSizes.push_back(size);
            ivTotalSize += size;
        }
        if (ivTotalSize != 0) return;
    } else {
        const int64_t size = fileSize(ivFileName);
        if (size >= 0) {
            ivTotalSize = size;
            return;
        }
    }
    reportError(2305, ivFileName, "Failed to open input data file !!", env, 0);
    KVORA_FATAL("Failed to open input data file !!");
}

void KVORABinaryInputDataset::readInfoFile(KVORA_ENV env) {
    const std::string infoName = ivFileName + ".info";
    std::ifstream in(infoName.c_str());
    if (!in) {
        reportError(2306, "Failed to open input data file info !!", infoName, env, 0);
        KVORA_FATAL("Failed to open input info file !!");
    }
    char line[1000];
    for (;;) {
        in.getline(line, sizeof line);
        // A last line without its line feed is not taken.
        if (in.eof()) break;
        // A longer line would stop the stream without an end of file.
        if (in.fail()) KVORA_FATAL("Line longer than 999 characters in input info file \n");
        std::string words[3];
        const char *p = line;
        for (int32_t w = 0; w < 3; ++w) {
            while (*p == ' ' || *p == '\t' || *p == '\r') ++p;
            const char *start = p;
            while (*p != '\0' && *p != ' ' && *p != '\t' && *p != '\r') ++p;
            words[w].assign(start, static_cast<size_t>(p - start));
        }
        int32_t type = 0;
        if (words[1] == "Categorical")
            type = ColumnCategorical;
        else if (words[1] == "Numeric")
            type = ColumnNumeric;
        else
            KVORA_FATAL("Unknown attribute type \n");
        int32_t purpose = 0;
        if (words[2] == "Explanatory")
            purpose = PurposeExplanatory;
        else if (words[2] == "Target")
            purpose = PurposeTarget;
        else if (words[2] == "LineNumber")
            purpose = PurposeLineNumber;
        else
            KVORA_FATAL("Unknown attribute purpose \n");
        const int32_t column = static_cast<int32_t>(ivColumnNames.size());
        if (purpose == PurposeTarget) ivTargetIndex = column;
        if (purpose == PurposeLineNumber) ivLineNumberIndex = column;
        ivColumnNames.emplace_back(words[0].c_str());
        ivColumnTypes.push_back(type);
        ivColumnPurposes.push_back(purpose);
    }
}

void KVORABinaryInputDataset::takeColumnsFromDataPoint(const KVORADataPoint &dataPoint) {
    const int32_t n = dataPoint.getFieldCount();
    for (int32_t i = 1; i <= n; ++i) {
        const KVORAField *field = dataPoint.getFieldAt(i);
        KVORA_ASSERT(field != 0);
        ivColumnNames.push_back(field->getName());
        ivColumnTypes.push_back(field->ivFieldType == KVORAField::NumericType ? ColumnNumeric : ColumnCategorical);
        // The field's purpose as it stands: only the two indexes below use it.
        ivColumnPurposes.push_back(field->ivPurpose);
        if (field->ivPurpose == KVORAField::PurposeLineNumber) ivLineNumberIndex = i - 1;
        if (field->ivPurpose == KVORAField::PurposeTarget) ivTargetIndex = i - 1;
    }
}

void KVORABinaryInputDataset::makeFields(KVORADataPoint &dataPoint, KVORA_ENV env) {
    for (int32_t c = 0; c < ivColumnCount; ++c) {
        int32_t purpose = KVORAField::PurposeExplanatory;
        if (ivColumnPurposes[c] == PurposeTarget) purpose = KVORAField::PurposeTarget;
        if (ivColumnPurposes[c] == PurposeLineNumber) purpose = KVORAField::PurposeLineNumber;
        if (ivColumnTypes[c] == ColumnNumeric) {
            KVORAOwnPtr<KVORANumField> field;
            field.create(env);
            field->setName(ivColumnNames[c]);
            field->setPurpose(purpose);
            if (ivColumnPurposes[c] == PurposeLineNumber) {
                // The line number identifies the row; it is no value to learn.
                field->setComputed(1);
                field->ivValueProducer = nullptr;
            }
            dataPoint.addField(field, env);
        } else if (ivColumnTypes[c] == ColumnCategorical) {
            KVORAOwnPtr<KVORACatField> field;
            field.create(env);
            field->setName(ivColumnNames[c]);
            field->setPurpose(purpose);
            dataPoint.addField(field, env);
        } else {
            KVORA_FATAL("Unknown Column Type \n");
        }
    }
}

void KVORABinaryInputDataset::buildFieldCache(KVORADataPoint &dataPoint) {
    ivColumnFields.assign(static_cast<size_t>(ivColumnCount), nullptr);
    ivColumnFieldIndex.assign(static_cast<size_t>(ivColumnCount), 0);
    ivColumnWrite.assign(static_cast<size_t>(ivColumnCount), WriteNumericGeneric);
    for (int32_t c = 0; c < ivColumnCount; ++c) {
        const KVORAHashString name(ivColumnNames[c]);
        const int32_t index = dataPoint.getFieldIndex(name);
        KVORAField *field = index > 0 ? dataPoint.getFieldAt(index) : nullptr;
        KVORA_ASSERT_CAUSE(field != 0, "A column of the dataset has no field of its name in the data point");
        ivColumnFields[c] = field;
        ivColumnFieldIndex[c] = index;
        const bool numericField = field->isKindOf(KVORANumField::classType()) != 0;
        const bool catField = field->isKindOf(KVORACatField::classType()) != 0;
        if (ivColumnTypes[c] == ColumnNumeric)
            ivColumnWrite[c] = numericField ? WriteNumeric : WriteNumericGeneric;
        else
            ivColumnWrite[c] = catField ? WriteCategorical : WriteCategoricalGeneric;
    }
    ivAllNumeric = 1;
    ivNumericFields.assign(static_cast<size_t>(ivColumnCount), nullptr);
    for (int32_t c = 0; c < ivColumnCount; ++c) {
        if (ivColumnWrite[c] == WriteNumeric)
            ivNumericFields[c] = static_cast<KVORANumField *>(ivColumnFields[c]);
        else
            ivAllNumeric = 0;
    }
    ivCachedDataPoint = &dataPoint;
    ivCachedFieldCount = dataPoint.getFieldCount();
}

int32_t KVORABinaryInputDataset::getFieldUsage(int32_t index) const {
    KVORA_ASSERT(index >= 1 && index <= ivColumnCount);
    switch (ivColumnPurposes[index - 1]) {
    case PurposeTarget:
        return 1;
    case PurposeExplanatory:
        return 2;
    case PurposeLineNumber:
        return 7;
    default:
        KVORA_NOT_IMPLEMENTED();
    }
    return 0;
}

// ---- passes ----

void KVORABinaryInputDataset::workerBlock(int64_t rowCount, int32_t workerRank, int32_t workerCount,
                                          int64_t &first, int64_t &last) {
    const int64_t q = rowCount / workerCount;
    const int64_t m = rowCount % workerCount;
    first = static_cast<int64_t>(workerRank) * q;
    last = first + q - 1;
    if (workerRank == workerCount - 1) last += m;
}

void KVORABinaryInputDataset::beginSampledScan(int32_t scanType, double sampleRate) {
    ivSampleRate = sampleRate;
    beginScan(scanType);
}

void KVORABinaryInputDataset::beginScan(int32_t scanType) {
    ivScanType = scanType;
    if (scanType > 8) KVORA_FATAL("ivScanType should be 0, 1, 2 or 3");
    if (ivPageReader == nullptr) attachPageReader();
    ivPageReader->setSource(ivFileName, ivMultiFile, ivPieceSizes, ivTotalSize);
    const int64_t recordBytes =
        scanType == 8 ? cvSparseRecordDoubles * 8 : static_cast<int64_t>(ivColumnCount) * 8;
    const int64_t rowCount = recordBytes > 0 ? ivTotalSize / recordBytes : 0;

    // Windows are opened by this process alone, or by all alike.
    if (scanType == 0 || scanType == 4 || scanType == 5 || scanType == 7)
        ivPageReader->setCommFlag(KVORAPageReader::CommSelf);
    else if (scanType == 1 || scanType == 2 || scanType == 6)
        ivPageReader->setCommFlag(KVORAPageReader::CommWorld);

    if ((scanType == 5 || scanType == 7) && ivLineNumberIndex < 0)
        KVORA_FATAL("Sparse mode requires a line number column in the data. No such column detected.");
    // A sampled pass would never end: a skip of -1 delivers one row for ever
    // (type 4), and a negative rate never stops drawing (types 4 and 7).
    if (scanType == 4 && ivSampleRate >= 10.0)
        refuseSampleRate("A sampled scan needs a sampling rate below 10.0");
    if ((scanType == 4 || scanType == 7) && ivSampleRate < 0.0)
        refuseSampleRate("A sampled scan needs a sampling rate that is not negative");

    switch (scanType) {
    case 0:
    case 8:
        workerBlock(rowCount, ivWorkerRank, ivWorkerCount, ivFirstRow, ivLastRow);
        if (scanType == 8) ivSparseRowCount = 0;
        break;
    case 1:
        ivFirstRow = 0;
        ivLastRow = rowCount - 1;
        workerBlock(rowCount, ivWorkerRank, ivWorkerCount, ivExcludedFirst, ivExcludedLast);
        break;
    case 2:
    case 6:
        ivFirstRow = 0;
        ivLastRow = rowCount - 1;
        ivPageReader->reset();
        break;
    case 3:
        return;
    case 7:
        ivPrevLineNumber = 0;
        ivFirstRow = 0;
        ivLastRow = rowCount - 1;
        break;
    case 4:
    case 5:
        ivFirstRow = 0;
        ivLastRow = rowCount - 1;
        break;
    default:
        // Below 0: the pass fails at its first row with the unknown mode.
        break;
    }
    ivCurrentRow = ivFirstRow;
}

int32_t KVORABinaryInputDataset::rewind(KVORA_ENV env) {
    ivCurrentRow = ivFirstRow;
    if (ivScanType == 8) ivEndOfShare = 0;
    return 1;
}

int32_t KVORABinaryInputDataset::skipCount(double sampleRate) {
    std::srand(millisecondClock() % 1000);
    if (sampleRate >= 10.0) return -1;
    int32_t count = 0;
    while ((std::rand() % 1000) / 1000.0 > sampleRate) ++count;
    return count;
}

int64_t KVORABinaryInputDataset::lineNumberOfRow() const { return truncToInt64(ivRecord[ivLineNumberIndex]); }

void KVORABinaryInputDataset::skipRestOfLine() {
    const double lineValue = ivRecord[ivLineNumberIndex];
    const int64_t column = static_cast<int64_t>(ivLineNumberIndex) * 8;
    for (;;) {
        const char *bytes = ivPageReader->recordInWindow(ivCurrentRow, ivColumnCount);
        if (bytes == nullptr) return;
        const double value = KVORAPageReader::realAt(bytes + column);
        if (value != lineValue && truncToInt64(value) != ivOwnedLine) return;
        KVORAPageReader::passRecord(ivCurrentRow);
        ++ivCurrentRow;
    }
}

// ---- rows ----

int64_t KVORABinaryInputDataset::getNextRecord(KVORADataPoint &dataPoint, KVORA_ENV env) {
    if (ivScanType == 8) {
        if (ivEndOfShare != 0) return -1;
        return nextSparseRow(dataPoint, env);
    }
    const int64_t index = nextRow();
    if (index >= 0) deliverRow(dataPoint);
    return index;
}

int64_t KVORABinaryInputDataset::readNextRow() {
    if (ivScanType == 4) ivCurrentRow += skipCount(ivSampleRate);
    if (ivScanType == 3 || ivCurrentRow > ivLastRow) return -1;
    switch (ivScanType) {
    case 0:
    case 2:
    case 4:
    case 6:
        if (!readRow(ivCurrentRow)) return -1;
        ++ivCurrentRow;
        break;
    case 1:
        for (;;) {
            // The worker's own block is passed over without being read.
            if (ivCurrentRow >= ivExcludedFirst && ivCurrentRow <= ivExcludedLast) {
                ivCurrentRow = ivExcludedLast + 1;
                continue;
            }
            if (!readRow(ivCurrentRow)) return -1;
            ++ivCurrentRow;
            break;
        }
        break;
    case 5:
        for (;;) {
            if (!readRow(ivCurrentRow)) return -1;
            ++ivCurrentRow;
            if (ownsLine(lineNumberOfRow())) {
                ivOwnedLineValue = ivRecord[ivLineNumberIndex];
                break;
            }
            skipRestOfLine();
        }
        break;
    case 7: {
        if (!readRow(ivCurrentRow)) return -1;
        ++ivCurrentRow;
        int64_t lineNumber = lineNumberOfRow();
        if (lineNumber == ivPrevLineNumber) break;
        // A new group: skip whole groups, at least the one just begun.
        ivPrevLineNumber = lineNumber;
        int32_t k = skipCount(ivSampleRate);
        for (;;) {
            if (!readRow(ivCurrentRow)) return -1;
            ++ivCurrentRow;
            lineNumber = lineNumberOfRow();
            if (lineNumber == ivPrevLineNumber) continue;
            ivPrevLineNumber = lineNumber;
            if (--k <= 0) break;
        }
        break;
    }
    default:
        KVORA_FATAL("Unknown sampling mode.");
    }
    return ivCurrentRow - 1;
}

int32_t KVORABinaryInputDataset::nextRows(const double **rows, int32_t capacity) {
    if (capacity < 1 || nextRow() < 0) return 0;
    rows[0] = ivRow;
    int32_t count = 1;
#if !(defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__)
    // The scan types that take rows in file order (a line-shared pass
    // leaving out other workers' lines) go on through the window.
    const bool byLine = ivScanType == 5;
    if (!byLine && ivScanType != 0 && ivScanType != 2 && ivScanType != 6) return count;
    const char *bytes = ivPageReader->recordInWindow(ivCurrentRow, ivColumnCount);
    if (bytes == nullptr || ivCurrentRow % 5000000 == 0) return count;
    // Up to the window's last row, the pass's last, and the row before the
    // next one whose number is printed.
    const int64_t printed = (ivCurrentRow / 5000000 + 1) * 5000000;
    const int64_t last = std::min(std::min(ivLastRow, printed - 1), ivPageReader->lastRecordInWindow(ivColumnCount));
    const double *row = reinterpret_cast<const double *>(bytes);
    const int32_t columns = ivColumnCount;
    int64_t current = ivCurrentRow;
    if (!byLine) {
        const int64_t end = std::min(last + 1, current + (capacity - count));
        for (; current < end; ++current, row += columns) rows[count++] = row;
    } else {
        const int32_t line = ivLineNumberIndex;
        double owned = ivOwnedLineValue;
        while (current <= last && count < capacity) {
            // The rows of the line in hand are this worker's: taken up to
            // the window's end or a full batch, with one bound for both.
            const int64_t room = std::min(last + 1 - current, static_cast<int64_t>(capacity - count));
            const double *const end = row + room * columns;
            const int32_t before = count;
            while (row != end && row[line] == owned) {
                rows[count++] = row;
                row += columns;
            }
            current += count - before;
            if (row == end) continue;
            const double lineValue = row[line];
            if (ownsLine(truncToInt64(lineValue))) {
                // Taken here, not by the run above: a value unequal to
                // itself (NaN) would never start a run.
                owned = lineValue;
                rows[count++] = row;
                ++current;
                row += columns;
                continue;
            }
            // Another worker's line: the rows after it that hold the same
            // value are its too, and pass without a test each.
            do {
                ++current;
                row += columns;
            } while (current <= last && row[line] == lineValue);
        }
        ivOwnedLineValue = owned;
    }
    ivCurrentRow = current;
    ivRow = rows[count - 1];
#endif
    return count;
}

int64_t KVORABinaryInputDataset::nextSparseRow(KVORADataPoint &dataPoint, KVORA_ENV env) {
    cacheFieldsOf(dataPoint);
    const double *record = ivRecord.data();
    if (ivSparseStarted == 0) {
        // Skip the tail of a row that began in the previous worker's share.
        for (;;) {
            if (!readSparseRecord(ivCurrentRow)) return -1;
            ++ivCurrentRow;
            if (truncToInt64(record[2]) == 0) break;
        }
        ivSparseStarted = 1;
        // A header beyond the share belongs to the next worker.
        if (ivCurrentRow - 1 > ivLastRow) {
            ivEndOfShare = 1;
            return -1;
        }
    } else {
        if (!readSparseRecord(ivCurrentRow)) return -1;
        ++ivCurrentRow;
    }
    const int64_t identifier = truncToInt64(record[1]);
    const int64_t entryCount = truncToInt64(record[3]);
    KVORA_ASSERT_CAUSE(entryCount >= 0, "Negative entry count in a sparse row header");

    dataPoint.clearActiveFields();
    int64_t entries = 0;
    for (;;) {
        if (!readSparseRecord(ivCurrentRow)) return -1;
        ++ivCurrentRow;
        if (entries == entryCount) break;
        ++entries;
        const int64_t column = truncToInt64(record[2]);
        if (column < 0 || column >= ivColumnCount)
            kvoraAssertFailCause("column >= 0 && column < ivColumnCount",
                                 "Column index of a sparse record out of range", KVORA_PLACE);
        const int32_t c = static_cast<int32_t>(column);
        const double value = record[3];
        if (value != cvMissingValue) {
            setColumnValue(c, value);
            // The data point lists fields by position; with unique names that
            // is the column index.
            dataPoint.addActiveField(ivColumnFieldIndex[c] - 1, env);
        } else {
            ivColumnFields[c]->setMissing(1);
        }
    }
    if (ivTargetIndex >= 0) setColumnValue(ivTargetIndex, record[3]);
    if (ivCurrentRow > ivLastRow) ivEndOfShare = 1;
    if (ivLineNumberIndex >= 0) setColumnValue(ivLineNumberIndex, static_cast<double>(identifier));
    ++ivSparseRowCount;
    return identifier;
}
