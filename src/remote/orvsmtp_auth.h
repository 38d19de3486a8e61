// The steps between a server's greeting and the end of a session's opening: hello and authentication on SMTP,
// login on POP3.
//
// On SMTP the link prefers CRAM-MD5, falls back to LOGIN, and goes on without authentication when both fail:
// whether that is good enough is left for the server to say when the message comes. On POP3 it uses APOP when
// the greeting allows it and the setting doesn't forbid it, USER and PASS otherwise; there a refusal ends the
// attempt.
//
// Buffers are local to the opening; the caller's thread. Refusals on the POP3 side are reported, all else
// shows in the trace only. Standards: RFC 5321 (EHLO), RFC 2554 (AUTH), RFC 2195 (CRAM-MD5), RFC 2104 (HMAC),
// RFC 4648 (Base64), RFC 1939 (APOP).
#pragma once

#include <cstddef>

#include "remote/md5.h"
#include "remote/orvsmtp.h"
#include "utils/etc/uttypes.h"

// What a server announces, as bits of supported_auth_mechanisms.
constexpr uint32 AUTH_CRAM_MD5 = 1;
constexpr uint32 AUTH_LOGIN = 2;

// A reply line holds at most 510 characters; the challenge in it with its terminator fits, and so does what
// Base64 makes of it.
constexpr size_t CHALLENGE_SIZE = REPLY_SIZE;
constexpr size_t DECODED_CHALLENGE_SIZE = CHALLENGE_SIZE / 4 * 3;

// Reads the mechanisms out of a line of the EHLO reply, which it turns to upper case in place. `data` points
// to a uint32 of AUTH_ bits, which only ever go on.
void grab_supported_auth(void * data, char * line_buf, unsigned int line_len);

// Copies the challenge of a line of the reply to AUTH CRAM-MD5 to `grab_data`, a buffer of CHALLENGE_SIZE
// bytes. The buffer is empty when the line has none.
void grab_challenge(void * grab_data, char * line_buf, unsigned int line_len);

// Decodes `len` characters of Base64 into `out`, which has room for len / 4 * 3 bytes. False, with *out_len
// 0, when a character isn't one of Base64's, a group of four is cut short, or something other than "="
// follows a "=" in its group. Decoding goes on behind a padded group.
[[nodiscard]] bool base64_decode(const char * in, size_t len, unsigned char * out, size_t * out_len);

// Bytes of a text of `len` bytes in Base64, with a terminator.
constexpr size_t base64_size(size_t len)
{
    return (len + 2) / 3 * 4 + 1;
}

// Encodes `len` bytes into `out`, base64_size(len) bytes, terminated, without line breaks.
void base64_encode(const unsigned char * in, size_t len, char * out);

// HMAC of RFC 2104 with MD5.
void hmac_md5(const unsigned char * key, size_t key_len, const unsigned char * text, size_t text_len,
              unsigned char digest[MD5_DIGEST_SIZE]);

// The part of a POP3 greeting that APOP's digest is made of: [begin, end), angle brackets included; null when
// the greeting has none, which rules APOP out for that server.
struct an_apop_timestamp {
    const char * begin;
    const char * end;
};
[[nodiscard]] an_apop_timestamp apop_timestamp(const char * greeting);

// Says EHLO or HELO and authenticates. FALSE: the server refused HELO, or the connection is gone. A failed
// authentication gives TRUE.
[[nodiscard]] a_bool smtp_hello_and_authenticate(a_smtp_link_info * lnk);

// Logs in to the mailbox. FALSE: refused, which has been reported, or the connection is gone.
[[nodiscard]] a_bool pop_login(a_smtp_link_info * lnk, const char * greeting);
