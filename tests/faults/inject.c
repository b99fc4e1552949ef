// Runs a program and lets one of its system calls fail, or ends it there.
//
//   inject N ERROR PROGRAM [ARGUMENTS...]
//
// The N-th system call of the program itself, not of its children, fails with that error number; with "kill" in its
// place the program is killed instead of making the call. 0 leaves it alone. Descriptor 3 gets the wait status and the
// numbers of all its system calls, separated by blanks.
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <signal.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

enum { report = 3, most_calls = 100000 };

static int check(long result, const char *what) {
  if (result >= 0) return (int)result;
  perror(what);
  _exit(126);
}

union Control {
  struct cmsghdr header;
  char bytes[CMSG_SPACE(sizeof(int))];
};

static struct msghdr message(union Control *control, struct iovec *byte) {
  struct msghdr header = {.msg_iov = byte, .msg_iovlen = 1, .msg_control = control, .msg_controllen = sizeof *control};
  return header;
}

// Has every system call but sendmsg announced on a descriptor that goes to the parent, and becomes the program.
static void start(int socket, char **argv) {
  struct sock_filter rules[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_sendmsg, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF),
  };
  struct sock_fprog filter = {sizeof rules / sizeof *rules, rules};
  char byte = 0;
  struct iovec content = {&byte, 1};
  union Control control = {.header = {CMSG_LEN(sizeof(int)), SOL_SOCKET, SCM_RIGHTS}};
  struct msghdr header = message(&control, &content);
  check(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), "prctl");
  int listener =
      check(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &filter), "seccomp");
  memcpy(CMSG_DATA(&control.header), &listener, sizeof listener);
  check(sendmsg(socket, &header, 0), "sendmsg");
  close(listener);
  close(socket);
  close(report);
  execvp(argv[0], argv);
  _exit(127);
}

static int receive(int socket) {
  char byte;
  struct iovec content = {&byte, 1};
  union Control control;
  struct msghdr header = message(&control, &content);
  int listener;
  check(recvmsg(socket, &header, 0) - 1, "recvmsg");
  memcpy(&listener, CMSG_DATA(&control.header), sizeof listener);
  return listener;
}

int main(int argc, char **argv) {
  if (argc < 4) return 126;
  long when = strtol(argv[1], NULL, 10);
  int error = (int)strtol(argv[2], NULL, 10);  // 0 for "kill"
  int ends[2];
  check(socketpair(AF_UNIX, SOCK_DGRAM, 0, ends), "socketpair");
  pid_t program = check(fork(), "fork");
  if (program == 0) start(ends[1], argv + 3);
  close(ends[1]);
  int listener = receive(ends[0]);

  static int calls[most_calls];
  long count = 0;
  int running = 0;
  struct pollfd waited = {listener, POLLIN, 0};
  while (poll(&waited, 1, -1) > 0 && (waited.revents & POLLIN) != 0) {
    struct seccomp_notif call = {0};
    if (ioctl(listener, SECCOMP_IOCTL_NOTIF_RECV, &call) != 0) continue;
    struct seccomp_notif_resp answer = {.id = call.id, .flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE};
    if ((pid_t)call.pid == program && running && count < most_calls) {
      calls[count++] = call.data.nr;
      if (count == when && error == 0) {
        kill(program, SIGKILL);
        continue;
      }
      if (count == when) {
        answer.flags = 0;
        answer.error = -error;
      }
    }
    if ((pid_t)call.pid == program && call.data.nr == SYS_execve) running = 1;
    ioctl(listener, SECCOMP_IOCTL_NOTIF_SEND, &answer);
  }
  int status;
  check(waitpid(program, &status, 0), "waitpid");
  dprintf(report, "%d", status);
  for (long i = 0; i < count; i++) dprintf(report, " %d", calls[i]);
  return 0;
}
