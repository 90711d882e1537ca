#include "tests/support/RealtimeGuard.h"

#include <cstddef>
#include <dlfcn.h>
#include <pthread.h>

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
    using Lock = int(pthread_mutex_t*);
    static auto* const real = reinterpret_cast<Lock*>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
    note("pthread_mutex_lock");
    return real(mutex);
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
