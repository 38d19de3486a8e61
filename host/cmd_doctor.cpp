#include "commands.h"
#include "diagnosis.h"
#include "exit_codes.h"
#include "icu_build.h"

#include <sys/stat.h>

#include <cstdio>

namespace orvhost {
namespace {

// What the link reads into buffers of fixed size: a longer value is cut without a word.
struct KeyLimit {
    const char * name;
    size_t longest;
};

constexpr KeyLimit key_limits[] = {
    {"smtp_host", 255},
    {"smtp_port", 9},
    {"pop3_host", 255},
    {"pop3_port", 9},
    {"pop3_userid", 63},
    {"pop3_password", 63},
    {"smtp_userid", 63},
    {"smtp_password", 63},
    {"local_host", 255},
    {"address", 256},
    {"smtp_authenticate_mechanism", 49},
};

[[nodiscard]] bool is_on(const std::string & value)
{
    return same_name(value, "yes") || same_name(value, "y") || same_name(value, "on");
}

// The link tries five times in silence when one of these is missing.
void check_needed(Profile & profile, Diagnosis & diagnosis)
{
    const bool send_only = is_on(profile.get("send_only"));
    const bool receive_only = !send_only && is_on(profile.get("receive_only"));
    const struct {
        const char * name;
        bool needed;
    } keys[] = {
        {"smtp_host", !receive_only},
        {"pop3_host", !send_only},
        {"pop3_userid", !send_only},
        {"pop3_password", !send_only},
    };
    for (const auto & key : keys) {
        if (key.needed && profile.get(key.name).empty()) {
            diagnosis.add(
                Verdict::note, std::string("the profile has no ") + key.name,
                "without it the link asks at the console, and gives up in silence where it may not ask");
        }
    }
}

void check_profile(const Options & options, Profile & profile, Diagnosis & diagnosis)
{
    diagnosis.add(Verdict::ok, "profile read: " + options.profile);
    struct stat file {};
    if (::stat(options.profile.c_str(), &file) == 0 && (file.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        diagnosis.add(Verdict::note, "others than its owner may use the profile, and it holds passwords",
                      "chmod 600 " + options.profile);
    }
    for (const KeyLimit & limit : key_limits) {
        if (profile.get(limit.name).size() > limit.longest) {
            diagnosis.add(Verdict::fault, std::string(limit.name) + " is too long: the link cuts it",
                          "at most " + std::to_string(limit.longest) + " characters count");
        }
    }
    check_needed(profile, diagnosis);
}

// Without ICU a link works, but its texts may not come out in the user's character set.
void check_icu(Diagnosis & diagnosis)
{
    constexpr const char * lost =
        "without it texts lose letters in character sets other than UTF-8 and ISO 8859-1, "
        "and collations that rest on ICU order nothing; VXDIR16 tells where to look";
    const IcuBuild build = find_icu_build();
    if (build.path.empty()) {
        diagnosis.add(Verdict::note, "no ICU build found: liborvicu16_r.so", lost);
        return;
    }
    const std::string text = "ICU found: " + build.path +
                             (build.below.empty() ? "" : " over " + build.below) + ", with " +
                             dataset_text(build.dataset);
    constexpr int all_converters = 3;
    if (build.dataset >= all_converters) {
        diagnosis.add(Verdict::ok, text);
    } else {
        diagnosis.add(Verdict::note, text, lost);
    }
}

void print_finding(const Options & options, Profile & profile, const Finding & finding)
{
    const char * mark = finding.verdict == Verdict::ok     ? " ok "
                        : finding.verdict == Verdict::note ? "note"
                                                           : "FAIL";
    // A server may quote in its reply what it was sent.
    const std::string text =
        options.show_secrets ? finding.text : hide_secrets(finding.text, profile.secrets());
    std::printf("[%s] %s\n", mark, printable(text).c_str());
    if (!finding.advice.empty()) {
        std::printf("       -> %s\n", printable(finding.advice).c_str());
    }
    (void)std::fflush(
        stdout); // in step with the trace on a terminal; the caller looks at the stream at the end
}

} // namespace

int run_doctor(const Options & given)
{
    Options options = given;
    options.debug = true; // in memory only: the profile's own value stays
    Session session(options);
    Diagnosis diagnosis([&](const Finding & finding) { print_finding(options, session.profile(), finding); });

    int code = session.load_library();
    if (code != exit_ok) {
        return code;
    }
    diagnosis.add(Verdict::ok, "library found: " + session.link_library().path() + ", all ten functions");
    check_icu(diagnosis);
    code = session.load_profile(true);
    if (code != exit_ok) {
        return code;
    }
    check_profile(options, session.profile(), diagnosis);
    code = session.open_link(&diagnosis);
    if (code == EX_CONFIG) {
        return code;
    }
    diagnosis.finish(code == exit_ok);
    session.close_link();
    if (std::ferror(stdout) != 0) {
        complain("can't write standard output");
        return EX_CANTCREAT;
    }
    return code == exit_ok && diagnosis.has_fault() ? exit_failed : code;
}

} // namespace orvhost
