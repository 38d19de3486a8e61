// A running mail server over a store in memory, and the steps that most tests begin with.
#pragma once

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "mailserver/server.h"
#include "support/plain_client.h"

namespace support {

class MailServerTest : public testing::Test {
protected:
    static mailserver::Config config_of_tests()
    {
        mailserver::Config config;
        config.users = {{"alice", "wonder land"}, {"tim", "tanstaaftanstaaf"}, {"mrose", "tanstaaf"}};
        return config;
    }

    void start(mailserver::Config config = config_of_tests(),
               std::shared_ptr<mailserver::Store> store = nullptr)
    {
        server = std::make_unique<mailserver::Server>(std::move(config), store != nullptr ? store : memory);
        server->start();
    }

    void script(mailserver::FaultScript faults)
    {
        ASSERT_TRUE(server->wait_idle(std::chrono::seconds(10)));
        server->set_faults(std::move(faults));
    }

    std::unique_ptr<PlainClient> smtp() const { return std::make_unique<PlainClient>(server->smtp_port()); }
    std::unique_ptr<PlainClient> pop3() const { return std::make_unique<PlainClient>(server->pop3_port()); }

    // Greeting and login are behind it.
    std::unique_ptr<PlainClient> inbox(const std::string & user = "alice") const
    {
        auto client = pop3();
        (void)client->line();
        (void)client->ask("USER " + user);
        EXPECT_EQ(client->ask("PASS wonder land").substr(0, 3), "+OK");
        return client;
    }

    // Greeting and HELO are behind it.
    std::unique_ptr<PlainClient> greeted() const
    {
        auto client = smtp();
        EXPECT_EQ(client->line(), "220 localhost ESMTP ready");
        EXPECT_EQ(client->ask("HELO me"), "250 localhost");
        return client;
    }

    // Up to the reply to DATA.
    static void envelope(PlainClient & client)
    {
        EXPECT_EQ(client.ask("MAIL FROM:<me@here>"), "250 OK");
        EXPECT_EQ(client.ask("RCPT TO:<alice@there>"), "250 OK");
        EXPECT_EQ(client.ask("DATA").substr(0, 3), "354");
    }

    std::shared_ptr<mailserver::MemoryStore> memory = std::make_shared<mailserver::MemoryStore>();
    std::unique_ptr<mailserver::Server> server;
};

} // namespace support
