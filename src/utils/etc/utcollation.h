// Collations as values: the settings that a collation is made with, and the stored form of a custom one.
//
// The values of the sensitivities are ASCII letters and are stored as such. Integers in a stored record are
// in the machine's byte order. Threads: plain values, one thread at a time.
#pragma once

#include <cstddef>

#include "utils/etc/uttypes.h"
#include "utils/locale/utlocale.h"

enum a_case_sensitivity : int32 {
    CASE_INSENSITIVE = 'n',
    CASE_SENSITIVE = 'A',
    CASE_SENSITIVE_CAPS_FIRST = 'A',
    CASE_SENSITIVE_LOWER_FIRST = 'a'
};

enum an_accent_sensitivity : int32 {
    ACCENT_INSENSITIVE = 'n',
    ACCENT_SENSITIVE = 'y',
    ACCENT_SENSITIVE_FRENCH = 'f'
};

enum a_punctuation_sensitivity : int32 {
    PUNCTUATION_SENSITIVE_PRIMARY = 'p',
    PUNCTUATION_SENSITIVE_QUATERNARY = 'q',
    PUNCTUATION_INSENSITIVE = 'i'
};

enum a_sort_type : int32 {
    SORTTYPE_UNKNOWN = 0,
    SORTTYPE_PHONEBOOK = 1,
    SORTTYPE_TRADITIONAL = 2,
    SORTTYPE_STANDARD = 3,
    SORTTYPE_PINYIN = 4,
    SORTTYPE_STROKE = 5,
    SORTTYPE_DIRECT = 6,
    SORTTYPE_POSIX = 7,
    SORTTYPE_BIG5HAN = 8,
    SORTTYPE_GB2312 = 9
};

// The stored form of a custom collation. Texts are zero-terminated inside their fields; a reader of a stored
// record can't rely on that.
struct a_custom_collation_info {
    char orv_collation_label[51] = {};
    char charset_label[51] = {};
    char kep_so_case[51] = {};     // sort order of the sibling server family, case sensitive
    char kep_so_caseless[51] = {}; // the same, case insensitive
    char description[129] = {};    // shown for a label that no row of the catalogue has
    char tailoring[193] = {};      // the ICU locale string
    char padding1[2] = {};
    a_case_sensitivity case_sensitivity = CASE_INSENSITIVE;
    an_accent_sensitivity accent_sensitivity = ACCENT_INSENSITIVE;
    a_punctuation_sensitivity punctuation_sensitivity = PUNCTUATION_SENSITIVE_PRIMARY;
    a_byte collation_type = 0; // a_collation_type
    char padding2[3] = {};
    a_sort_type sort_type = SORTTYPE_UNKNOWN;
    a_packed_collation_order packed = {};
};
static_assert(sizeof(a_custom_collation_info) == 1828);
static_assert(offsetof(a_custom_collation_info, description) == 204);
static_assert(offsetof(a_custom_collation_info, case_sensitivity) == 528);
static_assert(offsetof(a_custom_collation_info, collation_type) == 540);
static_assert(offsetof(a_custom_collation_info, sort_type) == 544);
static_assert(offsetof(a_custom_collation_info, packed) == 548);
