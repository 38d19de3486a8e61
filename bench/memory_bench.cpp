// The memory of a link, and of the messages that a scan has found: what the allocator counts as in use before
// and after, its own overhead included. Freed blocks that it keeps for the next allocation count as in use,
// so the figures err on the high side.
//
// Ends with a table; result 1 when a target is missed.

#include <malloc.h>

#include "link_host.h"
#include "null_server.h"
#include "ratio.h"
#include "remote/orvsmtp_inbox.h"

namespace {

constexpr unsigned MAILS = 20000;
constexpr unsigned HEADER_LINES = 20;
constexpr size_t BODY_BYTES = 1024;
constexpr double LINK_LIMIT = 8192; // bytes besides the body; the lists are to come on top and needn't
constexpr double ENTRY_LIMIT = 320; // bytes
constexpr size_t POOL_START = 1000; // the first block of a list

double bytes_in_use()
{
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

void scan(a_smtp_link_info * link)
{
    POPInboxRead inbox(link);
    bench::require(inbox.AttemptAction(0) == COM_SUCCESS, "scan");
}

} // namespace

int main()
{
    const bench::NullMailbox mailbox(MAILS, HEADER_LINES, BODY_BYTES);
    const bench::NullServer server([&](bench::Channel & channel) { serve_pop3(channel, mailbox); },
                                   "127.0.0.1", 0, false);
    bench::Host host("receive_only", server.port());
    // What the process gets once and keeps: language texts, resolver, buffers of the standard output.
    MsgFiniLink(host.make_link());

    const double before = bytes_in_use();
    a_smtp_link_info * link = host.make_link();
    const double idle = bytes_in_use();
    scan(link);
    const double scanned = bytes_in_use();
    const double body = link->body_max_size;
    std::printf("a link: %.0f bytes, %.0f of them its body, about %zu its empty lists\n", idle - before, body,
                2 * POOL_START);
    std::printf("a scan of %u mails: %.0f bytes\n", MAILS, scanned - idle);
    MsgFiniLink(link);

    return ratio::print_table({
        {"bytes of a link besides its body, lists included", ratio::AT_MOST, LINK_LIMIT,
         idle - before - body},
        {"bytes of an entry that a scan has found", ratio::AT_MOST, ENTRY_LIMIT, (scanned - idle) / MAILS},
    });
}
