// A POP3 server that says and cuts whatever it likes: greeting and login, a look into the mailbox, and each
// message found is read and deleted.

#include "fake_server.h"
#include "remote/orvsmtp_auth.h"
#include "remote/orvsmtp_inbox.h"

namespace {

void log_in(a_smtp_link_info * lnk)
{
    char greeting[REPLY_SIZE];
    if (pop_reply(lnk, greeting)) {
        (void)pop_login(lnk, greeting);
    }
}

void read_and_delete(a_smtp_link_info * lnk, SMTPLinkMessage * msg)
{
    if (POPMessageRead(lnk, msg).AttemptAction(0) == COM_SUCCESS) {
        require(lnk->body_len + 5 <= lnk->body_max_size);
        require(lnk->body[lnk->body_len] == '\0');
    }
    (void)POPMessageDelete(lnk, msg).AttemptAction(0); // else the link's destructor takes it
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * data, std::size_t size)
{
    std::span<const std::uint8_t> input(data, size);
    const std::uint8_t mode = fuzz::take_byte(input);
    fuzz::FakeLink link(input);
    a_smtp_link_info * lnk = link.lnk.get();
    lnk->top_supported = mode & 1;
    lnk->debug = mode >> 1 & 1;
    // Behind the longest line carried over the smallest body has a byte left; larger ones have their limit
    // met, too.
    link.make_body(600 + 16 * (mode >> 2));
    link.open(lnk->pop);
    log_in(lnk);
    POPInboxRead inbox(lnk);
    (void)inbox.AttemptAction(0); // what a failed scan has found counts as well
    while (SMTPLinkMessage * msg = inbox.GetNextNewMessage()) {
        inbox.FlagAsReceived(msg);
        read_and_delete(lnk, msg);
    }
    return 0;
}
