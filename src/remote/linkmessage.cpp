#include "remote/linkmessage.h"

#include <strings.h>

#include "utils/etc/utstrfcn.h"

namespace {

bool is_named(const char * id)
{
    return id != nullptr && id[0] != '\0';
}

} // namespace

void LinkMessage::freeKey(SkipListKey * /*key*/) {}

SMTPLinkMessage::SMTPLinkMessage(const char * id, unsigned long num)
    : LinkMessage(is_named(id) ? TRUE : FALSE), _id{}, _num(is_named(id) ? num : 0)
{
    // A long id is meant to be cut; a null one leaves the field empty.
    (void)ut_strcpy(_id, sizeof(_id), id);
}

SkipListKey * SMTPLinkMessage::getKey()
{
    return key_of(_id);
}

SkipListKey * SMTPLinkMessage::key_of(const char * id)
{
    // The list never looks behind the handle; only compare() does, as text.
    return reinterpret_cast<SkipListKey *>(const_cast<char *>(id));
}

CompareResult SMTPLinkMessage::compare(SkipListKey * key)
{
    const int order = strcasecmp(reinterpret_cast<const char *>(key), _id);
    if (order < 0) {
        return KeyIsBefore;
    }
    return order == 0 ? KeyIsEqual : KeyIsAfter;
}

char * SMTPLinkMessage::GetValue()
{
    return _id;
}
