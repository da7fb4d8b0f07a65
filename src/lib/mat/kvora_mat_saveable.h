// Interface of what the array library can write to a byte stream, with the
// stream helpers it uses: 32-bit integers in network byte order, strings as such
// a length followed by their bytes. Whether the host differs from network order
// is noted once, at construction, so the helpers need not ask again.
#pragma once

#include <arpa/inet.h>

#include <cstdint>
#include <cstring>
#include <istream>
#include <ostream>
#include <string>

class Saveable {
public:
    Saveable() : ivHostDiffersFromNetwork(htonl(1) != 1) {}
    Saveable(const Saveable &) : ivHostDiffersFromNetwork(htonl(1) != 1) {}
    Saveable &operator=(const Saveable &) { return *this; }
    virtual ~Saveable() {}
    virtual void save(std::ostream &out) const = 0;

    bool hostDiffersFromNetwork() const { return ivHostDiffersFromNetwork; }

protected:
    static void writeInt32(std::ostream &out, int32_t value) {
        uint32_t net = htonl(static_cast<uint32_t>(value));
        out.write(reinterpret_cast<const char *>(&net), sizeof net);
    }
    static int32_t readInt32(std::istream &in) {
        uint32_t net = 0;
        in.read(reinterpret_cast<char *>(&net), sizeof net);
        return static_cast<int32_t>(ntohl(net));
    }
    static void writeString(std::ostream &out, const std::string &text) {
        writeInt32(out, static_cast<int32_t>(text.size()));
        out.write(text.data(), static_cast<std::streamsize>(text.size()));
    }
    static std::string readString(std::istream &in) {
        int32_t length = readInt32(in);
        if (!in || length <= 0) return std::string();
        std::string text(static_cast<size_t>(length), '\0');
        in.read(&text[0], length);
        text.resize(static_cast<size_t>(in.gcount()));
        return text;
    }
    // A double as the two 32-bit halves of its bit pattern, high half first.
    static void writeDouble(std::ostream &out, double value) {
        uint64_t bits;
        static_assert(sizeof bits == sizeof value, "double is 64 bits");
        std::memcpy(&bits, &value, sizeof bits);
        writeInt32(out, static_cast<int32_t>(static_cast<uint32_t>(bits >> 32)));
        writeInt32(out, static_cast<int32_t>(static_cast<uint32_t>(bits)));
    }

    bool ivHostDiffersFromNetwork;
};
