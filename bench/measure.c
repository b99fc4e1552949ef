// Runs commands in turn and prints the lowest costs of each: measure RUNS COMMAND [ARG...] [-- COMMAND [ARG...]]...
//
// Prints one line for each command: wall time and CPU time in microseconds, and the peak resident memory in KiB. The
// CPU time is user and system time, with that of children that were waited for. The commands take turns, so that other
// load of the machine affects all of them. This program is small and static and uses vfork: the kernel's count of a
// child's memory begins with that of its parent, so a large parent would be measured instead of the child.
#include <errno.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>

enum { most_commands = 16 };

struct Cost {
  long wall_us;
  long cpu_us;
  long peak_kib;
};

static long microseconds(struct timeval time) {
  return time.tv_sec * 1000000L + time.tv_usec;
}

static struct Cost run(char **command) {
  struct timespec begin;
  struct timespec end;
  struct rusage usage;
  pid_t child;
  int status;
  clock_gettime(CLOCK_MONOTONIC, &begin);
  int error = posix_spawnp(&child, command[0], NULL, NULL, command, NULL);
  if (error != 0) {
    fprintf(stderr, "measure: cannot start %s: %s\n", command[0], strerror(error));
    exit(1);
  }
  while (wait4(child, &status, 0, &usage) < 0)
    if (errno != EINTR) abort();
  clock_gettime(CLOCK_MONOTONIC, &end);
  if (status != 0) {
    fprintf(stderr, "measure: %s ended with wait status %d\n", command[0], status);
    exit(1);
  }
  return (struct Cost){(end.tv_sec - begin.tv_sec) * 1000000L + (end.tv_nsec - begin.tv_nsec) / 1000,
                       microseconds(usage.ru_utime) + microseconds(usage.ru_stime), usage.ru_maxrss};
}

static void keep_least(long *least, long value) {
  if (value < *least) *least = value;
}

int main(int argc, char **argv) {
  char **commands[most_commands];
  struct Cost least[most_commands];
  long runs = argc > 2 ? strtol(argv[1], NULL, 10) : 0;
  int count = 0;
  if (runs > 0) commands[count++] = argv + 2;
  for (int i = 2; i < argc; i++) {
    if (strcmp(argv[i], "--") != 0) continue;
    argv[i] = NULL;
    if (count == most_commands) count = 0;
    if (count == 0) break;
    commands[count++] = argv + i + 1;
  }
  if (count == 0) {
    fputs("usage: measure RUNS COMMAND [ARG...] [-- COMMAND [ARG...]]...\n", stderr);
    return 2;
  }
  for (long n = 0; n < runs; n++) {
    for (int i = 0; i < count; i++) {
      struct Cost cost = run(commands[i]);
      if (n == 0) least[i] = cost;
      keep_least(&least[i].wall_us, cost.wall_us);
      keep_least(&least[i].cpu_us, cost.cpu_us);
      keep_least(&least[i].peak_kib, cost.peak_kib);
    }
  }
  for (int i = 0; i < count; i++) printf("%ld %ld %ld\n", least[i].wall_us, least[i].cpu_us, least[i].peak_kib);
  return 0;
}
