// Finds programs of the machine.
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "sandbox/sandbox.h"

std::string installed_program(const std::string &name, const std::vector<std::string> &more) {
  std::string self = real_path("/proc/self/exe");
  std::string directory = self.substr(0, self.rfind('/'));
  std::vector<std::string> places = {directory, directory + "/../sbin"};
  const char *search_path = getenv("PATH");
  std::string list = (search_path != nullptr ? std::string(search_path) + ":" : "") + "/usr/sbin:/usr/bin:/sbin:/bin";
  for (size_t start = 0, end; start < list.size(); start = end + 1) {
    end = std::min(list.find(':', start), list.size());
    places.push_back(list.substr(start, end - start));
  }
  places.insert(places.end(), more.begin(), more.end());
  for (const std::string &place : places) {
    std::string path = path_in(place, name);
    if (access(path.c_str(), X_OK) == 0) return real_path(path);
  }
  return "";
}
