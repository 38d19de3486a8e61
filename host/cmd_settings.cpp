// The commands that need no link: settings and verify.
#include "commands.h"
#include "exit_codes.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace orvhost {
namespace {

struct Row {
    std::string name;
    std::string value;
    std::string text;
    std::string description;
};

[[nodiscard]] std::string shown_value(const Options & options, const std::string & name,
                                      const std::string & value)
{
    // The length of a password is nobody's business either.
    return !value.empty() && is_secret(name) && !options.show_secrets ? std::string(masked)
                                                                      : printable(value);
}

[[nodiscard]] std::string text_at(char ** texts, size_t row)
{
    return texts != nullptr && texts[row] != nullptr ? texts[row] : "";
}

// The settings of the link in its order, then what else the profile holds.
[[nodiscard]] std::vector<Row> collect_rows(const Options & options, Session & session,
                                            const a_settings & settings)
{
    std::vector<Row> rows;
    // The end of the list is the null pointer, not `count`.
    for (size_t row = 0; settings.settings[row] != nullptr; ++row) {
        const std::string name = settings.settings[row];
        rows.push_back({name, shown_value(options, name, session.profile().get(name)),
                        text_at(settings.IDS_short, row), text_at(settings.IDS_long, row)});
    }
    const size_t listed = rows.size();
    for (const ProfileValue & stored : session.profile().stored()) {
        const bool known = std::any_of(rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(listed),
                                       [&](const Row & row) { return same_name(row.name, stored.name); });
        if (!known) {
            rows.push_back({stored.name, shown_value(options, stored.name, stored.value), "", ""});
        }
    }
    return rows;
}

void print_rows(const std::vector<Row> & rows)
{
    size_t name_width = 0;
    size_t value_width = 0;
    for (const Row & row : rows) {
        name_width = std::max(name_width, row.name.size());
        value_width = std::max(value_width, row.value.size());
    }
    for (const Row & row : rows) {
        std::printf("%-*s  %-*s  %s\n", static_cast<int>(name_width), row.name.c_str(),
                    static_cast<int>(value_width), row.value.c_str(), row.text.c_str());
        if (!row.description.empty()) {
            std::printf("    %s\n", row.description.c_str());
        }
    }
}

} // namespace

int run_settings(const Options & options)
{
    Session session(options);
    int code = session.load_profile(false);
    if (code == exit_ok) {
        code = session.load_library();
    }
    if (code != exit_ok) {
        return code;
    }
    a_settings settings{};
    std::vector<char> texts(MSG_SETTINGS_BUFFER_SIZE); // the texts lie in it, so it outlives the printing
    print_rows(collect_rows(options, session, *session.api().supported_settings(&settings, texts.data())));
    if (std::fflush(stdout) != 0) {
        complain("can't write standard output");
        return EX_CANTCREAT;
    }
    return exit_ok;
}

int run_verify(const Options & options, const VerifyOptions & verify)
{
    Session session(options);
    const int code = session.load_library();
    if (code != exit_ok) {
        return code;
    }
    // Loads the language texts, without which a refusal has no reason.
    a_settings settings{};
    std::vector<char> texts(MSG_SETTINGS_BUFFER_SIZE);
    (void)session.api().supported_settings(&settings, texts.data()); // only for that effect

    std::string name = verify.name;
    std::string value = verify.value;
    char reason[256] = "";
    if (session.api().verify_setting(name.data(), value.data(), reason) != 0) {
        complain(name + ": " + (reason[0] != '\0' ? reason : "the value is refused"));
        return exit_failed;
    }
    return exit_ok;
}

} // namespace orvhost
