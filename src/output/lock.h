// The lock of a service: runs of one service work one after the other, as they build and replace the same files.
#ifndef TESSERA_OUTPUT_LOCK_H
#define TESSERA_OUTPUT_LOCK_H

#include <string>

// Holds the lock, and releases it when it goes out of scope. The kernel also releases the lock of a process that ends
// in any other way.
struct ServiceLock {
  ServiceLock() = default;
  ServiceLock(const ServiceLock &) = delete;
  ServiceLock &operator=(const ServiceLock &) = delete;
  ~ServiceLock();

  std::string path;
  int fd = -1;  // -1 while the lock is not held
};

// Waits at most 40 seconds until no other run of the service holds the lock, and takes it. Returns false, after a
// message, when the other run does not end or the lock cannot be taken; the run must not write anything then. Returns
// true without a lock when the lock file cannot be opened, as no other run can hold it then.
//
// The lock is a separate file, which exists only during a run and which only root can open. The service's own files
// cannot serve as lock: a run must not create them before it knows that the configuration is valid, and some of them
// can be opened, and so locked, by every user.
bool take_lock(ServiceLock &lock, const char *service);

#endif
