// A mail server that knows nothing but its script: rows of "hear this, say that" for each connection, in the
// shape of a wire table. It compares the whole dialogue byte by byte.
//
//     ScriptedServer server;
//     server.expect(Port::Smtp, {say("220 ready"), hear("HELO me"), say("250 hi")});
//     ... the client under test uses server.port(Port::Smtp) and ends its connections ...
//     EXPECT_TRUE(server.verdict());
//
// The connections must come in the order of the calls of expect(); several may be open at a time. Behind its
// last row a connection waits for the client to end it, and a byte more is wrong. At the first thing that is
// wrong the server closes its ports and hangs up, so that no client waits for it, and verdict() tells about
// it. All waits are bounded. Threads: one that accepts and one for each connection, joined by verdict() or
// the destructor. All members are for the test's thread.
#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/plain_client.h"

namespace support {

enum class Port { Smtp, Pop3 };

struct Row {
    enum class Kind { Hear, HearLike, CollectData, Say, HangUp, Reset };
    Kind kind;
    std::string text = {};
    size_t piece = 0; // Say: in pieces of so many bytes
};

Row hear(std::string line);        // exactly this line and CR LF
Row hear_like(std::string regex);  // a line that fits as a whole (ECMAScript); collected
Row hear_anything();               // any line; collected
Row collect_data();                // any bytes up to and with the end mark CR LF . CR LF; collected
Row say(const std::string & line); // this line and CR LF
Row say_bytes(std::string bytes,
              size_t piece = 0); // these bytes, no line end added; in pieces that leave one by one
Row hang_up(); // FIN, whatever the client still sends is thrown away; rows behind it aren't played
Row reset();   // RST, rows behind it aren't played either

// Rows put together: all of `first`, then all of `second`.
std::vector<Row> operator+(std::vector<Row> first, const std::vector<Row> & second);

class ScriptedServer {
public:
    explicit ScriptedServer(std::chrono::milliseconds patience = std::chrono::seconds(10));
    ~ScriptedServer() { end(); } // judges nothing
    ScriptedServer(const ScriptedServer &) = delete;
    ScriptedServer & operator=(const ScriptedServer &) = delete;

    uint16_t port(Port port) const { return _ports[static_cast<size_t>(port)]; } // on 127.0.0.1

    // The next connection. May be called while earlier ones run.
    void expect(Port port, std::vector<Row> rows);

    // Waits until all expected connections have come and ended, then ends the server. Success: all of them
    // kept to the script, and there were no others. Else what was wrong, and the transcript. Later calls tell
    // the same.
    [[nodiscard]] testing::AssertionResult verdict();

    // The lines and blocks of the collecting rows, in order of the connections and their rows; lines without
    // CR LF, blocks with their end mark. Call it after verdict().
    std::vector<std::string> collected() const;

private:
    struct Conversation {
        Port port;
        std::vector<Row> rows;
        std::string name; // "smtp#1", counted over both ports
        bool ended = false;
        std::vector<std::string> collected = {};
        std::unique_ptr<PlainConnection> client = nullptr; // from its coming on
        std::thread thread = {};
    };
    void accept_all();
    void accept_one(Port port);
    void play(Conversation & conversation);
    std::string play(Conversation & conversation, const Row & row);
    static std::string wait_for_end(PlainConnection & client);
    void log(const std::string & line);
    void fail(const std::string & why);
    void stop();
    void end();

    const std::chrono::milliseconds _patience;
    std::array<int, 2> _listeners{};
    std::array<uint16_t, 2> _ports{};
    std::mutex _mutex; // all below, and whether a connection's handle is open
    std::condition_variable _changed;
    std::list<Conversation> _conversations;
    bool _over = false;
    std::string _transcript;
    std::string _failure; // the first one
    std::thread _acceptor;
};

} // namespace support
