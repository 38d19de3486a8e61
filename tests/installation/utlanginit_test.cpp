// Opening of the store in installations of a test's own. The program lies in a folder that no installed file
// is near.
#include "utils/lang/utlanginit.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvlink.h"
#include "support/resource_image.h"
#include "support/scoped_environment.h"
#include "support/temporary_folder.h"
#include "utils/etc/lschrfns.h"
#include "utils/locale/utlocale.h"

// A store that shows what Init leaves.
struct LangStringInspector : UTLangString {
    using UTLangString::UTLangString;
    [[nodiscard]] int listed() const { return _nres; }
    [[nodiscard]] std::string open_files() const
    {
        const std::string none(1, '-');
        return (_vx_res_file.IsOpen() ? "V" : none) + (_default_vx_res_file.IsOpen() ? "v" : none) +
               (_res_file.IsOpen() ? "M" : none) + (_default_res_file.IsOpen() ? "m" : none);
    }
};

namespace {

constexpr uint16 BOTH = 1;
constexpr uint16 ENGLISH_ONLY = 2;

// What a file holds; null: there is none.
const std::string DE = resource_file({{BOTH, "deutsch"}});
const std::string EN = resource_file({{BOTH, "english"}, {ENGLISH_ONLY, "only english"}});
const std::string OLD = resource_file({{BOTH, "old"}}, "159");

std::string of_other_byte_order(std::string file)
{
    std::swap(file[4], file[7]);
    std::swap(file[5], file[6]);
    return file;
}

class Installation : public testing::Test {
protected:
    void SetUp() override
    {
        std::filesystem::create_directory(_folder.path("res"));
        std::filesystem::create_directory(_folder.path("elsewhere"));
        std::filesystem::current_path(_folder.path("elsewhere"));
        ScopedLocaleEnvironment::set("VXCHARSET", "UTF-8");
    }
    void TearDown() override { std::filesystem::current_path("/"); }

    void install(const std::string & name, const std::optional<std::string> & content)
    {
        std::filesystem::remove(_folder.path("res/" + name));
        if (content) {
            _folder.write("res/" + name, *content);
        }
    }

    static std::string get(const UTLangStringBase & store, uint32 id)
    {
        char text[64] = "";
        (void)store.GetString(id, text, sizeof(text));
        return text;
    }

    TemporaryFolder _folder;
    ScopedLocaleEnvironment _locale_environment;
    ScopedVariable _root{"VXDIR16", _folder.path().c_str()};
    ScopedVariable _home{"HOME", _folder.path("elsewhere").c_str()};
    ScopedVariable _path{"PATH", nullptr};
    ScopedVariable _library_path{"LD_LIBRARY_PATH", nullptr};
    UTLocale _locale;
};

std::vector<std::string> told;

int16_t keep(const char * text)
{
    told.emplace_back(text != nullptr ? text : "(null)");
    return 0;
}

} // namespace

TEST_F(Installation, OneUsableFileIsEnough)
{
    const std::optional<std::string> none;
    const struct {
        const char * what;
        const char * language;
        std::optional<std::string> german;
        std::optional<std::string> english;
        ls_init_return result;
        const char * open_files;
        const char * shared_text;
        const char * english_text;
        const char * store_language;
    } rows[] = {
        {"both", "de", DE, EN, LS_INIT_OKAY, "--Mm", "deutsch", "only english", "de"},
        {"no English", "de", DE, none, LS_INIT_OKAY, "--M-", "deutsch", "", "de"},
        {"no German", "de", none, EN, LS_INIT_OKAY, "---m", "english", "only english", "en"},
        {"neither", "de", none, none, LS_INIT_CANT_FIND_FILE, "----", "", "", nullptr},
        {"German too old", "de", OLD, EN, LS_INIT_OKAY, "---m", "english", "only english", "en"},
        {"German too old, no English", "de", OLD, none, LS_INIT_BAD_VERSION, "----", "", "", nullptr},
        {"no German, English too old", "de", none, OLD, LS_INIT_CANT_FIND_FILE, "----", "", "", nullptr},
        {"without version", "de", ResourceImage({{BOTH, "deutsch"}}).bytes(), none, LS_INIT_OKAY, "--M-",
         "deutsch", "", "de"},
        {"other byte order", "de", of_other_byte_order(DE), none, LS_INIT_CANT_FIND_FILE, "----", "", "",
         nullptr},
        {"no such file format", "de", "text", EN, LS_INIT_OKAY, "---m", "english", "only english", "en"},
        {"English", "en", DE, EN, LS_INIT_OKAY, "--M-", "english", "only english", "en"},
        {"English, none", "en", DE, none, LS_INIT_CANT_FIND_FILE, "----", "", "", nullptr},
        {"English, empty", "en", none, "", LS_INIT_CANT_FIND_FILE, "----", "", "", nullptr},
        {"English too old", "en", none, OLD, LS_INIT_BAD_VERSION, "----", "", "", nullptr},
    };
    for (const auto & row : rows) {
        SCOPED_TRACE(row.what);
        install("orvlgde16_utf8.res", row.german);
        install("orvlgen16.res", row.english);
        LangStringInspector store(&_locale);
        EXPECT_EQ(store.Init(row.language, nullptr, FALSE), row.result);
        EXPECT_EQ(store.open_files(), row.open_files);
        EXPECT_EQ(get(store, BOTH), row.shared_text);
        EXPECT_EQ(get(store, ENGLISH_ONLY), row.english_text);
        EXPECT_EQ(store.GetLanguage(), UTLocale::GetLanguageInfoFromLabel(row.store_language));
        store.Fini();
        EXPECT_EQ(store.open_files(), "----");
        EXPECT_EQ(store.listed(), 0);
        EXPECT_EQ(get(store, BOTH), "");
    }
}

TEST_F(Installation, FilesOfTheOtherFamilyGoInFront)
{
    const struct {
        bool vx_german, vx_english, german, english;
        ls_init_return result;
        const char * open_files;
        int listed;
        const char * text;
    } rows[] = {
        {true, true, true, true, LS_INIT_OKAY, "VvMm", 3, "vx de"}, // the last one finds no place
        {true, false, true, true, LS_INIT_OKAY, "V-Mm", 3, "vx de"},
        {false, false, true, true, LS_INIT_CANT_FIND_VX_FILE, "----", 0, ""},
        {true, true, false, false, LS_INIT_CANT_FIND_FILE, "----", 0, ""},
        {false, true, true, true, LS_INIT_OKAY, "-vM-", 2, "vx en"}, // the store is English by then
    };
    const auto put = [this](const char * name, bool there, const char * text) {
        install(name, there ? std::optional(resource_file({{BOTH, text}})) : std::nullopt);
    };
    for (const auto & row : rows) {
        put("orvlgde_vx16_utf8.res", row.vx_german, "vx de");
        put("orvlgen_vx16.res", row.vx_english, "vx en");
        put("orvlgde16_utf8.res", row.german, "de");
        put("orvlgen16.res", row.english, "en");
        LangStringInspector store(&_locale);
        EXPECT_EQ(store.Init("de", nullptr, TRUE), row.result);
        EXPECT_EQ(store.open_files(), row.open_files);
        EXPECT_EQ(store.listed(), row.listed);
        EXPECT_EQ(get(store, BOTH), row.text);
    }
}

TEST_F(Installation, LanguageAndCharacterSetAreTheSystemsUnlessGiven)
{
    install("orvlgde16_utf8.res", resource_file({{BOTH, "sch\xF6n"}}, "160", "iso_1"));
    install("orvlgen16.res", EN);
    ScopedLocaleEnvironment::set("VXLANG", "German");
    UTLocale german;
    LangStringInspector store(&german);
    EXPECT_EQ(store.Init("nowhere", nullptr, FALSE), LS_INIT_OKAY); // as for null
    EXPECT_EQ(get(store, BOTH), "sch\u00F6n");
    EXPECT_EQ(store.Init("en", UTLocale::GetCharsetInfoFromLabel("iso_1", CS_STD_ANY), TRUE), LS_INIT_OKAY);
    EXPECT_EQ(get(store, BOTH), "sch\u00F6n"); // open already: nothing is looked at
    store.Fini();
    EXPECT_EQ(store.Init(nullptr, UTLocale::GetCharsetInfoFromLabel("iso_1", CS_STD_ANY), FALSE),
              LS_INIT_OKAY);
    EXPECT_EQ(get(store, BOTH), "sch\xF6n");
}

TEST_F(Installation, FailureIsWordedWithTheNamesOfAllFiles)
{
    ScopedLocaleEnvironment::set("VXLANG", "de");
    const struct {
        ls_init_return result;
        const char * language;
        a_bool vx;
        const char * text;
    } rows[] = {
        {LS_INIT_ERROR, "en", FALSE, "An error occurred loading the language resource file (orvlgen16.res)."},
        {LS_INIT_BAD_VERSION, "en", FALSE, "Language resource file (orvlgen16.res) version mismatch."},
        {LS_INIT_BAD_VERSION, "ja", TRUE,
         "Language resource file (orvlgja_vx16_utf8.res, orvlgen_vx16.res) version mismatch."},
        {LS_INIT_CANT_FIND_FILE, "de", FALSE,
         "Cannot find the language resource file (orvlgde16_utf8.res, orvlgen16.res)."},
        {LS_INIT_CANT_FIND_FILE, nullptr, FALSE,
         "Cannot find the language resource file (orvlgde16_utf8.res, orvlgen16.res)."},
        {LS_INIT_CANT_FIND_FILE, "nowhere", FALSE, "Cannot find the language resource file (orvlgen16.res)."},
        {LS_INIT_PARSING_ERROR, "de", FALSE, "An error occurred parsing the ORVLOCALE environment variable."},
        {LS_INIT_CANT_FIND_VX_FILE, "en", FALSE,
         "Cannot find the language resource file (orvlgen_vx16.res)."},
        {LS_INIT_VX_ERROR, "fr", FALSE,
         "An error occurred loading the language resource file (orvlgfr_vx16_utf8.res, orvlgen_vx16.res)."},
    };
    for (const auto & row : rows) {
        char text[256];
        EXPECT_EQ(UTLangStringBase::GetInitErrorStr(row.result, text, sizeof(text), row.language, row.vx),
                  text);
        EXPECT_STREQ(text, row.text);
    }
    char small[12];
    EXPECT_STREQ(UTLangStringBase::GetInitErrorStr(LS_INIT_BAD_VERSION, small, sizeof(small), "en", FALSE),
                 "Language re");
}

TEST_F(Installation, CharactersAreClassifiedEvenIfNothingIsFound)
{
    LSCharFunctions = LS_CharFunctions();
    ASSERT_FALSE(LSCharFunctions.isAlpha('a'));
    UTLangString store(&_locale);
    EXPECT_EQ(store.Init(nullptr, nullptr, FALSE), LS_INIT_CANT_FIND_FILE);
    EXPECT_TRUE(LSCharFunctions.isAlpha('a'));
}

TEST_F(Installation, WithoutTextsThereIsNoLinkAndTheHostHearsWhy)
{
    ScopedLocaleEnvironment::set("VXLANG", "de");
    told.clear();
    EXPECT_EQ(MsgInitLinkV3("a@example.test", keep, nullptr, nullptr), nullptr);
    const std::string why = "Cannot find the language resource file (orvlgde16_utf8.res, orvlgen16.res).";
    EXPECT_EQ(told, std::vector{why});
    // A process looks once.
    install("orvlgen16.res", EN);
    EXPECT_EQ(MsgInitLinkV3("a@example.test", keep, nullptr, nullptr), nullptr);
    EXPECT_EQ(told, (std::vector{why, why}));
}
