// Lock annotations for clang's -Wthread-safety, which checks on every call path that what a lock guards is
// touched under it only. Other compilers see nothing. See
// https://clang.llvm.org/docs/ThreadSafetyAnalysis.html.
#pragma once

#if defined(__clang__)
#define ORV_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define ORV_THREAD_ANNOTATION(x)
#endif

#define ORV_CAPABILITY(name) ORV_THREAD_ANNOTATION(capability(name))
#define ORV_SCOPED_CAPABILITY ORV_THREAD_ANNOTATION(scoped_lockable)
#define ORV_GUARDED_BY(lock) ORV_THREAD_ANNOTATION(guarded_by(lock))
#define ORV_REQUIRES(...) ORV_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define ORV_EXCLUDES(...) ORV_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ORV_ACQUIRE(...) ORV_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define ORV_RELEASE(...) ORV_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
// For the few functions that the analysis cannot follow; each says why.
#define ORV_NO_THREAD_SAFETY_ANALYSIS ORV_THREAD_ANNOTATION(no_thread_safety_analysis)
