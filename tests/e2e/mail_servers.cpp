#include "e2e/mail_servers.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace e2e {

namespace fs = std::filesystem;

namespace {

constexpr uid_t mail_owner = 5000; // virtual_uid_maps of the fixture

fs::path box_path(const MailServers & servers, const std::string & box)
{
    return fs::path(servers.state) / "mail" / box;
}

int files_in(const fs::path & folder)
{
    std::error_code error;
    int count = 0;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        count++;
    }
    return count;
}

bool make_folder(const fs::path & folder)
{
    std::error_code error;
    fs::create_directories(folder, error);
    return !error && chown(folder.c_str(), mail_owner, mail_owner) == 0;
}

} // namespace

std::optional<MailServers> find_servers(const char * variant)
{
    std::ifstream env(std::string(ORV_BUILD_DIR "/tests/e2e/") + variant + ".env");
    std::map<std::string, std::string> values;
    for (std::string line; std::getline(env, line);) {
        const size_t at = line.find('=');
        if (at != std::string::npos) {
            values[line.substr(0, at)] = line.substr(at + 1);
        }
    }
    if (values["ORV_E2E_POP3_PORT"].empty()) {
        return std::nullopt;
    }
    return MailServers{values["ORV_E2E_DIR"], values["ORV_E2E_SMTP_PORT"], values["ORV_E2E_POP3_PORT"]};
}

int mails_in(const MailServers & servers, const std::string & box)
{
    return files_in(box_path(servers, box) / "new") + files_in(box_path(servers, box) / "cur");
}

bool await_mails(const MailServers & servers, const std::string & box, int count)
{
    for (int round = 0; round < 1000; round++) {
        if (mails_in(servers, box) == count) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

bool put_mail(const MailServers & servers, const std::string & box, std::string_view mail)
{
    static int serial = 0;
    const fs::path path = box_path(servers, box);
    for (const char * folder : {"", "tmp", "new", "cur"}) {
        if (!make_folder(path / folder)) {
            return false;
        }
    }
    const std::string name = std::to_string(time(nullptr)) + ".other" + std::to_string(serial++);
    std::ofstream(path / "tmp" / name, std::ios::binary) << mail;
    if (chown((path / "tmp" / name).c_str(), mail_owner, mail_owner) != 0) {
        return false;
    }
    std::error_code error;
    fs::rename(path / "tmp" / name, path / "new" / name, error);
    return !error;
}

void empty_box(const MailServers & servers, const std::string & box)
{
    std::error_code error;
    fs::remove_all(box_path(servers, box), error);
}

} // namespace e2e
