// The device's utility library: string lists, strings, whole files, child processes, addresses and the log.
//
// The caller releases returned strings with free and lists with sl_free. A string list is an array of owned strings
// that ends with a null pointer; a null list is an empty list.
#ifndef TESSERA_PLATFORM_TOOLS_H
#define TESSERA_PLATFORM_TOOLS_H

#include <stdbool.h>
#include <stdint.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

// A new empty list. Appending stores a copy of the string and returns the list, which may have moved; a null string
// appends nothing. Reserved arguments are 0.
char **_sl_new(int reserved1, int reserved2);
char **_sl_append(char **list, const char *string, int reserved);
char **sl_append_printf(char **list, const char *format, ...) __attribute__((format(printf, 2, 3)));

// The entries with `separator` between them; null for an empty or null list.
char *sl_join(char *const *list, const char *separator);

// The pieces between separators, empty ones included. A null string gives an empty list.
char **sl_split(const char *string, char separator);

// True when the list holds the string; the number of strings; releases the list.
bool sl_find(char *const *list, const char *string);
int32_t sl_len(char *const *list);
void sl_free(char **list);

// Stores a new formatted string, which the caller frees. Ends the program when memory runs out.
void xasprintf(char **string, const char *format, ...) __attribute__((format(printf, 2, 3)));

// Whole files. file_exists is true for anything at the path. file_read returns null when the file cannot be read. The
// writers create or truncate the file with mode 0600 and return false when it cannot be opened or written. file_printf
// accepts "%.*s" for strings that are not terminated.
bool file_exists(const char *path);
char *file_read(const char *path);
bool file_write(const char *path, const char *string);
bool file_printf(const char *path, const char *format, ...) __attribute__((format(printf, 2, 3)));

// Moves `new_path` over `final_path` in one step; false when that fails. The first argument is 1, the last 0.
bool file_replace(int mode, const char *new_path, const char *final_path, int reserved);

// A replacement rule; an array of rules ends with a pair of null pointers.
typedef struct EscapePair {
  const char *from;  // one character
  const char *to;
} EscapePair;

// A copy in which every `from` is replaced by its `to`, in one pass: inserted characters are not replaced again. Null
// for null.
char *escape(const char *string, const EscapePair *table);

// A copy in which every `from` is replaced by `to`. Null for null.
char *replace_char(const char *string, char from, char to);

// Runs a program, which is searched for in PATH, waits for it, and returns its standard output. Null when it could not
// be run or did not exit with 0. The integers are -1, -1, 1, then 0 or -1, then 0. The arguments end with a null
// pointer.
char *_process_capture(int fd_in, int fd_err, int capture, int reserved1, int reserved2, const char *program, ...)
    __attribute__((sentinel));

// Starts a program, which is searched for in PATH, and returns its process ID; -1 when it could not be started. The
// integers are -1. The arguments end with a null pointer.
pid_t _process_exec_fd(int fd_in, int fd_out, int fd_err, int reserved, const char *program, ...)
    __attribute__((sentinel));

// Waits for a program that _process_exec_fd started and returns its exit status; non-zero also when the program was
// killed, or when `pid` is -1.
int process_wait(pid_t pid);

// Parses ADDRESS or ADDRESS/LENGTH. Stores the four bytes of the address in network order, host bits included, and the
// length in bits, 32 for an address alone. Returns false, and stores nothing, for any other string.
bool xip4_parse_network(const char *string, void *address, int32_t *prefix_length);

// Sets the name of this program for later messages. The other arguments are 0.
void log_init(const char *identifier, int reserved1, int reserved2);

// Log one message; the format has no line end, and "%m" stands for the message of errno. Errors go to standard error
// and the system log, debug messages only to the system log.
void log_error(const char *format, ...) __attribute__((format(printf, 1, 2)));
void log_debug(const char *format, ...) __attribute__((format(printf, 1, 2)));

#ifdef __cplusplus
}
#endif

#endif
