#include "utils/contain/utlist.h"

namespace {

// The compiler drops plain stores to an object that is about to end.
void store_for_good(c_utils_link *& field, c_utils_link * value)
{
    *const_cast<c_utils_link * volatile *>(&field) = value;
}

} // namespace

c_utils_link::~c_utils_link()
{
    // A node in no list unlinks itself from itself.
    prev->next = next;
    next->prev = prev;
    // Whoever still comes by this node finds an empty list, not its former neighbours.
    store_for_good(next, this);
    store_for_good(prev, this);
}
