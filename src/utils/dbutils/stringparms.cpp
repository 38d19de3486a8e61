#include "utils/dbutils/stringparms.h"

#include <cstring>

#include "utils/utmem/utmem.h"

a_bool InitSizedStringParms(a_string_parms * sp, uint16 count)
{
    *sp = {};
    const size_t slots = size_t{count} + 1;
    auto ** strings = static_cast<char **>(ut_calloc(slots * sizeof(char *)));
    auto * word = static_cast<char *>(ut_calloc(OFFENDING_WORD_SIZE));
    if (strings == nullptr || word == nullptr) {
        ut_free(word);
        ut_free(strings);
        return FALSE;
    }
    strings[count] = word;
    sp->num_strings = count;
    sp->string = strings;
    return TRUE;
}

void FreeStringParms(a_string_parms * sp)
{
    if (sp->string == nullptr) {
        return;
    }
    for (size_t i = 0; i <= sp->num_strings; i++) {
        ut_free(sp->string[i]);
    }
    ut_free(sp->string);
    *sp = {};
}

a_bool SetStringParm(a_string_parms * sp, size_t slot, std::string_view value)
{
    auto * copy = static_cast<char *>(ut_malloc(value.size() + 1));
    if (copy == nullptr) {
        return FALSE;
    }
    memcpy(copy, value.data(), value.size());
    copy[value.size()] = '\0';
    ut_free(sp->string[slot]);
    sp->string[slot] = copy;
    return TRUE;
}

char * OffendingWord(const a_string_parms * sp)
{
    return sp->string[sp->num_strings];
}
