// Interface of everything in the array library that can show itself on a
// stream. Kept pure so that handles, bodies and index lists print alike.
#pragma once

#include <ostream>

class Printable {
public:
    virtual ~Printable() {}
    virtual void print(std::ostream &out) const = 0;
};

inline std::ostream &operator<<(std::ostream &out, const Printable &p) {
    p.print(out);
    return out;
}
