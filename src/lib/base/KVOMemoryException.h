// Thrown when an allocation fails. It is a std::bad_alloc so that code that
// knows nothing of this library still sees an ordinary out-of-memory fault.
#pragma once

#include <new>

class KVOMemoryException : public std::bad_alloc {
public:
    const char *what() const noexcept override { return "KVOMemoryException"; }
};
