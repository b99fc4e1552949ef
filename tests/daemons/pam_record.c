// A PAM module that records its calls, installed under the names of the device's own modules. It writes a line
// "MODULE TYPE|ARGUMENT|ARGUMENT..." to /run/pam.log, and answers with the number in /run/pam-verdict/MODULE.TYPE, or
// with success when there is no such file.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <security/pam_modules.h>
#include <stdio.h>
#include <string.h>

// An object of this module, with whose address dladdr finds the file name of the module.
static const char anchor;

static int record(const char *type, int argc, const char **argv) {
  Dl_info info;
  char path[512];
  if (dladdr(&anchor, &info) == 0) return PAM_SERVICE_ERR;
  const char *slash = strrchr(info.dli_fname, '/');
  const char *module = slash != NULL ? slash + 1 : info.dli_fname;
  FILE *log = fopen("/run/pam.log", "a");
  if (log == NULL) return PAM_SERVICE_ERR;
  fprintf(log, "%s %s", module, type);
  for (int i = 0; i < argc; i++) fprintf(log, "|%s", argv[i]);
  fputc('\n', log);
  fclose(log);
  int verdict = PAM_SUCCESS;
  snprintf(path, sizeof path, "/run/pam-verdict/%s.%s", module, type);
  FILE *file = fopen(path, "r");
  if (file != NULL) {
    if (fscanf(file, "%d", &verdict) != 1) verdict = PAM_SERVICE_ERR;
    fclose(file);
  }
  return verdict;
}

#define ENTRY(function, type)                                                                                         \
  __attribute__((visibility("default"))) int function(pam_handle_t *handle, int flags, int argc, const char **argv) { \
    (void)handle;                                                                                                     \
    (void)flags;                                                                                                      \
    return record(type, argc, argv);                                                                                  \
  }
ENTRY(pam_sm_authenticate, "auth")
ENTRY(pam_sm_setcred, "setcred")
ENTRY(pam_sm_acct_mgmt, "account")
ENTRY(pam_sm_open_session, "session")
ENTRY(pam_sm_close_session, "close_session")
ENTRY(pam_sm_chauthtok, "password")
