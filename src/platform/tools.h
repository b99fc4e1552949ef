// The device's utility library: string lists, strings, whole files, child processes, addresses and the log.
//
// Returned strings are released with free, lists with sl_free. A string list is an array of owned strings ended by a
// null pointer; a null list is an empty one.
#ifndef TESSERA_PLATFORM_TOOLS_H
#define TESSERA_PLATFORM_TOOLS_H

#include <stdbool.h>
#include <stdint.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

// A new empty list. Appending stores a copy and returns the handle to use from then on. Reserved arguments are 0.
char **_sl_new(int reserved1, int reserved2);
char **_sl_append(char **list, const char *string, int reserved);
char **sl_append_printf(char **list, const char *format, ...) __attribute__((format(printf, 2, 3)));

// The entries with `separator` between them; null for an empty or null list.
char *sl_join(char *const *list, const char *separator);

// The pieces between separators, empty ones included. A null string gives an empty list.
char **sl_split(const char *string, char separator);

bool sl_find(char *const *list, const char *string);
int32_t sl_len(char *const *list);
void sl_free(char **list);

// Stores a new formatted string; never returns without one.
void xasprintf(char **string, const char *format, ...) __attribute__((format(printf, 2, 3)));

// Whole files. file_read gives null when the file cannot be read; the writers create or truncate with mode 0600 and
// give false when the file could not be opened or written. file_printf takes "%.*s" for strings that are not
// terminated.
bool file_exists(const char *path);
char *file_read(const char *path);
bool file_write(const char *path, const char *string);
bool file_printf(const char *path, const char *format, ...) __attribute__((format(printf, 2, 3)));

// Moves `new_path` over `final_path` in one step; true when it is in place. The first argument is 1, the last 0.
bool file_replace(int mode, const char *new_path, const char *final_path, int reserved);

// A replacement rule; an array of rules ends with a pair of null pointers.
typedef struct EscapePair {
  const char *from;  // one character
  const char *to;
} EscapePair;

// A copy in which every `from` is replaced by its `to`, in one pass; what was inserted is not looked at again.
char *escape(const char *string, const EscapePair *table);

// A copy in which one character stands for another.
char *replace_char(const char *string, char from, char to);

// Runs a program found by name, waits for it, and returns what it wrote to standard output; null when it could not be
// run or did not exit with 0. The integers are -1, -1, 1, then 0 or -1, then 0. The arguments end with a null pointer.
char *_process_capture(int fd_in, int fd_err, int capture, int reserved1, int reserved2, const char *program, ...)
    __attribute__((sentinel));

// Starts a program found by name and returns its process id, -1 when it could not be started. The integers are -1.
pid_t _process_exec_fd(int fd_in, int fd_out, int fd_err, int reserved, const char *program, ...)
    __attribute__((sentinel));

// Waits for a started program and returns its exit status; non-zero also when it was killed or never started.
int process_wait(pid_t pid);

// Reads ADDRESS or ADDRESS/LENGTH: the four address bytes in network order with host bits kept, and the length in bits
// (32 when none is written). False for anything else, and then nothing is stored.
bool xip4_parse_network(const char *string, void *address, int32_t *prefix_length);

// Names this program in later messages; the further arguments are 0.
void log_init(const char *identifier, int reserved1, int reserved2);

// One message each, without a line end in the format; "%m" stands for the message of errno. Errors reach standard error
// and the system log, debug messages the system log only.
void log_error(const char *format, ...) __attribute__((format(printf, 1, 2)));
void log_debug(const char *format, ...) __attribute__((format(printf, 1, 2)));

#ifdef __cplusplus
}
#endif

#endif
