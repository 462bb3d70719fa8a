// Starting a program through QProcess calls clone(). The interceptor that libtsan 12 has for it leaves the interceptors
// of the calling thread switched off, so each lock that the thread takes from then on goes unseen and everything under
// it is reported as a race. This definition stands before that interceptor and calls the C library's own function.
#include <cstdarg>
#include <sys/types.h>

extern "C" {

int __clone(int (*entry)(void*), void* stack, int flags, void* argument, ...); // NOLINT(bugprone-reserved-identifier)

int clone(int (*entry)(void*), void* stack, int flags, void* argument, ...) {
    va_list rest;
    va_start(rest, argument);
    pid_t* parent = va_arg(rest, pid_t*);
    void* storage = va_arg(rest, void*);
    pid_t* child = va_arg(rest, pid_t*);
    va_end(rest);
    return __clone(entry, stack, flags, argument, parent, storage, child);
}

} // extern "C"
