// A text by its number from a mapped language file beside gettext's dcgettext on a catalogue of the same
// texts, and a report with three arguments beside dcgettext and snprintf. Texts are those of lang/de.po, in
// UTF-8 on both sides, so nothing is converted; what conversion costs is told, too.
//
// Result 1 when a target is missed: 6 times dcgettext, no allocation, and a report as fast as its peer.

#include <libintl.h>

#include <algorithm>
#include <atomic>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "ratio.h"
#include "tools/lang/po_texts.h"
#include "tools/lang/res_file.h"
#include "utils/dbtutils/message.h"
#include "utils/lang/utlangstring.h"
#include "utils/lang/utresfile.h"
#include "utils/locale/utlocale.h"

extern "C" void * __libc_malloc(size_t size); // NOLINT(bugprone-reserved-identifier): glibc's own name

namespace {

std::atomic<long> allocations = 0;

} // namespace

// All of the process's, the C library's own included.
extern "C" void * malloc(size_t size)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}

namespace {

constexpr int TIMES = 21;
constexpr size_t LOOKUPS = 20000; // of a turn
constexpr const char * DOMAIN_NAME = "bench";

// The text with three arguments, in the form of each side.
constexpr uint16 REPORT_ID = 60000;
constexpr const char * REPORT = "Nachricht %1 mit %2!d! Bytes von %3 wurde abgelegt.";
constexpr const char * PEERS_REPORT = "Message %s of %d bytes from %s has been stored.";
constexpr const char * PEERS_TRANSLATION = "Nachricht %s mit %d Bytes von %s wurde abgelegt.";

[[noreturn]] void give_up(const std::string & what)
{
    std::fprintf(stderr, "%s failed\n", what.c_str());
    std::exit(2);
}

struct a_text {
    uint16 id;
    std::string key; // of the catalogue: context, \004, English text
    std::string text;
};

std::vector<a_text> read_texts()
{
    const a_po_result po = read_po_texts(ORV_SOURCE_DIR "/lang/de.po");
    if (!po.faults.empty()) {
        give_up("reading de.po");
    }
    std::vector<a_text> texts;
    for (const a_po_text & text : po.texts) {
        texts.push_back({text.id, std::to_string(text.id) + '\004' + text.english, text.text});
    }
    return texts;
}

std::string quoted(const std::string & text)
{
    std::string result = "\"";
    for (const char c : text) {
        result += c == '\n' ? "\\n" : (c == '"' || c == '\\') ? std::string("\\") + c : std::string(1, c);
    }
    return result + "\"\n";
}

// Compiles the peer's catalogue, with the hash table that msgfmt gives it, and makes it the process's own.
bool bind_catalogue(const std::filesystem::path & folder, const std::vector<a_text> & texts)
{
    const std::filesystem::path place = folder / "de" / "LC_MESSAGES";
    std::filesystem::create_directories(place);
    std::ofstream po(folder / "bench.po");
    po << "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n\n";
    for (const a_text & text : texts) {
        const size_t end = text.key.find('\004');
        po << "msgctxt " << quoted(text.key.substr(0, end)) << "msgid " << quoted(text.key.substr(end + 1))
           << "msgstr " << quoted(text.text) << '\n';
    }
    po << "msgid " << quoted(PEERS_REPORT) << "msgstr " << quoted(PEERS_TRANSLATION);
    po.close();
    const std::string command =
        "msgfmt -o " + (place / "bench.mo").string() + ' ' + (folder / "bench.po").string();
    if (std::system(command.c_str()) != 0) { // NOLINT(cert-env33-c): a folder of our own, a tool of the build
        return false;
    }
    setenv("LANGUAGE", "de", 1);
    return setlocale(LC_ALL, "C.UTF-8") != nullptr &&
           bindtextdomain(DOMAIN_NAME, folder.c_str()) != nullptr &&
           bind_textdomain_codeset(DOMAIN_NAME, "UTF-8") != nullptr;
}

const char * peers_text(const char * key)
{
    return dcgettext(DOMAIN_NAME, key, LC_MESSAGES);
}

void write_resource_file(const std::filesystem::path & path, const std::vector<a_text> & texts,
                         const std::string & charset)
{
    a_string_map strings;
    for (const a_text & text : texts) {
        strings[text.id] = text.text;
    }
    strings[REPORT_ID] = REPORT;
    strings[res_charset_id] = "charset=" + charset + ";language=de";
    const std::vector<std::uint8_t> bytes = make_res_file(strings, smallest_levels(strings));
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

short be_silent(const char *)
{
    return 0;
}

// What a side adds up, so that nothing is left out.
size_t total = 0;

template<typename Lookup> void look_up_all(const std::vector<const a_text *> & order, Lookup && look_up)
{
    for (const a_text * text : order) {
        total += look_up(*text);
    }
}

template<typename Work> long allocations_of(Work && work)
{
    const long before = allocations;
    work();
    return allocations - before;
}

double nanoseconds(double seconds)
{
    return seconds / LOOKUPS * 1e9;
}

void tell(const char * name, const ratio::a_result & result)
{
    std::printf("%-44s ours %6.1f ns   peer %6.1f ns\n", name, nanoseconds(result.ours),
                nanoseconds(result.peers));
}

class Bench {
public:
    Bench(const std::filesystem::path & folder, std::vector<a_text> texts) : _texts(std::move(texts))
    {
        std::mt19937 random(1);
        for (size_t i = 0; i < LOOKUPS; ++i) {
            _order.push_back(&_texts[random() % _texts.size()]);
        }
        open(_file, folder / "utf8.res", "UTF-8");
        open(_converted_file, folder / "converted.res", "windows-1252");
    }

    void compare_texts()
    {
        for (const a_text & text : _texts) {
            char buffer[256];
            if (_file.GetString(text.id, buffer, sizeof(buffer)) != text.text.size() || text.text != buffer ||
                text.text != peers_text(text.key.c_str())) {
                give_up("the comparison of text " + std::to_string(text.id));
            }
        }
    }

    void measure_lookups(std::vector<ratio::a_figure> & figures)
    {
        const auto from_file = [this](const a_text & text) {
            char buffer[256];
            return _file.GetString(text.id, buffer, sizeof(buffer)) + static_cast<size_t>(buffer[0]);
        };
        const auto from_catalogue = [](const a_text & text) {
            return static_cast<size_t>(peers_text(text.key.c_str())[0]);
        };
        const ratio::a_result result = ratio::compare(
            TIMES, [&] { look_up_all(_order, from_file); }, [&] { look_up_all(_order, from_catalogue); });
        tell("a text by its number", result);
        figures.push_back({"a text: times as fast as dcgettext", ratio::AT_LEAST, 6, result.value()});
        const long made = allocations_of([&] { look_up_all(_order, from_file); });
        figures.push_back({"allocations of all look-ups", ratio::AT_MOST, 0, static_cast<double>(made)});
    }

    void measure_reports(std::vector<ratio::a_figure> & figures)
    {
        UTLangStringBase store(&_locale);
        UTResFile * list[] = {&_file};
        store.SetResFiles(list, 1);
        store.SetDestCharset(_locale.UTF8());
        const double reached = measure_report("a report, nothing converted", store);
        figures.push_back({"a report: times as fast as dcgettext and snprintf", ratio::AT_LEAST, 1, reached});
        const long made = allocations_of(
            [&store] { (void)MessageByID(store, be_silent, REPORT_ID, "4711", 1234, "sales@example.test"); });
        figures.push_back({"allocations of a report", ratio::AT_MOST, 0, static_cast<double>(made)});
        list[0] = &_converted_file;
        store.SetResFiles(list, 1);
        (void)measure_report("a report, template converted", store);
    }

private:
    void open(UTORVResFile & file, const std::filesystem::path & path, const char * charset)
    {
        write_resource_file(path, _texts, charset);
        if (!file.Open(path.c_str())) {
            give_up("opening " + path.string());
        }
    }

    double measure_report(const char * name, const UTLangStringBase & store)
    {
        const auto report = [&store](const a_text & text) {
            return static_cast<size_t>(MessageByID(store, be_silent, REPORT_ID, "4711",
                                                   static_cast<int>(text.id), "sales@example.test"));
        };
        const auto peers_report = [](const a_text & text) {
            char buffer[1024];
            (void)std::snprintf(buffer, sizeof(buffer), peers_text(PEERS_REPORT), "4711", text.id,
                                "sales@example.test"); // as long as ours
            return static_cast<size_t>(be_silent(buffer)) + static_cast<size_t>(buffer[0]);
        };
        const ratio::a_result result = ratio::compare(
            TIMES, [&] { look_up_all(_order, report); }, [&] { look_up_all(_order, peers_report); });
        tell(name, result);
        return result.value();
    }

    std::vector<a_text> _texts;
    std::vector<const a_text *> _order;
    UTLocale _locale;
    UTORVResFile _file;
    UTORVResFile _converted_file;
};

} // namespace

int main()
{
    char name[] = "/tmp/orvbenchXXXXXX";
    if (mkdtemp(name) == nullptr) {
        give_up("making a folder");
    }
    const std::filesystem::path folder(name);
    std::vector<a_text> texts = read_texts();
    std::vector<ratio::a_figure> figures;
    if (bind_catalogue(folder, texts)) {
        Bench bench(folder, std::move(texts));
        bench.compare_texts();
        bench.measure_lookups(figures);
        bench.measure_reports(figures);
    } else {
        std::printf("no msgfmt (gettext) or no locale C.UTF-8: nothing compared\n");
    }
    std::filesystem::remove_all(folder);
    std::printf("(%zu)\n", total);
    return ratio::print_table(figures);
}
