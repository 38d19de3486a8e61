#include "tools/lang/po_texts.h"

#include <gettext-po.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <regex>
#include <set>

// libgettextpo 0.21 forgets what it allocates for a context, and for comments that it hands out, to which its
// interface has no call that frees them. The leak sanitizer asks for this function by its name.
extern "C" __attribute__((visibility("default"))) const char * __lsan_default_suppressions();
const char * __lsan_default_suppressions()
{
    return "leak:libgettextpo";
}

namespace {

// Numbers that language files use for themselves: their version and their character set.
constexpr std::uint16_t version_id = 5000;
constexpr std::uint16_t charset_id = 8643;

// libgettextpo reports through callbacks without a context of the caller's.
std::vector<std::string> * current_faults = nullptr;

void keep_fault(int severity, const char * file, size_t line, const std::string & text)
{
    if (severity == PO_SEVERITY_WARNING) {
        return;
    }
    current_faults->push_back((file != nullptr ? std::string(file) + ":" + std::to_string(line) + ": " : "") +
                              text);
}

void po_error(int severity, po_message_t /*message*/, const char * file, size_t line, size_t /*column*/,
              int /*multiline*/, const char * text)
{
    keep_fault(severity, file, line, text);
}

void po_error2(int severity, po_message_t /*message1*/, const char * file1, size_t line1, size_t /*column1*/,
               int /*multiline1*/, const char * text1, po_message_t /*message2*/, const char * /*file2*/,
               size_t /*line2*/, size_t /*column2*/, int /*multiline2*/, const char * text2)
{
    keep_fault(severity, file1, line1, std::string(text1) + text2);
}

constexpr po_xerror_handler handler{po_error, po_error2};

struct a_po_file_deleter {
    void operator()(po_file_t file) const { po_file_free(file); }
};
struct an_iterator_deleter {
    void operator()(po_message_iterator_t iterator) const { po_message_iterator_free(iterator); }
};

using a_po_file = std::unique_ptr<std::remove_pointer_t<po_file_t>, a_po_file_deleter>;
using a_po_iterator = std::unique_ptr<std::remove_pointer_t<po_message_iterator_t>, an_iterator_deleter>;

// The part of the comments that tells the arguments.
std::string arguments_line(const std::string & comments)
{
    static constexpr char label[] = "Arguments:";
    const std::size_t start = comments.find(label);
    if (start == std::string::npos) {
        return {};
    }
    return comments.substr(start + std::strlen(label),
                           comments.find('\n', start) - start - std::strlen(label));
}

bool parse_id(const char * text, std::uint16_t & id)
{
    if (text == nullptr) {
        return false;
    }
    const char * const end = text + std::strlen(text);
    const auto result = std::from_chars(text, end, id);
    return result.ec == std::errc{} && result.ptr == end && id != 0;
}

// Both texts take their arguments from one list, so a translation has the placeholders of the English text.
std::string translation_fault(const a_po_text & entry)
{
    std::string fault;
    std::vector<std::string> english = placeholders(entry.english, fault);
    std::vector<std::string> translated = placeholders(entry.text, fault);
    std::sort(english.begin(), english.end());
    std::sort(translated.begin(), translated.end());
    return english == translated ? fault : "its placeholders aren't those of the English text";
}

bool is_control(char c)
{
    return static_cast<unsigned char>(c) < ' ' || c == '\x7f';
}

void read_entry(po_message_t message, a_po_result & result)
{
    a_po_text entry;
    entry.english = po_message_msgid(message);
    entry.comments = po_message_extracted_comments(message);
    const char * const context = po_message_msgctxt(message);
    if (!parse_id(context, entry.id)) {
        result.faults.push_back("\"" + entry.english + "\": msgctxt isn't a number from 1 to 65535");
        return;
    }
    const char * const translation = po_message_msgstr(message);
    entry.translated = *translation != '\0' && !po_message_is_fuzzy(message);
    entry.text = entry.translated ? translation : entry.english;
    const std::string fault = text_fault(entry);
    if (!fault.empty()) {
        result.faults.push_back(std::to_string(entry.id) + ": " + fault);
    }
    result.texts.push_back(std::move(entry));
}

// The library of PO files hands texts out as they stand in the file.
void read_header(po_file_t file, a_po_result & result)
{
    const char * const header = po_file_domain_header(file, nullptr);
    const auto field = [header](const char * name) {
        const std::unique_ptr<char, decltype(&std::free)> value(
            header != nullptr ? po_header_field(header, name) : nullptr, std::free);
        return std::string(value != nullptr ? value.get() : "");
    };
    result.language = field("Language");
    if (field("Content-Type").find("charset=UTF-8") == std::string::npos) {
        result.faults.emplace_back("the header has no \"Content-Type\" with charset=UTF-8");
    }
}

void read_entries(po_file_t file, a_po_result & result)
{
    const a_po_iterator iterator(po_message_iterator(file, nullptr));
    while (po_message_t message = po_next_message(iterator.get())) {
        const bool header = *po_message_msgid(message) == '\0';
        if (!header && !po_message_is_obsolete(message)) {
            read_entry(message, result);
        }
    }
}

void sort_and_find_duplicates(a_po_result & result)
{
    std::sort(result.texts.begin(), result.texts.end(),
              [](const a_po_text & a, const a_po_text & b) { return a.id < b.id; });
    for (std::size_t i = 1; i < result.texts.size(); ++i) {
        if (result.texts[i].id == result.texts[i - 1].id) {
            result.faults.push_back(std::to_string(result.texts[i].id) + ": the number stands twice");
        }
    }
}

} // namespace

std::vector<std::string> placeholders(const std::string & text, std::string & fault)
{
    static const std::regex placeholder("%[1-9](!(s|d|c|u|ld|lu|lld|llu|4x|8x|at)!)?");
    std::vector<std::string> found;
    for (std::size_t pos = text.find('%'); pos != std::string::npos; pos = text.find('%', pos)) {
        std::smatch match;
        if (text.compare(pos, 2, "%%") == 0) {
            pos += 2;
        } else if (std::regex_search(text.begin() + static_cast<std::ptrdiff_t>(pos), text.end(), match,
                                     placeholder, std::regex_constants::match_continuous)) {
            found.push_back(match.str());
            pos += found.back().size();
            // Else the formatter would take the end of one for the beginning of the other's tag.
            if (pos < text.size() && text[pos] == '!' && text[pos - 1] != '!') {
                fault = "an unknown tag behind " + found.back();
                return found;
            }
        } else {
            fault =
                "a percent sign at offset " + std::to_string(pos) + " is neither a placeholder nor doubled";
            return found;
        }
    }
    return found;
}

std::string text_fault(const a_po_text & entry)
{
    if (entry.id == version_id || entry.id == charset_id) {
        return "this number belongs to the language files themselves";
    }
    if (entry.text.empty()) {
        return "an empty text";
    }
    if (entry.english.size() > max_text_length) {
        return "a text of " + std::to_string(entry.english.size()) + " bytes, longer than " +
               std::to_string(max_text_length);
    }
    if (std::any_of(entry.text.begin(), entry.text.end(), is_control)) {
        return "a control character";
    }
    const std::string fault = placeholder_fault(entry.text, entry.comments);
    return fault.empty() ? translation_fault(entry) : fault;
}

std::string placeholder_fault(const std::string & text, const std::string & comments)
{
    std::string fault;
    std::string ignored;
    const std::vector<std::string> used = placeholders(text, fault);
    if (!fault.empty()) {
        return fault;
    }
    const std::string arguments = arguments_line(comments);
    if (arguments.empty()) {
        return "no comment with the line \"Arguments: ...\"";
    }
    const std::vector<std::string> allowed = placeholders(arguments, ignored);
    std::set<std::string> seen;
    for (const std::string & placeholder : used) {
        if (std::find(allowed.begin(), allowed.end(), placeholder) == allowed.end()) {
            return placeholder + " isn't among the arguments of the comment";
        }
        if (!seen.insert(placeholder).second) {
            return placeholder + " stands twice: only the last one would be filled";
        }
    }
    return {};
}

a_po_result read_po_texts(const char * path)
{
    a_po_result result;
    current_faults = &result.faults;
    const a_po_file file(po_file_read(path, &handler));
    if (file == nullptr) {
        result.faults.push_back(std::string(path) + " can't be read");
    } else {
        read_header(file.get(), result);
        read_entries(file.get(), result);
        sort_and_find_duplicates(result);
    }
    current_faults = nullptr;
    return result;
}

std::string write_po_texts(const char * path, const std::string & header,
                           const std::vector<a_po_text> & texts)
{
    std::vector<std::string> faults;
    current_faults = &faults;
    const a_po_file file(po_file_create());
    const a_po_iterator iterator(po_message_iterator(file.get(), nullptr));
    const auto insert = [&iterator](const std::string & english, const std::string & translation) {
        po_message_t message = po_message_create();
        po_message_set_msgid(message, english.c_str());
        po_message_set_msgstr(message, translation.c_str());
        po_message_insert(iterator.get(), message);
        return message;
    };
    insert("", header + "MIME-Version: 1.0\nContent-Type: text/plain; charset=UTF-8\n"
                        "Content-Transfer-Encoding: 8bit\n");
    for (const a_po_text & entry : texts) {
        po_message_t message = insert(entry.english, entry.translated ? entry.text : "");
        po_message_set_msgctxt(message, std::to_string(entry.id).c_str());
        po_message_set_extracted_comments(message, entry.comments.c_str());
    }
    if (po_file_write(file.get(), path, &handler) == nullptr && faults.empty()) {
        faults.push_back(std::string(path) + " can't be written");
    }
    current_faults = nullptr;
    return faults.empty() ? std::string{} : faults[0];
}
