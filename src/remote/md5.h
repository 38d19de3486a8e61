// MD5 of RFC 1321, for the digests of APOP (RFC 1939) and CRAM-MD5 (RFC 2195). It authenticates nothing by
// itself.
//
// The three operations follow the RFC in full: any split of the input over MD5Update calls gives the same
// digest. Lengths are in bytes. Nothing is allocated, nothing can fail. One context belongs to one thread at
// a time.
#pragma once

#include "utils/etc/uttypes.h"

struct MD5_CTX {
    uint32 state[4];
    uint32 count[2];          // length of the input in bits, low word first
    unsigned char buffer[64]; // input that doesn't fill a block yet
};
static_assert(sizeof(MD5_CTX) == 4 * 4 + 2 * 4 + 64);

constexpr unsigned int MD5_DIGEST_SIZE = 16;
constexpr unsigned int MD5_BLOCK_SIZE = 64;

void MD5Init(MD5_CTX * context);
void MD5Update(MD5_CTX * context, const unsigned char * input, unsigned int inputLen);

// Writes the digest and wipes the context, which holds what the input was.
void MD5Final(unsigned char digest[MD5_DIGEST_SIZE], MD5_CTX * context);
