#include "remote/stubborncommand.h"

#include "remote/orvsmtp.h"
#include "remote/orvsmtp_inbox.h"

namespace {

// Enough for a server that restarts or drops an idle session, few enough for a host that waits for the
// result. The setting "retries" is verified for older profiles, but it doesn't change this number.
constexpr int ATTEMPTS = 5;

} // namespace

MSGRET StubbornCommand::DoActionWithRetries()
{
    for (int retry_count = 0; retry_count < ATTEMPTS; ++retry_count) {
        switch (AttemptAction(retry_count)) {
        case COM_SUCCESS:
            return MSG_SUCCESS;
        case COM_OUT_OF_MEMORY:
            return MSG_OUT_OF_MEMORY;
        case COM_RETRY:
            break;
        }
        const MSGRET ret = ReInit();
        if (ret != MSG_SUCCESS) {
            return ret;
        }
    }
    return MSG_FAILURE;
}

MSGRET StubbornPOPCommand::ReInit()
{
    const MSGRET ret = Connect(_lnk, MODE_POP);
    if (ret != MSG_SUCCESS) {
        return ret;
    }
    return POPInboxRead(_lnk).DoActionWithRetries();
}
