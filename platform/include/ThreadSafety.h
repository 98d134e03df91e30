// Words for Clang's thread-safety analysis: which lock guards what, and who holds it. Other compilers read
// past them; the Clang build makes a breach an error.
#pragma once

#ifdef __clang__
#define TRELVIK_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define TRELVIK_THREAD_SAFETY(attribute)
#endif

#define CAPABILITY(name) TRELVIK_THREAD_SAFETY(capability(name))
#define SCOPED_CAPABILITY TRELVIK_THREAD_SAFETY(scoped_lockable)

/// Beside a variable: it is read and written with the lock held.
#define GUARDED_BY(lock) TRELVIK_THREAD_SAFETY(guarded_by(lock))
/// Beside a function: the caller holds the lock, or must not.
#define REQUIRES(...) TRELVIK_THREAD_SAFETY(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) TRELVIK_THREAD_SAFETY(locks_excluded(__VA_ARGS__))
/// Beside a lock: it is taken after that one, when both are held.
#define ACQUIRED_AFTER(...) TRELVIK_THREAD_SAFETY(acquired_after(__VA_ARGS__))

#define ACQUIRE(...) TRELVIK_THREAD_SAFETY(acquire_capability(__VA_ARGS__))
#define RELEASE(...) TRELVIK_THREAD_SAFETY(release_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) TRELVIK_THREAD_SAFETY(try_acquire_capability(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS TRELVIK_THREAD_SAFETY(no_thread_safety_analysis)
