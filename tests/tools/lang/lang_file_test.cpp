#include "tools/lang/lang_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include "support/scoped_environment.h"
#include "support/temporary_folder.h"
#include "tools/lang/charset_text.h"
#include "tools/lang/res_file.h"
#include "utils/lang/utresfile.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

a_po_text entry(std::uint16_t id, const std::string & english, const std::string & translation = "")
{
    return {id, translation.empty() ? english : translation, english, "Arguments: none",
            !translation.empty()};
}

a_compiled_file compile(const std::vector<a_po_text> & texts, const char * charset, const char * language)
{
    return compile_lang_file({language, texts, {}}, *lang_file_charset(charset), language,
                             oldest_strings_version);
}

// Reads from a block without one spare byte.
a_lang_file read_tight(const Bytes & bytes, std::size_t length, const a_po_result * english = nullptr)
{
    const auto block = std::make_unique<std::uint8_t[]>(length);
    std::copy_n(bytes.begin(), length, block.get());
    return read_lang_file({block.get(), length}, english);
}

std::vector<std::filesystem::path> installed_files()
{
    std::vector<std::filesystem::path> found;
    for (const auto & file : std::filesystem::directory_iterator(ORV_BUILD_DIR "/res")) {
        if (file.path().extension() == ".res") {
            found.push_back(file.path());
        }
    }
    return found;
}

Bytes contents_of(const std::filesystem::path & path)
{
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> chars{std::istreambuf_iterator<char>(file), {}};
    return {chars.begin(), chars.end()};
}

std::string joined(const std::vector<std::string> & lines)
{
    std::string result;
    for (const std::string & line : lines) {
        result += line + "\n";
    }
    return result;
}

// Part of the faults, or null for none.
void expect_fault(const std::vector<std::string> & faults, const char * part)
{
    const std::string all = joined(faults);
    EXPECT_EQ(all.empty(), part == nullptr) << all;
    EXPECT_NE(all.find(part != nullptr ? part : ""), std::string::npos) << part << ": " << all;
}

} // namespace

TEST(InstalledLanguageFiles, AreCompleteAndComeBackTheSameByWayOfPo)
{
    const a_po_result english = read_po_texts(ORV_SOURCE_DIR "/lang/en.po");
    const TemporaryFolder folder;
    const auto files = installed_files();
    EXPECT_FALSE(files.empty());
    for (const auto & path : files) {
        const Bytes bytes = contents_of(path);
        const a_lang_file file = read_lang_file(bytes, &english);
        EXPECT_EQ(joined(file.faults), "") << path;
        ASSERT_NE(file.charset, nullptr) << path;
        EXPECT_EQ(path.filename().string().substr(5, 2), file.language);

        const std::string po = folder.path() + "/back.po";
        EXPECT_EQ(write_po_texts(po.c_str(), "Language: " + file.language + "\n", file.texts), "");
        const a_compiled_file again =
            compile_lang_file(read_po_texts(po.c_str()), *file.charset, file.language, file.version);
        EXPECT_EQ(joined(again.faults), "") << path;
        EXPECT_TRUE(again.bytes == bytes) << path;
    }
}

// The library's reader shares nothing with the tool's.
TEST(InstalledLanguageFiles, SayTheSameToTheLibrary)
{
    for (const auto & path : installed_files()) {
        const Bytes bytes = contents_of(path);
        const a_res_contents expected = read_res_file(bytes);
        UTORVResFile file;
        ASSERT_TRUE(file.Open(path.c_str())) << path;
        EXPECT_EQ(file.GetSrcCharset(), read_lang_file(bytes, nullptr).charset) << path;
        EXPECT_GE(file.GetVersion(), static_cast<uint32>(oldest_strings_version));
        std::size_t found = 0;
        for (uint32 id = 0; id < 0x10000; ++id) {
            char text[256];
            if (const size_t length = file.GetString(id, text, sizeof(text)); length != 0) {
                ++found;
                EXPECT_EQ(expected.strings.at(static_cast<std::uint16_t>(id)),
                          std::string_view(text, length));
            }
        }
        EXPECT_EQ(found, expected.strings.size()) << path;
    }
}

// Also: all PO files of the folder are in the build.
TEST(InstalledLanguageFiles, AreThereUnderEachNameThatTheLibraryAsksFor)
{
    for (const auto & po : std::filesystem::directory_iterator(ORV_SOURCE_DIR "/lang")) {
        for (const CharsetInfo & row : UTLocale::_charset_info) {
            const ScopedLocaleEnvironment locale;
            ScopedLocaleEnvironment::set("VXCHARSET", unambiguous_label(row));
            char name[80];
            UTORVResFile::GetResourceFileBaseName(name, sizeof(name), po.path().stem().c_str(), FALSE);
            EXPECT_TRUE(po.path().extension() != ".po" ||
                        std::filesystem::exists(std::filesystem::path(ORV_BUILD_DIR "/res") / name))
                << name;
        }
    }
}

TEST(LanguageFile, CompilerRefusesWhatTheReaderCannotUse)
{
    const std::string wide(128, 'x');
    std::string thai; // 3 bytes in UTF-8, 1 in TIS-620
    for (int i = 0; i < 86; ++i) {
        thai += "\xE0\xB8\x81";
    }
    const struct {
        a_po_text text;
        const char * charset;
        const char * language;
        const char * fault; // part of it; null for none
    } rows[] = {
        {entry(1, "a", "\xC3\xA4"), "iso_1", "de", nullptr},
        {entry(1, "a", "\xE2\x82\xAC"), "iso_1", "de",
         "1: the character \xE2\x82\xAC (U+20AC) isn't in ISO_8859-1"},
        {entry(1, "a", "x\xE2\x82\xAC"), "ISO-8859-15", "fi", nullptr},
        {entry(1, "a", "\xEF\xBF\xBD"), "TIS-620", "th", "(U+FFFD)"}, // the catalogue's mark of an empty byte
        {entry(1, "a", "\xE3\x81\x82\xF0\x9F\x98\x80"), "Windows-31J", "ja", "(U+1F600)"},
        {entry(1, "a", "\xC3"), "UTF-8", "de", "not UTF-8"},
        {entry(1, "a", wide + wide), "iso_1", "de", "256 bytes in its file"},
        {entry(1, "a", thai), "TIS-620", "th", "258 bytes in UTF-8"},
        {entry(1, "a", thai.substr(3)), "TIS-620", "th", nullptr},
        {entry(1, "\xC3\xA4"), "iso_1", "en", "isn't ASCII"},
        {entry(1, "\xC3\xA4"), "iso_1", "de", nullptr}, // not translated, not in the file
    };
    for (const auto & row : rows) {
        SCOPED_TRACE(row.text.text);
        expect_fault(compile({row.text}, row.charset, row.language).faults, row.fault);
    }
}

TEST(LanguageFile, TextsStandInTheBytesOfTheCharacterSet)
{
    const struct {
        const char * charset;
        const char * utf8;
        const char * bytes;
    } rows[] = {
        {"Windows-31J", "\xE3\x81\x82", "\x82\xA0"}, {"EUC-JP", "\xE3\x81\x82", "\xA4\xA2"},
        {"GB18030", "\xE4\xB8\xAD", "\xD6\xD0"},     {"Big5", "\xE4\xB8\xAD", "\xA4\xA4"},
        {"EUC-KR", "\xEA\xB0\x80", "\xB0\xA1"},      {"KOI8-R", "\xD0\xB9", "\xCA"},
        {"UTF-8", "\xC3\xA4", "\xC3\xA4"},           {"Windows-31J", "\\~", "\\~"},
    };
    for (const auto & row : rows) {
        const a_converted_text encoded = encode_text(*lang_file_charset(row.charset), row.utf8);
        EXPECT_EQ(encoded.text, row.bytes) << row.charset << ": " << encoded.fault;
        EXPECT_EQ(decode_text(*lang_file_charset(row.charset), row.bytes).text, row.utf8) << row.charset;
    }
}

// A label that an earlier row has too would have the library read the texts as that row's.
TEST(LanguageFile, LabelLeadsBackToTheCharacterSet)
{
    for (const CharsetInfo & row : UTLocale::_charset_info) {
        ASSERT_NE(unambiguous_label(row), nullptr) << row.orv_label();
        EXPECT_EQ(UTLocale::GetCharsetInfoFromLabel(unambiguous_label(row), CS_STD_ANY), &row);
    }
    EXPECT_EQ(lang_file_charset("UTF-16LE"), nullptr); // the texts end at the first zero byte
    EXPECT_EQ(lang_file_charset("nonsense"), nullptr);
}

TEST(LanguageFile, LevelsMakeTheSmallestFile)
{
    const std::vector<std::vector<std::uint16_t>> sets = {
        {}, {1}, {0, 65535}, {100, 101, 102, 103, 5000, 8643}, {0x1000, 0x2000, 0x3000, 0x4000, 0x8000}};
    for (const auto & ids : sets) {
        a_string_map strings;
        for (const std::uint16_t id : ids) {
            strings[id] = "text " + std::to_string(id);
        }
        const std::size_t chosen = make_res_file(strings, smallest_levels(strings)).size();
        for (unsigned cut = 0; cut < 1u << 15; ++cut) { // a set bit ends a level behind it
            a_level_bits levels{};
            std::size_t level = 0;
            for (unsigned bit = 0; bit < 16 && level < levels.size(); ++bit) {
                ++levels[level];
                level += bit < 15 && (cut >> bit & 1) != 0 ? 1 : 0;
            }
            if (level < levels.size()) {
                const Bytes file = make_res_file(strings, levels);
                EXPECT_GE(file.size(), chosen);
                EXPECT_EQ(read_res_file(file).strings.size(), ids.size());
            }
        }
    }
}

TEST(HostileLanguageFile, CutAnywhereIsAFault)
{
    const a_compiled_file file =
        compile({entry(5017, "a", "\xE3\x81\x82"), entry(9, "b", "c")}, "EUC-JP", "ja");
    ASSERT_TRUE(read_tight(file.bytes, file.bytes.size()).faults.empty());
    for (std::size_t length = 0; length < file.bytes.size(); ++length) {
        EXPECT_FALSE(read_tight(file.bytes, length).faults.empty()) << length;
    }
}

TEST(HostileLanguageFile, AnyOtherByteAnywhereStaysInside)
{
    const a_po_result english{"en", {entry(5017, "a"), entry(9, "b")}, {}};
    const a_compiled_file file =
        compile({entry(5017, "a", "\xE3\x81\x82"), entry(9, "b", "c")}, "EUC-JP", "ja");
    for (std::size_t offset = 0; offset < file.bytes.size(); ++offset) {
        for (const int value : {0, 1, 0x7F, 0x80, 0xFF}) {
            Bytes bytes = file.bytes;
            bytes[offset] = static_cast<std::uint8_t>(value);
            (void)read_tight(bytes, bytes.size(), &english);
        }
    }
}

TEST(HostileLanguageFile, FaultIsToldWithItsPlace)
{
    const std::string identity = "charset=UTF-8;language=de";
    const a_string_map good = {{9, "text"}, {5000, "160"}, {8643, identity}};
    const auto with = [&good](std::uint16_t id, const std::string & text) {
        a_string_map strings = good;
        strings[id] = text;
        return make_res_file(strings, {8, 8, 0, 0});
    };
    const auto patched = [&good](std::size_t offset, std::initializer_list<std::uint8_t> bytes) {
        Bytes file = make_res_file(good, {8, 8, 0, 0});
        std::copy(bytes.begin(), bytes.end(), file.begin() + static_cast<std::ptrdiff_t>(offset));
        return file;
    };
    const struct {
        Bytes file;
        const char * fault; // part of it; null for none
    } rows[] = {
        {with(9, "100%%"), nullptr},
        {patched(0, {'r'}), "not a language file"},
        {patched(4, {0x12, 0x34, 0x56, 0x78}), "not a language file"}, // the other byte order
        {patched(8, {1}), "not a language file"},
        {patched(12, {8, 7}), "widths"},
        {patched(12, {8, 9}), "widths"},
        {patched(12, {0, 16}), "widths"}, // one text for all numbers
        {patched(12, {8, 0, 8}), "widths"},
        {patched(16, {0, 0, 0, 0x7F}), "table of level 1"},
        {patched(16, {4}), "table of level 1"}, // inside the header
        {patched(20, {0xFF, 0xFF}), "table of level 2 for numbers from 0 "},
        {patched(20 + 1024 + 9 * 4, {0xFF, 0xFF}), "9: its record isn't inside"},
        {with(9, ""), "9: an empty text"},
        {with(9, std::string(256, 'x')), "9: 256 bytes"},
        {with(9, "\xC3"), "9: bytes that aren't text"},
        {with(9, "\xC0\x80"), "9: bytes that aren't text"},
        {with(9, "a\nb"), "9: a control character"},
        {with(9, "50%"), "9: a percent sign"},
        {with(9, "%1 %1"), "9: %1 stands twice"},
        {with(5000, ""), "5000: the version isn't a number"},
        {with(5000, "160x"), "5000: the version isn't a number"},
        {with(5000, "159"), "5000: a version that the library refuses"},
        {with(8643, "UTF-8;language=de"), "8643: doesn't tell"},
        {with(8643, "charset=UTF-8"), "8643: doesn't tell"},
        {with(8643, identity + std::string(96, 'x')), "8643: doesn't tell"}, // cut by the reader
        {with(8643, "charset=UTF-16;language=de"), "8643: no character set"},
        {with(8643, "charset=UTF-8;language=german"), "8643: a language"},
    };
    for (const auto & row : rows) {
        expect_fault(read_tight(row.file, row.file.size()).faults, row.fault);
    }
}

// The program would fill the arguments of the new text into the old one.
TEST(LanguageFile, TranslationOfAnotherEnglishTextIsRefused)
{
    const a_po_result english{"en", {entry(9, "new"), entry(10, "same")}, {}};
    const struct {
        a_po_text text;
        const char * language; // of the header
        const char * fault;    // part of it; null for none
    } rows[] = {
        {entry(10, "same", "gleich"), "de", nullptr},
        {entry(10, "same", "gleich"), "de_AT", nullptr},
        {entry(10, "same", "gleich"), "den", "header's language"},
        {entry(10, "same", "gleich"), "nl", "header's language"},
        {entry(9, "old", "alt"), "de", "9: its msgid"},
        {entry(9, "old"), "de", "9: its msgid"},
        {entry(11, "gone", "weg"), "de", "11: there is no English text"},
    };
    for (const auto & row : rows) {
        expect_fault(compile_lang_file({row.language, {row.text}, {}}, *lang_file_charset("UTF-8"), "de",
                                       oldest_strings_version, &english)
                         .faults,
                     row.fault);
    }
}

TEST(LanguageFile, IsHeldAgainstTheEnglishTexts)
{
    a_po_text english = entry(9, "%1 and %2!d!");
    english.comments = "Arguments: %1 a, %2!d! b";
    const a_po_result reference{"en", {english}, {}};
    const struct {
        std::uint16_t id;
        const char * text;
        const char * fault; // part of it; null for none
    } rows[] = {
        {9, "%2!d! und %1", nullptr},
        {9, "%1 und %2!u!", "9: "},
        {9, "%1", "9: its placeholders"},
        {10, "x", "10: there is no English text"},
    };
    for (const auto & row : rows) {
        const a_string_map strings = {{row.id, row.text}, {5000, "160"}, {8643, "charset=UTF-8;language=de"}};
        expect_fault(read_lang_file(make_res_file(strings, {16, 0, 0, 0}), &reference).faults, row.fault);
    }
}
