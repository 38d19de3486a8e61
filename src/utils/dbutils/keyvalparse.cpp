#include "utils/dbutils/keyvalparse.h"

#include <cstring>
#include <strings.h>

#include "utils/etc/utstrfcn.h"
#include "utils/utmem/utmem.h"

namespace {

bool is_blank_or_tab(char c)
{
    return c == ' ' || c == '\t';
}

// A blank or a control character from tab to carriage return.
bool is_space(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// The text without blanks and tabs at its end.
size_t trimmed_length(const char * text, size_t len)
{
    while (len > 0 && is_blank_or_tab(text[len - 1])) {
        len--;
    }
    return len;
}

char * skip_space(char * text)
{
    while (is_space(*text)) {
        text++;
    }
    return text;
}

bool key_is_in_row(const char * key, const a_key_value_map & row)
{
    if (strcasecmp(key, row.fullName) == 0 ||
        (row.shortForm != nullptr && strcasecmp(key, row.shortForm) == 0)) {
        return true;
    }
    for (const char * const * name = row.alternates; name != nullptr && *name != nullptr; name++) {
        if (strcasecmp(key, *name) == 0) {
            return true;
        }
    }
    return false;
}

// A copy of the text to cut keys and values from.
class WorkingCopy {
public:
    explicit WorkingCopy(const char * string)
    {
        const size_t len = trimmed_length(string, strlen(string));
        _text = static_cast<char *>(ut_malloc(len + 1));
        if (_text != nullptr) {
            memcpy(_text, string, len);
            _text[len] = '\0';
        }
    }
    ~WorkingCopy() { ut_free(_text); }
    WorkingCopy(const WorkingCopy &) = delete;
    WorkingCopy & operator=(const WorkingCopy &) = delete;

    char * text() { return _text; } // null without memory

private:
    char * _text;
};

class Parser {
public:
    Parser(char * text, a_string_parms * sp, const a_key_value_map * map_table)
        : _next(text), _sp(sp), _map_table(map_table)
    {
    }

    a_parse_ret parse(bool respect_1st, bool ignore_bad_keywords)
    {
        a_parse_ret result = PARSE_OK;
        while (result == PARSE_OK && skip_to_key()) {
            result = parse_option(respect_1st, ignore_bad_keywords);
        }
        return result;
    }

private:
    a_parse_ret fail(a_parse_ret result, const char * word)
    {
        (void)ut_strcpy(OffendingWord(_sp), OFFENDING_WORD_SIZE, word); // a cut word still tells which one
        return result;
    }

    // False at the end of the text.
    bool skip_to_key()
    {
        while (is_space(*_next) || *_next == ';') {
            _next++;
        }
        return *_next != '\0';
    }

    a_parse_ret parse_option(bool respect_1st, bool ignore_bad_keywords)
    {
        a_parse_ret result = read_key();
        if (result != PARSE_OK) {
            return result;
        }
        const size_t slot = find_row();
        const bool known = _map_table[slot].fullName != nullptr;
        if (!known && !ignore_bad_keywords) {
            return fail(PARSE_BAD_KEYWORD, _key);
        }
        result = read_value();
        return result == PARSE_OK && known ? store(slot, respect_1st) : result;
    }

    a_parse_ret read_key()
    {
        char * separator = strpbrk(_next, "=#");
        if (separator == nullptr) {
            return fail(PARSE_NO_EQUAL_SIGN, _next);
        }
        _key = _next;
        _key[trimmed_length(_key, static_cast<size_t>(separator - _key))] = '\0';
        _next = separator + 1;
        return PARSE_OK;
    }

    a_parse_ret read_value()
    {
        _next = skip_space(_next);
        if (*_next == '"' || *_next == '\'') {
            return read_quoted_value();
        }
        _value = _next;
        char * end = _next + strcspn(_next, ";");
        _next = *end == ';' ? end + 1 : end;
        _value[trimmed_length(_value, static_cast<size_t>(end - _value))] = '\0';
        return PARSE_OK;
    }

    // The value is written over itself, without its quotes.
    a_parse_ret read_quoted_value()
    {
        const char quote = *_next;
        _value = _next;
        char * from = _next + 1;
        char * to = _next;
        while (*from != quote || from[1] == quote) {
            if (*from == '\0') {
                *to = '\0';
                return fail(PARSE_MISSING_QUOTE, _value);
            }
            from += *from == quote ? 2 : 1;
            *to++ = from[-1];
        }
        _next = from + 1;
        *to = '\0';
        while (*_next == ' ') {
            _next++;
        }
        if (*_next != ';' && *_next != '\0') {
            return fail(PARSE_BAD_VALUE, _value);
        }
        return PARSE_OK;
    }

    // The row of the key, or the one that ends the table.
    size_t find_row() const
    {
        size_t row = 0;
        while (_map_table[row].fullName != nullptr && !key_is_in_row(_key, _map_table[row])) {
            row++;
        }
        return row;
    }

    a_parse_ret store(size_t slot, bool respect_1st)
    {
        const a_post_process_option post_process = _map_table[slot].post_process_option;
        const char * value = post_process != nullptr ? post_process(_value) : _value;
        if (value == nullptr) {
            return fail(PARSE_BAD_VALUE, _value);
        }
        if (*value == '\0' || (respect_1st && _sp->string[slot] != nullptr)) {
            return PARSE_OK;
        }
        return SetStringParm(_sp, slot, value) ? PARSE_OK : PARSE_NO_MEM;
    }

    char * _next; // the text from here on is still to be read
    char * _key = nullptr;
    char * _value = nullptr;
    a_string_parms * _sp;
    const a_key_value_map * _map_table;
};

} // namespace

a_parse_ret ParseKeyValueString(const char * string, a_string_parms * sp, const a_key_value_map * map_table,
                                a_bool, a_bool respect_1st, a_bool ignore_bad_keywords, int32 *)
{
    if (string == nullptr) {
        return PARSE_OK;
    }
    WorkingCopy copy(string);
    if (copy.text() == nullptr) {
        return PARSE_NO_MEM;
    }
    return Parser(copy.text(), sp, map_table).parse(respect_1st, ignore_bad_keywords);
}
