#include "remote/md5.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "mailserver/digest.h"

namespace {

std::string hex(const unsigned char * digest)
{
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (unsigned int i = 0; i < MD5_DIGEST_SIZE; ++i)
        text.append(1, digits[digest[i] >> 4]).append(1, digits[digest[i] & 15]);
    return text;
}

// The digest of the pieces, each in a heap block without a spare byte.
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
    return hex(digest);
}

std::string text_of(size_t len)
{
    std::string text(len, '\0');
    for (size_t i = 0; i < len; ++i)
        text[i] = static_cast<char>(i * 167 + (i >> 8));
    return text;
}

TEST(Md5, GivesTheDigestsOfTheStandard)
{
    const struct {
        const char * text;
        const char * digest;
    } rows[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
         "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
    };
    for (const auto & row : rows)
        EXPECT_EQ(md5({row.text}), row.digest) << row.text;
}

TEST(Md5, PaddingIsRightAtEveryLengthAroundABlock)
{
    for (size_t len = 0; len <= 260; ++len)
        EXPECT_EQ(md5({text_of(len)}), mailserver::apop_digest(text_of(len), "")) << len;
}

TEST(Md5, ABlockTornAnywhereGivesTheSameDigest)
{
    const std::string text = text_of(200);
    const std::string whole = mailserver::apop_digest(text, "");
    for (size_t first = 0; first <= text.size(); ++first) {
        EXPECT_EQ(md5({text.substr(0, first), "", text.substr(first)}), whole) << first;
        const size_t second = std::min(text.size(), first + 64);
        EXPECT_EQ(md5({text.substr(0, first), text.substr(first, second - first), text.substr(second)}),
                  whole)
            << first;
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

TEST(Md5, NothingOfThePasswordStaysInTheContext)
{
    MD5_CTX context;
    MD5Init(&context);
    const std::string password = text_of(40);
    MD5Update(&context, reinterpret_cast<const unsigned char *>(password.data()), 40);
    unsigned char digest[MD5_DIGEST_SIZE];
    MD5Final(digest, &context);
    const auto * bytes = reinterpret_cast<const unsigned char *>(&context);
    EXPECT_TRUE(std::all_of(bytes, bytes + sizeof(context), [](unsigned char byte) { return byte == 0; }));
}

} // namespace
