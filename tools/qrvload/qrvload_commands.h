// The loader's sub-commands. Each takes the words after its name and returns
// the exit status; bad input stops the tool from inside (qrvload_fail.h).
#pragma once

#include <string>
#include <vector>

int qrvCommandGraph(const std::vector<std::string> &args);
int qrvCommandNeighbours(const std::vector<std::string> &args);
int qrvCommandTable(const std::vector<std::string> &args);
int qrvCommandDump(const std::vector<std::string> &args);
int qrvCommandInfo(const std::vector<std::string> &args);
