// The kernel's record scan: own samples in the first pass, then every sample
// of the dataset against the own samples, one kernel column per sample. With
// the filter on, only the own samples that the other sample's row names are
// compared at all, so the work grows with the pairs kept in view and not with
// the square of the samples. The row buffers are the object's own and keep
// their storage, so that neither records nor pairs allocate once warm.
#include "simple_algorithm/kvora_kernel_data.h"

#include <iostream>
#include <iterator>
#include <sstream>

#include "nelo-common/kvora_reports.h"
#include "util/kvora_debug.h"

KVORAKernelData::KernelRow &KVORAKernelData::keptRow(uint64_t row)
{
    const int64_t count = ivSamplesOrder.getSize();
    if (ivKeptRowAt.empty() || ivKeptRowBase != ivFirstKernelCol) {
        ivKeptRowBase = ivFirstKernelCol;
        ivKeptRowAt.assign(static_cast<size_t>(count), nullptr);
    }
    const int64_t at = static_cast<int64_t>(row) - ivKeptRowBase - 1;
    if (at < 0 || at >= static_cast<int64_t>(ivKeptRowAt.size())) return ivSparseKernelMatrix[row];
    KernelRow *&kept = ivKeptRowAt[static_cast<size_t>(at)];
    if (kept == nullptr) kept = &ivSparseKernelMatrix[row];
    return *kept;
}

void KVORAKernelData::setSparseKernelValue(uint64_t row, uint64_t column, double value)
{
    KernelRow &kept = keptRow(row);
    // A scan's columns rise, so a new value mostly goes after the row's last.
    if (!kept.empty() && std::prev(kept.end())->first < column)
        kept.emplace_hint(kept.end(), column, value);
    else
        kept[column] = value;
}

double KVORAKernelData::getSparseKernelValue(uint64_t row, uint64_t column) const
{
    const auto found = ivSparseKernelMatrix.find(row);
    if (found == ivSparseKernelMatrix.end()) return 0.0;
    const auto entry = found->second.find(column);
    return entry == found->second.end() ? 0.0 : entry->second;
}

void KVORAKernelData::getSparseInputRow(uint64_t sampleNumber, KVORAXaRay<double, 1> &out, KVORA_ENV env) const
{
    // Read in place rather than copied: the result is the same, and a copy
    // of the column map would allocate per pair.
    const int32_t size = static_cast<int32_t>(ivColumnNum);
    out.setSize(size, env);
    for (int32_t k = 1; k <= size; ++k) out[k] = 0.0;
    const auto found = ivSparseInputMatrix.find(sampleNumber);
    if (found == ivSparseInputMatrix.end()) return;
    for (const auto &entry : found->second)
        if (entry.first > 0.0) out[static_cast<int32_t>(entry.first)] = entry.second;
}

void KVORAKernelData::forgetOwnRows()
{
    ivFlatRows = -1;
    ivLastOwnRow = nullptr;
}

void KVORAKernelData::makeFlatRows()
{
    const int32_t count = ivSamplesOrder.getSize();
    ivFlatStart.assign(1, 0);
    ivFlatPlace.clear();
    ivFlatValue.clear();
    for (int32_t i = 1; i <= count; ++i) {
        const auto found = ivSparseInputMatrix.find(ivSamplesOrder[i]);
        if (found != ivSparseInputMatrix.end()) {
            for (const auto &entry : found->second) {
                if (!(entry.first > 0.0)) continue;
                ivFlatPlace.push_back(static_cast<int32_t>(entry.first));
                ivFlatValue.push_back(entry.second);
            }
        }
        ivFlatStart.push_back(ivFlatPlace.size());
    }
    ivFlatRows = count;
}

void KVORAKernelData::mineRow(int32_t position, KVORAXaRay<double, 1> &out, int32_t &dirty, KVORA_ENV env)
{
    if (ivIsSparseData == 0) {
        ivMyInputMatrixPtr->getRow(position, out, env);
        dirty = out.getSize();
        return;
    }
    if (ivFlatRows != ivSamplesOrder.getSize()) makeFlatRows();
    const int32_t size = static_cast<int32_t>(ivColumnNum);
    if (out.getSize() != size) {
        out.setSize(size, env);
        dirty = size;
    }
    for (int32_t k = 1; k <= dirty && k <= size; ++k) out[k] = 0.0;
    dirty = 0;
    const size_t end = ivFlatStart[static_cast<size_t>(position)];
    for (size_t e = ivFlatStart[static_cast<size_t>(position) - 1]; e < end; ++e) {
        const int32_t place = ivFlatPlace[e];
        out[place] = ivFlatValue[e];
        if (place > dirty) dirty = place;
    }
}

void KVORAKernelData::appendOwnSample(uint64_t sampleNumber, KVORA_ENV env)
{
    const int32_t count = ivSamplesOrder.getSize();
    if (ivIsSparseData == 0 || ivSamplesNum == 0 || ivSamplesOrder[count] != sampleNumber) {
        ivSamplesOrder.copyAppend(sampleNumber, env);
        ivSamplesNum = ivSamplesOrder.getSize();
    }
}

void KVORAKernelData::update(const KVORAXaRay<double, 1> &dataVec, const KVORAXaRay<double, 1> &targetVec,
                             uint64_t sampleNumber, KVORA_ENV env)
{
    if (ivKernelVerbosityLvl > 30 || ivKernelVerbosityLvl == 100 || ivKernelSampleTraceOn != 0) {
        if (sampleTraceEvent(30) != 0) {
            std::ostringstream out;
            out << " Entering KVORAKernelData::update, ivDataStatus = " << ivDataStatus
                << ", sample num = " << sampleNumber << "\n";
            std::cout << out.str() << std::flush;
        }
    }

    const int32_t n = ivNumberOfComputeIterations;
    if (n > 1 && ivDataStatus == InputMySamples) {
        ++ivSamplesCounter;
        if (ivSamplesCounter % n + 1 != ivCurComputeIteration) return;
    }

    uint64_t sample = sampleNumber;
    const KVORAXaRay<double, 1> *target = &targetVec;
    if (ivIsSparseData == 1 && (ivDataStatus == InputOtherSamples || ivDataStatus == ReadyForQuery)) {
        ivSparseDataPtr->update(dataVec, targetVec, sampleNumber, env);
        if (ivSparseDataPtr->isFinished() == 0) return;
        double targetValue = 0.0;
        sample = ivSparseDataPtr->takeRow(ivRow, targetValue, env);
        ivTarget.setSize(1, env);
        ivTarget[1] = targetValue;
        target = &ivTarget;
    } else {
        ivRow.copyFrom(dataVec, env);
    }
    const KVORAXaRay<double, 1> &row = ivRow;

    switch (ivDataStatus) {
    case InitKernelObject:
        ivDataStatus = InputMySamples;
        // The first record is already an own sample.
        [[fallthrough]];
    case InputMySamples:
        appendOwnSample(sample, env);
        if (target->getSize() > 0) ivMyTargetMatrixPtr->addRow(*target, env);
        if (ivIsSparseData == 0) {
            ivMyInputMatrixPtr->addRow(row, env);
        } else {
            KVORA_ASSERT_CAUSE(row.getSize() >= 2, "A sparse record needs a column and a value");
            if (ivLastOwnRow == nullptr || ivLastOwnSample != sample) {
                ivLastOwnRow = &ivSparseInputMatrix[sample];
                ivLastOwnSample = sample;
            }
            (*ivLastOwnRow)[row[1]] = row[2];
            ivFlatRows = -1;
            if (row[1] > ivColumnNum) ivColumnNum = row[1];
        }
        break;
    case InputOtherSamples: {
        int32_t j = 0;
        if (n == 1 || ivCurComputeIteration == 1) {
            ivOtherSamplesOrder.copyAppend(sample, env);
            j = ivOtherSamplesOrder.getSize();
            if (target->getSize() > 0) ivOtherTargetMatrixPtr->addRow(*target, env);
        } else {
            const auto found = ivOtherSamplesMap.find(sample);
            KVORA_ASSERT_CAUSE(found != ivOtherSamplesMap.end(), "Sample not met in the first compute iteration");
            j = found->second;
        }
        if (ivIsSparseData != 0 && static_cast<double>(row.getSize()) > ivColumnNum)
            ivColumnNum = static_cast<double>(row.getSize());
        ivAllSamplesNum = j;
        computeColumn(row, sample, j, env);
        break;
    }
    case ReadyForQuery: {
        // Serves queries: the sample's own row and target, if it is one.
        for (int32_t i = 1; i <= ivSamplesOrder.getSize(); ++i) {
            if (ivSamplesOrder[i] != sample) continue;
            mineRow(i, ivMine, ivMineDirty, env);
            if (i <= ivMyTargetMatrixPtr->getRowNum()) {
                ivMyTargetMatrixPtr->getRow(i, ivOther, env);
                ivOtherDirty = ivOther.getSize();
            }
            break;
        }
        break;
    }
    default: {
        std::ostringstream text;
        text << "Current status is " << ivDataStatus << "\n";
        std::cout << text.str() << std::flush;
        reportError(3502, std::to_string(ivDataStatus), "Invalid state for KVORAKernelData::ivDataStatus", env, 1);
    }
    }
}

void KVORAKernelData::computeColumn(const KVORAXaRay<double, 1> &row, uint64_t sampleNumber, int32_t j, KVORA_ENV env)
{
    KVORAKernelFunction &kernel = *ivKernelFunctionPtr;
    const int32_t count = ivSamplesOrder.getSize();

    if (ivIsSparseKernel == 0) {
        KVORALabeledMatrix &dense = *ivKernelMatrixPtr;
        if (dense.getRowNum() == 0 && dense.getColumnNum() == 0) dense.setSize(count, 1, 0.0, env);
        dense.resizeKeeping(ivFirstKernelCol + count, j, env);
        for (int32_t i = 1; i <= count; ++i) {
            mineRow(i, ivMine, ivMineDirty, env);
            dense.at(ivFirstKernelCol + i, j) = kernel.ComputeKernel(ivMine, row, ivSamplesOrder[i], sampleNumber);
            ++ivComputedPairs;
        }
        return;
    }

    if (ivFilterSimilarities == 0) {
        for (int32_t i = 1; i <= count; ++i) {
            mineRow(i, ivMine, ivMineDirty, env);
            const double value = kernel.ComputeKernel(ivMine, row, ivSamplesOrder[i], sampleNumber);
            ++ivComputedPairs;
            if (value >= ivSparsityThreshold)
                setSparseKernelValue(static_cast<uint64_t>(ivFirstKernelCol + i), static_cast<uint64_t>(j), value);
        }
        return;
    }

    if (kernel.filterCandidates(ivCandidates, row, env) != 2) return;
    const int32_t listed = ivCandidates.getSize();
    for (int32_t k = 1; k <= listed; ++k) {
        const int32_t i = ivCandidates[k];
        if (i <= 0) continue;
        mineRow(i, ivMine, ivMineDirty, env);
        const double value = kernel.ComputeKernel(ivMine, row, ivSamplesOrder[i], sampleNumber);
        ++ivComputedPairs;
        if (value >= ivSparsityThreshold)
            setSparseKernelValue(static_cast<uint64_t>(ivFirstKernelCol + i), static_cast<uint64_t>(j), value);
    }
}

void KVORAKernelData::finishIteration(KVORA_ENV env)
{
    traceEvent(20, "Entering KVORAKernelData::finishIteration", 1, env);
    const int32_t n = ivNumberOfComputeIterations;
    if (ivDataStatus == InputMySamples) ivKernelFunctionPtr->prepareFilter(ivSamplesOrder, env);
    if (ivDataStatus == InputOtherSamples) {
        if (n > 1) {
            ivMyInputMatrixPtr.create(env);
            ivSparseInputMatrix.clear();
            forgetOwnRows();
            if (ivCurComputeIteration == 1) {
                ivOtherSamplesMap.clear();
                for (int32_t j = 1; j <= ivOtherSamplesOrder.getSize(); ++j) ivOtherSamplesMap[ivOtherSamplesOrder[j]] = j;
            }
        }
        ivFirstKernelCol += ivSamplesOrder.getSize();
        for (int32_t i = 1; i <= ivSamplesOrder.getSize(); ++i) ivKernelColSampleNumber.copyAppend(ivSamplesOrder[i], env);
        ivSamplesNum = 0;
        ivSamplesOrder.setSize(0, env);
        forgetOwnRows();
    }
    if (ivIsSparseKernel == 1) {
        if (ivDataStatus == InputMySamples && (n == 1 || ivCurComputeIteration == 1))
            buildSelfKernelValuesHistogram(env);
        else if (!ivOutputFileName.isEmpty() && ivCurComputeIteration == n)
            writeSparseKernel(env);
    }
}

int32_t KVORAKernelData::endDataScan(KVORA_ENV env)
{
    traceEvent(2, "Entering KVORAKernelData::endDataScan", 1, env);
    const int32_t n = ivNumberOfComputeIterations;
    switch (ivDataStatus) {
    case InputMySamples:
        if (ivIsSparseKernel == 1 && (n == 1 || (n > 1 && ivCurComputeIteration == 1))) fixThreshold(env);
        ivDataStatus = ivKernelMode == KernelMode ? InputOtherSamples : ReadyForQuery;
        break;
    case InputOtherSamples:
        if (n < 2) {
            ivDataStatus = ReadyForQuery;
        } else {
            ++ivCurComputeIteration;
            ivDataStatus = ivCurComputeIteration > n ? ReadyForQuery : InputMySamples;
        }
        break;
    case ReadyForQuery:
        break;
    default: {
        std::ostringstream text;
        text << "Current status is " << ivDataStatus << "\n";
        std::cout << text.str() << std::flush;
        reportError(3502, std::to_string(ivDataStatus), "Invalid state for KVORAKernelData::ivDataStatus", env, 1);
    }
    }
    return ivDataStatus == ReadyForQuery ? 1 : 0;
}
