#include "utils/etc/utfatal.h"

#include <cstdio>

#include "utils/etc/errorlog.h"

void ut_fatal(const char * str)
{
    const char * text = str == nullptr ? "Unknown error" : str;
    GenerateErrorLog(text, "Orvane");
    (void)std::puts(text); // there is no further place to report to
}
