#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// The digest of RFC 1321, for names and for protocols that ask for it; it protects nothing. Own code, since
/// a host in FIPS mode takes it out of the cryptographic library. One object makes one digest: update any
/// number of times, finalize, then ask for it in either form. An update after finalize has no effect.
class MD5 {
public:
    void update(const unsigned char* data, unsigned length);
    void finalize();

    /// 32 lower-case hexadecimal digits and a zero byte, in a new array that the caller frees with array
    /// delete.
    char* hex_digest() const;
    /// 16 bytes, likewise.
    unsigned char* raw_digest() const;

private:
    static constexpr std::size_t BlockSize = 64;
    static constexpr std::size_t DigestSize = 16;

    void append(std::basic_string_view<unsigned char> data);
    void transform();
    std::array<unsigned char, DigestSize> digest() const;

    std::array<std::uint32_t, 4> state_{0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
    std::array<unsigned char, BlockSize> block_{};
    std::size_t inBlock_ = 0;
    std::uint64_t length_ = 0; ///< bytes
    bool finalized_ = false;
};
