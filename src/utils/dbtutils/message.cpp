#include "utils/dbtutils/message.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <limits>

#include "tasks/orvtasks.h"
#include "utils/etc/critsect.h"
#include "utils/lang/utlangstring.h"
#include "utils/utmem/utmem.h"

namespace {

// Room for nearly every report, so that the buffer hardly ever grows.
constexpr uint32 first_buffer_size = 1024;

// A template is cut to one byte less.
constexpr size_t template_size = 256;

struct an_err_buffer {
    uint32 len; // bytes allocated
    char * buffer;
};

constinit a_critical_sect MessageCriticalSect{nullptr};
constinit an_err_buffer ErrBuffer ORV_GUARDED_BY(MessageCriticalSect){0, nullptr};
constinit uint32 MessageCritSectLockCnt ORV_GUARDED_BY(MessageCriticalSect) = 0;

// These three are looked at without the lock, too: the owner by a thread that wants to know whether it is the
// one.
constinit std::atomic<p_os_thread> MessageCritSectOwner{nullptr};
constinit std::atomic<a_bool> allowMsgRecursion{FALSE};
constinit std::atomic<uint32> lastMsgId{0};

// Holds the lock for one report. The discipline is that of the start, so that a switch in between can't leave
// the lock half taken.
class ORV_SCOPED_CAPABILITY ReportGuard {
public:
    ReportGuard() ORV_ACQUIRE(MessageCriticalSect) ORV_NO_LOCK_ANALYSIS
        : _recursive(allowMsgRecursion.load(std::memory_order_relaxed) != FALSE)
    {
        if (!_recursive) {
            lock_critical_sect(MessageCriticalSect);
            return;
        }
        // Only this thread can have made itself the owner, so the comparison is as good as one under the
        // lock.
        if (MessageCritSectOwner.load(std::memory_order_relaxed) != OS_Me()) {
            lock_critical_sect(MessageCriticalSect);
            MessageCritSectOwner.store(OS_Me(), std::memory_order_relaxed);
        }
        ++MessageCritSectLockCnt;
    }

    ~ReportGuard() ORV_RELEASE() ORV_NO_LOCK_ANALYSIS
    {
        if (_recursive) {
            if (--MessageCritSectLockCnt != 0) {
                return;
            }
            MessageCritSectOwner.store(nullptr, std::memory_order_relaxed);
        }
        unlock_critical_sect(MessageCriticalSect);
    }

    ReportGuard(const ReportGuard &) = delete;
    ReportGuard & operator=(const ReportGuard &) = delete;

private:
    const bool _recursive;
};

class ArgListCopy {
public:
    explicit ArgListCopy(va_list from) { va_copy(args, from); }
    ~ArgListCopy() { va_end(args); }
    ArgListCopy(const ArgListCopy &) = delete;
    ArgListCopy & operator=(const ArgListCopy &) = delete;

    va_list args;
};

void drop_buffer() ORV_REQUIRES(MessageCriticalSect)
{
    ut_free(ErrBuffer.buffer);
    ErrBuffer.buffer = nullptr;
}

// Makes a buffer that is larger than the last one, if there is none. Without memory the size starts over, so
// that a text too long for this process doesn't cost the reports behind it their buffer.
bool have_buffer(uint32 len_of_text) ORV_REQUIRES(MessageCriticalSect)
{
    if (ErrBuffer.buffer != nullptr) {
        return true;
    }
    const uint64 size = uint64{ErrBuffer.len} + std::max(len_of_text, first_buffer_size);
    if (size <= std::numeric_limits<uint32>::max()) {
        ErrBuffer.buffer = static_cast<char *>(ut_alloc(size));
    }
    ErrBuffer.len = ErrBuffer.buffer != nullptr ? static_cast<uint32>(size) : 0;
    return ErrBuffer.buffer != nullptr;
}

int16 format_and_deliver(MSG_CALLBACK rtn, const char * fmt, va_list arglist)
    ORV_REQUIRES(MessageCriticalSect)
{
    uint32 len = 0;
    while (have_buffer(len)) {
        ArgListCopy copy(arglist);
        len = static_cast<uint32>(UTLangStringBase::VFormatMiscStr(ErrBuffer.buffer, ErrBuffer.len, fmt,
                                                                   copy.args, nullptr, nullptr));
        // A text up to the last usable byte may have been cut, and only whole ones go out.
        if (len < ErrBuffer.len - 1) {
            return rtn(ErrBuffer.buffer);
        }
        drop_buffer();
    }
    (void)rtn(fmt); // the best that is left to say; the result tells the caller that it wasn't the report
    return 0;
}

void messages_atfork_prefork() ORV_ACQUIRE(MessageCriticalSect)
{
    lock_critical_sect(MessageCriticalSect);
}

void messages_atfork_postfork_parent() ORV_RELEASE(MessageCriticalSect)
{
    unlock_critical_sect(MessageCriticalSect);
}

void messages_atfork_postfork_child() ORV_RELEASE(MessageCriticalSect)
{
    unlock_critical_sect(MessageCriticalSect);
}

// Runs at load and unload, with no other thread in the library. Every step may fail for want of memory, and
// reports work all the same: without the lock, without protection around a fork, with a buffer that the first
// report makes.
class DoInitMessages {
public:
    DoInitMessages() ORV_NO_LOCK_ANALYSIS
    {
        (void)ut_safe_pthread_mutex_init(&MessageCriticalSect, nullptr);
        (void)pthread_atfork(messages_atfork_prefork, messages_atfork_postfork_parent,
                             messages_atfork_postfork_child);
        (void)have_buffer(0); // the first report tries again
    }

    ~DoInitMessages() ORV_NO_LOCK_ANALYSIS
    {
        (void)ut_safe_pthread_mutex_destroy(&MessageCriticalSect);
        drop_buffer();
        ErrBuffer.len = 0;
    }

    DoInitMessages(const DoInitMessages &) = delete;
    DoInitMessages & operator=(const DoInitMessages &) = delete;
};

// Ahead of all objects without a priority, whichever file they stand in, so that these can report while they
// are made and unmade. 101 is the first priority that isn't the compiler's own.
[[gnu::init_priority(101)]] DoInitMessages init_messages;

} // namespace

int16 DoMessage(MSG_CALLBACK rtn, const char * fmt, va_list arglist)
{
    if (rtn == nullptr) {
        return 0;
    }
    if (fmt == nullptr) {
        return rtn(nullptr);
    }
    const ReportGuard guard;
    const int16 result = format_and_deliver(rtn, fmt, arglist);
    SetLastMessageId(0);
    return result;
}

int16 Message(MSG_CALLBACK rtn, const char * fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    const int16 result = DoMessage(rtn, fmt, args);
    va_end(args);
    return result;
}

int16 MessageArgList(MSG_CALLBACK rtn, const char * fmt, va_list args)
{
    SetLastMessageId(0);
    return DoMessage(rtn, fmt, args);
}

int16 MessageByID(const UTLangStringBase & ls, MSG_CALLBACK rtn, uint32 lsid, ...)
{
    char fmt[template_size];
    if (ls.GetString(lsid, fmt, sizeof(fmt)) == 0) {
        return rtn(nullptr);
    }
    SetLastMessageId(lsid);
    va_list args;
    va_start(args, lsid);
    const int16 result = DoMessage(rtn, fmt, args);
    va_end(args);
    return result;
}

uint32 GetLastMessageId()
{
    return lastMsgId.load(std::memory_order_relaxed);
}

void SetLastMessageId(uint32 msgId)
{
    lastMsgId.store(msgId, std::memory_order_relaxed);
}

void SetAllowRecursiveMessages(a_bool val)
{
    allowMsgRecursion.store(val, std::memory_order_relaxed);
}

void FreeMessageMem()
{
    const ReportGuard guard;
    drop_buffer();
    ErrBuffer.len = 0;
}
