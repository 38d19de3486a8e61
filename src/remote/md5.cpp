#include "remote/md5.h"

#include <bit>
#include <cstring>

namespace {

// One row for each of the four rounds: the rotations of its steps in turn, and the way its steps go through
// the words of a block (RFC 1321, section 3.4).
struct a_round {
    int rotate[4];
    unsigned int first_word;
    unsigned int word_step;
};
constexpr a_round rounds[4] = {
    {{7, 12, 17, 22}, 0, 1},
    {{5, 9, 14, 20}, 1, 5},
    {{4, 11, 16, 23}, 5, 3},
    {{6, 10, 15, 21}, 0, 7},
};

// floor(2^32 * abs(sin(i + 1))), i in radians (RFC 1321, section 3.4).
constexpr uint32 sines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501, //
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821, //
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8, //
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a, //
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70, //
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665, //
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1, //
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};

uint32 mix(unsigned int round, uint32 x, uint32 y, uint32 z)
{
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

uint32 load_le32(const unsigned char * p)
{
    return uint32{p[0]} | uint32{p[1]} << 8 | uint32{p[2]} << 16 | uint32{p[3]} << 24;
}

void store_le32(unsigned char * p, uint32 value)
{
    for (int i = 0; i < 4; ++i) {
        p[i] = static_cast<unsigned char>(value >> (8 * i));
    }
}

void transform(uint32 state[4], const unsigned char block[MD5_BLOCK_SIZE])
{
    uint32 words[16];
    for (unsigned int i = 0; i < 16; ++i) {
        words[i] = load_le32(block + 4 * i);
    }
    uint32 a = state[0];
    uint32 b = state[1];
    uint32 c = state[2];
    uint32 d = state[3];
    for (unsigned int step = 0; step < 64; ++step) {
        const unsigned int round = step / 16;
        const unsigned int word = (rounds[round].first_word + step * rounds[round].word_step) % 16;
        const uint32 sum = a + mix(round, b, c, d) + words[word] + sines[step];
        a = d;
        d = c;
        c = b;
        b += std::rotl(sum, rounds[round].rotate[step % 4]);
    }
    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
    explicit_bzero(words, sizeof(words));
}

} // namespace

void MD5Init(MD5_CTX * context)
{
    *context = {{0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476}, {0, 0}, {}};
}

void MD5Update(MD5_CTX * context, const unsigned char * input, unsigned int inputLen)
{
    unsigned int held = (context->count[0] / 8) % MD5_BLOCK_SIZE;
    const uint64 bits = (uint64{context->count[1]} << 32 | context->count[0]) + uint64{inputLen} * 8;
    context->count[0] = static_cast<uint32>(bits);
    context->count[1] = static_cast<uint32>(bits >> 32);
    while (inputLen >= MD5_BLOCK_SIZE - held) {
        const unsigned int missing = MD5_BLOCK_SIZE - held;
        std::memcpy(context->buffer + held, input, missing);
        transform(context->state, context->buffer);
        input += missing;
        inputLen -= missing;
        held = 0;
    }
    if (inputLen != 0) {
        std::memcpy(context->buffer + held, input, inputLen);
    }
}

void MD5Final(unsigned char digest[MD5_DIGEST_SIZE], MD5_CTX * context)
{
    static constexpr unsigned char padding[MD5_BLOCK_SIZE] = {0x80};
    unsigned char bit_count[8];
    store_le32(bit_count, context->count[0]);
    store_le32(bit_count + 4, context->count[1]);
    const unsigned int held = (context->count[0] / 8) % MD5_BLOCK_SIZE;
    // The padding ends 8 bytes before the end of a block, where the length stands.
    MD5Update(context, padding, held < 56 ? 56 - held : 120 - held);
    MD5Update(context, bit_count, sizeof(bit_count));
    for (unsigned int i = 0; i < 4; ++i) {
        store_le32(digest + 4 * i, context->state[i]);
    }
    explicit_bzero(context, sizeof(*context));
}
