// The lock of a service: runs of one service work one after the other, as they build and replace the same files.
#ifndef TESSERA_OUTPUT_LOCK_H
#define TESSERA_OUTPUT_LOCK_H

#include <string>

// Releases the lock when it goes; so does the end of the process, however it comes about.
struct ServiceLock {
  ServiceLock() = default;
  ServiceLock(const ServiceLock &) = delete;
  ServiceLock &operator=(const ServiceLock &) = delete;
  ~ServiceLock();

  std::string path;
  int fd = -1;  // -1 while the lock is not held
};

// Waits until no other run of the service holds the lock, 40 seconds at most, and takes it. False, after a message,
// when the other run does not end or the lock cannot be taken: the run must not write anything then. True without a
// lock when the lock file cannot be opened: no other run can hold it then.
//
// The lock is a file of its own, which exists only during a run and which only root can open. The files of the service
// cannot serve: a run must not create them before it knows that the configuration is valid, and every user can open,
// and so lock, some of them.
bool take_lock(ServiceLock &lock, const char *service);

#endif
