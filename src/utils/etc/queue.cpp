#include "utils/etc/queue.h"

void Q_insert(a_queue * q, a_queue * el)
{
    el->before_me = q->before_me;
    el->after_me = q;
    q->before_me->after_me = el;
    q->before_me = el;
}

void Q_remove(a_queue * el)
{
    el->before_me->after_me = el->after_me;
    el->after_me->before_me = el->before_me;
}

void * Q_element(a_queue * q)
{
    a_queue * el = q->after_me;
    if (el == q || el == nullptr) {
        return nullptr;
    }
    Q_remove(el);
    return el;
}
