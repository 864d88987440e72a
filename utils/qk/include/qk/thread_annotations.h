#pragma once

/// \file
/// What clang's -Wthread-safety checks at compile time: which lock guards what, and who holds it. Other compilers see
/// none of it.

/// An attribute of clang's.
#if defined(__clang__)
#define QK_THREAD_ANNOTATION(...) __attribute__((__VA_ARGS__))
#else
#define QK_THREAD_ANNOTATION(...)
#endif

/// A class whose objects are locks.
#define QK_CAPABILITY QK_THREAD_ANNOTATION(capability("mutex"))
/// A class whose objects hold a lock from constructor to destructor.
#define QK_SCOPED_CAPABILITY QK_THREAD_ANNOTATION(scoped_lockable)
/// A member or variable that is used with the lock held only.
#define QK_GUARDED_BY(lock) QK_THREAD_ANNOTATION(guarded_by(lock))
/// A function that is called with the locks held, and returns with them held.
#define QK_REQUIRES(...) QK_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
/// A function that is not called with the locks held, since it takes them itself.
#define QK_EXCLUDES(...) QK_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
/// A function that returns with the locks held, which its caller did not hold; no argument: with this object.
#define QK_ACQUIRE(...) QK_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
/// A function that is called with the locks held and releases them; no argument: this object.
#define QK_RELEASE(...) QK_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
/// A function that returns a reference to the lock.
#define QK_RETURN_CAPABILITY(lock) QK_THREAD_ANNOTATION(lock_returned(lock))
