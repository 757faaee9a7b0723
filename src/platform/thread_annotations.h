// What clang's -Wthread-safety checks; nothing for other compilers.
#pragma once

#if defined(__clang__)
#define QRV_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define QRV_THREAD_ANNOTATION(x)
#endif

#define QRV_CAPABILITY(name) QRV_THREAD_ANNOTATION(capability(name))
#define QRV_SCOPED_CAPABILITY QRV_THREAD_ANNOTATION(scoped_lockable)
#define QRV_GUARDED_BY(lock) QRV_THREAD_ANNOTATION(guarded_by(lock))
#define QRV_ACQUIRE(...) QRV_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define QRV_RELEASE(...) QRV_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
