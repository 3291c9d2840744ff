// Services of the operating system, all POSIX threads underneath. Handles of threads are the
// pthread_t themselves, those of mutexes and conditions point to the POSIX objects.
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <ctime>
#include <mutex>
#include <new>
#include <string>
#include <unordered_set>

#include "broker/family.h"

namespace broker {
namespace {

static_assert(sizeof(pthread_t) == sizeof(CMPI_THREAD_TYPE));
static_assert(sizeof(pthread_key_t) == sizeof(CMPI_THREAD_KEY_TYPE));

pthread_t thread_of(CMPI_THREAD_TYPE thread) { return reinterpret_cast<pthread_t>(thread); }
pthread_mutex_t* mutex_of(CMPI_MUTEX_TYPE mutex) { return static_cast<pthread_mutex_t*>(mutex); }
pthread_cond_t* condition_of(CMPI_COND_TYPE cond) { return static_cast<pthread_cond_t*>(cond); }

// The names are never freed: nobody says when a provider has done with one, and there are few.
char* resolve_file_name(const char* name) {
  if (!name) return nullptr;
  static auto& mutex = *new std::mutex;
  static auto& names = *new std::unordered_set<std::string>;
  const std::lock_guard lock(mutex);
  return const_cast<char*>(names.insert("lib" + std::string(name) + ".so").first->c_str());
}

CMPI_THREAD_TYPE new_thread(CMPIThreadFunc start, void* argument, int detached) {
  pthread_attr_t attributes;
  if (!start || pthread_attr_init(&attributes) != 0) return nullptr;
  if (detached) pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  pthread_t thread{};
  const int error = pthread_create(&thread, &attributes, start, argument);
  pthread_attr_destroy(&attributes);
  return error == 0 ? reinterpret_cast<CMPI_THREAD_TYPE>(thread) : nullptr;
}

int join_thread(CMPI_THREAD_TYPE thread, CMPI_THREAD_RETURN* result) {
  return thread ? pthread_join(thread_of(thread), result) : EINVAL;
}

int exit_thread(CMPI_THREAD_RETURN result) { pthread_exit(result); }

int cancel_thread(CMPI_THREAD_TYPE thread) {
  return thread ? pthread_cancel(thread_of(thread)) : EINVAL;
}

// Not checked for bad addresses: a cancelled thread is unwound from here. The address sanitizer
// would not notice, and would take its marks around this frame's locals for an overflow later.
[[gnu::no_sanitize_address]] int thread_sleep(CMPIUint32 milliseconds) {
  std::timespec left{milliseconds / 1000, milliseconds % 1000 * 1000000l};
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
  return 0;
}

int thread_once(int* once, CMPIThreadOnceFunc function) {
  if (!once || !function) return EINVAL;
  enum { Fresh, Running, Done };
  std::atomic_ref<int> state(*once);
  int expected = Fresh;
  if (state.compare_exchange_strong(expected, Running)) {
    function();
    state.store(Done);
    state.notify_all();
    return 0;
  }
  while (state.load() != Done) state.wait(Running);
  return 0;
}

int create_thread_key(CMPI_THREAD_KEY_TYPE* key, CMPIThreadKeyCleanupFunc cleanup) {
  return key ? pthread_key_create(key, cleanup) : EINVAL;
}

int destroy_thread_key(CMPI_THREAD_KEY_TYPE key) { return pthread_key_delete(key); }

void* get_thread_specific(CMPI_THREAD_KEY_TYPE key) { return pthread_getspecific(key); }

int set_thread_specific(CMPI_THREAD_KEY_TYPE key, void* value) {
  return pthread_setspecific(key, value);
}

CMPI_MUTEX_TYPE new_mutex(int) {
  auto* mutex = new (std::nothrow) pthread_mutex_t;
  pthread_mutexattr_t attributes;
  if (!mutex || pthread_mutexattr_init(&attributes) != 0) {
    delete mutex;
    return nullptr;
  }
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  const int error = pthread_mutex_init(mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
  if (error == 0) return mutex;
  delete mutex;
  return nullptr;
}

int destroy_mutex(CMPI_MUTEX_TYPE mutex) {
  if (!mutex) return EINVAL;
  const int error = pthread_mutex_destroy(mutex_of(mutex));
  if (error == 0) delete mutex_of(mutex);
  return error;
}

int lock_mutex(CMPI_MUTEX_TYPE mutex) {
  return mutex ? pthread_mutex_lock(mutex_of(mutex)) : EINVAL;
}

int unlock_mutex(CMPI_MUTEX_TYPE mutex) {
  return mutex ? pthread_mutex_unlock(mutex_of(mutex)) : EINVAL;
}

CMPI_COND_TYPE new_condition(int) {
  auto* condition = new (std::nothrow) pthread_cond_t;
  if (condition && pthread_cond_init(condition, nullptr) == 0) return condition;
  delete condition;
  return nullptr;
}

int destroy_condition(CMPI_COND_TYPE condition) {
  if (!condition) return EINVAL;
  const int error = pthread_cond_destroy(condition_of(condition));
  if (error == 0) delete condition_of(condition);
  return error;
}

int cond_wait(CMPI_COND_TYPE condition, CMPI_MUTEX_TYPE mutex) {
  if (!condition || !mutex) return EINVAL;
  return pthread_cond_wait(condition_of(condition), mutex_of(mutex));
}

int timed_cond_wait(CMPI_COND_TYPE condition, CMPI_MUTEX_TYPE mutex, struct timespec* until) {
  if (!condition || !mutex || !until) return EINVAL;
  return pthread_cond_timedwait(condition_of(condition), mutex_of(mutex), until);
}

int signal_condition(CMPI_COND_TYPE condition) {
  return condition ? pthread_cond_signal(condition_of(condition)) : EINVAL;
}

// The older forms without a result.
template <int (*function)(void*)>
void without_result(void* handle) {
  function(handle);
}

}  // namespace

void fill_system_table(Tables& tables) {
  tables.system = {
      .ftVersion = CMPIVersion210,
      .resolveFileName = resolve_file_name,
      .newThread = new_thread,
      .joinThread = join_thread,
      .exitThread = exit_thread,
      .cancelThread = cancel_thread,
      .threadSleep = thread_sleep,
      .threadOnce = thread_once,
      .createThreadKey = create_thread_key,
      .destroyThreadKey = destroy_thread_key,
      .getThreadSpecific = get_thread_specific,
      .setThreadSpecific = set_thread_specific,
      .newMutex = new_mutex,
      .destroyMutex = without_result<destroy_mutex>,
      .lockMutex = without_result<lock_mutex>,
      .unlockMutex = without_result<unlock_mutex>,
      .newCondition = new_condition,
      .destroyCondition = without_result<destroy_condition>,
      .condWait = cond_wait,
      .timedCondWait = timed_cond_wait,
      .signalCondition = signal_condition,
      .destroyMutex2 = destroy_mutex,
      .lockMutex2 = lock_mutex,
      .unlockMutex2 = unlock_mutex,
      .destroyCondition2 = destroy_condition,
  };
}

}  // namespace broker
