// The base library's log: one stream to one file, through static operations,
// so that any code can write to it without carrying an object around.
#pragma once

#include <fstream>
#include <string>

class Log {
public:
    // Throws BASE_MlException if a log is open already, BASE_MlExceptionUser
    // if the file can't be opened.
    static void Open(const std::string &name);
    // Throws BASE_MlException when no log is open.
    static std::ostream &GetStream();
    static bool IsOpen();
    static void Close();

private:
    static std::ofstream *cvStream;
};
