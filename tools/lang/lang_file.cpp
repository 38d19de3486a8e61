#include "tools/lang/lang_file.h"

#include <algorithm>
#include <charconv>
#include <map>

#include "tools/lang/charset_text.h"
#include "tools/lang/res_file.h"

namespace {

// The string by which a file tells its character set and language: eight bytes of any prefix, the label, the
// mark and the language. The library reads 95 bytes of it.
constexpr std::string_view identity_prefix = "charset=";
constexpr std::string_view language_mark = ";language=";
constexpr std::size_t max_identity_length = 95;
static_assert(identity_prefix.size() == 8);

constexpr char english_label[] = "en";

// English texts stand in for those that another language lacks, and are read with that language's character
// set then.
bool is_ascii(const std::string & text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<signed char>(c) >= 0; });
}

// UTF-8 is the longest form in which a process can want the text, and hosts take it into 256 bytes, too.
std::string length_fault(std::size_t encoded, const std::string & utf8)
{
    const std::size_t longest = std::max(encoded, utf8.size());
    return longest > max_text_length
               ? std::to_string(longest) + " bytes " + (longest == encoded ? "in its file" : "in UTF-8") +
                     ", longer than " + std::to_string(max_text_length)
               : std::string{};
}

a_converted_text encode_entry(const CharsetInfo & charset, const a_po_text & entry, bool english)
{
    a_converted_text result = encode_text(charset, entry.text);
    if (result.fault.empty() && english && !is_ascii(entry.text)) {
        result.fault = "an English text that isn't ASCII";
    }
    if (result.fault.empty()) {
        result.fault = length_fault(result.text.size(), entry.text);
    }
    return result;
}

std::string_view string_of(const a_res_contents & contents, std::uint16_t id)
{
    const auto found = contents.strings.find(id);
    return found != contents.strings.end() ? found->second : std::string_view{};
}

void add_fault(a_lang_file & result, std::uint16_t id, const std::string & what)
{
    result.faults.push_back(std::to_string(id) + ": " + what);
}

void read_version(const a_res_contents & contents, a_lang_file & result)
{
    const std::string_view text = string_of(contents, res_version_id);
    const char * const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, result.version);
    if (parsed.ec != std::errc{} || parsed.ptr != end) {
        add_fault(result, res_version_id, "the version isn't a number");
    } else if (result.version < oldest_strings_version) {
        add_fault(result, res_version_id, "a version that the library refuses");
    }
}

void read_identity(const a_res_contents & contents, a_lang_file & result)
{
    const std::string_view text = string_of(contents, res_charset_id);
    const std::size_t mark = text.find(language_mark);
    if (text.size() > max_identity_length || mark == std::string_view::npos ||
        mark < identity_prefix.size()) {
        add_fault(result, res_charset_id, "doesn't tell character set and language");
        return;
    }
    const std::string_view label = text.substr(identity_prefix.size(), mark - identity_prefix.size());
    result.charset = lang_file_charset(std::string(label));
    if (result.charset == nullptr) {
        add_fault(result, res_charset_id, "no character set of language files");
    }
    result.language = text.substr(mark + language_mark.size());
    const LanguageInfo * const row = UTLocale::GetLanguageInfoFromLabel(result.language.c_str());
    if (row == nullptr || result.language != row->iso_label()) {
        add_fault(result, res_charset_id, "a language that the catalogue doesn't know");
    }
}

// Completes `entry`, which holds the English text if there is one, by a text of the file. What is wrong with
// that, empty for nothing.
std::string read_text(const a_lang_file & file, std::string_view bytes, bool has_english, a_po_text & entry)
{
    const bool english_file = file.language == english_label;
    if (bytes.size() > max_text_length) {
        return length_fault(bytes.size(), {});
    }
    const a_converted_text decoded = decode_text(*file.charset, std::string(bytes));
    if (!decoded.fault.empty()) {
        return decoded.fault;
    }
    std::string fault;
    entry.text = decoded.text;
    entry.translated = has_english && !english_file;
    if (!has_english) { // its own placeholders are all that is known of the arguments
        entry.english = entry.text;
        std::string list;
        for (const std::string & placeholder : placeholders(entry.text, fault)) {
            list += " " + placeholder;
        }
        entry.comments = "Arguments:" + (list.empty() ? " none" : list);
    } else if (english_file && entry.english != entry.text) {
        return "isn't the English text with this number";
    }
    const a_converted_text encoded = encode_entry(*file.charset, entry, english_file);
    if (!fault.empty() || !encoded.fault.empty()) {
        return fault.empty() ? encoded.fault : fault;
    }
    return encoded.text != bytes ? "not the usual bytes for its characters" : text_fault(entry);
}

std::map<std::uint16_t, a_po_text> untranslated(const a_po_result * english)
{
    std::map<std::uint16_t, a_po_text> entries;
    if (english != nullptr) {
        for (const a_po_text & entry : english->texts) {
            entries[entry.id] = {entry.id, {}, entry.english, entry.comments, false};
        }
    }
    return entries;
}

void read_texts(const a_res_contents & contents, const a_po_result * english, a_lang_file & result)
{
    std::map<std::uint16_t, a_po_text> entries = untranslated(english);
    for (const auto & [id, bytes] : contents.strings) {
        if (id == res_version_id || id == res_charset_id) {
            continue;
        }
        const bool has_english = entries.count(id) != 0;
        a_po_text & entry = entries[id];
        entry.id = id;
        std::string fault = read_text(result, bytes, has_english, entry);
        if (fault.empty() && english != nullptr && !has_english) {
            fault = "there is no English text with this number";
        }
        if (!fault.empty()) {
            add_fault(result, id, fault);
        }
    }
    for (auto & [id, entry] : entries) {
        if (result.language == english_label && string_of(contents, id).empty()) {
            add_fault(result, id, "no text");
        }
        result.texts.push_back(std::move(entry));
    }
}

// PO files name some languages otherwise than the catalogue does.
bool header_fits(const std::string & header, const std::string & language)
{
    static constexpr std::pair<std::string_view, std::string_view> other_names[] = {
        {"tw", "zh_TW"}, {"tw", "zh_Hant"}, {"no", "nb"}, {"no", "nb_NO"}};
    const std::pair<std::string_view, std::string_view> names(language, header);
    return header == language || header.rfind(language + "_", 0) == 0 ||
           std::find(std::begin(other_names), std::end(other_names), names) != std::end(other_names);
}

// Faults of a translation that lags behind the English texts. The program would fill the arguments of the new
// text into the old one.
void compare_with_english(const a_po_result & texts, const a_po_result & english,
                          std::vector<std::string> & faults)
{
    const std::map<std::uint16_t, a_po_text> known = untranslated(&english);
    for (const a_po_text & entry : texts.texts) {
        const auto found = known.find(entry.id);
        if (found == known.end()) {
            faults.push_back(std::to_string(entry.id) + ": there is no English text with this number");
        } else if (found->second.english != entry.english) {
            faults.push_back(std::to_string(entry.id) +
                             ": its msgid isn't the English text of today: merge en.po into it");
        }
    }
}

} // namespace

const CharsetInfo * lang_file_charset(const std::string & label)
{
    const CharsetInfo * const charset = UTLocale::GetCharsetInfoFromLabel(label.c_str(), CS_STD_ANY);
    const bool usable =
        charset != nullptr && charset->min_char_size() == 1 && unambiguous_label(*charset) != nullptr;
    return usable ? charset : nullptr;
}

a_compiled_file compile_lang_file(const a_po_result & texts, const CharsetInfo & charset,
                                  const std::string & language, int version, const a_po_result * english)
{
    const bool is_english = language == english_label;
    a_compiled_file result{{}, texts.faults};
    if (!header_fits(texts.language, language)) {
        result.faults.push_back("the header's language is \"" + texts.language + "\", not " + language);
    }
    if (english != nullptr) {
        compare_with_english(texts, *english, result.faults);
    }
    a_string_map strings;
    for (const a_po_text & entry : texts.texts) {
        if (is_english || entry.translated) {
            a_converted_text encoded = encode_entry(charset, entry, is_english);
            if (!encoded.fault.empty()) {
                result.faults.push_back(std::to_string(entry.id) + ": " + encoded.fault);
            }
            strings[entry.id] = std::move(encoded.text);
        }
    }
    strings[res_version_id] = std::to_string(version);
    strings[res_charset_id] =
        std::string(identity_prefix) + unambiguous_label(charset) + std::string(language_mark) + language;
    if (result.faults.empty()) {
        result.bytes = make_res_file(strings, smallest_levels(strings));
    }
    return result;
}

a_lang_file read_lang_file(std::span<const std::uint8_t> file, const a_po_result * english)
{
    const a_res_contents contents = read_res_file(file);
    a_lang_file result;
    result.faults = contents.faults;
    if (contents.strings.empty() && !result.faults.empty()) {
        return result; // nothing more to tell
    }
    read_version(contents, result);
    read_identity(contents, result);
    if (result.charset != nullptr) {
        read_texts(contents, english, result);
    }
    return result;
}
