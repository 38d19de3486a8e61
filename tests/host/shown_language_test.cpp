// The whole road of a text: environment, language file, character set, host. With the texts of lang/ as they
// are.
#include "process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "support/scoped_environment.h"
#include "tools/lang/charset_text.h"
#include "tools/lang/lang_file.h"

namespace {

namespace fs = std::filesystem;

struct a_locale_row {
    const char * locale; // LC_ALL
    const char * language;
    const char * charset;
    bool needs_icu = false;
};

constexpr a_locale_row locales[] = {
    {"", "en", "iso_1"},
    {"C", "en", "iso_1"},
    {"en_US.UTF-8", "en", "UTF-8"},
    {"xx_YY.UTF-8", "en", "UTF-8"},
    {"fr_FR", "fr", "iso_1"},
    {"fr_FR.UTF-8", "fr", "UTF-8"},
    {"fr_CA@euro", "fr", "iso_1"}, // a name that no table has
    {"de_DE", "de", "iso_1"},
    {"de_DE.UTF-8", "de", "UTF-8"},
    {"de_DE@euro", "de", "ISO-8859-15", true},
    {"es_ES", "es", "iso_1"},
    {"es_ES.UTF-8", "es", "UTF-8"},
    {"es_ES@euro", "es", "ISO-8859-15"},
    {"ja_JP", "ja", "EUC-JP"},
    {"ja_JP.SJIS", "ja", "Windows-31J"},
    {"ja_JP.UTF-8", "ja", "UTF-8"},
    {"ko_KR.UTF-8", "ko", "UTF-8"},
    {"ko_KR", "ko", "EUC-KR", true},
    {"pt_PT", "pt", "iso_1"},
    {"pt_BR.UTF-8", "pt", "UTF-8"},
    {"it_IT", "it", "iso_1"},
    {"it_IT.UTF-8", "it", "UTF-8"},
    {"da_DK", "da", "iso_1"},
    {"da_DK.UTF-8", "da", "UTF-8"},
    {"no_NO", "no", "iso_1"},
    {"no_NO.UTF-8", "no", "UTF-8"},
    {"sv_SE", "sv", "iso_1"},
    {"sv_SE.UTF-8", "sv", "UTF-8"},
    {"fi_FI", "fi", "ISO-8859-15"},
    {"fi_FI.ISO8859-1", "fi", "iso_1"},
    {"fi_FI.UTF-8", "fi", "UTF-8"},
    {"zh_TW.UTF-8", "tw", "UTF-8"},
    {"zh_TW", "tw", "Big5", true},
    {"zh_CN", "zh", "GB2312"},
    {"zh_CN.GBK", "zh", "GBK"},
    {"zh_CN.GB18030", "zh", "GB18030", true},
    {"zh_CN.UTF-8", "zh", "UTF-8"},
    {"pl_PL", "pl", "ISO-8859-2"},
    {"pl_PL.UTF-8", "pl", "UTF-8"},
    {"ru_RU", "ru", "KOI8-R"},
    {"ru_RU.ISO8859-5", "ru", "ISO-8859-5"},
    {"ru_RU.CP1251", "ru", "windows-1251"},
    {"ru_RU.UTF-8", "ru", "UTF-8"},
    {"uk_UA.CP1251", "uk", "windows-1251"},
    {"uk_UA.UTF-8", "uk", "UTF-8"},
    {"cs_CZ", "cs", "ISO-8859-2"},
    {"cs_CZ.UTF-8", "cs", "UTF-8"},
    {"hu_HU", "hu", "ISO-8859-2"},
    {"hu_HU.UTF-8", "hu", "UTF-8"},
    {"el_GR", "el", "ISO-8859-7"},
    {"el_GR.UTF-8", "el", "UTF-8"},
    {"he_IL", "he", "ISO-8859-8"},
    {"he_IL.CP1255", "he", "windows-1255"},
    {"he_IL.UTF-8", "he", "UTF-8"},
    {"ar_SA", "ar", "ISO-8859-6"},
    {"ar_EG.UTF-8", "ar", "UTF-8"},
    {"tr_TR", "tr", "ISO-8859-9"},
    {"tr_TR.UTF-8", "tr", "UTF-8"},
    {"nl_NL", "nl", "iso_1"},
    {"nl_NL.UTF-8", "nl", "UTF-8"},
    {"lt_LT.UTF-8", "lt", "UTF-8"},
    {"th_TH", "th", "TIS-620"},
    {"th_TH.UTF-8", "th", "UTF-8"},
};

const fs::path build_tree = ORV_BUILD_DIR;

std::string settings_of(const fs::path & installation, const char * locale)
{
    const ScopedLocaleEnvironment environment;
    const auto result = orvtest::run_process({installation / "bin64/orvhost", "settings"}, {},
                                             {std::string("LC_ALL=") + locale});
    EXPECT_EQ(result.status, 0) << locale << ": " << result.err;
    return result.out;
}

a_po_result texts_of(const std::string & language)
{
    return read_po_texts((ORV_SOURCE_DIR "/lang/" + language + ".po").c_str());
}

// Lines that the command shows for an English user.
std::vector<std::uint16_t> shown_texts(const fs::path & installation)
{
    const std::string shown = settings_of(installation, "C");
    std::vector<std::uint16_t> ids;
    for (const a_po_text & entry : texts_of("en").texts) {
        if (shown.find("  " + entry.text + "\n") != std::string::npos) {
            ids.push_back(entry.id);
        }
    }
    return ids;
}

void expect_language(const std::string & shown, const a_locale_row & row,
                     const std::vector<std::uint16_t> & ids)
{
    for (const a_po_text & entry : texts_of(row.language).texts) {
        if (std::find(ids.begin(), ids.end(), entry.id) != ids.end()) {
            const a_converted_text expected = encode_text(*lang_file_charset(row.charset), entry.text);
            EXPECT_EQ(expected.fault, "");
            EXPECT_NE(shown.find("  " + expected.text + "\n"), std::string::npos)
                << row.locale << ": " << entry.text;
        }
    }
}

// An installation of its own, in which no ICU build is found.
void install_without_icu(const fs::path & folder)
{
    fs::create_directory(folder / "lib64");
    fs::create_directory(folder / "bin64");
    fs::copy(build_tree / "bin64/orvhost", folder / "bin64");
    fs::copy(build_tree / "res", folder / "res");
    for (const char * name :
         {"liborvsmtp16_r.so", "liborvsmtp16_r.so.1", "liborvtasks16_r.so", "libvxtool16_r.so"}) {
        fs::copy(build_tree / "lib64" / name, folder / "lib64");
    }
}

} // namespace

TEST(ShownLanguage, IsThatOfTheLocaleInItsBytesWithoutIcu)
{
    const TemporaryFolder folder;
    install_without_icu(folder.path());
    const std::vector<std::uint16_t> ids = shown_texts(folder.path());
    EXPECT_GE(ids.size(), 20u);
    for (const a_locale_row & row : locales) {
        if (!row.needs_icu) {
            expect_language(settings_of(folder.path(), row.locale), row, ids);
        }
    }
}

TEST(ShownLanguage, IsThatOfTheLocaleInItsBytesWithIcu)
{
    if (!fs::exists(build_tree / "lib64/liborvicu16_r.so")) {
        GTEST_SKIP() << "no ICU build";
    }
    const std::vector<std::uint16_t> ids = shown_texts(build_tree);
    for (const a_locale_row & row : locales) {
        expect_language(settings_of(build_tree, row.locale), row, ids);
    }
}
