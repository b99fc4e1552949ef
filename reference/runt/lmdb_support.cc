// What LMDB's library refers to and this program never has it call: the copying of a store, which starts a thread, and
// readers that are told apart by their thread (MDB_NOTLS says that they are not).
//
// The library is one piece, so these names come along with it, and the dynamic loader would look each of them up at
// every start. A call of one is a mistake of ours and ends the run. No header is included: it would tell how to call
// them.
#define NEVER_CALLED(function) \
  void function() {            \
    __builtin_trap();          \
  }

// NOLINTBEGIN(bugprone-reserved-identifier): the names are the C library's
extern "C" {
NEVER_CALLED(__fxstat)
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
NEVER_CALLED(sigwait)
}
// NOLINTEND(bugprone-reserved-identifier)
