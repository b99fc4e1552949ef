// The floor below every generator of the same files: floor INPUT OUTPUTS
//
// Reads the file INPUT as a whole and looks at each of its bytes once, as whoever reads JSON has to: strings, escapes
// and the depth of brackets. Then it writes files line by line through stdio, as whoever writes text does. It makes no
// text of its own: OUTPUTS holds the paths, sizes and bytes, each file as "PATH\tSIZE\n" and SIZE bytes. It checks no
// types, looks nothing up, keeps no store and renames nothing. Linked statically, so that it starts as fast as a
// program can.
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

static void fail(const char *what) {
  perror(what);
  exit(1);
}

// The bytes of a file: read into memory, or mapped. `size` receives their number.
static char *contents(const char *path, size_t *size, int map) {
  int fd = open(path, O_RDONLY | O_CLOEXEC);
  struct stat status;
  if (fd < 0 || fstat(fd, &status) != 0) fail(path);
  *size = (size_t)status.st_size;
  if (*size == 0) return NULL;
  char *bytes = map ? mmap(NULL, *size, PROT_READ, MAP_PRIVATE, fd, 0) : malloc(*size);
  if (bytes == NULL || bytes == MAP_FAILED) fail(path);
  for (size_t done = 0; !map && done < *size;) {
    ssize_t count = read(fd, bytes + done, *size - done);
    if (count <= 0) fail(path);
    done += (size_t)count;
  }
  close(fd);
  return bytes;
}

// The deepest nesting of brackets outside of strings.
static int deepest(const char *text, size_t size) {
  int depth = 0;
  int most = 0;
  int in_string = 0;
  for (const char *end = text + size; text < end; text++) {
    if (in_string) {
      if (*text == '\\') {
        text++;
      } else if (*text == '"') {
        in_string = 0;
      }
    } else if (*text == '"') {
      in_string = 1;
    } else if (*text == '{' || *text == '[') {
      if (++depth > most) most = depth;
    } else if (*text == '}' || *text == ']') {
      depth--;
    }
  }
  return most;
}

int main(int argc, char **argv) {
  if (argc != 3) {
    fputs("usage: floor INPUT OUTPUTS\n", stderr);
    return 2;
  }
  size_t size;
  char *text = contents(argv[1], &size, 0);
  if (deepest(text, size) == 0) {  // also keeps the compiler from dropping the walk
    fputs("floor: the input is no document\n", stderr);
    return 1;
  }
  free(text);

  const char *at = contents(argv[2], &size, 1);
  for (const char *end = at + size; at < end;) {
    char path[4096];
    size_t length;
    int head;
    if (sscanf(at, "%4095[^\t]\t%zu%n", path, &length, &head) != 2) fail("floor: outputs");
    at += head + 1;
    FILE *file = fopen(path, "we");
    if (file == NULL) fail(path);
    for (const char *stop = at + length; at < stop;) {
      const char *line_end = memchr(at, '\n', (size_t)(stop - at));
      size_t line = line_end != NULL ? (size_t)(line_end - at) + 1 : (size_t)(stop - at);
      if (fwrite(at, 1, line, file) != line) fail(path);
      at += line;
    }
    if (fclose(file) != 0) fail(path);
  }
  return 0;
}
