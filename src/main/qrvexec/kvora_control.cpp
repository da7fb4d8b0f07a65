// Run driver (minimal until the parameter-file reader lands).
#include "qrvexec/kvora_control.h"

void KVORAControl::execute() {}
