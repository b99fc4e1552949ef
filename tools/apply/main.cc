// tessera-apply: changes the configuration of this router, and takes the change back when nobody confirms it.
#include <fcntl.h>
#include <getopt.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "apply/change.h"
#include "preview/fail.h"
#include "util/file.h"

namespace {

constexpr const char *usage =
    "Usage: tessera-apply plan FILE [SERVICE...] [--json]\n"
    "       tessera-apply status [SERVICE...] [--json]\n"
    "       tessera-apply FILE [--confirm SECONDS] [-m MESSAGE]\n"
    "       tessera-apply confirm\n"
    "       tessera-apply rollback [N] [--confirm SECONDS] [-m MESSAGE]\n"
    "       tessera-apply history\n"
    "       tessera-apply boot\n"
    "       tessera-apply --help | --version\n";

constexpr const char *help_text =
    "\n"
    "plan      checks FILE (- is standard input), runs the services on it in a sandbox, and prints which files would\n"
    "          change and which services would be run again. Nothing is changed\n"
    "status    does the same with the installed document: do the files differ from what it gives? Also prints a\n"
    "          change that is not confirmed\n"
    "FILE      installs FILE as /etc/config/config.json, runs the services that change, and for each of them\n"
    "          /etc/tessera/reload.d/SERVICE with the paths that changed\n"
    "confirm   keeps the change that waits for confirmation\n"
    "rollback  takes back the change that waits for confirmation; when no change waits, installs the document that\n"
    "          apply N, or the last apply, replaced\n"
    "history   lists the applies whose replaced documents are in /etc/config/history\n"
    "boot      takes back a change that was not completed or confirmed before the system went down: run it before\n"
    "          the services\n"
    "\n"
    "  --confirm=SECONDS      takes the change back unless \"tessera-apply confirm\" is run within this time\n"
    "  -m, --message=MESSAGE  stores a message in the history\n"
    "  --json                 prints one JSON object\n"
    "  --help, --version      print this help, or the version\n"
    "\n"
    "Needs root. Ends with 0; 1: the document is refused, nothing is changed; 2: the command line is wrong, or a\n"
    "change waits for confirmation; 3: it cannot be done, the old document stays; 4: the files differ from what\n"
    "the installed document gives; 6: the change failed or its time was up, and it was taken back.\n";

constexpr size_t longest_message = 1000;

struct Options {
  int seconds = 0;
  std::string message;
  bool prints_json = false;
  std::string given;               // the letters of the options
  std::vector<std::string> words;  // the command and its arguments
};

[[noreturn]] void refuse_usage(const char *problem) {
  if (problem != nullptr) fprintf(stderr, "tessera-apply: %s\n", problem);
  fputs(usage, stderr);
  exit(exit_usage);
}

// Reads a number of 1 or more; ends the program with `problem` when the string is something else.
unsigned read_number(const char *string, const char *problem) {
  char *end = nullptr;
  long number = strtol(string, &end, 10);
  if (*string == '\0' || *end != '\0' || number < 1 || number > 999'999'999) refuse_usage(problem);
  return static_cast<unsigned>(number);
}

// False, after a message, when standard output could not be written.
bool is_output_written() {
  if (fflush(stdout) == 0 && ferror(stdout) == 0) return true;
  fputs("tessera-apply: standard output cannot be written\n", stderr);
  return false;
}

Options read_command_line(int argc, char **argv) {
  static char name[] = "tessera-apply";
  argv[0] = name;  // for getopt's messages
  static constexpr option long_options[] = {
      {"confirm", required_argument, nullptr, 'c'}, {"message", required_argument, nullptr, 'm'},
      {"json", no_argument, nullptr, 'j'},          {"help", no_argument, nullptr, 'h'},
      {"version", no_argument, nullptr, 'v'},       {}};
  Options options;
  for (int letter; (letter = getopt_long(argc, argv, "m:", long_options, nullptr)) >= 0;) {
    options.given += static_cast<char>(letter);
    switch (letter) {
      case 'c':
        options.seconds = static_cast<int>(read_number(optarg, "--confirm takes a number of seconds, 1 or more"));
        break;
      case 'm':
        options.message = optarg;
        if (options.message.size() > longest_message) refuse_usage("a message has at most 1000 bytes");
        break;
      case 'j':
        options.prints_json = true;
        break;
      case 'h':
        printf("%s%s", usage, help_text);
        exit(is_output_written() ? 0 : exit_setup);
      case 'v':
        puts("tessera-apply " TESSERA_VERSION);
        exit(is_output_written() ? 0 : exit_setup);
      default:
        refuse_usage(nullptr);
    }
  }
  options.words.assign(argv + optind, argv + argc);
  if (options.words.empty()) refuse_usage("no command is given");
  return options;
}

struct State {
  Fd lock;
  std::optional<Pending> pending;  // the change that waits for confirmation
  bool was_late = false;           // a change that was not confirmed in time was taken back
};

// Ends the program with a message when there is trouble.
void require(const std::string &trouble) {
  if (!trouble.empty()) fail("%s", trouble.c_str());
}

// Takes the lock, and takes back a change that nobody can confirm any more. `changes`: the command changes something.
State enter(bool changes) {
  State state;
  std::string trouble;
  state.lock = take_lock(changes, trouble);
  require(trouble);
  require(read_pending(state.pending));
  bool is_overdue = false;
  if (state.pending) require(find_overdue(*state.pending, is_overdue));
  if (!is_overdue) return state;
  require(revert(*state.pending, "it was not completed or confirmed in time"));
  state.pending.reset();
  state.was_late = true;
  return state;
}

// Reads the new document. Call it before taking the lock: a pipe may give nothing for a long time.
std::string read_new(const std::string &name) {
  Fd fd(name == "-" ? dup(STDIN_FILENO) : open(name.c_str(), O_RDONLY | O_CLOEXEC));
  std::string content;
  if (!fd.is_open() || !read_all(fd.get(), &content)) fail_system("%s", name.c_str());
  return content;
}

std::optional<std::string> installed_document() {
  std::optional<std::string> content;
  require(read_document(content));
  return content;
}

// The services that the words from index `first` on name.
std::vector<std::string> named_services(const Options &options, size_t first) {
  std::vector<std::string> names;
  for (size_t i = first; i < options.words.size(); i++) {
    names.push_back(options.words[i]);
    if (!is_service(names.back())) refuse_usage("the services are pam, dnsmasq, ipsec and network");
  }
  return names;
}

// Prints a survey. Releases the lock first: other commands must not wait for a slow reader of the output.
void show(const Options &options, State &state, const Survey &survey) {
  state.lock = Fd();
  (options.prints_json ? print_survey_json : print_survey)(survey, state.pending);
}

bool is_sound(const Survey &survey) {
  return !survey.has_failed && std::none_of(survey.verdicts.begin(), survey.verdicts.end(), is_refused);
}

int plan(const Options &options) {
  if (options.words.size() < 2) refuse_usage("plan needs a FILE");
  std::vector<std::string> services = named_services(options, 2);
  std::string document = read_new(options.words[1]);
  if (!passes_check(options.words[1], document)) return change_refused;
  State state = enter(false);
  Survey survey = make_survey(document, services, true);
  show(options, state, survey);
  return is_sound(survey) ? change_done : change_refused;
}

int status(const Options &options) {
  std::vector<std::string> services = named_services(options, 1);
  State state = enter(false);
  Survey survey = make_survey(installed_document(), services, false);
  show(options, state, survey);
  if (survey.has_failed) return change_refused;
  if (!survey.services.empty()) return exit_differs;
  return change_done;
}

int refuse_second(const Pending &pending) {
  fprintf(stderr, "tessera-apply: change %u waits for confirmation: tessera-apply confirm, or rollback\n",
          pending.number);
  return change_waits;
}

// Installs a document, whose name in messages is `name`.
int install(const Options &options, State &state, const std::string &name, const std::string &document,
            const std::string &message) {
  Change change = {installed_document(), document, message, options.seconds};
  if (!passes_check(name, document)) return change_refused;
  Survey survey = make_survey(document, {}, true);
  print_survey(survey, {});
  if (!is_sound(survey)) return change_refused;
  if (survey.services.empty() && change.old_document == document) return change_done;
  return do_change(state.lock, change, survey);
}

int apply(const Options &options) {
  std::string document = read_new(options.words[0]);
  State state = enter(true);
  if (state.pending) return refuse_second(*state.pending);
  return install(options, state, options.words[0], document, options.message);
}

int rollback(const Options &options) {
  unsigned number =
      options.words.size() > 1 ? read_number(options.words[1].c_str(), "rollback takes the number of an apply") : 0;
  State state = enter(true);
  if (state.was_late && number == 0) return change_done;
  if (state.pending && number != 0) return refuse_second(*state.pending);
  if (state.pending) {
    require(revert(*state.pending, "it was asked for"));
    return change_done;
  }
  std::vector<Entry> history;
  require(read_history(history));
  if (number == 0 && !history.empty()) number = history.back().number;
  std::optional<std::string> document;
  require(read_kept(number, document));
  std::string name = "the document before change " + std::to_string(number);
  if (!document) {
    fprintf(stderr, "tessera-apply: %s is not kept\n", name.c_str());
    return change_refused;
  }
  return install(options, state, name, *document, options.message.empty() ? "back to " + name : options.message);
}

int confirm(const Options & /*options*/) {
  State state = enter(true);
  if (state.was_late) return change_reverted;
  if (!state.pending) {
    fputs("tessera-apply: no change waits for confirmation\n", stderr);
    return change_waits;
  }
  require(remove_pending());
  prune_history();
  syslog(LOG_NOTICE, "change %u is confirmed", state.pending->number);
  printf("change %u is confirmed\n", state.pending->number);
  return change_done;
}

// The message with spaces in place of control characters, so that it stays in one line.
std::string in_line(std::string message) {
  for (char &c : message) c = iscntrl(static_cast<unsigned char>(c)) != 0 ? ' ' : c;
  return message;
}

int history(const Options & /*options*/) {
  State state = enter(false);
  std::vector<Entry> entries;
  require(read_history(entries));
  state.lock = Fd();
  for (const Entry &entry : entries) {
    char time[32] = "";
    tm parts;
    if (localtime_r(&entry.time, &parts) != nullptr) strftime(time, sizeof time, "%Y-%m-%d %H:%M:%S", &parts);
    bool waits = state.pending && state.pending->number == entry.number;
    printf("%u %s%s%s%s%s\n", entry.number, time, entry.message.empty() ? "" : " ", in_line(entry.message).c_str(),
           waits ? " (waits for confirmation)" : "", entry.has_document ? "" : " (there was no document)");
  }
  return change_done;
}

int boot(const Options & /*options*/) {
  std::string trouble;
  std::optional<Pending> pending;
  Fd lock = take_lock(false, trouble);
  if (trouble.empty()) trouble = read_pending(pending);
  if (pending) trouble = revert_document(*pending, "the system went down before it was completed or confirmed");
  if (!trouble.empty()) report(trouble);  // in the system log, because nobody reads the output
  return trouble.empty() ? change_done : change_fails;
}

struct Command {
  const char *name;
  size_t most_words;    // with the name of the command
  const char *options;  // the letters of the options that it takes
  int (*run)(const Options &options);
};
constexpr Command commands[] = {{"plan", 6, "j", plan},      {"status", 5, "j", status},
                                {"confirm", 1, "", confirm}, {"rollback", 2, "cm", rollback},
                                {"history", 1, "", history}, {"boot", 1, "", boot}};
constexpr Command with_file = {"FILE", 1, "cm", apply};

int run(const Options &options) {
  const Command *end = std::end(commands);
  const Command *found = std::find_if(std::begin(commands), end,
                                      [&options](const Command &command) { return options.words[0] == command.name; });
  const Command &command = found != end ? *found : with_file;
  if (options.words.size() > command.most_words) refuse_usage("there are too many arguments");
  if (options.given.find_first_not_of(command.options) != std::string::npos) {
    refuse_usage("an option does not belong to this command");
  }
  return command.run(options);
}

// Whether the command does nothing but print.
bool is_shown_only(const Options &options) {
  const std::string &command = options.words[0];
  return command == "plan" || command == "status" || command == "history";
}

}  // namespace

int main(int argc, char **argv) {
  if (!protect_standard_streams()) return exit_setup;
  Options options = read_command_line(argc, argv);
  setvbuf(stdout, nullptr, _IOLBF, 0);  // in order with messages and the output of hooks
  signal(SIGCHLD, SIG_DFL);             // the caller may have ignored it, and waitpid fails then
  signal(SIGALRM, SIG_DFL);
  signal(SIGXFSZ, SIG_IGN);  // a write beyond the limit of file size fails then, as on a full file system
  openlog("tessera-apply", LOG_PID, LOG_DAEMON);
  if (geteuid() != 0) fail("has to run as root");
  int status = run(options);
  return is_output_written() || !is_shown_only(options) ? status : exit_setup;
}
