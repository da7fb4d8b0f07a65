// Run driver: reads the parameter file, chooses the algorithm and runs the
// master or worker loop of this process.
#pragma once

class KVORAControl {
public:
    void execute();
};
