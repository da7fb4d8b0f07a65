// A result file that appears whole or not at all. The text is written under a
// temporary name in the same folder as the final name and renamed over it once
// complete, so that a reader never sees half a file and a run that dies leaves
// the final name as it was. Same folder: the rename stays within one file
// system, and a folder that can't be written fails at open, where the callers
// give their report for a file that can't be opened.
#pragma once

#include <fstream>
#include <string>

class KVORAAtomicFile {
public:
    explicit KVORAAtomicFile(const std::string &finalName);
    // Removes the temporary file unless commit succeeded.
    ~KVORAAtomicFile();

    KVORAAtomicFile(const KVORAAtomicFile &) = delete;
    KVORAAtomicFile &operator=(const KVORAAtomicFile &) = delete;

    // Opens the temporary file for writing. False when it can't be opened, or
    // when the final name exists and could not have been opened for writing
    // itself (a directory, a read-only file): the rename would otherwise
    // replace what a plain open refuses.
    bool open();
    std::ofstream &stream() { return ivStream; }

    // Closes the stream and renames the temporary file to the final name.
    // False, with the temporary file removed and the final name untouched,
    // when the stream failed or the rename did.
    bool commit();
    // Drops what was written; the final name is untouched.
    void discard();

    const std::string &finalName() const { return ivFinalName; }
    const std::string &tempName() const { return ivTempName; }

private:
    std::string ivFinalName;
    std::string ivTempName;
    std::ofstream ivStream;
    bool ivOpen = false;
};

// The temporary name used for finalName: the same path with ".tmp" and the
// process id appended, so it stays in the same folder and two processes
// writing the same name don't share one.
std::string kvoraAtomicTempName(const std::string &finalName);
