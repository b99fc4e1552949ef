// What LMDB's library refers to and this program never has it call: the copying of a store, which starts a thread,
// readers that are told apart by their thread (MDB_NOTLS says that they are not), and bringing the store to a disk
// (MDB_NOSYNC says that it stays in memory).
//
// The library is one piece, so these names come along with it, and the dynamic loader would look each of them up at
// every start. A call of one is a mistake of ours and ends the run. No header of theirs is included: it would tell how
// to call them.
#include <cstdarg>
#include <cstdio>

#define NEVER_CALLED(function) \
  void function() {            \
    __builtin_trap();          \
  }

// NOLINTBEGIN(bugprone-reserved-identifier,readability-redundant-declaration): the names are the C library's
extern "C" {
NEVER_CALLED(__fxstat)
NEVER_CALLED(fdatasync)
NEVER_CALLED(fsync)
NEVER_CALLED(madvise)
NEVER_CALLED(msync)
NEVER_CALLED(pthread_cond_destroy)
NEVER_CALLED(pthread_cond_init)
NEVER_CALLED(pthread_cond_signal)
NEVER_CALLED(pthread_cond_wait)
NEVER_CALLED(pthread_create)
NEVER_CALLED(pthread_getspecific)
NEVER_CALLED(pthread_join)
NEVER_CALLED(pthread_key_create)
NEVER_CALLED(pthread_key_delete)
NEVER_CALLED(pthread_setspecific)
NEVER_CALLED(pthread_sigmask)
NEVER_CALLED(sigaddset)
NEVER_CALLED(sigemptyset)
NEVER_CALLED(sigwait)

// The compiler knows this one.
int posix_memalign(void ** /*memory*/, size_t /*alignment*/, size_t /*size*/) noexcept {
  __builtin_trap();
}

// Have nothing to do: neither a mutex nor what it is made by holds memory.
int pthread_mutex_destroy(void * /*mutex*/) {
  return 0;
}
int pthread_mutexattr_destroy(void * /*attributes*/) {
  return 0;
}

// Called for the message of a failed assertion. The program has a function of the C library that does the same.
int __sprintf_chk(char *text, int /*flag*/, size_t size, const char *format, ...) noexcept
    __attribute__((format(printf, 4, 5)));
int __sprintf_chk(char *text, int /*flag*/, size_t size, const char *format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  int length = vsnprintf(text, size, format, arguments);
  va_end(arguments);
  return length;
}
}
// NOLINTEND(bugprone-reserved-identifier,readability-redundant-declaration)
