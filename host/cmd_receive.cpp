#include "commands.h"
#include "exit_codes.h"
#include "file_io.h"
#include "message_text.h"

#include <unistd.h>

#include <cstdio>

namespace orvhost {
namespace {

// Where the texts go. `stored` is what a message to the user calls the place of the latest one.
class Sink {
public:
    [[nodiscard]] int open(const std::string & directory)
    {
        std::string error;
        _to_directory = !directory.empty();
        if (_to_directory && !_directory.open(directory, error)) {
            complain(error);
            return EX_CANTCREAT;
        }
        return exit_ok;
    }

    // Returns only when the text is safe: what comes next is its deletion.
    [[nodiscard]] int store(std::string_view text)
    {
        std::string error;
        _stored = "standard output";
        const bool done = _to_directory ? _directory.store(text, _stored, error)
                                        : write_durably(STDOUT_FILENO, _stored, text, error);
        if (!done) {
            complain(error);
        }
        return done ? exit_ok : EX_CANTCREAT;
    }

    [[nodiscard]] const std::string & stored() const { return _stored; }

private:
    bool _to_directory = false;
    OutputDirectory _directory;
    std::string _stored;
};

// One message. EX_CANTCREAT means that no further message can be stored either; any other failure concerns
// this message, which stays in the mailbox and comes again with the next run.
[[nodiscard]] int take_message(Session & session, const ReceiveOptions & receive, Sink & sink, HMSG message)
{
    char * text = nullptr;
    uint32 length = 0;
    MSGRET result = session.api().content(session.link(), message, &text, &length);
    if (result != MSG_SUCCESS) {
        complain("a message can't be read and stays in the mailbox: " + std::string(result_text(result)));
        return exit_code_of(result);
    }
    const std::string_view whole(text, length); // the link's buffer: good until the next operation
    const int code = sink.store(receive.unframe ? unframed(whole) : whole);
    if (code != exit_ok) {
        complain("the message stays in the mailbox");
        return code;
    }
    if (receive.keep) {
        return exit_ok;
    }
    result = session.api().delete_message(session.link(), message);
    if (result != MSG_SUCCESS) {
        complain("a message is stored (" + sink.stored() +
                 ") but not deleted, and will come again: " + result_text(result));
    }
    return exit_code_of(result);
}

// Each message is handed out once in a run, also one that failed or is kept, so this ends with the mailbox.
[[nodiscard]] int take_all(Session & session, const ReceiveOptions & receive, Sink & sink)
{
    int code = exit_ok;
    while (code != EX_CANTCREAT) {
        HMSG message = nullptr;
        const MSGRET result = session.api().receive(session.link(), &message);
        if (result == MSG_NO_MESSAGE) {
            break;
        }
        if (result != MSG_SUCCESS) {
            complain("the mailbox can't be read: " + std::string(result_text(result)));
            return exit_code_of(result);
        }
        const int taken = take_message(session, receive, sink, message);
        code = taken != exit_ok ? taken : code;
    }
    return code;
}

} // namespace

int run_receive(const Options & options, const ReceiveOptions & receive)
{
    Session session(options);
    Sink sink;
    int code = session.load_profile(true);
    if (code == exit_ok) {
        code = sink.open(receive.directory); // before any message is touched
    }
    if (code == exit_ok) {
        code = session.load_library();
    }
    if (code == exit_ok) {
        code = session.open_link(nullptr);
    }
    return code == exit_ok ? take_all(session, receive, sink) : code;
}

} // namespace orvhost
