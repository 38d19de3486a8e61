// A mail server that knows nothing but its script: rows of "hear this, say that" for each connection, in the
// shape of a wire table. It compares the whole dialogue byte by byte.
//
//     ScriptedServer server;
//     server.expect(Port::Smtp, {say("220 ready"), hear("HELO me"), say("250 hi"), hear("QUIT"), say("221
//     bye")});
//     ... the client under test uses server.port(Port::Smtp) and ends its connections ...
//     EXPECT_TRUE(server.verdict());
//
// The connections must come in the order of the calls of expect(); several may be open at a time. Behind its
// last row a connection waits for the client to end it, and a byte more is wrong. At the first thing that is
// wrong the server closes its ports and hangs up, so that no client waits for it, and verdict() tells about
// it. All waits are bounded. Threads: one that accepts and one for each connection, joined by verdict() or
// the destructor. All members are for the test's thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace support {

enum class Port { Smtp, Pop3 };

struct Row {
    enum class Kind { Hear, HearLike, HearAnything, CollectData, HearEnd, Say, Close, Reset };
    Kind kind;
    std::string text = {};
    size_t piece = 0; // Say: in pieces of so many bytes
};

Row hear(std::string line);               // exactly this line and CR LF
Row hear_like(std::string regex);         // a line that fits as a whole (ECMAScript); collected
Row hear_anything();                      // any line; collected
Row collect_data();                       // any bytes up to and with the end mark CR LF . CR LF; collected
Row hear_end();                           // the client ends the connection here
Row say(std::string line);                // this line and CR LF
Row say_bytes(std::string bytes);         // these bytes, no line end added
Row in_pieces(Row row, size_t piece = 1); // a say row, torn into pieces that leave one by one
Row hang_up();                            // FIN, whatever the client still sends is thrown away
Row reset();                              // RST

// Rows put together: all of `first`, then all of `second`.
std::vector<Row> operator+(std::vector<Row> first, const std::vector<Row> & second);

class ScriptedServer {
public:
    explicit ScriptedServer(std::chrono::milliseconds patience = std::chrono::seconds(10));
    ~ScriptedServer(); // ends and joins everything, judges nothing
    ScriptedServer(const ScriptedServer &) = delete;
    ScriptedServer & operator=(const ScriptedServer &) = delete;

    uint16_t port(Port port) const; // on 127.0.0.1, from the constructor on

    // The next connection. May be called while earlier ones run.
    void expect(Port port, std::vector<Row> rows);

    // Waits until all expected connections have come and ended, then ends the server. Success: all of them
    // kept to the script, and there were no others. Else what was wrong, and the transcript. Later calls tell
    // the same.
    [[nodiscard]] testing::AssertionResult verdict();

    // The lines and blocks of the collecting rows, in order of the connections and their rows; lines without
    // CR LF, blocks with their end mark. Call it after verdict().
    std::vector<std::string> collected();

    // All that was heard and said so far: "smtp#1 < HELO me" (heard), "smtp#1 > 250 hi" (said), "smtp#1 !
    // why". Connections are counted over both ports. Control characters are shown as \r, \n, \xNN.
    std::string transcript() const;

private:
    class Impl;
    std::unique_ptr<Impl> _impl;
};

} // namespace support
