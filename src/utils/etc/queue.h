// A circular doubly linked list whose nodes are embedded, as the first field, in what they link.
//
// A list has one anchor node; the owner points both its fields to itself, which is the empty list. Ownership:
// the operations link and unlink, nothing else. Failure: none. Threads: the owner guards its list.
#pragma once

struct a_queue {
    a_queue * before_me;
    a_queue * after_me;
};

// Links `el` in directly before `q`: at the end of the list, if `q` is the anchor.
void Q_insert(a_queue * q, a_queue * el);

// Takes `el` out of its list. Its own pointers stay as they were.
void Q_remove(a_queue * el);

// Takes the element behind the anchor `q` out and returns it. Null if the list is empty, or if the anchor was
// never set up and its after_me is null.
[[nodiscard]] void * Q_element(a_queue * q);
