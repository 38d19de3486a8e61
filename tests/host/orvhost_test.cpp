// The program as a process, with a link library that needs no network.
#include "process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sysexits.h>

using orvtest::ProcessResult;

namespace {

const std::string program = ORV_BUILD_DIR "/bin64/orvhost";

class OrvHost : public ::testing::Test {
protected:
    OrvHost() { _scratch.write("p.ini", "[link]\naddress = me@host\npop3_password = hunter22\n"); }

    // With the fake library, and with the profile where the command makes a link.
    ProcessResult run(const std::vector<std::string> & arguments,
                      const std::vector<std::string> & environment = {}, const std::string & input = {},
                      const std::string & output = {})
    {
        std::vector<std::string> all = {program};
        all.insert(all.end(), arguments.begin(), arguments.end());
        all.insert(all.end(), {"--library", ORV_FAKE_LINK});
        if (arguments[0] != "verify") {
            all.insert(all.end(), {"--profile", _profile});
        }
        std::vector<std::string> with_log = environment;
        with_log.push_back("FAKE_LOG=" + _scratch.path("log"));
        std::filesystem::remove(_scratch.path("log"));
        return orvtest::run_process(all, input, with_log, output);
    }

    [[nodiscard]] std::string calls() const { return _scratch.read("log"); }
    [[nodiscard]] bool called(const std::string & line) const
    {
        return calls().find(line + "\n") != std::string::npos;
    }

    std::string make_directory(const std::string & name)
    {
        std::filesystem::create_directory(_scratch.path(name));
        return _scratch.path(name);
    }

    TemporaryFolder _scratch;
    std::string _profile = _scratch.path("p.ini");
};

[[nodiscard]] std::vector<std::string> texts_in(const std::string & directory)
{
    std::vector<std::string> texts;
    for (const auto & entry : std::filesystem::directory_iterator(directory)) {
        std::ifstream file(entry.path(), std::ios::binary);
        texts.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    std::sort(texts.begin(), texts.end());
    return texts;
}

} // namespace

TEST_F(OrvHost, ExitCodesTellWhatIsWrong)
{
    _scratch.write("noaddress.ini", "smtp_host = h\n");
    _scratch.write("noelf.so", "text");
    const std::string fake = ORV_FAKE_LINK;
    const auto with = [](std::vector<std::string> arguments, const std::string & profile,
                         const std::string & library) {
        arguments.insert(arguments.end(), {"--profile", profile, "--library", library});
        return arguments;
    };
    const struct {
        std::vector<std::string> arguments;
        int status;
        const char * told;
    } rows[] = {
        {{}, EX_USAGE, "subcommand"},
        {{"fly"}, EX_USAGE, ""},
        {with({"send"}, _profile, fake), EX_USAGE, "--to"},
        {{"send", "--to", "a@b", "--library", fake}, EX_USAGE, "--profile"},
        {with({"send", "--to", "nobody"}, _profile, fake), EX_USAGE, "no good"},
        {with({"send", "--to", "a@b\r\nDATA"}, _profile, fake), EX_USAGE, "--to"},
        {with({"send", "--to", "a@b", "--count", "4294967295"}, _profile, fake), EX_USAGE, "--count"},
        {with({"send", "--to", "a@b", "/no/text"}, _profile, fake), EX_NOINPUT, "/no/text"},
        {with({"receive", "--prompt", "--no-prompt"}, _profile, fake), EX_USAGE, "--prompt"},
        {with({"receive"}, "/no/profile", fake), EX_NOINPUT, "/no/profile"},
        {with({"receive"}, _scratch.path("noaddress.ini"), fake), EX_CONFIG, "address"},
        {with({"receive"}, _profile, "/no/lib.so"), EX_UNAVAILABLE, "/no/lib.so"},
        {with({"receive"}, _profile, _scratch.path("noelf.so")), EX_UNAVAILABLE, "noelf.so"},
        {with({"doctor"}, _profile, ORV_OTHER_LIBRARY), EX_UNAVAILABLE, "no function MsgInitLinkV3"},
        {with({"receive", "--out", "/no/dir/in"}, _profile, fake), EX_CANTCREAT, "/no/dir/in"},
        {{"verify", "address", "a@b", "--library", fake}, 0, ""},
        {{"verify", "address", "ab", "--library", fake}, 1, "address: no good"},
        {{"receive", "--help"}, 0, ""},
    };
    for (const auto & row : rows) {
        std::vector<std::string> all = {program};
        all.insert(all.end(), row.arguments.begin(), row.arguments.end());
        const ProcessResult result = orvtest::run_process(all);
        EXPECT_EQ(row.status, result.status) << ::testing::PrintToString(row.arguments) << result.err;
        EXPECT_NE(std::string::npos, result.err.find(row.told))
            << ::testing::PrintToString(row.arguments) << result.err;
        EXPECT_EQ(row.status == 0, result.err.empty())
            << ::testing::PrintToString(row.arguments) << result.err;
    }
}

TEST_F(OrvHost, PasswordsAreShownOnRequestOnly)
{
    const ProcessResult closed = run({"settings"});
    EXPECT_EQ(0, closed.status) << closed.err;
    EXPECT_EQ(std::string::npos, closed.out.find("hunter22"));
    EXPECT_NE(std::string::npos, closed.out.find("short text"));
    EXPECT_NE(std::string::npos, closed.out.find("me@host")) << "keys that the link doesn't list are missing";
    EXPECT_NE(std::string::npos, run({"settings", "--show-secrets"}).out.find("hunter22"));
}

TEST_F(OrvHost, SendHandsTheTextOverAsItIs)
{
    const std::string text = "line\r\n.\r\n\xFF end";
    EXPECT_EQ(0, run({"send", "--to", "a@b", "--count", "42"}, {}, text).status);
    EXPECT_TRUE(called("send a@b 42 " + text)) << calls();
    _scratch.write("text", "from a file");
    EXPECT_EQ(0, run({"send", "--to", "a@b", _scratch.path("text")}).status);
    EXPECT_TRUE(called("send a@b 4294967295 from a file")) << calls();
    EXPECT_TRUE(called("fini"));
}

TEST_F(OrvHost, SendRefusesWhatCannotArrive)
{
    EXPECT_EQ(EX_DATAERR, run({"send", "--to", "a@b"}, {}, std::string("a\0b", 3)).status);
    EXPECT_EQ(EX_DATAERR, run({"send", "--to", "a@b"}, {}, std::string(61433, 'x')).status);
    EXPECT_EQ("(none)", calls()) << "a link was made all the same";
    const ProcessResult warned = run({"send", "--to", "a@b"}, {}, "unix\nlines");
    EXPECT_EQ(0, warned.status);
    EXPECT_NE(std::string::npos, warned.err.find("LF alone"));
}

TEST_F(OrvHost, FailuresOfTheLinkAreTold)
{
    EXPECT_EQ(1, run({"send", "--to", "a@b"}, {"FAKE_FAIL=send"}, "x").status);
    EXPECT_TRUE(called("fini"));
    EXPECT_EQ(EX_TEMPFAIL, run({"send", "--to", "a@b"}, {"FAKE_FAIL=init"}, "x").status);
    EXPECT_FALSE(called("fini")) << "there is no link to end";
    EXPECT_EQ(1, run({"receive"}, {"FAKE_FAIL=receive"}).status);
    EXPECT_TRUE(called("fini")) << "earlier deletions would not become final";
}

TEST_F(OrvHost, ReceiveStoresEachTextAndDeletesAfterwards)
{
    const std::string out = _scratch.path("made by receive");
    const ProcessResult result = run({"receive", "--out", out}, {"FAKE_MESSAGES=2"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ((std::vector<std::string>{"\r\ntext 1\r\n", "\r\ntext 2\r\n"}), texts_in(out));
    EXPECT_NE(std::string::npos,
              calls().find("receive\ncontent 1\ndelete 1\nreceive\ncontent 2\ndelete 2\nreceive\nfini\n"))
        << calls();
    EXPECT_EQ(0, run({"receive", "--out", out}, {"FAKE_MESSAGES=1"}).status);
    EXPECT_EQ(3u, texts_in(out).size()) << "a text of an earlier run was overwritten";
}

TEST_F(OrvHost, KeepDeletesNothingAndUnframeTakesTheEndsOff)
{
    const ProcessResult result = run({"receive", "--keep", "--unframe"}, {"FAKE_MESSAGES=2"});
    EXPECT_EQ("text 1text 2", result.out);
    EXPECT_EQ(std::string::npos, calls().find("delete")) << calls();
}

TEST_F(OrvHost, AFullDiskOrAReaderThatGoesAwayDeletesNothing)
{
    for (const char * output : {"/dev/full", "|"}) {
        const ProcessResult result = run({"receive"}, {"FAKE_MESSAGES=3"}, "", output);
        EXPECT_EQ(EX_CANTCREAT, result.status) << result.err;
        EXPECT_TRUE(called("content 1"));
        EXPECT_FALSE(called("content 2")) << "goes on although nothing can be stored";
        EXPECT_EQ(std::string::npos, calls().find("delete")) << calls();
        EXPECT_TRUE(called("fini"));
    }
}

TEST_F(OrvHost, OneBadMessageDoesNotHoldUpTheOthers)
{
    const std::string out = make_directory("out");
    EXPECT_EQ(1, run({"receive", "--out", out}, {"FAKE_MESSAGES=3", "FAKE_FAIL=content:2"}).status);
    EXPECT_EQ((std::vector<std::string>{"\r\ntext 1\r\n", "\r\ntext 3\r\n"}), texts_in(out));
    EXPECT_FALSE(called("delete 2")) << "deleted without having been read";
    EXPECT_TRUE(called("delete 3"));

    const ProcessResult result = run({"receive"}, {"FAKE_MESSAGES=2", "FAKE_FAIL=delete:1"});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("\r\ntext 1\r\n\r\ntext 2\r\n", result.out);
    EXPECT_NE(std::string::npos, result.err.find("not deleted, and will come again")) << result.err;
}

TEST_F(OrvHost, OverridesActInMemoryAndWhatTheLinkSavesIsKept)
{
    EXPECT_EQ(0, run({"receive", "--debug"}, {"FAKE_WRITE=oob_serial=7"}).status);
    EXPECT_TRUE(called("init me@host debug=yes suppress=yes")) << calls();
    const std::string saved = _scratch.read("p.ini");
    EXPECT_NE(std::string::npos, saved.find("oob_serial = 7")) << saved;
    EXPECT_EQ(std::string::npos, saved.find("ebug")) << saved;
    EXPECT_EQ(std::string::npos, saved.find("suppress")) << saved;
    EXPECT_EQ(0, run({"receive", "--prompt"}).status);
    EXPECT_TRUE(called("init me@host debug= suppress=no")) << calls();
}

TEST_F(OrvHost, DoctorExplainsTheTraceWithoutTheCredentials)
{
    _scratch.write(
        "trace",
        "Version 16.0.0\ngethostname\ngethostbyname box\ngethostbyname mail.example\nsocket\nconnect "
        "SMTP\nport 25\n"
        "220 ready\nEHLO box\n250-mail\n250 AUTH LOGIN CRAM-MD5\nAuthentication mech found: CRAM-MD5\nAUTH "
        "CRAM-MD5\n"
        "334 PDE+\nY3JlZGVudGlhbA==\n535 no\nAuthentication mech found: LOGIN\nAUTH LOGIN\n334 VXNlcm5hbWU6\n"
        "c2FsZXM=\n334 UGFzc3dvcmQ6\nc2VjcmV0\n235 ok\nQUIT\n221 bye\nclosesocket\nsocket\nconnect "
        "POP3\nport 110\n"
        "+OK <1@h>\nAPOP sales 0123456789abcdef\n-ERR hunter22 is wrong\n");
    const ProcessResult result = run({"doctor"}, {"FAKE_TRACE=" + _scratch.path("trace"), "FAKE_FAIL=init"});
    EXPECT_EQ(EX_TEMPFAIL, result.status);
    for (const char * finding :
         {"[ ok ] library found: ", "[note] no ICU build found: liborvicu16_r.so",
          "[ ok ] version: Version 16.0.0", "[ ok ] name resolved: box", "[ ok ] name resolved: mail.example",
          "[ ok ] connected to the SMTP server on port 25", "[ ok ] SMTP login offered: LOGIN CRAM-MD5",
          "[note] SMTP login with CRAM-MD5 refused: \"535 no\"", "[ ok ] SMTP login done with LOGIN",
          "[ ok ] connected to the POP3 server on port 110", "[ ok ] POP3 login offered: APOP",
          "[FAIL] POP3 login with APOP refused: \"-ERR ******** is wrong\"",
          "-> check pop3_userid and pop3_password", "[FAIL] no link could be made"}) {
        EXPECT_NE(std::string::npos, result.out.find(finding)) << finding << " is missing in\n" << result.out;
    }
    for (const char * secret : {"hunter22", "0123456789abcdef", "c2FsZXM=", "c2VjcmV0", "Y3JlZGVudGlhbA=="}) {
        EXPECT_EQ(std::string::npos, (result.out + result.err).find(secret)) << secret;
    }
    const ProcessResult open =
        run({"doctor", "--show-secrets"}, {"FAKE_TRACE=" + _scratch.path("trace"), "FAKE_FAIL=init"});
    EXPECT_NE(std::string::npos, open.err.find("c2VjcmV0"));
}
