#include "remote/stubborncommand.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "orvlink.h"

namespace {

// Does what it is told, attempt by attempt and round by round, and notes the calls. Behind the end of a list
// its last element holds.
class ScriptedCommand : public StubbornCommand {
public:
    ScriptedCommand(std::vector<COM_RESULT> attempts, std::vector<MSGRET> reinits)
        : _attempts(std::move(attempts)), _reinits(std::move(reinits))
    {
    }
    COM_RESULT AttemptAction(int retry_count) override
    {
        calls += std::to_string(retry_count);
        return next(_attempts);
    }
    MSGRET ReInit() override
    {
        calls += "r";
        return next(_reinits);
    }
    std::string calls;

private:
    template<typename T> static T next(std::vector<T> & list)
    {
        const T front = list.front();
        if (list.size() > 1)
            list.erase(list.begin());
        return front;
    }
    std::vector<COM_RESULT> _attempts;
    std::vector<MSGRET> _reinits;
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
        {{COM_OUT_OF_MEMORY}, {MSG_SUCCESS}, "0", MSG_OUT_OF_MEMORY},
        {{COM_RETRY, COM_OUT_OF_MEMORY}, {MSG_SUCCESS}, "0r1", MSG_OUT_OF_MEMORY},
        {{COM_RETRY}, {MSG_FAILURE}, "0r", MSG_FAILURE},
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
