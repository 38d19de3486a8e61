// A mail server of this process with the mailboxes of "bob" and "ann", and what a host needs for a link of
// bob's to it. All calls on the test's thread.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "mailserver/server.h"
#include "remote/orvsmtp.h"
#include "support/host_profile.h"

namespace support {

constexpr std::chrono::seconds PATIENCE{10};

class MailStage {
protected:
    MailStage()
    {
        server.start();
        profile.point_at(server.smtp_port(), server.pop3_port());
    }

    static mailserver::Config config()
    {
        mailserver::Config config;
        config.users = {{"bob", "secret"}, {"ann", "secret"}};
        config.cram_challenge = "<1.2@localhost>"; // every run has the same bytes
        config.apop_timestamp = "<3.4@localhost>";
        return config;
    }

    HLINK make_link()
    {
        return MsgInitLinkV3("bob@here", CallbackRecorder::callback(), profile.access(), nullptr);
    }

    // A mail of another link's for bob.
    void put(const std::string & id, const std::string & text)
    {
        store->put("bob", "Subject: -Orv-Relays-\r\nMessage-ID: " + id + "\r\n\r\n" + text + "\r\n", id);
    }

    // The text as the host gets it, or nothing with a result other than success in `ret`.
    static std::optional<std::string> content(HLINK link, HMSG msg, MSGRET * ret)
    {
        char * txt = nullptr;
        uint32 len = 0;
        *ret = MsgContent(link, msg, &txt, &len);
        return *ret == MSG_SUCCESS ? std::optional(std::string(txt, len)) : std::nullopt;
    }

    std::shared_ptr<mailserver::MemoryStore> store = std::make_shared<mailserver::MemoryStore>();
    mailserver::Server server{config(), store};
    HostProfile profile;
    CallbackRecorder recorder;
};

} // namespace support
