#include "utils/lang/utresfile.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "support/resource_image.h"
#include "support/scoped_environment.h"
#include "support/temporary_folder.h"
#include "utils/locale/utlocale.h"

struct ResFileInspector {
    static bool is_empty(const UTORVResFile & file)
    {
        return !file._is_open && file._fd == -1 && file._img == nullptr && file._num_levels == 0 &&
               file._root == nullptr && file._src_csinfo == nullptr;
    }
};

namespace {

const LangStrings FEW = {
    {0, "first"}, {1, ""}, {0x21C2, "before"}, {0x21C3, "third of %1!d!"}, {0xFFFF, "last"}};

// Text whose end lies at the end of what may be read; its beginning is at an address that no file has.
class Image {
public:
    explicit Image(const std::string & bytes)
        : _size(bytes.size()), _pages((bytes.size() + 4095) / 4096 * 4096),
          _area(static_cast<char *>(
              mmap(nullptr, _pages + 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)))
    {
        EXPECT_EQ(mprotect(_area + _pages, 4096, PROT_NONE), 0);
        std::memcpy(start(), bytes.data(), _size);
    }
    ~Image() { munmap(_area, _pages + 4096); }
    Image(const Image &) = delete;
    Image & operator=(const Image &) = delete;

    // The object can't unmap it, since no mapping begins there.
    [[nodiscard]] a_bool open(UTORVResFile & file) const
    {
        return file.Open(reinterpret_cast<const ORVResFileImage *>(start()), _size);
    }

private:
    [[nodiscard]] char * start() const { return _area + _pages - _size; }

    size_t _size;
    size_t _pages;
    char * _area;
};

std::string padded(std::string bytes)
{
    bytes.resize((bytes.size() + 3) / 4 * 4);
    return bytes;
}

std::string get(UTORVResFile & file, uint32 id)
{
    char text[64] = "(none)";
    const size_t length = file.GetString(id, text, sizeof(text));
    return length != 0 ? std::string(text, length) : text;
}

void expect_strings(UTORVResFile & file, const LangStrings & strings)
{
    for (uint32 id = 0; id < 0x10000; ++id) {
        const auto found = strings.find(static_cast<uint16>(id));
        ASSERT_EQ(get(file, id), found != strings.end() ? found->second : "(none)") << id;
        if (id % 0x100 == 0xC3) {
            ASSERT_EQ(get(file, 0xABC0000 | id), get(file, id)) << id;
        }
    }
}

std::string replaced(std::string bytes, size_t at, uint32 value)
{
    std::memcpy(&bytes[at], &value, sizeof(value));
    return bytes;
}

class Mapped : public testing::Test {
protected:
    a_bool open(const std::string & bytes) { return _file.Open(_folder.write("file.res", bytes).c_str()); }

    TemporaryFolder _folder;
    UTORVResFile _file;
};

} // namespace

TEST_F(Mapped, TreesOfEveryShapeGiveTheirStringsAndNoOthers)
{
    std::mt19937 random(20);
    LangStrings many = FEW;
    for (int i = 0; i < 500; ++i) {
        many[static_cast<uint16>(random())] = std::string(random() % 60, 'a' + static_cast<char>(i % 26));
    }
    const a_resource_layout layouts[] = {
        {{8, 8, 0, 0}}, {{16, 0, 0, 0}}, {{4, 4, 4, 4}}, {{1, 2, 3, 10}}, {{5, 11, 0, 0}, "odd"}, // unaligned
    };
    for (const a_resource_layout & layout : layouts) {
        ASSERT_TRUE(open(ResourceImage(many, layout).bytes()));
        expect_strings(_file, many);
    }
}

TEST_F(Mapped, HeaderDecidesAlone)
{
    const std::string good = ResourceImage(FEW).bytes();
    const auto size = static_cast<uint32>(good.size());
    const struct {
        const char * what;
        std::string bytes;
        a_bool opens;
    } rows[] = {
        {"good", good, TRUE},
        {"signature", replaced(good, 0, 0x5245534F), FALSE},
        {"other byte order", replaced(good, 4, 0x78563412), FALSE},
        {"version 1", replaced(good, 8, 1), FALSE},
        {"15 bits", replaced(good, 12, 0x0708), FALSE},
        {"17 bits", replaced(good, 12, 0x01000808), FALSE},
        {"272 bits", replaced(good, 12, 0x10FF0100), FALSE},
        {"16 bits in places that say nothing", replaced(good, 12, 0x08000800), TRUE},
        {"root at the end", replaced(good, 16, size), FALSE},
        {"root in the last byte", replaced(good, 16, size - 1), TRUE},
        {"root in the header", replaced(good, 16, 0), TRUE},
        {"header cut", good.substr(0, 19), FALSE},
        {"empty", "", FALSE},
    };
    for (const auto & row : rows) {
        EXPECT_EQ(open(row.bytes), row.opens) << row.what;
        EXPECT_EQ(_file.IsOpen(), row.opens) << row.what;
        EXPECT_TRUE(row.opens || ResFileInspector::is_empty(_file)) << row.what;
        (void)get(_file, 0x21C3);
    }
}

TEST_F(Mapped, WhatDoesntFitIsCutAndAMissTouchesNothing)
{
    ASSERT_TRUE(open(ResourceImage(FEW).bytes()));
    const struct {
        uint32 id;
        size_t size;
        size_t length;
        std::string written; // over the buffer's beginning
    } rows[] = {
        {0xFFFF, 9, 4, {"last", 5}},
        {0xFFFF, 5, 4, {"last", 5}},
        {0xFFFF, 4, 3, {"las", 4}},
        {0xFFFF, 1, 0, {"", 1}},
        {0xFFFF, 0, 0, ""},
        {1, 9, 0, {"", 1}},
        {2, 9, 0, ""},
    };
    for (const auto & row : rows) {
        std::string text(9, 'x');
        EXPECT_EQ(_file.GetString(row.id, text.data(), row.size), row.length) << row.id << ' ' << row.size;
        EXPECT_EQ(text, row.written + std::string(9 - row.written.size(), 'x')) << row.id << ' ' << row.size;
    }
    uint16 wide[2] = {0x7878, 0x7878};
    EXPECT_EQ(_file.GetStringUTF16(0xFFFF, wide, 0), 0u);
    EXPECT_EQ(wide[0], 0x7878);
    EXPECT_EQ(_file.GetStringUTF16(0xFFFF, wide, sizeof(wide)), 0u);
    EXPECT_EQ(wide[0], 0);
    EXPECT_EQ(wide[1], 0x7878);
}

// Every word of a file in turn leads somewhere else, with nothing to read behind the file. That a file may
// end anywhere is held below, and by the fuzz target.
TEST(HostileFile, NothingIsReadOutside)
{
    const std::string good = padded(ResourceImage(FEW, {{3, 4, 4, 5}}).bytes());
    const auto size = static_cast<uint32>(good.size());
    for (uint32 at = 12; at < size; at += 4) {
        for (const uint32 value : {1u, 3u, at, at + 1, size - 5, size - 4, size - 3, size - 2, size - 1, size,
                                   0x7FFFFFFFu, 0xFFFFFFFCu, 0xFFFFFFFFu}) {
            const Image image(replaced(good, at, value));
            UTORVResFile file;
            (void)image.open(file);
            for (const auto & [id, text] : FEW) {
                (void)get(file, id);
            }
        }
    }
}

TEST_F(Mapped, FileEndsAtAnyByte)
{
    const std::string good = ResourceImage(FEW, {{4, 4, 4, 4}}).bytes();
    for (size_t size = 0; size < good.size(); ++size) {
        (void)open(good.substr(0, size));
        // The last record lies last: without its last byte it isn't there.
        EXPECT_EQ(get(_file, 0xFFFF), "(none)") << size;
    }
    ASSERT_TRUE(open(good));
    EXPECT_EQ(get(_file, 0xFFFF), "last");
}

TEST_F(Mapped, CharacterSetIsReadBetweenPrefixAndLanguage)
{
    const struct {
        const char * text; // null: no such string
        const char * charset;
    } rows[] = {
        {"charset=UTF-8;language=en", "UTF-8"},
        {"12345678windows-1252;language=de;more=1", "windows-1252"},
        {"charset=iso_1;language=fr", "ISO_8859-1:1987"}, // any standard's label
        {"charset=UTF-8", nullptr},
        {"charset=;language=en", nullptr},
        {"charset=nowhere;language=en", nullptr},
        {"UTF-8;language=en", nullptr},
        {";language=en12345678", nullptr},
        {"", nullptr},
        {nullptr, nullptr},
    };
    for (const auto & row : rows) {
        LangStrings strings = FEW;
        if (row.text != nullptr) {
            strings[8643] = row.text;
        }
        ASSERT_TRUE(open(ResourceImage(strings).bytes()));
        EXPECT_EQ(_file.GetSrcCharset(), UTLocale::GetCharsetInfoFromLabel(row.charset, CS_STD_IANA))
            << (row.text != nullptr ? row.text : "(none)");
    }
}

TEST_F(Mapped, VersionIsReadAsDecimalDigits)
{
    for (const auto & [text, version] :
         {std::pair{"160", 160u}, {" 159 of these", 159u}, {"none", 0u}, {"", 0u}}) {
        ASSERT_TRUE(open(resource_file({}, text)));
        EXPECT_EQ(_file.GetVersion(), version) << text;
    }
    ASSERT_TRUE(open(ResourceImage(FEW).bytes()));
    EXPECT_EQ(_file.GetVersion(), 0u);
}

TEST_F(Mapped, OpeningAgainClosesWhatWasOpen)
{
    ASSERT_TRUE(open(resource_file({{7, "old"}})));
    ASSERT_TRUE(open(resource_file({{8, "new"}})));
    EXPECT_EQ(get(_file, 7), "(none)");
    EXPECT_EQ(get(_file, 8), "new");
    EXPECT_FALSE(_file.Open("Thai", TRUE)); // nothing is installed of that family
    EXPECT_TRUE(ResFileInspector::is_empty(_file));
    ASSERT_TRUE(open(resource_file({{8, "new"}})));
    EXPECT_FALSE(_file.Open(_folder.path("nothing").c_str()));
    EXPECT_TRUE(ResFileInspector::is_empty(_file));
    EXPECT_EQ(get(_file, 8), "(none)");
    EXPECT_FALSE(_file.Open(_folder.path().c_str())); // a directory
    _file.Close();
    EXPECT_TRUE(ResFileInspector::is_empty(_file));
}

TEST(FileName, FollowsTheSystemsCharacterSetInFourLanguages)
{
    const ScopedLocaleEnvironment environment;
    const struct {
        const char * language;
        const char * charset;
        a_bool vx;
        const char * name;
    } rows[] = {
        {"en", "UTF-8", FALSE, "orvlgen16.res"},
        {"en", "Shift-JIS", TRUE, "orvlgen_vx16.res"},
        {"ja", "Shift-JIS", FALSE, "orvlgja16_sjis.res"},
        {"ja", "Windows-31J", FALSE, "orvlgja16_sjis.res"},
        {"ja", "EUC-JP", TRUE, "orvlgja_vx16_eucjis.res"},
        {"ja", "UTF-8", FALSE, "orvlgja16_utf8.res"},
        {"zh", "GB18030", FALSE, "orvlgzh16_cp936.res"},
        {"zh", "GBK", FALSE, "orvlgzh16_cp936.res"},
        {"zh", "GB2312", FALSE, "orvlgzh16_eucgb.res"},
        {"zh", "Big5", FALSE, "orvlgzh16_utf8.res"},
        {"de", "ISO_8859-1:1987", FALSE, "orvlgde16_iso_1.res"},
        {"de", "windows-1252", FALSE, "orvlgde16_utf8.res"},
        {"fr", "iso_1", TRUE, "orvlgfr_vx16_iso_1.res"},
        {"fr", "EUC-JP", FALSE, "orvlgfr16_utf8.res"},
        {"DE", "ISO_8859-1:1987", FALSE, "orvlgDE16.res"},
        {"es", "ISO_8859-1:1987", FALSE, "orvlges16.res"},
    };
    for (const auto & row : rows) {
        const ScopedVariable charset("VXCHARSET", row.charset);
        char name[80];
        UTORVResFile::GetResourceFileBaseName(name, sizeof(name), row.language, row.vx);
        EXPECT_STREQ(name, row.name) << row.charset;
        for (size_t size = 0; size <= std::strlen(row.name); ++size) {
            const std::unique_ptr<char[]> cut(new char[size + 1]);
            cut[size] = 'x';
            UTORVResFile::GetResourceFileBaseName(cut.get(), size, row.language, row.vx);
            EXPECT_EQ(cut[size], 'x');
            EXPECT_TRUE(size == 0 || cut.get() == std::string(row.name, size - 1));
        }
    }
}

// In the family that nothing is installed of.
TEST(ByLanguage, FileIsLookedForUnderItsName)
{
    const ScopedLocaleEnvironment environment;
    const TemporaryFolder folder;
    folder.write("orvlgfi_vx16.res", resource_file({{7, "suomi"}}));
    folder.write("orvlgth_vx16.res", "no file of this kind");
    const ScopedVariable root("VXDIR16", folder.path().c_str());
    UTORVResFile file;
    EXPECT_TRUE(file.Open("Finnish", TRUE));
    EXPECT_EQ(get(file, 7), "suomi");
    EXPECT_EQ(file.GetLanguage(), UTLocale::GetLanguageInfoFromLabel("fi"));
    char path[4097];
    EXPECT_TRUE(file.find_resource_file(path, sizeof(path), "fi", TRUE));
    EXPECT_EQ(path, folder.path("orvlgfi_vx16.res"));

    UTORVResFile other;
    EXPECT_FALSE(other.Open("th", TRUE));
    EXPECT_FALSE(other.Open("sv", TRUE));
    EXPECT_FALSE(other.Open("nowhere", TRUE));
    EXPECT_FALSE(other.Open(static_cast<const LanguageInfo *>(nullptr), TRUE));
    EXPECT_EQ(other.GetLanguage(), nullptr);
    EXPECT_FALSE(other.find_resource_file(path, sizeof(path), "sv", TRUE));
    EXPECT_STREQ(path, "");
}
