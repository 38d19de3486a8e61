#include "remote/orvsmtp.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "orvlink.h"
#include "support/link_fixture.h"

namespace {

using namespace support;
using lines = std::vector<std::string>;

class Session : public LinkFixture {};

TEST_F(Session, BothLoginsAreProvedAndOnlyPop3StaysOpen)
{
    server.expect(Port::Smtp, smtp_opening() + smtp_quit());
    server.expect(Port::Pop3, pop_opening() + pop_quit());
    ASSERT_TRUE(make_link());
    EXPECT_EQ(link->smtp, nullptr);
    ASSERT_NE(link->pop, nullptr);
    EXPECT_FALSE(SocketIsClosed(link->pop));
    EXPECT_EQ(take_lines(), lines());
}

} // namespace
