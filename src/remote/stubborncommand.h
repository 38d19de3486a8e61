// The loop that every conversation with a mail server runs in: attempt, bring the link back into shape,
// attempt again. Network trouble, a refusing server and a lost session are all the same to the caller of a
// command.
//
// Commands live on the caller's stack for one operation, hold pointers only and own nothing. They run on the
// caller's thread, under the rule of their link. The loop itself reports nothing: attempts and ReInit do.
#pragma once

#include "utils/etc/uttypes.h"

class a_smtp_link_info;

enum COM_RESULT {
    COM_SUCCESS = 0,       // the action is done
    COM_RETRY = 1,         // the attempt failed; another may succeed
    COM_OUT_OF_MEMORY = 2, // stop: memory ran out
};

class StubbornCommand {
public:
    virtual ~StubbornCommand() = default;

    // One attempt at the whole action. `retry_count` counts from 0.
    [[nodiscard]] virtual COM_RESULT AttemptAction(int retry_count) = 0;

    // Brings the link back into a state in which a further attempt makes sense. Runs after every attempt that
    // asked for a retry, the last one included. A result other than MSG_SUCCESS ends the command.
    [[nodiscard]] virtual MSGRET ReInit() = 0;

    // Five attempts at most, without a pause. MSG_SUCCESS, MSG_FAILURE after the fifth, MSG_OUT_OF_MEMORY, or
    // the failing result of a ReInit.
    [[nodiscard]] MSGRET DoActionWithRetries();
};

// A command on a message of the inbox. Its ReInit opens a new POP3 session and scans the mailbox, which gives
// every message handed to the host its number in that session.
class StubbornPOPCommand : public StubbornCommand {
public:
    explicit StubbornPOPCommand(a_smtp_link_info * lnk) : _lnk(lnk) {}
    [[nodiscard]] MSGRET ReInit() override;

protected:
    a_smtp_link_info * _lnk;
};
