// Counts the system calls of a piece of work, all of them, by tracing it in a process of its own.
//
// Failure: a negative count where tracing isn't allowed. The work sees the state of the caller, descriptors
// included; what it changes in memory stays in its own process. Threads: one.
#pragma once

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace bench {

// Stops of the traced process at the ends of its system calls, up to the signal that marks the end.
[[nodiscard]] inline long count_stops(pid_t process)
{
    long stops = 0;
    int status = 0;
    while (ptrace(PTRACE_SYSCALL, process, nullptr, nullptr) == 0 &&
           waitpid(process, &status, 0) == process && WIFSTOPPED(status)) {
        if (WSTOPSIG(status) == SIGSTOP) {
            return stops;
        }
        stops += WSTOPSIG(status) == (SIGTRAP | 0x80) ? 1 : 0; // PTRACE_O_TRACESYSGOOD
    }
    return -1;
}

template<typename Work> [[nodiscard]] long count_syscalls(Work && work)
{
    const pid_t process = fork();
    if (process == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        (void)kill(getpid(), SIGSTOP); // from here on it is counted
        work();
        (void)kill(getpid(), SIGSTOP);
        _exit(0);
    }
    int status = 0;
    long stops = -1;
    if (waitpid(process, &status, WUNTRACED) == process && WIFSTOPPED(status) &&
        ptrace(PTRACE_SETOPTIONS, process, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL) == 0) {
        stops = count_stops(process);
    }
    (void)kill(process, SIGKILL);
    (void)waitpid(process, nullptr, 0);
    // Each call stops at its beginning and at its end. Not of the work: the end of the first kill, and getpid
    // and the beginning of the last one.
    return stops < 0 ? -1 : (stops - 4) / 2;
}

} // namespace bench
