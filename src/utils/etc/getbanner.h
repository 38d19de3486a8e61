// The banner line: a program's name, its version, and what kind of build it is.
//
// Units: `buff` has room for banner_size bytes; a line that doesn't fit is cut and terminated. The words come
// from `langstring`; a missing one leaves its place empty. Nothing is reported. All return `buff`.
#pragma once

#include "utils/etc/uttypes.h"
#include "utils/lang/utlangstring.h"

constexpr size_t banner_size = 256;

// Numbers of the words that every banner uses.
constexpr uint32 LS_BANNER_BETA = 9406;
constexpr uint32 LS_BANNER_DEBUG = 9407;
constexpr uint32 LS_BANNER_VERSION = 9408; // between name and version

// The line: string `app_name`, the version word, `ver`, and the words for a debug and for a beta build if
// wanted.
char * GetBanner(UTLangStringBase & langstring, int32 app_name, const char * ver, a_bool debug, a_bool beta,
                 char * buff);

// The same behind string `product_name`.
char * GetBanner_p(UTLangStringBase & langstring, int32 product_name, int32 app_name, const char * ver,
                   a_bool debug, a_bool beta, char * buff);

// String `id` alone.
char * GetBanner_str(UTLangStringBase & langstring, int32 id, char * buff);

// Appends the line of GetBanner to the text in `buff`.
char * AppendAppBanner(UTLangStringBase & langstring, int32 app_name, const char * ver, a_bool debug,
                       a_bool beta, char * buff);

// Appends to the text in `buff`: `ver`, and the words for a debug and for a beta build if wanted.
char * GetBanner_ver(UTLangStringBase & langstring, const char * ver, a_bool debug, a_bool beta, char * buff);
