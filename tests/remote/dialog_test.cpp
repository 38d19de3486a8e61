// The login prompt, in child processes: it reads the standard input of the process and sets its terminal.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <pty.h>
#include <regex>
#include <string>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <vector>

#include "remote/orvsmtp_session.h"
#include "remote/unixdll.h"
#include "support/link_fixture.h"

static int settings_that_work = 1000; // calls of tcsetattr before those that fail

// Stands in front of the C library's, to fail when a test wants it.
extern "C" int tcsetattr(int handle, int actions, const termios * settings) noexcept
{
    if (settings_that_work-- <= 0) {
        errno = EIO;
        return -1;
    }
    using a_function = int(int, int, const termios *);
    return reinterpret_cast<a_function *>(dlsym(RTLD_NEXT, "tcsetattr"))(handle, actions, settings);
}

namespace {

using namespace support;
using lines = std::vector<std::string>;

std::string joined(const lines & all)
{
    std::string text;
    for (const std::string & line : all)
        text += line + "\n";
    return text;
}

// What `body` gives in a child process whose standard input is `input`. It runs for 20 seconds at most.
std::string in_child(int input, const std::function<std::string()> & body)
{
    int result[2];
    EXPECT_EQ(pipe(result), 0);
    (void)fflush(nullptr); // what is buffered is the parent's
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        dup2(input, STDIN_FILENO);
        const std::string text = body();
        const bool written = write(result[1], text.data(), text.size()) == static_cast<ssize_t>(text.size());
        std::exit(written ? 0 : 1); // with the checks that run at an end
    }
    close(result[1]);
    std::string text;
    char bytes[4096];
    for (ssize_t got = 0; (got = read(result[0], bytes, sizeof(bytes))) > 0;)
        text.append(bytes, static_cast<size_t>(got));
    close(result[0]);
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << text;
    return text;
}

std::string in_child(const std::string & input, const std::function<std::string()> & body)
{
    FILE * file = tmpfile();
    EXPECT_EQ(fwrite(input.data(), 1, input.size(), file), input.size());
    rewind(file);
    std::string text = in_child(fileno(file), body);
    (void)fclose(file);
    return text;
}

// A link that has no sockets, and its values and flags as text.
struct a_bare_link {
    a_bare_link()
    {
        link->profile_access = profile.access();
        link->msgcb = CallbackRecorder::callback();
        EXPECT_EQ(OSLangString.Init(), LS_INIT_OKAY);
    }
    std::string values() const
    {
        const a_login_parms & parms = link->parms;
        return joined({parms.smtp_host, parms.smtp_port, parms.pop3_host, parms.pop3_port, parms.pop3_userid,
                       parms.pop3_passwd}) +
               (link->smtp_from_dialog ? "s" : "") + (link->pop_from_dialog ? "p" : "") +
               (link->passwd_from_dialog ? "w" : "");
    }

    HostProfile profile{{"smtp_host", "s"}, {"pop3_host", "p"}, {"pop3_userid", "u"}, {"pop3_password", "w"}};
    CallbackRecorder callback;
    std::unique_ptr<a_smtp_link_info> link{new a_smtp_link_info};
};

const std::string old_values = "s\n25\np\n110\nu\nw\n";

// --- Input from a file

TEST(DialogInput, LinesGoToTheirFieldsAndAnEndOfInputStops)
{
    const std::string fields = std::string(255, 'a') + "\n" + std::string(9, '1') + "\n" +
                               std::string(255, 'b') + "\n" + std::string(9, '2') + "\n" +
                               std::string(63, 'c') + "\n" + std::string(63, 'd') + "\n";
    std::string longer;
    for (const char c : std::string("a1b2cd"))
        longer += std::string(600, c) + "\n";
    const struct {
        const char * what;
        std::string input;
        std::string values;
        size_t prompts;
        bool result = true;
    } rows[] = {
        {"empty lines keep all", "\n\n\n\n\n\n", old_values + "spw", 6},
        {"a last line without its end", "\n\n\n\n\nW", "s\n25\np\n110\nu\nW\nspw", 6},
        {"a file with CR LF", "S\r\n\r\n\r\n\r\n\r\n\r\n", "S\n25\np\n110\nu\nw\nspw", 6},
        {"blanks are values", " \n\n\n\n\n a \n", " \n25\np\n110\nu\n a \nspw", 6},
        {"the longest values", fields, fields + "spw", 6},
        {"longer ones are cut", longer, fields + "spw", 6},
        {"no input at all", "", old_values, 1, false},
        {"an end on the way keeps what was typed, without flags", "S\n\nP\n", "S\n25\nP\n110\nu\nw\n", 4,
         false},
    };
    for (const auto & row : rows) {
        const std::string seen = in_child(row.input, [] {
            a_bare_link bare;
            SMTP_POPSessionOpen session(bare.link.get(), MODE_POP);
            const a_bool result = session.DisplayDialog();
            return std::to_string(bare.callback.lines().size()) + (result ? " TRUE\n" : " FALSE\n") +
                   bare.values();
        });
        EXPECT_EQ(seen, std::to_string(row.prompts) + (row.result ? " TRUE\n" : " FALSE\n") + row.values)
            << row.what;
    }
}

// --- A terminal

int master = -1;
std::string during; // the terminal's settings, seen at each prompt

std::string text_of(const termios & settings)
{
    char text[64];
    (void)snprintf(text, sizeof(text), "%x %x %x %x %d %d\n", settings.c_iflag, settings.c_oflag,
                   settings.c_lflag, settings.c_cflag, settings.c_cc[VERASE], settings.c_cc[VEOF]);
    return text;
}

std::string terminal()
{
    termios settings{};
    EXPECT_EQ(tcgetattr(STDIN_FILENO, &settings), 0);
    return text_of(settings);
}

// Answers each prompt as a user does: with the key Enter, which gives CR.
short answer(const char * prompt)
{
    during += terminal();
    const char * keys = std::strstr(prompt, "user") != nullptr ? "anx\177n\r" : "\r";
    EXPECT_EQ(write(master, keys, std::strlen(keys)), static_cast<ssize_t>(std::strlen(keys)));
    return 0;
}

// The dialog at a raw terminal; "result", the flags and what the terminal was before, meanwhile and after.
// `raw`: the settings in front of it.
std::string at_terminal(int working_settings, termios & raw)
{
    int slave = -1;
    EXPECT_EQ(openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(tcgetattr(slave, &raw), 0);
    cfmakeraw(&raw);
    raw.c_cc[VERASE] = 0177;
    EXPECT_EQ(tcsetattr(slave, TCSANOW, &raw), 0);
    std::string seen = in_child(slave, [working_settings] {
        settings_that_work = working_settings;
        a_bare_link bare;
        bare.link->msgcb = answer;
        SMTP_POPSessionOpen session(bare.link.get(), MODE_POP);
        const std::string before = terminal();
        const a_bool result = session.DisplayDialog();
        return std::string(result ? "TRUE " : "FALSE ") + bare.link->parms.pop3_userid + "\n" + before +
               during + terminal();
    });
    close(master);
    close(slave);
    return seen;
}

TEST(DialogTerminal, IsMadePlainForThePromptsAndPutBack)
{
    termios raw{};
    const std::string seen = at_terminal(1000, raw);
    termios cooked = raw; // all else as it was
    cooked.c_iflag = 0x3506;
    cooked.c_oflag = 5;
    cooked.c_lflag = 0x8A3B;
    std::string expected = "TRUE ann\n" + text_of(raw);
    for (int prompt = 0; prompt < 6; ++prompt)
        expected += text_of(cooked);
    EXPECT_EQ(seen, expected + text_of(raw));
}

TEST(DialogTerminal, ThatCannotBeSetGetsNoPrompt)
{
    termios raw{};
    const std::string seen = at_terminal(0, raw);
    EXPECT_EQ(seen, "FALSE u\n" + text_of(raw) + text_of(raw)); // nothing meanwhile
}

// --- The rounds of Connect

// The prompts, counted, and the other lines that a new link gives with this input; then what was written.
std::string rounds(const std::string & input, const std::function<void(LinkStage &)> & prepare)
{
    return in_child(input, [&prepare] {
        LinkStage stage;
        stage.profile.set("suppress_dialogs", "");
        prepare(stage);
        std::string seen = stage.make_link() ? "link\n" : "none\n";
        seen += joined(stage.take_lines());
        for (const ProfileAccess & access : stage.profile.writes())
            seen += (access.kind == ProfileAccess::Kind::Write ? "write " : "volatile ") + access.name + "\n";
        stage.end_link();
        const testing::AssertionResult verdict = stage.server.verdict();
        return seen + (verdict ? "" : verdict.message());
    });
}

const std::string server_prompts = "SMTP server [127.0.0.1]:\nSMTP port [*]:\nPOP3 server [127.0.0.1]:\n"
                                   "POP3 port [*]:\nPOP3 user [bob]:\nPOP3 password [*]:\n";

// With "*" for ports and passwords, which differ.
std::string without_numbers(const std::string & text)
{
    return std::regex_replace(text, std::regex("(port|password) \\[[^\\]]*\\]"), "$1 [*]");
}

const std::vector<Row> wrong_password = {say("+OK"), hear("USER bob"), say("+OK"), hear("PASS wrong"),
                                         say("-ERR")};
const std::string five_refusals = [] {
    std::string text;
    for (int i = 0; i < 5; ++i)
        text += "The POP3 server did not accept the password.\n";
    return text;
}();

TEST(DialogRounds, LinkWithoutValuesComesToThePromptInSilenceAndGoesOn)
{
    const std::string seen = rounds("\n\n\n\n\nsecret\n", [](LinkStage & stage) {
        stage.profile.set("receive_only", "y");
        stage.profile.set("pop3_password", "");
        stage.profile.set("save_remote_passwords", "off");
        stage.server.expect(Port::Pop3, pop_opening() + pop_quit());
    });
    EXPECT_EQ(without_numbers(seen), "link\n" + server_prompts + "volatile pop3_password\n");
}

TEST(DialogRounds, BothModesAskAfterEachFailureAndBeginWithSmtpAgain)
{
    const std::string seen = rounds("\n\n\n\n\n\n\n\n\n\n\nsecret\n", [](LinkStage & stage) {
        stage.profile.set("pop3_password", "wrong");
        for (int attempt = 0; attempt < 5; ++attempt) // POP3 isn't touched yet
            stage.server.expect(Port::Smtp, std::vector<Row>{say("554 no")} + smtp_quit());
        stage.server.expect(Port::Smtp, smtp_opening() + smtp_quit());
        for (int attempt = 0; attempt < 5; ++attempt)
            stage.server.expect(Port::Pop3, wrong_password + pop_quit());
        stage.server.expect(Port::Smtp, smtp_opening() + smtp_quit());
        stage.server.expect(Port::Pop3, pop_opening() + pop_quit());
    });
    EXPECT_EQ(without_numbers(seen), "link\n" + server_prompts + five_refusals + server_prompts);
}

TEST(DialogRounds, EndOfInputEndsTheRounds)
{
    const std::string seen = rounds("\n\n\n\n\n\n", [](LinkStage & stage) {
        stage.profile.set("receive_only", "y");
        stage.profile.set("pop3_password", "wrong");
        for (int attempt = 0; attempt < 10; ++attempt)
            stage.server.expect(Port::Pop3, wrong_password + pop_quit());
    });
    EXPECT_EQ(without_numbers(seen),
              "none\n" + five_refusals + server_prompts + five_refusals + "SMTP server [127.0.0.1]:\n");
}

} // namespace
