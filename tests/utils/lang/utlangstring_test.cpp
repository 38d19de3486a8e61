#include "utils/lang/utlangstring.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <deque>
#include <string>
#include <thread>
#include <vector>

#include "remote/unixdll.h"
#include "support/catalogue.h"
#include "support/resource_image.h"
#include "support/scoped_environment.h"
#include "support/temporary_folder.h"
#include "utils/lang/utlanginit.h"

namespace {

class OpenStore : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(_store.Init("en", nullptr, FALSE), LS_INIT_OKAY); }

    std::string string(uint32 id)
    {
        char text[256];
        return std::string(text, _store.GetString(id, text, sizeof(text)));
    }

    UTLangString _store{&OSLocale};
};

// A store on files of a test's own.
class FileStore : public testing::Test {
protected:
    UTResFile * file(const std::string & content)
    {
        UTORVResFile & opened = _files.emplace_back();
        EXPECT_TRUE(opened.Open(_folder.write("file.res", content).c_str()));
        std::filesystem::remove(_folder.path("file.res")); // so that the next one is another file
        return &opened;
    }

    void use(const std::vector<UTResFile *> & files, const char * dest)
    {
        _list = files;
        _store.SetResFiles(_list.data(), static_cast<int>(_list.size()));
        _store.SetDestCharset(charset(dest));
    }

    // What is in a buffer of `size` bytes, which was "before" before.
    std::string get(uint32 id, size_t size = 1000)
    {
        std::string text = "before";
        text.resize(std::max<size_t>(size, 7));
        const size_t length = _store.GetString(id, text.data(), size);
        return length != 0 ? text.substr(0, length) : text.c_str();
    }

    TemporaryFolder _folder;
    std::deque<UTORVResFile> _files;
    std::vector<UTResFile *> _list;
    UTLangStringBase _store{&OSLocale};
};

// A source that has its strings in UTF-16, too.
class WideSource : public UTORVResFile {
public:
    a_bool UTF16Supported() override { return TRUE; }
    size_t GetStringUTF16(uint32 id, uint16 * buffer, size_t buflen) override
    {
        const std::u16string text = id == 7 ? u"wide \u20AC" : u"";
        const size_t length = std::min(text.size() * 2, buflen - 2);
        std::memcpy(buffer, text.data(), length);
        return length;
    }
};

} // namespace

TEST(ClosedStore, MissingTemplateEmptiesTwoBytesAndNoMore)
{
    const UTLangStringBase store(&OSLocale);
    const char * const strings[] = {"x", nullptr};
    for (const size_t size : {size_t{0}, size_t{1}, size_t{2}, size_t{3}}) {
        std::string expected = "abcd";
        expected.replace(0, std::min<size_t>(size, 2), std::min<size_t>(size, 2), '\0');
        std::string text[3] = {"abcd", "abcd", "abcd"};
        EXPECT_EQ(store.FormatMiscLangStr(6691, text[0].data(), size, 1), 0u);
        EXPECT_EQ(store.ArrayFormatMiscLangStr(8747, text[1].data(), size, strings), 0u);
        EXPECT_EQ(store.SQLFormatMiscLangStr(8747, text[2].data(), size, "x", 2), 0u);
        for (const std::string & row : text) {
            EXPECT_EQ(row, expected) << size;
        }
    }
}

TEST_F(OpenStore, EveryNumberThatTheLinkUsesHasAText)
{
    const uint32 ids[] = {6691,  6693,  6694,  6695,  6767,  6768,  6769,  6770,  6771,  6772, 6773,  6774,
                          6775,  6776,  6777,  6778,  6779,  6780,  6781,  6782,  6795,  6796, 6797,  6798,
                          6799,  8747,  8748,  8749,  8750,  9345,  9406,  9407,  9408,  9427, 13990, 13993,
                          13994, 13998, 14000, 14001, 26753, 26754, 26755, 26756, 26757, 26758};
    for (const uint32 id : ids) {
        EXPECT_NE(string(id), "") << id;
    }
}

TEST_F(OpenStore, TemplatesShowTheirArgumentsHoweverTheyArrive)
{
    const char * const strings[] = {"host", nullptr};
    char text[3][256];
    EXPECT_GT(_store.FormatMiscLangStr(8747, text[0], sizeof(text[0]), strings[0]), 0u);
    EXPECT_NE(std::string(text[0]).find("[host]"), std::string::npos);
    EXPECT_GT(_store.ArrayFormatMiscLangStr(8747, text[1], sizeof(text[1]), strings), 0u);
    EXPECT_STREQ(text[1], text[0]);
    EXPECT_GT(_store.SQLFormatMiscLangStr(8747, text[2], sizeof(text[2]), strings[0], sizeof("host")), 0u);
    EXPECT_STREQ(text[2], text[0]);
}

TEST_F(OpenStore, ErrorNumbersOfTheSystemHaveTheirOwnTextsOrShow)
{
    const struct {
        int error;
        uint32 id;
    } rows[] = {{0, 5017},       {E2BIG, 5018},  {EACCES, 5019},  {EBADF, 5020},        {EBUSY, 5021},
                {EDEADLK, 5022}, {EDOM, 5023},   {EEXIST, 5024},  {EINVAL, 5025},       {EIO, 5026},
                {EISDIR, 5027},  {EMFILE, 5028}, {ENFILE, 5029},  {ENODEV, 5030},       {ENOENT, 5031},
                {ENOEXEC, 5032}, {ENOMEM, 5033}, {ENOSPC, 5034},  {ENOTDIR, 5035},      {ERANGE, 5036},
                {EROFS, 5037},   {EXDEV, 5038},  {EAGAIN, 18086}, {ENAMETOOLONG, 18185}};
    for (const auto & row : rows) {
        EXPECT_EQ(UTLangStringBase::GetStrerrorStringID(row.error), row.id) << row.error;
        char text[256];
        EXPECT_EQ(_store.Strerror(row.error, text, sizeof(text)), text);
        EXPECT_EQ(text, string(row.id)) << row.error;
    }
    for (const int error : {EPERM, -1, 123456}) {
        EXPECT_EQ(UTLangStringBase::GetStrerrorStringID(error), 5039u);
        char text[256];
        EXPECT_NE(std::string(_store.Strerror(error, text, sizeof(text))).find(std::to_string(error)),
                  std::string::npos);
    }
}

TEST_F(FileStore, FirstFileThatHasAStringGivesIt)
{
    UTORVResFile closed;
    use({&closed, file(resource_file({{1, "one"}, {3, ""}})),
         file(resource_file({{1, "other"}, {2, "two"}, {3, "three"}}))},
        "UTF-8");
    EXPECT_EQ(get(1), "one");
    EXPECT_EQ(get(2), "two");
    EXPECT_EQ(get(3), "three");
    EXPECT_EQ(get(0x10001), "one");
    EXPECT_EQ(get(4), "before");
    EXPECT_EQ(get(1, 0), "before");
    EXPECT_EQ(get(1, 3), "on");
}

TEST_F(FileStore, ListTakesFourAtOnceAndThreeOneByOne)
{
    std::vector<UTResFile *> files;
    for (uint16 i = 1; i <= 5; ++i) {
        files.push_back(file(resource_file({{i, "x"}})));
    }
    use(files, "UTF-8");
    EXPECT_EQ(get(4), "x");
    EXPECT_EQ(get(5), "before");
    EXPECT_FALSE(_store.AppendResFile(files[4]));
    _store.SetResFiles(nullptr, 0);
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(_store.AppendResFile(files[i]), i < 3 ? TRUE : FALSE) << i;
        EXPECT_EQ(get(static_cast<uint32>(i) + 1), i < 3 ? "x" : "before") << i;
    }
}

TEST_F(FileStore, StringsComeOutInTheWantedCharacterSet)
{
    UTResFile * const euro =
        file(resource_file({{1, "10 \x80 \xE4"}, {2, std::string(800, 'y')}}, "160", "windows-1252"));
    use({euro, file(resource_file({{3, "\xC3"}}))}, "UTF-8");
    EXPECT_EQ(get(1), "10 \u20AC \u00E4");
    EXPECT_EQ(get(1, 6), "10 \xE2\x82"); // what fits
    EXPECT_EQ(get(2), std::string(767, 'y'));
    EXPECT_EQ(get(3), "\u00C3"); // the first file's character set holds for all
    EXPECT_EQ(get(9), "");
    EXPECT_EQ(get(1, 0), "before");
    EXPECT_EQ(get(1, 1), "");
    _store.SetDestCharset(charset("windows-1252"));
    EXPECT_EQ(get(1), "10 \x80 \xE4");
    EXPECT_EQ(get(2), std::string(800, 'y'));
    EXPECT_EQ(get(9), "before");
    EXPECT_EQ(_store.DestCharset(), charset("windows-1252"));
}

TEST_F(FileStore, ArgumentsAreConvertedFromTheirOwnCharacterSet)
{
    use({file(resource_file({{1, "%1 %2!at! %3!d!"}}))}, "UTF-8");
    char text[64];
    EXPECT_EQ(_store.FormatMiscLangStr(1, text, sizeof(text), "\xE4", "\xE4", 5), 5u);
    EXPECT_STREQ(text, "\xE4 \xE4 5");
    _store.SetArgCharset(charset("iso_1"));
    EXPECT_EQ(_store.ArgCharset(), charset("iso_1"));
    EXPECT_EQ(_store.FormatMiscLangStr(1, text, sizeof(text), "\xE4", "\xE4", 5), 6u);
    EXPECT_STREQ(text, "\u00E4 \xE4 5");
}

TEST_F(FileStore, SourceInUTF16IsReadInIt)
{
    WideSource wide;
    ASSERT_TRUE(wide.Open(_folder.write("wide", resource_file({{7, "narrow"}, {8, "narrow"}})).c_str()));
    use({&wide}, "UTF-8");
    EXPECT_EQ(get(7), "narrow"); // nothing to convert
    _store.SetDestCharset(charset("CESU-8"));
    EXPECT_EQ(get(7), "wide \u20AC");
    EXPECT_EQ(get(8), "");
}

// UTF-16 text goes by the wide form, which finds no placeholder in it; nothing is read or written outside.
TEST_F(FileStore, UTF16TextIsTerminatedWithinItsBuffer)
{
    use({file(resource_file({{1, "%1 abc"}, {2, std::string(600, 'x')}}))}, "UTF-16LE");
    const std::string wide("%\0001\0 \0a\0b\0c\0", 12);
    EXPECT_EQ(get(1), wide);
    for (const size_t size : {size_t{4}, size_t{20}, size_t{24}, size_t{64}}) {
        std::vector<wchar_t> text(size / sizeof(wchar_t), L'x');
        const size_t room = size > 16 ? size / sizeof(wchar_t) - 4 : 0;
        const size_t length =
            _store.FormatMiscLangStr(1, reinterpret_cast<char *>(text.data()), size, "argument");
        EXPECT_EQ(length, std::min<size_t>(room, 3)) << size;
        EXPECT_EQ(std::memcmp(text.data(), wide.data(), length * sizeof(wchar_t)), 0);
        EXPECT_EQ(text[length], L'\0');
    }
    std::vector<wchar_t> text(400);
    EXPECT_EQ(_store.FormatMiscLangStr(2, reinterpret_cast<char *>(text.data()), 1600), 128u);
    // A file that claims to be in UTF-16 has no strings, and a buffer of one byte no room for a unit.
    use({file(resource_file({{1, "x"}}, "160", "UTF-16LE"))}, "UTF-16LE");
    char one = 'x';
    EXPECT_EQ(_store.GetString(1, &one, 1), 0u);
    EXPECT_EQ(one, 'x');
}

TEST_F(FileStore, PathIsThatOfTheFirstFileThatIsFoundAgain)
{
    const ScopedVariable root("VXDIR16", _folder.path().c_str());
    char path[4097] = "x";
    UTResFile * const by_path = file(resource_file({}));
    UTORVResFile by_language;
    ASSERT_TRUE(by_language.Open("en", FALSE));
    use({by_path}, "UTF-8");
    EXPECT_FALSE(_store.GetResourcePath(path, sizeof(path)));
    EXPECT_STREQ(path, "");
    EXPECT_EQ(_store.GetLanguage(), nullptr);
    use({by_path, &by_language}, "UTF-8");
    EXPECT_FALSE(_store.GetResourcePath(path, 0));
    EXPECT_TRUE(_store.GetResourcePath(path, sizeof(path)));
    EXPECT_TRUE(std::string(path).ends_with("/res/orvlgen16.res")) << path;
    use({&by_language}, "UTF-8");
    EXPECT_EQ(_store.GetLanguage(), OSLocale.English());
}

TEST_F(OpenStore, ErrorsOfEveryTypeHaveTheirWords)
{
    char text[256] = "x";
    EXPECT_GT(_store.FormatErrorMessage({ET_OS, ENOENT}, text, sizeof(text)), 0u);
    EXPECT_EQ(text, string(5031));
    EXPECT_GT(_store.FormatErrorMessage({ET_ORVINIT, 4711}, text, sizeof(text)), 0u);
    EXPECT_NE(std::string(text).find("4711"), std::string::npos);
    EXPECT_EQ(_store.FormatErrorMessage({static_cast<UTErrorType>(2), 0}, text, 0), 0u);
    EXPECT_NE(text[0], '\0');
    EXPECT_EQ(_store.FormatErrorMessage({static_cast<UTErrorType>(2), 0}, text, sizeof(text)), 0u);
    EXPECT_STREQ(text, "");
}

TEST_F(FileStore, ThreadsDontMixTheirConversions)
{
    LangStrings strings;
    for (uint16 i = 0; i < 100; ++i) {
        strings[i] = std::to_string(i) + std::string(i, '\xE4') + "%1";
    }
    use({file(resource_file(strings, "160", "windows-1252"))}, "UTF-8");
    _store.SetArgCharset(charset("iso_1"));
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([this, &wrong] {
            for (int i = 0; i < 3000; ++i) {
                const int id = i % 100;
                char text[512];
                (void)_store.FormatMiscLangStr(static_cast<uint32>(id), text, sizeof(text), "\xFC");
                std::string expected = std::to_string(id);
                for (int n = 0; n < id; ++n) {
                    expected += "\u00E4";
                }
                wrong += text == expected + "\u00FC" ? 0 : 1;
            }
        });
    }
    for (std::thread & thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}
