#include "utils/contain/utlist.h"

c_utils_link::~c_utils_link()
{
    // A node in no list unlinks itself from itself.
    prev->next = next;
    next->prev = prev;
    next = this;
    prev = this;
}
