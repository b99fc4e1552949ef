// Settings without an effect in any file.
#include <algorithm>

#include "explain/answers.h"

std::vector<const Setting *> unused_settings(const Pool &pool, const std::vector<BaseRun> &runs) {
  std::set<const Setting *> used;
  for (const BaseRun &base : runs) {
    std::vector<const Setting *> tried;
    for (const Setting &setting : pool.setup.settings) {
      bool is_tried = setting.is_leaf && !setting.is_fact && used.count(&setting) == 0 && may_matter(base, setting);
      if (is_tried) tried.push_back(&setting);
    }
    for (const Effect &effect : try_settings(pool, base, tried)) used.insert(effect.attempt.setting);
  }
  // In document order an object comes before its members.
  std::vector<const Setting *> unused;
  for (const Setting &setting : pool.setup.settings) {
    if (setting.is_fact || (!unused.empty() && lies_in(setting.path, unused.back()->path))) continue;
    bool has_leaf = setting.is_leaf;
    bool has_effect = used.count(&setting) > 0;
    for (const Setting *other = &setting + 1;
         other < &pool.setup.settings.back() + 1 && lies_in(other->path, setting.path); other++) {
      has_leaf |= other->is_leaf;
      has_effect |= used.count(other) > 0;
    }
    if (has_leaf && !has_effect) unused.push_back(&setting);
  }
  return unused;
}
