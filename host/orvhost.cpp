// orvhost - a host of the message link: the example for those who write one, the tool for those who run one.
//
// Start at run_send and run_receive: load the library (library.h), read the profile (profile.h), make the
// link (session.h), work, end the link. What a host must not get wrong stands there in comments.
#include "commands.h"
#include "exit_codes.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>
#include <new>

namespace {

using namespace orvhost;

struct CommandLine {
    Options options;
    VerifyOptions verify;
    SendOptions send;
    ReceiveOptions receive;
    int code = exit_ok;
};

constexpr char secrets_help[] = "Show passwords and credentials instead of masking them";

void add_library(CLI::App & app, Options & options)
{
    app.add_option("--library", options.link_library,
                   "The link library; default: ../lib64 beside this program, then the loader's path")
        ->type_name("PATH");
}

void add_profile(CLI::App & app, Options & options, const char * help)
{
    app.add_option("--profile", options.profile, help)->type_name("FILE");
}

// The options of the commands that make a link.
void add_link_options(CLI::App & app, Options & options)
{
    add_library(app, options);
    add_profile(
        app, options,
        "INI file with the settings; the key \"address\" is this host's own e-mail address (required)");
    app.add_flag("--show-secrets", options.show_secrets, secrets_help);
    auto * prompt =
        app.add_flag("--prompt", options.prompt,
                     "Let the link ask for missing login values, even if standard input is no terminal");
    app.add_flag("--no-prompt", options.no_prompt,
                 "Let it never ask; so also, without --prompt, if standard input is no terminal")
        ->excludes(prompt);
}

void add_debug(CLI::App & app, Options & options)
{
    app.add_flag("--debug", options.debug,
                 "Show the link's debug trace on standard error, credentials masked");
}

void add_settings_command(CLI::App & app, CommandLine & line)
{
    CLI::App & command =
        *app.add_subcommand("settings", "List the settings with their texts and current values");
    add_library(command, line.options);
    add_profile(command, line.options, "INI file to take the current values from");
    command.add_flag("--show-secrets", line.options.show_secrets, secrets_help);
    add_debug(command, line.options);
    command.callback([&line] { line.code = run_settings(line.options); });
}

void add_verify_command(CLI::App & app, CommandLine & line)
{
    CLI::App & command = *app.add_subcommand("verify", "Ask the link whether a value is good for a setting");
    add_library(command, line.options);
    add_debug(command, line.options);
    command.add_option("NAME", line.verify.name, "Name of the setting, or \"address\"")->required();
    command.add_option("VALUE", line.verify.value, "The value; behind -- if it begins with a hyphen")
        ->required();
    command.callback([&line] { line.code = run_verify(line.options, line.verify); });
}

void add_send_command(CLI::App & app, CommandLine & line)
{
    CLI::App & command = *app.add_subcommand("send", "Send a text as one message");
    add_link_options(command, line.options);
    add_debug(command, line.options);
    command.add_option("--to", line.send.to, "The recipient's e-mail address")
        ->type_name("ADDRESS")
        ->required();
    command
        .add_option("--count", line.send.count,
                    "The host's number of the message, below 4294967295; without it the message is sent "
                    "out of band, with a serial from the profile")
        ->type_name("N")
        ->check(CLI::Range(uint32_t{0}, uint32_t{0xFFFFFFFE}));
    command.add_option("FILE", line.send.file, "The text; - is standard input, which is also the default");
    command.footer(
        "The text must be free of binary zeros and fit, with its line ends, into what the reader takes.\n"
        "Exit code 1 means that the message isn't known to have arrived: keep it and send it again.\n\n" +
        exit_code_help());
    command.callback([&line] { line.code = run_send(line.options, line.send); });
}

void add_receive_command(CLI::App & app, CommandLine & line)
{
    CLI::App & command = *app.add_subcommand("receive", "Take all waiting messages out of the mailbox");
    add_link_options(command, line.options);
    add_debug(command, line.options);
    command
        .add_option("--out", line.receive.directory,
                    "Write each text to a new file of its own in this directory, which is made if it is "
                    "missing; default: standard output")
        ->type_name("DIR");
    command.add_flag("--keep", line.receive.keep,
                     "Delete nothing: the next run gets the same messages again");
    command.add_flag("--unframe", line.receive.unframe,
                     "Take the CR LF in front of the text and one behind it off");
    command.footer("A message is deleted only when its text is safely written. A text comes as it arrived: a "
                   "CR LF in front, and\n"
                   "one behind. --unframe takes off these two. It can't undo the rest, since nothing tells "
                   "it from the text:\n"
                   "  - a CR LF that broke a line of more than 600 characters\n"
                   "  - a blank in front of a line that begins with a period\n"
                   "  - whether the text itself ended with a CR LF: that one is taken off, too\n\n" +
                   exit_code_help());
    command.callback([&line] { line.code = run_receive(line.options, line.receive); });
}

void add_doctor_command(CLI::App & app, CommandLine & line)
{
    CLI::App & command =
        *app.add_subcommand("doctor", "Make a link with the trace on and explain what happens");
    add_link_options(command, line.options);
    add_debug(command, line.options); // on anyway
    command.footer(
        "Findings go to standard output, the trace to standard error. No mail is read, sent or deleted.\n\n" +
        exit_code_help());
    command.callback([&line] { line.code = run_doctor(line.options); });
}

int run(int argc, char ** argv)
{
    CommandLine line;
    CLI::App app("A host of the message link: sends and receives replication messages as e-mail.", "orvhost");
    app.require_subcommand(1);
    // Also in front of the command, for scripts that keep "orvhost --profile FILE" in a variable.
    add_link_options(app, line.options);
    add_debug(app, line.options);
    app.footer("orvhost COMMAND --help tells the options of a command.\n\n" + exit_code_help());
    add_settings_command(app, line);
    add_verify_command(app, line);
    add_send_command(app, line);
    add_receive_command(app, line);
    add_doctor_command(app, line);
    for (CLI::App * command : app.get_subcommands({})) {
        if (command->get_footer().empty()) {
            command->footer(exit_code_help());
        }
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError & error) {
        return app.exit(error) == 0 ? exit_ok : EX_USAGE;
    }
    return line.code;
}

} // namespace

int main(int argc, char ** argv)
{
    // A server that has gone away, or a reader of our output, must show as a failed write and not end the
    // program: the link sets no signal dispositions of its own.
    (void)std::signal(SIGPIPE, SIG_IGN); // can't fail for a signal that exists
    try {
        return run(argc, argv);
    } catch (const std::bad_alloc &) {
        (void)std::fputs("orvhost: out of memory\n", stderr); // the link was ended on the way here
    } catch (...) {
        (void)std::fputs("orvhost: internal error\n", stderr);
    }
    return EX_TEMPFAIL;
}
