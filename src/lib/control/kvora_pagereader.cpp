// Window refills by positional reads, for one file or for numbered pieces.
#include "control/kvora_pagereader.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

KVORAPageReader::~KVORAPageReader() { std::free(ivBuffer); }

void KVORAPageReader::reset() {
    std::free(ivBuffer);
    ivBuffer = nullptr;
    ivBufferBytes = 0;
    ivWindowFirst = 0;
    ivWindowLast = -1;
    ivPieceIndex = 0;
    ivCommFlag = CommSelf;
}

void KVORAPageReader::setSource(const std::string &fileName, int32_t multiFile,
                                const std::vector<int64_t> &pieceSizes, int64_t totalSize) {
    const bool same = fileName == ivFileName && multiFile == ivMultiFile && pieceSizes == ivPieceSizes &&
                      totalSize == ivTotalSize;
    if (same) return;
    ivFileName = fileName;
    ivMultiFile = multiFile;
    ivPieceSizes = pieceSizes;
    ivTotalSize = totalSize;
    ivWindowFirst = 0;
    ivWindowLast = -1;
    ivPieceIndex = 0;
}

void KVORAPageReader::printRowNumber(int64_t row) {
    std::printf(" Row num = %lld\n", static_cast<long long>(row));
}

void KVORAPageReader::copyOutSwapped(const char *bytes, int32_t count, double *out) {
    for (int32_t i = 0; i < count; ++i) {
        uint64_t v = 0;
        for (int32_t b = 7; b >= 0; --b) v = (v << 8) | static_cast<uint8_t>(bytes[8 * i + b]);
        std::memcpy(out + i, &v, 8);
    }
}

void KVORAPageReader::readWindow(const std::string &path, int64_t position, int64_t length) {
    int64_t got = 0;
    const int fd = ::open(path.c_str(), O_RDONLY);
    if (fd >= 0) {
        while (got < length) {
            const ssize_t n = ::pread(fd, ivBuffer + got, static_cast<size_t>(length - got),
                                      static_cast<off_t>(position + got));
            if (n > 0) {
                got += n;
                continue;
            }
            if (n < 0 && errno == EINTR) continue;
            break;
        }
        ::close(fd);
    }
    // A short read is not an error of the format: the rest reads as zeros.
    if (got < length) std::memset(ivBuffer + got, 0, static_cast<size_t>(length - got));
}

void KVORAPageReader::refill(int64_t row, int64_t recordBytes, int64_t offset) {
    // A record longer than a window gets a window of its own size, so that it
    // is still copied whole out of the buffer.
    const int64_t want = recordBytes > WindowBytes ? recordBytes : static_cast<int64_t>(WindowBytes);
    if (ivBuffer == nullptr || ivBufferBytes < want) {
        char *grown = static_cast<char *>(std::realloc(ivBuffer, static_cast<size_t>(want)));
        if (grown == nullptr) {
            std::fprintf(stderr, "Cannot allocate the dataset's read window\n");
            std::fflush(stderr);
            std::exit(1);
        }
        ivBuffer = grown;
        ivBufferBytes = want;
    }
    ++ivRefillCount;
    int64_t last = offset + want - 1;
    if (ivMultiFile == 0) {
        if (last > ivTotalSize - 1) last = ivTotalSize - 1;
        readWindow(ivFileName, offset, last - offset + 1);
    } else {
        // The first piece whose end lies beyond the offset.
        int64_t pieceStart = 0;
        int32_t piece = 0;
        const int32_t pieces = static_cast<int32_t>(ivPieceSizes.size());
        while (piece < pieces - 1 && pieceStart + ivPieceSizes[piece] <= offset) {
            pieceStart += ivPieceSizes[piece];
            ++piece;
        }
        ivPieceIndex = piece;
        const int64_t pieceEnd = pieceStart + ivPieceSizes[piece] - 1;
        if (last > pieceEnd) last = pieceEnd;
        // Windows never cross pieces; a record cut by a piece end reads zeros
        // beyond it rather than bytes of the next piece.
        const int64_t rowsBefore = pieceStart / recordBytes;
        const int64_t position = (row - rowsBefore) * recordBytes;
        const int64_t length = last - offset + 1;
        readWindow(ivFileName + "." + std::to_string(piece), position, length);
        if (length < recordBytes) {
            std::memset(ivBuffer + length, 0, static_cast<size_t>(recordBytes - length));
            last = offset + recordBytes - 1;
        }
    }
    ivWindowFirst = offset;
    ivWindowLast = last;
}
