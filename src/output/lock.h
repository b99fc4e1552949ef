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

// Waits until no other run of the service is at work, 40 seconds at most, and takes the lock. False, after a message,
// when the other run does not end or the lock cannot be taken: nothing may be written then. Where the file of the lock
// cannot be opened, nobody else can hold it either: that is no failure, and the lock stays empty.
//
// The lock is a file of its own, which is there only during a run and which only root can open: the files of the
// service may not be made before the configuration is known to be valid, and some of them every user can open, and
// lock.
bool take_lock(ServiceLock &lock, const char *service);

#endif
