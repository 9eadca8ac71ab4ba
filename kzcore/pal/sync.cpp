#include <kzcore/pal/sync.h>

#include <sched.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

namespace {
thread_local DWORD t_last_error = 0;
thread_local DWORD t_thread_id = 0;
}  // namespace

void InitializeCriticalSection(LPCRITICAL_SECTION cs) { InitializeCriticalSectionAndSpinCount(cs, 0); }

BOOL InitializeCriticalSectionAndSpinCount(LPCRITICAL_SECTION cs, DWORD spin_count) {
  pthread_mutexattr_t attr;
  pthread_mutexattr_init(&attr);
  pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
  int rc = pthread_mutex_init(&cs->mutex, &attr);
  pthread_mutexattr_destroy(&attr);
  cs->spin_count = spin_count & 0x00FFFFFF;  // the high byte carries flags on Windows
  cs->initialized = rc == 0;
  return cs->initialized;
}

DWORD SetCriticalSectionSpinCount(LPCRITICAL_SECTION cs, DWORD spin_count) {
  DWORD old = cs->spin_count;
  cs->spin_count = spin_count & 0x00FFFFFF;
  return old;
}

void EnterCriticalSection(LPCRITICAL_SECTION cs) {
  // Spin with try-lock first: a short critical region held by another core ends before a sleep
  // and wake-up would.
  for (DWORD i = 0; i < cs->spin_count; ++i) {
    if (pthread_mutex_trylock(&cs->mutex) == 0) return;
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
  }
  pthread_mutex_lock(&cs->mutex);
}

BOOL TryEnterCriticalSection(LPCRITICAL_SECTION cs) { return pthread_mutex_trylock(&cs->mutex) == 0; }

void LeaveCriticalSection(LPCRITICAL_SECTION cs) { pthread_mutex_unlock(&cs->mutex); }

void DeleteCriticalSection(LPCRITICAL_SECTION cs) {
  if (cs->initialized) pthread_mutex_destroy(&cs->mutex);
  cs->initialized = FALSE;
}

DWORD GetCurrentThreadId() {
  if (t_thread_id == 0) t_thread_id = static_cast<DWORD>(syscall(SYS_gettid));
  return t_thread_id;
}

DWORD GetCurrentProcessId() { return static_cast<DWORD>(getpid()); }

DWORD GetLastError() { return t_last_error; }

void SetLastError(DWORD error) { t_last_error = error; }

void Sleep(DWORD milliseconds) {
  if (milliseconds == 0) {
    sched_yield();
    return;
  }
  timespec ts{static_cast<time_t>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1000000L};
  while (nanosleep(&ts, &ts) == -1 && errno == EINTR) {
  }
}
