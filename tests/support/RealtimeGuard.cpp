#include "tests/support/RealtimeGuard.h"

#include <cstddef>
#include <dlfcn.h>
#include <pthread.h>
#include <time.h>

namespace {

// constinit keeps the access free of lazy TLS initialisation, which would itself allocate.
constinit thread_local bool t_realtime = false;
constinit thread_local int t_violations = 0;
constinit thread_local char const* t_first = nullptr;

#ifndef LINGRELAY_SANITIZED
void note(char const* what)
{
    if (!t_realtime)
        return;
    if (t_violations++ == 0)
        t_first = what;
}

template <class F> F* next(char const* name) { return reinterpret_cast<F*>(dlsym(RTLD_NEXT, name)); }
#endif

} // namespace

#ifndef LINGRELAY_SANITIZED // sanitizers have their own allocator, and call it before anything here is ready
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void __libc_free(void*);

void* malloc(std::size_t size)
{
    note("malloc");
    return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size)
{
    note("calloc");
    return __libc_calloc(count, size);
}
void* realloc(void* p, std::size_t size)
{
    note("realloc");
    return __libc_realloc(p, size);
}
void free(void* p)
{
    if (p)
        note("free");
    __libc_free(p);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept
{
    static auto* const real = next<int(pthread_mutex_t*)>("pthread_mutex_lock");
    note("pthread_mutex_lock");
    return real(mutex);
}
int pthread_cond_wait(pthread_cond_t* cond, pthread_mutex_t* mutex)
{
    static auto* const real = next<int(pthread_cond_t*, pthread_mutex_t*)>("pthread_cond_wait");
    note("pthread_cond_wait");
    return real(cond, mutex);
}
int nanosleep(timespec const* request, timespec* left)
{
    static auto* const real = next<int(timespec const*, timespec*)>("nanosleep");
    note("nanosleep");
    return real(request, left);
}
}
#endif

namespace lingrelay {

RealtimeGuard::RealtimeGuard()
{
    t_violations = 0;
    t_first = nullptr;
    t_realtime = true;
}
RealtimeGuard::~RealtimeGuard() { t_realtime = false; }
int RealtimeGuard::violations() const { return t_violations; }
char const* RealtimeGuard::first() const { return t_first; }

} // namespace lingrelay
