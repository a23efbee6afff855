#pragma once

// Which lock guards what, in a form that clang checks (-Wthread-safety); other compilers see nothing of it. A
// member is GUARDED_BY its lock; a function that expects its caller to hold one REQUIRES it. The lock types are
// in Mutex.h and in platform/os/threads.h.

#if defined(__clang__)
#define THREAD_ANNOTATION(annotation) __attribute__((annotation))
#else
#define THREAD_ANNOTATION(annotation)
#endif

// Of a class: it is a lock, or holds one for the length of a scope.
#define CAPABILITY(name) THREAD_ANNOTATION(capability(name))
#define SCOPED_CAPABILITY THREAD_ANNOTATION(scoped_lockable)

// Of a member: the lock guards it, or what it points to.
#define GUARDED_BY(lock) THREAD_ANNOTATION(guarded_by(lock))
#define PT_GUARDED_BY(lock) THREAD_ANNOTATION(pt_guarded_by(lock))

// Of a function: the caller holds the lock, or must not; the call takes it, tries to, gives it back.
#define REQUIRES(...) THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define RELEASE(...) THREAD_ANNOTATION(release_capability(__VA_ARGS__))

// Of a function that the analysis can't follow; the reason stands beside it.
#define NO_THREAD_SAFETY_ANALYSIS THREAD_ANNOTATION(no_thread_safety_analysis)
