// orvmaild - an SMTP and POP3 server on loopback over Maildir folders, for trying the link out without a mail
// system.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <pthread.h>

#include <CLI/CLI.hpp>

#include "mailserver/server.h"

namespace {

using namespace mailserver;

struct Options {
    Config config;
    std::string root;
    std::vector<std::string> users;
    std::string port_file;
    bool trace = false;
    bool no_sync = false;
    bool null = false;
    SyntheticMail synthetic;
    long idle_seconds = 600;
};

void add_server_options(CLI::App & app, Options & options)
{
    Config & config = options.config;
    app.add_option("--root", options.root, "Folder with a Maildir for each user; made if missing");
    app.add_option("--user", options.users,
                   "A mailbox user and its password; mail to NAME@any.domain goes there")
        ->type_name("NAME:PASSWORD ...")
        ->required();
    app.add_option("--address", config.address, "Loopback address to listen on")->capture_default_str();
    app.add_option("--smtp-port", config.smtp_port, "SMTP port; 0: one that is free")->capture_default_str();
    app.add_option("--pop3-port", config.pop3_port, "POP3 port; 0: one that is free")->capture_default_str();
    app.add_option(
        "--port-file", options.port_file,
        "Write the lines \"smtp PORT\" and \"pop3 PORT\" to this file once the server can be reached");
    app.add_option("--host-name", config.host_name, "Name of this server in greetings")
        ->capture_default_str();
    app.add_option("--idle", options.idle_seconds, "Hang up on a client that is silent for so many seconds")
        ->check(CLI::Range(1, 86400))
        ->capture_default_str();
}

void add_protocol_options(CLI::App & app, Config & config)
{
    app.add_flag("!--no-ehlo", config.ehlo, "Know no EHLO, only HELO");
    app.add_flag("!--no-cram-md5", config.auth_cram_md5, "Neither announce nor take AUTH CRAM-MD5");
    app.add_flag("!--no-login", config.auth_login, "Neither announce nor take AUTH LOGIN");
    app.add_flag("--require-auth", config.require_auth, "Take mail only from clients that have logged in");
    app.add_flag("!--no-apop", config.apop, "No timestamp in the POP3 greeting, and no APOP");
    app.add_flag("!--no-top", config.top, "Know no TOP");
    app.add_flag("--received", config.received_header, "Put Return-Path and Received in front of each mail");
    app.add_option("--max-mail", config.max_mail, "Refuse mail of more bytes")->capture_default_str();
    app.add_option("--max-line", config.max_line, "Refuse commands of more bytes, line end included")
        ->check(CLI::Range(512, 1 << 20))
        ->capture_default_str();
}

void add_trace_options(CLI::App & app, Options & options)
{
    app.add_flag("--trace", options.trace, "Print the conversations: C: from the client, S: from the server");
    app.add_flag("--trace-secrets", options.config.trace_secrets,
                 "Leave passwords, and answers to challenges, unmasked in the trace");
    app.add_flag("--trace-mail", options.config.trace_mail, "Print the lines of mails in the trace");
}

void add_store_options(CLI::App & app, Options & options)
{
    app.add_flag("--no-sync", options.no_sync,
                 "Don't wait for the disk at a delivery; a crash can lose mail");
    app.add_flag("--null", options.null,
                 "For benchmarks: throw mail away, and serve made-up mail; --root is not used");
    app.add_option("--null-mails", options.synthetic.count, "Number of made-up mails")->capture_default_str();
    app.add_option("--null-headers", options.synthetic.header_lines, "Header lines of each, at least 5")
        ->capture_default_str();
    app.add_option("--null-body", options.synthetic.body_bytes, "Bytes of the body of each")
        ->capture_default_str();
}

std::shared_ptr<Store> make_store(const Options & options)
{
    if (options.null)
        return std::make_shared<NullStore>(options.synthetic);
    return std::make_shared<MaildirStore>(options.root, !options.no_sync);
}

void take_users(Options & options)
{
    for (const std::string & user : options.users) {
        const size_t colon = user.find(':');
        if (colon == 0 || colon == user.npos)
            throw CLI::ValidationError("--user", "wants NAME:PASSWORD, not " + user);
        options.config.users[user.substr(0, colon)] = user.substr(colon + 1);
    }
    if (options.root.empty() && !options.null)
        throw CLI::ValidationError("--root", "is needed without --null");
}

// Each line of the trace begins with the connection, as in "smtp#1 C: QUIT". A bare CR, LF or other control
// character is shown as a period, since a client must not be able to forge lines or steer the terminal.
void print_trace(const TraceLine & line)
{
    std::string text(line.text);
    std::replace_if(
        text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 127; },
        '.');
    std::cout << (line.protocol == Protocol::Smtp ? "smtp#" : "pop3#") << line.connection
              << (line.side == Side::Client ? " C: " : " S: ") << text << std::endl;
}

void tell_ports(const Server & server, const std::string & port_file)
{
    const std::string text =
        "smtp " + std::to_string(server.smtp_port()) + "\npop3 " + std::to_string(server.pop3_port()) + "\n";
    std::cout << text << std::flush;
    if (port_file.empty())
        return;
    // Renamed into place, so that whoever waits for the file finds it whole.
    const std::string temporary = port_file + ".new";
    std::ofstream file(temporary);
    file << text << std::flush;
    file.close();
    if (!file || std::rename(temporary.c_str(), port_file.c_str()) != 0)
        throw std::runtime_error("cannot write " + port_file);
}

void serve(Options & options)
{
    options.config.idle = std::chrono::seconds(options.idle_seconds);
    if (options.trace)
        options.config.trace = print_trace;
    // Blocked before the first thread is made, and so in all of them: the signals wait for sigwait.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    if (pthread_sigmask(SIG_BLOCK, &signals, nullptr) != 0)
        throw std::runtime_error("cannot block signals");
    Server server(options.config, make_store(options));
    server.start();
    tell_ports(server, options.port_file);
    int signal = 0;
    (void)sigwait(&signals, &signal); // fails for bad sets only
    server.stop();
}

int run(int argc, char ** argv)
{
    Options options;
    CLI::App app("An SMTP and POP3 server on loopback, for trying the link out. Ends on SIGTERM and SIGINT.",
                 "orvmaild");
    add_server_options(app, options);
    add_protocol_options(app, options.config);
    add_trace_options(app, options);
    add_store_options(app, options);
    try {
        app.parse(argc, argv);
        take_users(options);
    } catch (const CLI::Error & error) {
        return app.exit(error);
    }
    serve(options);
    return 0;
}

} // namespace

int main(int argc, char ** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception & error) {
        (void)std::fprintf(stderr, "orvmaild: %s\n", error.what()); // nothing is left to do if that fails
        return 1;
    }
}
