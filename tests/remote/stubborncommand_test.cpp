#include "remote/stubborncommand.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "orvlink.h"

namespace {

// Does what it is told, attempt by attempt and round by round, and notes the calls. Behind the end of a list
// its last element holds.
struct ScriptedCommand : StubbornCommand {
    ScriptedCommand(std::vector<COM_RESULT> attempts, std::vector<MSGRET> reinits)
        : _attempts(std::move(attempts)), _reinits(std::move(reinits))
    {
    }
    COM_RESULT AttemptAction(int retry_count) override
    {
        calls += std::to_string(retry_count);
        return _attempts[std::min(_attempts.size() - 1, static_cast<size_t>(retry_count))];
    }
    MSGRET ReInit() override
    {
        calls += "r";
        return _reinits[std::min(_reinits.size() - 1, _rounds++)];
    }
    std::string calls;

private:
    std::vector<COM_RESULT> _attempts;
    std::vector<MSGRET> _reinits;
    size_t _rounds = 0;
};

TEST(StubbornCommand, StopsWhenItShouldAndCountsAttemptsAndRounds)
{
    const struct {
        std::vector<COM_RESULT> attempts;
        std::vector<MSGRET> reinits;
        const char * calls;
        MSGRET result;
    } rows[] = {
        {{COM_SUCCESS}, {MSG_SUCCESS}, "0", MSG_SUCCESS},
        {{COM_RETRY}, {MSG_SUCCESS}, "0r1r2r3r4r", MSG_FAILURE},
        {{COM_RETRY, COM_RETRY, COM_RETRY, COM_RETRY, COM_SUCCESS}, {MSG_SUCCESS}, "0r1r2r3r4", MSG_SUCCESS},
        {{COM_RETRY, COM_OUT_OF_MEMORY}, {MSG_SUCCESS}, "0r1", MSG_OUT_OF_MEMORY},
        {{COM_RETRY}, {MSG_SUCCESS, MSG_SUCCESS, MSG_OUT_OF_MEMORY}, "0r1r2r", MSG_OUT_OF_MEMORY},
        // The last round's result is passed on too, whatever it is.
        {{COM_RETRY},
         {MSG_SUCCESS, MSG_SUCCESS, MSG_SUCCESS, MSG_SUCCESS, MSG_NO_MESSAGE},
         "0r1r2r3r4r",
         MSG_NO_MESSAGE},
        // A result beyond the three is a failure that may be retried.
        {{static_cast<COM_RESULT>(3), COM_SUCCESS}, {MSG_SUCCESS}, "0r1", MSG_SUCCESS},
    };
    for (const auto & row : rows) {
        ScriptedCommand command(row.attempts, row.reinits);
        EXPECT_EQ(command.DoActionWithRetries(), row.result) << row.calls;
        EXPECT_EQ(command.calls, row.calls);
    }
}

} // namespace
