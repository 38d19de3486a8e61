// commands.h - the commands of orvhost. Each returns the exit code; messages go to standard error, data to
// standard output.
#pragma once

#include "session.h"

#include <cstdint>
#include <optional>
#include <string>

namespace orvhost {

struct VerifyOptions {
    std::string name;
    std::string value;
};

struct SendOptions {
    std::string to;
    std::string file = "-";
    std::optional<uint32_t> count;
};

struct ReceiveOptions {
    std::string directory;
    bool keep = false;
    bool unframe = false;
};

[[nodiscard]] int run_settings(const Options & options);
[[nodiscard]] int run_verify(const Options & options, const VerifyOptions & verify);
[[nodiscard]] int run_send(const Options & options, const SendOptions & send);
[[nodiscard]] int run_receive(const Options & options, const ReceiveOptions & receive);
[[nodiscard]] int run_doctor(const Options & options);

} // namespace orvhost
