#include "remote/orvsmtp_auth.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "remote/caseless.h"
#include "remote/unixdll.h"
#include "utils/dbtutils/message.h"
#include "utils/etc/utstrfcn.h"

namespace {

constexpr uint32 STR_USER_REFUSED = 6694;
constexpr uint32 STR_PASSWORD_REFUSED = 6695;

// A digest as lower-case hexadecimal digits, with a terminator.
constexpr size_t HEX_DIGEST_SIZE = 2 * MD5_DIGEST_SIZE + 1;

constexpr char EncodeValues[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
static_assert(sizeof(EncodeValues) == 64 + 1);

constexpr unsigned char PADDING = 254;
constexpr unsigned char NOT_BASE64 = 255;

constexpr std::array<unsigned char, 256> invert_alphabet()
{
    std::array<unsigned char, 256> values{};
    values.fill(NOT_BASE64);
    for (unsigned char value = 0; value < 64; ++value) {
        values[static_cast<unsigned char>(EncodeValues[value])] = value;
    }
    values['='] = PADDING;
    return values;
}
constexpr std::array<unsigned char, 256> DecodeValues = invert_alphabet();

// White space and case as in the C locale: replies are ASCII whatever locale the host has set.
bool is_space(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

char to_upper(char c)
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

const unsigned char * bytes_of(const char * text)
{
    return reinterpret_cast<const unsigned char *>(text);
}

// The next token of `text` that is delimited by white space, which is taken off its front; empty at the end.
std::string_view next_token(std::string_view & text)
{
    while (!text.empty() && is_space(text.front())) {
        text.remove_prefix(1);
    }
    size_t len = 0;
    while (len < text.size() && !is_space(text[len])) {
        ++len;
    }
    const std::string_view token = text.substr(0, len);
    text.remove_prefix(len);
    return token;
}

void to_hex(const unsigned char digest[MD5_DIGEST_SIZE], char * out)
{
    static constexpr char digits[] = "0123456789abcdef";
    for (unsigned int i = 0; i < MD5_DIGEST_SIZE; ++i) {
        *out++ = digits[digest[i] >> 4];
        *out++ = digits[digest[i] & 15];
    }
    *out = '\0';
}

struct a_credential {
    const char * user_name;
    const char * passwd;
};

// Each of the two falls back to the mailbox's by itself.
a_credential smtp_credential(const a_smtp_link_info * lnk)
{
    return {lnk->smtp_userid[0] != '\0' ? lnk->smtp_userid : lnk->parms.pop3_userid,
            lnk->smtp_passwd[0] != '\0' ? lnk->smtp_passwd : lnk->parms.pop3_passwd};
}

bool say_ehlo(a_smtp_link_info * lnk, uint32 * supported_auth_mechanisms)
{
    SocketString(lnk->smtp, "EHLO ");
    SocketString(lnk->smtp, lnk->local_host);
    if (!send_command(lnk->smtp)) {
        close_if_out_of_step(lnk->smtp, errno); // no reply will come to half a command
    }
    return smtp_reply(lnk, grab_supported_auth, supported_auth_mechanisms);
}

// The setting adds its mechanism to those announced, for servers that don't announce what they take.
void add_mechanism_of_setting(const a_smtp_link_info * lnk, uint32 * supported_auth_mechanisms)
{
    const char * mechanism = lnk->smtp_authenticate_mechanism;
    if (mechanism[0] == '\0') {
        return;
    }
    if (equals_caseless(mechanism, "CRAM-MD5")) {
        *supported_auth_mechanisms |= AUTH_CRAM_MD5;
    } else if (equals_caseless(mechanism, "LOGIN")) {
        *supported_auth_mechanisms |= AUTH_LOGIN;
    } else if (*supported_auth_mechanisms == 0) {
        trace(lnk, "Unknown smtp authenticate mechanism specified!!");
    }
}

// Sends `len` bytes in Base64 as a line.
bool send_base64(a_smtp_link_info * lnk, const char * text, size_t len)
{
    char line[base64_size(sizeof(lnk->smtp_userid) + 1 + HEX_DIGEST_SIZE)];
    base64_encode(bytes_of(text), len, line);
    SocketString(lnk->smtp, line);
    return smtp_command(lnk);
}

bool read_challenge(a_smtp_link_info * lnk, char * challenge)
{
    challenge[0] = '\0';
    SocketString(lnk->smtp, "AUTH CRAM-MD5");
    return send_command(lnk->smtp) && smtp_reply(lnk, grab_challenge, challenge) && challenge[0] != '\0';
}

// An exchange that fails half-way isn't cancelled: LOGIN, if the server offers it, simply follows.
bool authenticate_cram_md5(a_smtp_link_info * lnk, const a_credential & credential)
{
    trace(lnk, "Authentication mech found: CRAM-MD5");
    char challenge[CHALLENGE_SIZE];
    unsigned char decoded[DECODED_CHALLENGE_SIZE];
    size_t decoded_len = 0;
    if (!read_challenge(lnk, challenge) ||
        !base64_decode(challenge, std::strlen(challenge), decoded, &decoded_len)) {
        return false;
    }
    unsigned char digest[MD5_DIGEST_SIZE];
    hmac_md5(bytes_of(credential.passwd), std::strlen(credential.passwd), decoded, decoded_len, digest);
    char hex[HEX_DIGEST_SIZE];
    to_hex(digest, hex);
    char response[sizeof(lnk->smtp_userid) + 1 + HEX_DIGEST_SIZE];
    char * next = nullptr;
    size_t room = 0;
    // The buffer holds the longest user name, so nothing is cut.
    (void)ut_strcpy(response, sizeof(response), credential.user_name, &next, &room);
    (void)ut_strcpy(next, room, " ", &next, &room);
    (void)ut_strcpy(next, room, hex, &next, &room);
    return send_base64(lnk, response, std::strlen(response));
}

bool authenticate_login(a_smtp_link_info * lnk, const a_credential & credential)
{
    SocketString(lnk->smtp, "AUTH LOGIN");
    return smtp_command(lnk) && send_base64(lnk, credential.user_name, std::strlen(credential.user_name)) &&
           send_base64(lnk, credential.passwd, std::strlen(credential.passwd));
}

void smtp_authenticate(a_smtp_link_info * lnk, uint32 supported_auth_mechanisms)
{
    const a_credential credential = smtp_credential(lnk);
    bool auth_done = false;
    if ((supported_auth_mechanisms & AUTH_CRAM_MD5) != 0) {
        auth_done = authenticate_cram_md5(lnk, credential);
    }
    if ((supported_auth_mechanisms & AUTH_LOGIN) != 0) {
        trace(lnk, "Authentication mech found: LOGIN");
        auth_done = auth_done || authenticate_login(lnk, credential);
    }
    if (!auth_done && lnk->smtp_authenticate) {
        trace(lnk, "Unable to authenticate.");
    }
}

a_bool login_apop(a_smtp_link_info * lnk, const an_apop_timestamp & timestamp)
{
    MD5_CTX context;
    MD5Init(&context);
    MD5Update(&context, bytes_of(timestamp.begin),
              static_cast<unsigned int>(timestamp.end - timestamp.begin));
    MD5Update(&context, bytes_of(lnk->parms.pop3_passwd),
              static_cast<unsigned int>(std::strlen(lnk->parms.pop3_passwd)));
    unsigned char digest[MD5_DIGEST_SIZE];
    MD5Final(digest, &context);
    char hex[HEX_DIGEST_SIZE];
    to_hex(digest, hex);
    SocketString(lnk->pop, "APOP ");
    SocketString(lnk->pop, lnk->parms.pop3_userid);
    SocketString(lnk->pop, " ");
    SocketString(lnk->pop, hex);
    if (!pop_command(lnk)) {
        MessageByID(OSLangString, lnk->msgcb, STR_PASSWORD_REFUSED);
        return FALSE;
    }
    return TRUE;
}

a_bool login_user_pass(a_smtp_link_info * lnk)
{
    SocketString(lnk->pop, "USER ");
    SocketString(lnk->pop, lnk->parms.pop3_userid);
    if (!pop_command(lnk)) {
        MessageByID(OSLangString, lnk->msgcb, STR_USER_REFUSED);
        return FALSE;
    }
    SocketString(lnk->pop, "PASS ");
    SocketString(lnk->pop, lnk->parms.pop3_passwd);
    if (!pop_command(lnk)) {
        MessageByID(OSLangString, lnk->msgcb, STR_PASSWORD_REFUSED);
        return FALSE;
    }
    return TRUE;
}

} // namespace

void grab_supported_auth(void * data, char * line_buf, unsigned int line_len)
{
    constexpr unsigned int KEYWORD = 4; // behind the code and its separator
    constexpr unsigned int SEPARATOR = KEYWORD + 4;
    for (unsigned int i = KEYWORD; i < line_len; ++i) {
        line_buf[i] = to_upper(line_buf[i]);
    }
    if (line_len <= SEPARATOR || std::memcmp(line_buf + KEYWORD, "AUTH", 4) != 0) {
        return;
    }
    if (!is_space(line_buf[SEPARATOR]) && line_buf[SEPARATOR] != '=') {
        return;
    }
    auto * supported_auth_mechanisms = static_cast<uint32 *>(data);
    std::string_view rest(line_buf + SEPARATOR + 1, line_len - SEPARATOR - 1);
    for (std::string_view token = next_token(rest); !token.empty(); token = next_token(rest)) {
        if (token == "CRAM-MD5") {
            *supported_auth_mechanisms |= AUTH_CRAM_MD5;
        } else if (token == "LOGIN") {
            *supported_auth_mechanisms |= AUTH_LOGIN;
        }
    }
}

void grab_challenge(void * grab_data, char * line_buf, unsigned int line_len)
{
    constexpr unsigned int CODE_LEN = 3;
    auto * challenge = static_cast<char *>(grab_data);
    challenge[0] = '\0';
    if (line_len <= CODE_LEN) {
        return;
    }
    std::string_view rest(line_buf + CODE_LEN, line_len - CODE_LEN);
    while (!rest.empty() && is_space(rest.front())) {
        rest.remove_prefix(1);
    }
    while (!rest.empty() && is_space(rest.back())) {
        rest.remove_suffix(1);
    }
    // A line is shorter than the buffer, so nothing is cut.
    (void)ut_strncpy(challenge, CHALLENGE_SIZE, rest.data(), rest.size());
}

bool base64_decode(const char * in, size_t len, unsigned char * out, size_t * out_len)
{
    *out_len = 0;
    if (len % 4 != 0) {
        return false;
    }
    size_t written = 0;
    for (size_t group = 0; group < len; group += 4) {
        uint32 bits = 0;
        unsigned int padding = 0;
        for (size_t i = group; i < group + 4; ++i) {
            const unsigned char value = DecodeValues[static_cast<unsigned char>(in[i])];
            if (value == NOT_BASE64 || (padding != 0 && value != PADDING)) {
                return false;
            }
            padding += value == PADDING ? 1 : 0;
            bits = bits << 6 | (value == PADDING ? 0 : value);
        }
        const unsigned int bytes = padding < 3 ? 3 - padding : 0;
        for (unsigned int i = 0; i < bytes; ++i) {
            out[written++] = static_cast<unsigned char>(bits >> (16 - 8 * i));
        }
    }
    *out_len = written;
    return true;
}

void base64_encode(const unsigned char * in, size_t len, char * out)
{
    for (size_t i = 0; i < len; i += 3) {
        const size_t left = len - i;
        const uint32 bits = uint32{in[i]} << 16 | (left > 1 ? uint32{in[i + 1]} << 8 : 0) |
                            (left > 2 ? uint32{in[i + 2]} : 0);
        *out++ = EncodeValues[bits >> 18];
        *out++ = EncodeValues[bits >> 12 & 63];
        *out++ = left > 1 ? EncodeValues[bits >> 6 & 63] : '=';
        *out++ = left > 2 ? EncodeValues[bits & 63] : '=';
    }
    *out = '\0';
}

void hmac_md5(const unsigned char * key, size_t key_len, const unsigned char * text, size_t text_len,
              unsigned char digest[MD5_DIGEST_SIZE])
{
    MD5_CTX context;
    unsigned char block[MD5_BLOCK_SIZE] = {};
    if (key_len > MD5_BLOCK_SIZE) {
        MD5Init(&context);
        MD5Update(&context, key, static_cast<unsigned int>(key_len));
        MD5Final(block, &context);
    } else {
        std::memcpy(block, key, key_len);
    }
    for (unsigned char & byte : block) {
        byte ^= 0x36;
    }
    MD5Init(&context);
    MD5Update(&context, block, sizeof(block));
    MD5Update(&context, text, static_cast<unsigned int>(text_len));
    MD5Final(digest, &context);
    for (unsigned char & byte : block) {
        byte ^= 0x36 ^ 0x5c;
    }
    MD5Init(&context);
    MD5Update(&context, block, sizeof(block));
    MD5Update(&context, digest, MD5_DIGEST_SIZE);
    MD5Final(digest, &context);
    explicit_bzero(block, sizeof(block));
}

an_apop_timestamp apop_timestamp(const char * greeting)
{
    const char * end = std::strrchr(greeting, '>');
    const char * begin = std::strchr(greeting, '<');
    const char * at = std::strchr(greeting, '@');
    if (end == nullptr || begin == nullptr || at == nullptr || !(begin < at && at < end)) {
        return {nullptr, nullptr};
    }
    return {begin, end + 1};
}

a_bool smtp_hello_and_authenticate(a_smtp_link_info * lnk)
{
    uint32 supported_auth_mechanisms = 0;
    bool say_helo = true;
    if (lnk->smtp_authenticate) {
        say_helo = !say_ehlo(lnk, &supported_auth_mechanisms);
    }
    add_mechanism_of_setting(lnk, &supported_auth_mechanisms);
    if (say_helo) {
        SocketString(lnk->smtp, "HELO ");
        SocketString(lnk->smtp, lnk->local_host);
        if (!smtp_command_keep_open(lnk)) {
            return FALSE;
        }
    }
    smtp_authenticate(lnk, supported_auth_mechanisms);
    return TRUE;
}

a_bool pop_login(a_smtp_link_info * lnk, const char * greeting)
{
    const an_apop_timestamp timestamp = apop_timestamp(greeting);
    if (timestamp.begin != nullptr && lnk->apop_supported) {
        return login_apop(lnk, timestamp);
    }
    return login_user_pass(lnk);
}
