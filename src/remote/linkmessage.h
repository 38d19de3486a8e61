// The messages of the inbox as the link keeps them: what an HMSG of the host points to, and how it sorts in
// the two message lists.
//
// The link owns every message. A message belongs to the thread that works on its link. Nothing here can fail.
#pragma once

#include "utils/etc/skplst.h"
#include "utils/etc/uttypes.h"

// A message of any link.
class LinkMessage : public SkipListEntry {
public:
    ~LinkMessage() override = default;
    void freeKey(SkipListKey * key) override;

    // Did the latest look into the mailbox find the message there?
    [[nodiscard]] a_bool Exists() const { return _exists; }
    void SetExistence(a_bool exists) { _exists = exists; }

protected:
    explicit LinkMessage(a_bool exists) : _exists(exists) {}

private:
    a_bool _exists;
};

// Bytes of a message's identity with its terminator. Longer ids are compared, and so told apart, by their
// first 160 characters: two-thirds of what the sending side can produce, and enough for date, address and
// number.
constexpr unsigned int MESSAGE_ID_SIZE = 161;

// A message of the mailbox: its identity, which lasts, and its number, which is good for one POP3 session.
class SMTPLinkMessage : public LinkMessage {
public:
    // With a null or empty `id` the message doesn't exist and has the number 0; a long `id` is cut.
    SMTPLinkMessage(const char * id, unsigned long num);
    ~SMTPLinkMessage() override = default;

    // The key is the text of the id, the message's own; it needs no freeing.
    SkipListKey * getKey() override;
    using LinkMessage::freeKey;
    CompareResult compare(SkipListKey * key) override;
    [[nodiscard]] virtual char * GetValue();

    [[nodiscard]] unsigned long GetMessageNum() const { return _num; }
    void SetMessageNum(unsigned long num) { _num = num; }

    // The key under which the lists know the id `id`.
    [[nodiscard]] static SkipListKey * key_of(const char * id);

private:
    char _id[MESSAGE_ID_SIZE];
    unsigned long _num;
};
