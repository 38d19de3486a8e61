// A node of a circular doubly linked list that leaves its list when it is destroyed.
//
// Owners link nodes by their fields; a node that is in no list points to itself. Failure: none. Threads: the
// owner of a list guards it, the destruction of its nodes included.
#pragma once

class c_utils_link {
public:
    c_utils_link() : next(this), prev(this) {}
    c_utils_link(const c_utils_link &) = delete;
    c_utils_link & operator=(const c_utils_link &) = delete;

    // Takes the node out of its list, if it is in one, and leaves it pointing to itself.
    virtual ~c_utils_link();

    c_utils_link * next;
    c_utils_link * prev;
};

static_assert(sizeof(c_utils_link) == 3 * sizeof(void *), "a virtual table and two links");
