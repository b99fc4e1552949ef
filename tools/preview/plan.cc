#include "preview/plan.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <string_view>
#include <unordered_map>

#include "preview/fail.h"
#include "preview/strings.h"
#include "sandbox/fd.h"
#include "sandbox/sandbox.h"

namespace {

bool is_empty(const Tree &tree, const std::string &directory) {
  auto next = tree.upper_bound(directory + "/");
  return next == tree.end() || next->first.compare(0, directory.size() + 1, directory + "/") != 0;
}

const File *find_file(const Tree &tree, const std::string &path) {
  auto entry = tree.find(path);
  return entry != tree.end() ? &entry->second : nullptr;
}

// The content with which a file is compared; for a link its target.
std::string comparable(const File *file) {
  if (file == nullptr) return "";
  return S_ISLNK(file->mode) ? "-> " + file->content + "\n" : file->content;
}

size_t count_lines(std::string_view content) {
  auto lines = static_cast<size_t>(std::count(content.begin(), content.end(), '\n'));
  return lines + (!content.empty() && content.back() != '\n' ? 1 : 0);
}

// A file in memory with `content`, to be read from its start.
Fd memory_file(const std::string &content) {
  Fd fd(memfd_create("tessera-preview", 0));
  if (!fd.is_open() || !write_all(fd.get(), content) || lseek(fd.get(), 0, SEEK_SET) != 0) {
    fail_system("cannot make a file in memory");
  }
  return fd;
}

std::string unified_difference(const std::string &old_name, const std::string &new_name, const std::string &before,
                               const std::string &after) {
  Fd old_file = memory_file(before);
  Fd new_file = memory_file(after);
  Fd difference = memory_file("");
  std::string paths[] = {"/proc/self/fd/" + std::to_string(old_file.get()),
                         "/proc/self/fd/" + std::to_string(new_file.get())};
  pid_t child = fork();
  if (child == 0) {
    if (dup2(difference.get(), STDOUT_FILENO) == STDOUT_FILENO) {
      execlp("diff", "diff", "-u", "-L", old_name.c_str(), "-L", new_name.c_str(), paths[0].c_str(), paths[1].c_str(),
             nullptr);
    }
    _exit(127);
  }
  int status = 0;
  while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) continue;
  std::string content;
  if (child < 0 || lseek(difference.get(), 0, SEEK_SET) != 0 || !read_all(difference.get(), &content)) {
    fail_system("cannot compare files");
  }
  if (!WIFEXITED(status) || WEXITSTATUS(status) > 1) fail("cannot compare files: diff is missing or fails");
  return content;
}

void count_changed_lines(PlannedFile &file) {
  // The first two lines are the names.
  size_t line = file.difference.find('\n', file.difference.find('\n') + 1);
  for (; line + 1 < file.difference.size(); line = file.difference.find('\n', line + 1)) {
    if (file.difference[line + 1] == '+') file.lines_added++;
    if (file.difference[line + 1] == '-') file.lines_removed++;
  }
}

PlannedFile compare(const Secrets &secrets, const std::string &path, const File *before, const File *after,
                    const std::string &old_name) {
  PlannedFile file{path, Fate::unchanged, before, after, "", "", 0, 0, false};
  std::string old_content = comparable(before);
  std::string new_content = comparable(after);
  bool same_content = old_content == new_content;
  if (before == nullptr) {
    file.fate = Fate::created;
  } else if (after == nullptr) {
    file.fate = Fate::removed;
  } else if (!same_content || before->mode != after->mode) {
    file.fate = Fate::changed;
  }
  if (same_content) return file;
  mask_states(secrets, path, old_content, new_content);
  file.only_secrets_differ = old_content == new_content;
  if (file.only_secrets_differ) return file;
  file.difference = unified_difference(before != nullptr ? path_in(old_name, path) : "/dev/null",
                                       after != nullptr ? shown_name(path) : "/dev/null", old_content, new_content);
  count_changed_lines(file);
  return file;
}

std::string masked_value(const Secrets &secrets, const Member &member) {
  return secrets.masks && is_secret_name(member.name) ? "<secret>" : masked(secrets, "", member.value);
}

}  // namespace

std::vector<PlannedFile> make_plan(const Secrets &secrets, const Tree &tree, const Tree *old, std::string old_name) {
  std::vector<PlannedFile> plan;
  if (old == nullptr) {
    for (const auto &[path, file] : tree) {
      if (S_ISDIR(file.mode) && !is_empty(tree, path)) continue;
      std::string content = S_ISLNK(file.mode) ? file.content : masked(secrets, path, file.content);
      size_t lines = S_ISREG(file.mode) ? count_lines(content) : 0;
      plan.push_back({path, Fate::written, nullptr, &file, std::move(content), "", lines, 0, false});
    }
    return plan;
  }
  while (old_name.size() > 1 && old_name.back() == '/') old_name.pop_back();
  std::set<std::string_view> paths;
  for (const auto &[path, file] : *old) paths.insert(path);
  for (const auto &[path, file] : tree) paths.insert(path);
  for (std::string_view view : paths) {
    std::string path(view);
    const File *before = find_file(*old, path);
    const File *after = find_file(tree, path);
    bool is_directory = (before == nullptr || S_ISDIR(before->mode)) && (after == nullptr || S_ISDIR(after->mode));
    if (is_directory && (before == nullptr || after == nullptr || before->mode == after->mode)) continue;
    plan.push_back(compare(secrets, path, before, after, old_name));
  }
  return plan;
}

bool is_file(const PlannedFile &file) {
  const File *state = file.after != nullptr ? file.after : file.before;
  return file.path != removed_list && file.path != runtime_dump && !S_ISDIR(state->mode);
}

std::string shown_name(const std::string &path) {
  return path == removed_list ? "removed files" : path == runtime_dump ? "runtime store" : "/" + path;
}

std::string count_files(const std::vector<PlannedFile> &plan) {
  std::string result;
  for (Fate fate : {Fate::written, Fate::changed, Fate::created, Fate::removed, Fate::unchanged}) {
    auto count = std::count_if(plan.begin(), plan.end(),
                               [fate](const PlannedFile &file) { return file.fate == fate && is_file(file); });
    if (count == 0) continue;
    const char *unit = !result.empty() ? " " : count == 1 ? " file " : " files ";
    result += (result.empty() ? "" : ", ") + std::to_string(count) + unit + fate_names[static_cast<size_t>(fate)];
  }
  if (result.empty()) result = "no files";
  for (const PlannedFile &file : plan) {
    bool has_fate = file.fate != Fate::written && file.fate != Fate::unchanged;
    if (has_fate && !is_file(file)) result += ", " + shown_name(file.path) + " changed";
  }
  return result;
}

bool differs(const std::vector<PlannedFile> &plan) {
  return std::any_of(plan.begin(), plan.end(), [](const PlannedFile &file) { return file.fate != Fate::unchanged; });
}

std::vector<RuntimeChange> runtime_changes(const Secrets &secrets, const std::string &before,
                                           const std::string &after) {
  std::vector<Member> old_members = read_members(before);
  std::vector<Member> new_members = read_members(after);
  std::unordered_map<std::string_view, const Member *> old_values;
  std::unordered_map<std::string_view, const Member *> new_values;
  for (const Member &member : old_members) old_values[member.name] = &member;
  for (const Member &member : new_members) new_values[member.name] = &member;
  std::vector<RuntimeChange> changes;
  for (const Member &member : old_members) {
    auto now = new_values.find(member.name);
    bool is_there = now != new_values.end();
    if (is_there && now->second->value == member.value) continue;
    changes.push_back({member.name, masked_value(secrets, member), {}});
    if (is_there) changes.back().after = masked_value(secrets, *now->second);
  }
  for (const Member &member : new_members) {
    if (old_values.count(member.name) == 0) changes.push_back({member.name, {}, masked_value(secrets, member)});
  }
  return changes;
}
