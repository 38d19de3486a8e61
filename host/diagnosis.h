// diagnosis.h - reads the debug trace of a link being made and says what it means.
//
// The trace is the only place where a server's refusal shows, so this is what an administrator needs when a
// link can't be made. Feed it every text of the callback, unmasked and in order; findings come out as soon as
// they are sure, each once, however often the link tries again. Findings hold server replies and host names,
// never a credential.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace orvhost {

enum class Verdict { ok, note, fault };

struct Finding {
    Verdict verdict;
    std::string text;
    std::string advice; // empty if nothing is to be done
};

class Diagnosis {
public:
    explicit Diagnosis(std::function<void(const Finding &)> sink) : _sink(std::move(sink)) {}

    void see(std::string_view line);

    // No more lines will come.
    void finish(bool link_made);

    // Adds a finding of the caller's.
    void add(Verdict verdict, std::string text, std::string advice = {});

    [[nodiscard]] bool has_fault() const { return _has_fault; }

private:
    enum class Due { nothing, greeting, hello, auth_reply, credential, user_reply, login_reply };

    void see_step(std::string_view line);
    [[nodiscard]] bool see_connecting(std::string_view line);
    [[nodiscard]] bool see_command(std::string_view line);
    [[nodiscard]] bool see_report(std::string_view line);
    void see_reply(std::string_view line);
    void see_greeting(std::string_view line);
    void see_hello(std::string_view line);
    void see_auth_reply(std::string_view line);
    void see_login_reply(std::string_view line);
    void name_resolved();

    std::function<void(const Finding &)> _sink;
    std::vector<std::string> _told;
    std::string _first_line;
    std::string _looking_up;
    std::string _service = "mail";
    std::string _port;
    std::string _mechanism;
    Due _due = Due::nothing;
    size_t _lines = 0;
    bool _mechanism_offered = false;
    bool _has_fault = false;
};

} // namespace orvhost
