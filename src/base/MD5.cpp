#include "base/MD5.h"

#include <algorithm>
#include <bit>
#include <memory>

namespace {

constexpr std::size_t Steps = 64;
constexpr std::size_t LengthSize = 8;

/// The integer part of 2^32 times the absolute sine of 1 to 64, in radians.
constexpr std::array<std::uint32_t, Steps> Sines = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};

/// Rotations of each round's four steps.
constexpr int Rotations[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

std::uint32_t mix(std::size_t round, std::uint32_t x, std::uint32_t y, std::uint32_t z) {
    switch (round) {
    case 0:
        return (x & y) | (~x & z);
    case 1:
        return (x & z) | (y & ~z);
    case 2:
        return x ^ y ^ z;
    default:
        return y ^ (x | ~z);
    }
}

std::size_t wordOfStep(std::size_t step) {
    constexpr std::size_t factors[] = {1, 5, 3, 7};
    constexpr std::size_t offsets[] = {0, 1, 5, 0};
    return (step * factors[step / 16] + offsets[step / 16]) % 16;
}

std::uint32_t littleEndian(const unsigned char* bytes) {
    return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
           static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

} // namespace

void MD5::update(const unsigned char* data, unsigned length) {
    if (finalized_)
        return;
    append({data, length});
    length_ += length;
}

void MD5::finalize() {
    if (finalized_)
        return;
    const std::uint64_t bits = length_ * 8;
    static constexpr unsigned char padding[BlockSize] = {0x80};
    const std::size_t unpadded = (inBlock_ + 1 + LengthSize) % BlockSize;
    append({padding, 1 + (BlockSize - unpadded) % BlockSize});
    unsigned char count[LengthSize];
    for (std::size_t i = 0; i < LengthSize; ++i)
        count[i] = static_cast<unsigned char>(bits >> (8 * i));
    append({count, LengthSize});
    finalized_ = true;
}

void MD5::append(std::basic_string_view<unsigned char> data) {
    while (!data.empty()) {
        const std::size_t taken = std::min(data.size(), BlockSize - inBlock_);
        std::copy_n(data.data(), taken, block_.data() + inBlock_);
        data.remove_prefix(taken);
        inBlock_ += taken;
        if (inBlock_ == BlockSize) {
            transform();
            inBlock_ = 0;
        }
    }
}

void MD5::transform() {
    auto [a, b, c, d] = state_;
    for (std::size_t step = 0; step < Steps; ++step) {
        const std::size_t round = step / 16;
        const std::uint32_t sum =
            a + mix(round, b, c, d) + littleEndian(&block_[4 * wordOfStep(step)]) + Sines[step];
        a = d;
        d = c;
        c = b;
        b += std::rotl(sum, Rotations[round][step % 4]);
    }
    state_[0] += a;
    state_[1] += b;
    state_[2] += c;
    state_[3] += d;
}

std::array<unsigned char, MD5::DigestSize> MD5::digest() const {
    std::array<unsigned char, DigestSize> bytes{};
    for (std::size_t i = 0; i < DigestSize; ++i)
        bytes[i] = static_cast<unsigned char>(state_[i / 4] >> (8 * (i % 4)));
    return bytes;
}

char* MD5::hex_digest() const {
    constexpr char digits[] = "0123456789abcdef";
    auto text = std::make_unique<char[]>(2 * DigestSize + 1);
    char* next = text.get();
    for (const unsigned char byte : digest()) {
        *next++ = digits[byte >> 4];
        *next++ = digits[byte & 15];
    }
    return text.release();
}

unsigned char* MD5::raw_digest() const {
    const auto bytes = digest();
    auto copy = std::make_unique<unsigned char[]>(DigestSize);
    std::copy(bytes.begin(), bytes.end(), copy.get());
    return copy.release();
}
