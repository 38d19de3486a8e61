// A message link without a network: the ten functions, with a behaviour that a test gives in environment
// variables.
//   FAKE_LOG       file to which each call is appended, one line each
//   FAKE_MESSAGES  number of waiting messages; the text of message n is CR LF, "text n", CR LF
//   FAKE_FAIL      what fails: "init", "send", "receive", "content:n", "delete:n" (n-th call, from 1), with
//   blanks between FAKE_TRACE     file whose lines go to the callback while a link is made, if the profile
//   says Debug FAKE_WRITE     "name=value", written to the profile while a link is made
#include "orvlink.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

class a_link_info {
public:
    unsigned int handed_out = 0;
    unsigned int contents = 0;
    unsigned int deletions = 0;
    std::string body;
};

class LinkMessage {
public:
    unsigned int number = 0;
};

namespace {

LinkMessage messages[100];

std::string variable(const char * name)
{
    const char * value = std::getenv(name);
    return value != nullptr ? value : "";
}

void log(const std::string & line)
{
    const std::string file = variable("FAKE_LOG");
    if (!file.empty()) {
        std::ofstream(file, std::ios::app) << line << '\n';
    }
}

bool fails(const std::string & what)
{
    std::istringstream words(variable("FAKE_FAIL"));
    return std::find(std::istream_iterator<std::string>(words), {}, what) !=
           std::istream_iterator<std::string>();
}

std::string setting(a_profile_rw_access * profile, const char * name)
{
    char value[64];
    std::memset(value, 'x', sizeof value); // the real link doesn't initialise its buffers either
    profile->profile_read(profile->profile_handle, name, value, sizeof value);
    return value;
}

void write_setting(a_profile_rw_access * profile)
{
    const std::string write = variable("FAKE_WRITE");
    const size_t sign = write.find('=');
    if (sign != std::string::npos) {
        profile->profile_write(profile->profile_handle, write.substr(0, sign).c_str(),
                               write.substr(sign + 1).c_str());
    }
}

void play_trace(MSG_CALLBACK msgcb)
{
    std::ifstream trace(variable("FAKE_TRACE"));
    for (std::string line; std::getline(trace, line);) {
        (void)msgcb(line.c_str());
    }
    (void)msgcb(nullptr); // a report whose text is missing
}

} // namespace

extern "C" {

HLINK MsgInitLinkV3(const char * address, MSG_CALLBACK msgcb, a_profile_rw_access * profile, void *)
{
    const std::string debug = setting(profile, "Debug");
    log(std::string("init ") + address + " debug=" + debug +
        " suppress=" + setting(profile, "suppress_dialogs"));
    write_setting(profile);
    if (debug == "yes") {
        play_trace(msgcb);
    }
    return fails("init") ? nullptr : new a_link_info;
}

void MsgFiniLink(HLINK link)
{
    log("fini");
    delete link;
}

MSGRET MsgSendV3(HLINK, const char *, const char * address, const char * txt, uint32 len, uint32 count,
                 uint16)
{
    log(std::string("send ") + address + " " + std::to_string(count) + " " + std::string(txt, len));
    return fails("send") ? MSG_FAILURE : MSG_SUCCESS;
}

MSGRET MsgReceive(HLINK link, HMSG * msg)
{
    log("receive");
    if (fails("receive")) {
        return MSG_FAILURE;
    }
    if (link->handed_out >= static_cast<unsigned int>(std::atoi(variable("FAKE_MESSAGES").c_str()))) {
        return MSG_NO_MESSAGE;
    }
    *msg = &messages[link->handed_out];
    (*msg)->number = ++link->handed_out;
    return MSG_SUCCESS;
}

MSGRET MsgContent(HLINK link, HMSG msg, char ** txt, uint32 * len)
{
    log("content " + std::to_string(msg->number));
    link->body = "\r\ntext " + std::to_string(msg->number) + "\r\n";
    *txt = link->body.data();
    *len = static_cast<uint32>(link->body.size());
    return fails("content:" + std::to_string(++link->contents)) ? MSG_FAILURE : MSG_SUCCESS;
}

MSGRET MsgDelete(HLINK link, HMSG msg)
{
    log("delete " + std::to_string(msg->number));
    return fails("delete:" + std::to_string(++link->deletions)) ? MSG_FAILURE : MSG_SUCCESS;
}

MSGSETTING MsgSupportedSettings(MSGSETTING settings, char * buf)
{
    static char host[] = "smtp_host";
    static char password[] = "pop3_password";
    static char * names[] = {host, password, nullptr};
    static char * texts[] = {nullptr, nullptr};
    static a_bool display[] = {1, 1};
    static value_types values[] = {3, 0};
    (void)std::snprintf(buf, 64, "short text");
    texts[0] = buf;
    texts[1] = buf;
    *settings = {5, names, texts, texts, display, values};
    return settings;
}

MSGRET MsgVerifySetting(MSGSTRING setting, MSGSTRING value, MSGSTRING IDS)
{
    if (std::strcmp(setting, "address") == 0 && std::strchr(value, '@') != nullptr) {
        return 0;
    }
    (void)std::snprintf(IDS, 256, "no good");
    return 2;
}

MSGSTRING MsgQueryValue(MSGSTRING)
{
    static char no[] = "No";
    return no;
}

MSGRET MsgBrowseForAddress(HLINK, uint32, const char *, const char *, char *, uint32, uint32)
{
    return MSG_NOT_SUPPORTED;
}
}
