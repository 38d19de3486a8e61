// orvlink.h - everything that passes between a host and the message link liborvsmtp16_r.so.
//
// The link carries a replication agent's messages as e-mail: it sends over SMTP and takes its own mail out of
// a POP3 mailbox. The host loads the library (dlopen, or linking with -lorvsmtp16_r), hands it a callback and
// its profile of settings, and calls the ten functions at the end of this file.
//
// Order of calls
//   1. MsgSupportedSettings, MsgVerifySetting, MsgQueryValue and MsgBrowseForAddress need no link.
//   2. MsgInitLinkV3 makes a link; null means that there is none.
//   3. MsgSendV3 and MsgReceive in any order and number; MsgContent and MsgDelete take what MsgReceive gave.
//   4. MsgFiniLink last. The link and all its messages are gone then.
//
// Threads. The library starts none. One operation at a time runs on a link, on any thread; two links may be
// used by two threads at the same time. Make the first link (or call MsgSupportedSettings) before a second
// thread enters the library, since the language texts are loaded then. MsgSupportedSettings belongs to one
// thread at a time.
//
// Blocking. Every operation on a link may wait for a mail server for as long as the operating system lets it:
// there is no time-out.
//
// Errors. Nothing is thrown. Results are MSGRET values, reports for people go to the callback.
//
// Text. All strings are zero-terminated and in the character set of the process; sizes are in bytes and count
// the terminator, lengths don't.
//
// Standards: RFC 5321 (SMTP), RFC 2195 (CRAM-MD5), RFC 1939 (POP3, APOP), RFC 5322 (mail format).
#ifndef ORVLINK_H
#define ORVLINK_H

#include <stdint.h>

typedef uint32_t a_bool; // 0 is false, 1 is true; the link writes no other value
typedef uint16_t uint16;
typedef uint32_t uint32;

#define ORVLINK_EXPORT __attribute__((visibility("default")))

// One link, from MsgInitLinkV3 to MsgFiniLink. Opaque to the host.
class a_link_info;
typedef a_link_info * HLINK;

// One message of the inbox, from MsgReceive until MsgDelete has returned MSG_SUCCESS or MsgFiniLink is
// called. Opaque to the host, owned by the link.
class LinkMessage;
typedef LinkMessage * HMSG;

// Results. Every other non-zero value counts as a failure, too.
typedef int16_t MSGRET;
enum {
    MSG_SUCCESS = 0,
    MSG_FAILURE = 1,       // failed, also after all retries
    MSG_OUT_OF_MEMORY = 2, // memory ran out
    MSG_NO_MESSAGE = 3,    // MsgReceive: no new message in the mailbox
    MSG_NOT_SUPPORTED = 10 // MsgBrowseForAddress, always
};

// The host's message callback: every report, every line of the debug trace and every console prompt, without
// a line end, on the calling thread. `text` lives for the call only. It is null when the link has no text for
// what it wants to report: the callback must accept that. The result isn't looked at. The callback must not
// call into the library in a way that reports again (a lock is held), and it can't be null.
//
// With the setting Debug on, the trace shows every command as it is sent: passwords, and user names and
// passwords in Base64, included. Mask them before they reach a log.
typedef short (*MSG_CALLBACK)(const char * text);

// Reads a setting: writes the value of `name` into `buffer`, terminated, at most `size` bytes. A setting
// without a value must give an empty string: the buffer isn't initialised.
typedef void read_func(void * profile_handle, const char * name, char * buffer, unsigned int size);

// Writes a setting. As profile_write the value is kept for this and later runs; as profile_volatile_write it
// is given back by profile_read for the rest of this run only.
typedef void write_func(void * profile_handle, const char * name, const char * value);

// The host's access to the profile of a link. The link keeps the pointer from MsgInitLinkV3 until MsgFiniLink
// returns and calls the functions on the thread of the operation.
typedef struct a_profile_rw_access {
    void * profile_handle; // handed to the three functions, not looked at
    read_func * profile_read;
    write_func * profile_write;
    write_func * profile_volatile_write;
} a_profile_rw_access;

typedef char * MSGSTRING;

// How a host may edit a setting; the link only hands the numbers 0, 1 and 3 over.
typedef uint32_t value_types;

// The settings of a link as a host shows them. All arrays have one element for each name. The names, flags
// and numbers are constant data of the library; the texts lie in the caller's buffer.
typedef struct a_settings {
    uint16 count;         // always 5; the end of the list is the null pointer in `settings`
    char ** settings;     // names, ended by a null pointer
    char ** IDS_short;    // short text of each setting; empty if there is none
    char ** IDS_long;     // description of each setting; empty if there is none
    a_bool * display;     // 1: meant to be shown to a user
    value_types * values; // see value_types
} a_settings;
typedef a_settings * MSGSETTING;

// Bytes of the buffer that MsgSupportedSettings wants: two texts of up to 256 bytes for each of 12 settings.
enum { MSG_SETTINGS_BUFFER_SIZE = 2 * 256 * 12 };

extern "C" {

// Makes a link: reads the settings, and proves the logins by opening a session to the SMTP and to the POP3
// server (one of them only with the setting send_only or receive_only). With missing or refused login values
// it asks at the console, unless suppress_dialogs is on.
//   address         this link's own e-mail address; copied, cut to 256 characters
//   msgcb           see MSG_CALLBACK; kept until MsgFiniLink
//   profile_access  see a_profile_rw_access; kept until MsgFiniLink, owned by the host
//   user_data       not used
// Result: the link, which MsgFiniLink gives back, or null; what went wrong has been reported to msgcb.
ORVLINK_EXPORT HLINK MsgInitLinkV3(const char * address, MSG_CALLBACK msgcb,
                                   a_profile_rw_access * profile_access, void * user_data);

// Ends the sessions of a link with QUIT (which is what makes deletions final) and frees it with all its
// messages.
ORVLINK_EXPORT void MsgFiniLink(HLINK baseLink);

// Sends one message.
//   user     not used
//   address  the recipient's e-mail address
//   txt, len the text: `len` bytes, not terminated; owned by the host, must stay as it is during the call.
//            It must be free of binary bytes and of LF without CR, and its encoding has to pass by the line
//            ends and blanks that the mail format adds (see docs/wire-format.md). The reader at the other end
//            takes 61,440 bytes with all these.
//   count    the host's number of the message, which goes into its Message-ID; 0xFFFFFFFF for a message
//            without one: the link draws a serial from the profile
//   flags    not used
// MSG_SUCCESS: the server has taken the message. Anything else: it may or may not have arrived (a lost final
// reply), so the host keeps it and sends it again.
ORVLINK_EXPORT MSGRET MsgSendV3(HLINK baseLink, const char * user, const char * address, const char * txt,
                                uint32 len, uint32 count, uint16 flags);

// Hands out the next new message of the mailbox. Looks into the mailbox only when all messages of the last
// look have been handed out; each such look opens a new POP3 session. Messages come in the order of their
// ids, not in the order of sending. MSG_SUCCESS sets *msg; any other result leaves it alone; MSG_NO_MESSAGE:
// there is none. After MSG_OUT_OF_MEMORY the link may have lost account of its messages: it then gives that
// result again, as MsgContent and MsgDelete do, and a new link finds all messages in the mailbox.
ORVLINK_EXPORT MSGRET MsgReceive(HLINK baseLink, HMSG * msg);

// Reads the text of a message. *txt and *len (bytes, the terminator behind them not counted) are set whatever
// the result, and are of use only after MSG_SUCCESS. The text belongs to the link and is good until the next
// operation on the link. It has a CR LF in front and one behind, and what the mail format has added
// (docs/wire-format.md).
ORVLINK_EXPORT MSGRET MsgContent(HLINK baseLink, HMSG msg, char ** txt, uint32 * len);

// Deletes a message in the mailbox and forgets it: `msg` is invalid after MSG_SUCCESS and still valid
// otherwise. The server carries the deletion out when the session ends: with the next MsgReceive that looks
// into the mailbox, the next send that opens a session, or MsgFiniLink. If the session breaks before, the
// message is handed out again. Call it only after the text has been stored safely.
ORVLINK_EXPORT MSGRET MsgDelete(HLINK link, HMSG msg);

// Fills *settings and returns it. `buf` is the caller's, of MSG_SETTINGS_BUFFER_SIZE bytes; the texts are
// good as long as it is, and until the next call of this function. Can't fail; without language files the
// texts are empty.
ORVLINK_EXPORT MSGSETTING MsgSupportedSettings(MSGSETTING settings, char * buf);

// 0 when `value` is good for `setting`; otherwise another value, with a text for the user in `IDS`, a buffer
// of at least 256 bytes of the caller's. The text is empty when it isn't known, as before the first
// MsgSupportedSettings or MsgInitLinkV3.
ORVLINK_EXPORT MSGRET MsgVerifySetting(MSGSTRING setting, MSGSTRING value, MSGSTRING IDS);

// A fixed property of the link by its name, or null. "Accepts Binary" gives "No". Owned by the library.
ORVLINK_EXPORT MSGSTRING MsgQueryValue(MSGSTRING index);

// Not supported by this link: MSG_NOT_SUPPORTED, and nothing is touched.
ORVLINK_EXPORT MSGRET MsgBrowseForAddress(HLINK link, uint32 uiparam, const char * dlgcaption,
                                          const char * dlgprompt, char * address, uint32 addresslen,
                                          uint32 reserved);
}

#endif
