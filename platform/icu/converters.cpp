// Opening converters by the catalogue's names, and the code pages that ICU's own data may lack.

#include <unicode/udata.h>

#include <cstring>

#include "icu/converters.h"
#include "icu/own_tables.h"

namespace {

// A code page that goes by another name in ICU's data, or whose table this library brings.
struct a_lacking_code_page {
    const char * name;
    const char * served_by; // a full name of ICU's; null for a table of our own
};

// What differs between a name and its stand-in is listed in docs/catalogue.md.
constexpr a_lacking_code_page LACKING[] = {
    {"ibm-33722_P12A-1999", "ibm-33722_P12A_P12A-2004_U2"},
    {"macos-6-10.2", nullptr},
    {"ibm-1375_P100-2003", "ibm-1375_P100-2008"},
    {"ibm-970_P110-1995", "ibm-970_P110_P110-2006_U2"},
    {"windows-1256-2000", nullptr},
};

// ICU keeps the tables by this name.
constexpr const char * PACKAGE = "orvicu16";

UConverter * open_own(const char * name, UErrorCode * error)
{
    // Every time: u_cleanup makes ICU forget them, and knowing them already is no more than a warning.
    UErrorCode known = U_ZERO_ERROR;
    udata_setAppData(PACKAGE, OWN_TABLES, &known);
    if (U_FAILURE(known)) {
        *error = known;
        return nullptr;
    }
    return ucnv_openPackage(PACKAGE, name, error);
}

UConverter * open_lacking(const char * name, UErrorCode * error)
{
    for (const a_lacking_code_page & row : LACKING) {
        if (strcmp(name, row.name) == 0) {
            *error = U_ZERO_ERROR;
            return row.served_by != nullptr ? ucnv_open(row.served_by, error) : open_own(name, error);
        }
    }
    return nullptr;
}

// What the link library asks ICU for because nothing else serves it: the catalogue's multi-byte character
// sets.
constexpr const char * MULTI_BYTE[] = {
    "ibm-943_P15A-2003",
    "ibm-33722_P12A-1999",
    "ibm-1383_P110-1999",
    "ibm-964_P110-1999",
    "ibm-1375_P100-2003",
    "windows-950-2000",
    "ibm-970_P110-1995",
    "gb18030",
    "windows-936-2000",
    "windows-949-2000",
    "ibm-950_P110-1999",
    "UTF-8",
    "UTF-16LE",
    "UTF-16BE",
    "CESU-8",
};

} // namespace

bool has_catalogue_converters()
{
    for (const char * name : MULTI_BYTE) {
        UErrorCode error = U_ZERO_ERROR;
        UConverter * converter = ucnv_open_3_4(name, &error);
        ucnv_close(converter);
        if (error != U_ZERO_ERROR) {
            return false;
        }
    }
    return true;
}

extern "C" {

UConverter * ucnv_open_3_4(const char * name, UErrorCode * error)
{
    if (error == nullptr || U_FAILURE(*error)) {
        return nullptr;
    }
    UConverter * converter = ucnv_open(name, error);
    if (*error == U_FILE_ACCESS_ERROR && name != nullptr) {
        return open_lacking(name, error);
    }
    return converter;
}
}
