// The attributes of clang's lock analysis, empty for other compilers. They say which lock guards a value and
// what a function does to a lock; a build with clang fails where the code breaks what they say.
#pragma once

#if defined(__clang__)
#define ORV_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define ORV_THREAD_ATTRIBUTE(x)
#endif

// A type that is a lock, and a type whose objects hold one from construction to destruction.
#define ORV_CAPABILITY(name) ORV_THREAD_ATTRIBUTE(capability(name))
#define ORV_SCOPED_CAPABILITY ORV_THREAD_ATTRIBUTE(scoped_lockable)

// A value, or what a pointer points to, that is touched with the lock held only.
#define ORV_GUARDED_BY(lock) ORV_THREAD_ATTRIBUTE(guarded_by(lock))
#define ORV_PT_GUARDED_BY(lock) ORV_THREAD_ATTRIBUTE(pt_guarded_by(lock))

// A function that takes a lock, gives it back, wants it held, or wants it free.
#define ORV_ACQUIRE(...) ORV_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define ORV_RELEASE(...) ORV_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define ORV_REQUIRES(...) ORV_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ORV_EXCLUDES(...) ORV_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))

// A function whose body the analysis can't follow; its declaration still binds its callers.
#define ORV_NO_LOCK_ANALYSIS ORV_THREAD_ATTRIBUTE(no_thread_safety_analysis)
