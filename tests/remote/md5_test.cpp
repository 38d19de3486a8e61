#include "remote/md5.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "mailserver/digest.h"

namespace {

// The digest of the pieces, each in a heap block without a spare byte; the context must be empty afterwards.
std::string md5(const std::vector<std::string> & pieces)
{
    MD5_CTX context;
    std::memset(&context, 0xa5, sizeof(context));
    MD5Init(&context);
    for (const std::string & piece : pieces) {
        const std::vector<unsigned char> block(piece.begin(), piece.end());
        MD5Update(&context, block.data(), static_cast<unsigned int>(block.size()));
    }
    unsigned char digest[MD5_DIGEST_SIZE];
    MD5Final(digest, &context);
    const auto * bytes = reinterpret_cast<const unsigned char *>(&context);
    EXPECT_EQ(std::count(bytes, bytes + sizeof(context), 0), sizeof(context)) << "a part of a password stays";
    std::string hex;
    for (const unsigned char byte : digest)
        hex.append(1, "0123456789abcdef"[byte >> 4]).append(1, "0123456789abcdef"[byte & 15]);
    return hex;
}

std::string text_of(size_t len)
{
    std::string text(len, '\0');
    for (size_t i = 0; i < len; ++i)
        text[i] = static_cast<char>(i * 167 + (i >> 8));
    return text;
}

TEST(Md5, AgreesWithLibcryptoAtEveryLengthAndTear)
{
    for (size_t len = 0; len <= 260; ++len) {
        const std::string text = text_of(len);
        const std::string expected = mailserver::apop_digest(text, "");
        const size_t tear = len * 71 % 260 % (len + 1);
        const size_t second = std::min(len, tear + MD5_BLOCK_SIZE);
        EXPECT_EQ(md5({text}), expected) << len;
        EXPECT_EQ(md5({text.substr(0, tear), "", text.substr(tear, second - tear), text.substr(second)}),
                  expected)
            << len << " torn at " << tear;
    }
}

TEST(Md5, LengthCarriesIntoTheSecondWord)
{
    MD5_CTX context;
    MD5Init(&context);
    context.count[0] = 0xFFFFFE00; // one block short of 2^32 bits
    const std::string block = text_of(MD5_BLOCK_SIZE + 1);
    MD5Update(&context, reinterpret_cast<const unsigned char *>(block.data()), MD5_BLOCK_SIZE + 1);
    EXPECT_EQ(context.count[0], 8u);
    EXPECT_EQ(context.count[1], 1u);
}

} // namespace
