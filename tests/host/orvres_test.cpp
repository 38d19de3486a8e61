// The compiler of language files as a process: what a build or a packager sees of it.
#include "process.h"

#include <gtest/gtest.h>

using orvtest::run_process;

namespace {

constexpr char header[] = "msgid \"\"\n"
                          "msgstr \"Language: de\\nContent-Type: text/plain; charset=UTF-8\\n\"\n\n"
                          "#. Arguments: none\nmsgctxt \"9\"\nmsgid \"yes\"\nmsgstr ";

class Orvres : public testing::Test {
protected:
    orvtest::ProcessResult run(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), ORV_BUILD_DIR "/bin64/orvres");
        return run_process(arguments);
    }

    orvtest::ProcessResult compile(const std::string & translation, const std::string & version = "160")
    {
        _folder.write("de.po", header + ("\"" + translation + "\"\n"));
        return run(
            {"compile", "--language", "de", "--charset", "iso_1", "--version", version, "-o", _res, _po});
    }

    TemporaryFolder _folder;
    const std::string _po = _folder.path("de.po");
    const std::string _res = _folder.path("de.res");
};

} // namespace

TEST_F(Orvres, FaultyTextLeavesTheOldFileAndIsNamed)
{
    ASSERT_EQ(compile("ja").status, 0);
    const std::string old = _folder.read("de.res");
    const auto refused = compile("\xE2\x82\xAC");
    EXPECT_EQ(refused.status, 1);
    // The leak sanitizer may have its say behind it.
    EXPECT_EQ(refused.err.find("orvres: " + _po +
                               ": 9: the character \xE2\x82\xAC (U+20AC) isn't in ISO_8859-1:1987\n"),
              0u)
        << refused.err;
    EXPECT_EQ(_folder.read("de.res"), old);
    EXPECT_EQ(_folder.names(), (std::set<std::string>{"de.po", "de.res"}));
}

TEST_F(Orvres, SameTextsGiveTheSameBytesAndComeBack)
{
    ASSERT_EQ(compile("\xC3\xA4").status, 0);
    const std::string first = _folder.read("de.res");
    ASSERT_EQ(compile("\xC3\xA4").status, 0);
    EXPECT_EQ(_folder.read("de.res"), first);
    EXPECT_NE(first.find("charset=ISO_8859-1:1987;language=de"), std::string::npos);
    EXPECT_NE(run({"dump", _res}).out.find("msgid \"\xC3\xA4\""), std::string::npos);
    EXPECT_EQ(run({"check", _res}).status, 0);
}

TEST_F(Orvres, BadInputAndBadCallsAreToldApart)
{
    EXPECT_EQ(compile("ja", "159").status, 2); // the library would refuse it
    EXPECT_EQ(run({"compile", "--language", "xx"}).status, 2);
    EXPECT_EQ(run({}).status, 2);
    EXPECT_EQ(run({"check", _folder.path("missing")}).status, 1);
    EXPECT_EQ(run({"dump", _po}).status, 1);
    _folder.write("de.po", "no PO file");
    EXPECT_EQ(run({"check", "--english", _po, ORV_BUILD_DIR "/res/orvlgen16.res"}).status, 1);
}
