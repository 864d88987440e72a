#pragma once

/// \file
/// Annotations for clang's -Wthread-safety, which checks at compile time that data is used with its lock held. For
/// other compilers they are empty.

/// An attribute that only clang knows.
#if defined(__clang__)
#define QK_THREAD_ANNOTATION(...) __attribute__((__VA_ARGS__))
#else
#define QK_THREAD_ANNOTATION(...)
#endif

/// A class whose objects are locks.
#define QK_CAPABILITY QK_THREAD_ANNOTATION(capability("mutex"))
/// A class whose objects hold a lock from constructor to destructor.
#define QK_SCOPED_CAPABILITY QK_THREAD_ANNOTATION(scoped_lockable)
/// A member or variable that may be used only with the lock held.
#define QK_GUARDED_BY(lock) QK_THREAD_ANNOTATION(guarded_by(lock))
/// A function that must be called with the locks held, and returns with them held.
#define QK_REQUIRES(...) QK_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
/// A function that must not be called with the locks held, because it acquires them.
#define QK_EXCLUDES(...) QK_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
/// A function that acquires the locks; without an argument, this object.
#define QK_ACQUIRE(...) QK_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
/// A function that releases the locks; without an argument, this object.
#define QK_RELEASE(...) QK_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
/// A function that returns a reference to the lock.
#define QK_RETURN_CAPABILITY(lock) QK_THREAD_ANNOTATION(lock_returned(lock))
