// Checks the runtime store. The checks write only below one key, which is removed at the end.
#include "platform/runt.h"

#include "conformance.h"

static const char kept_key[] = "tessera_conformance.string";

static void check_reads() {
  check("runt_edit_start", "starts a batch", runt_edit_start() == 0);
  bool set = runt_set_string_pathf("a b=%", "%s", kept_key) == 0;
  for (const char *number : {"10", "9", "x"})
    set = runt_set_string_pathf(number, "tessera_conformance.list.%s", number) == 0 && set;
  set = runt_set_string_pathf("deep", "tessera_conformance.list.9.below") == 0 && set;
  set = runt_set_string_pathf("true", "tessera_conformance.flag") == 0 && set;
  check("runt_set_string_pathf", "takes values and a formatted key", set);
  check("runt_edit_commit", "ends a batch", runt_edit_commit() == 0);

  check("runt_get_string", "reads what was written", take(runt_get_string(kept_key)) == "a b=%");
  check("runt_get_string", "gives null for a key that is not there", runt_get_string("tessera_conformance") == nullptr);
  check("runt_get_string_pathf", "formats the key",
        take(runt_get_string_pathf("tessera_conformance.list.%d", 10)) == "10");
  check("runt_get_int32", "reads a number, the default for anything else",
        runt_get_int32("tessera_conformance.list.9", 1) == 9 && runt_get_int32(kept_key, -1) == -1 &&
            runt_get_int32("tessera_conformance.no", 5) == 5);
  check("runt_get_int_pathf", "formats the key", runt_get_int_pathf(0, "tessera_conformance.list.%d", 9) == 9);
  check("runt_get_bool", "reads a boolean, the default for anything else",
        runt_get_bool("tessera_conformance.flag", false) && !runt_get_bool(kept_key, false) &&
            runt_get_bool("tessera_conformance.no", true));
}

static void check_lists() {
  check("runt_keys", "lists children in natural order", take_list(runt_keys("tessera_conformance.list")) == "9|10|x");
  check("runt_keys", "gives null without children", runt_keys("tessera_conformance.list.x") == nullptr);
  check("runt_keys_pathf", "formats the key",
        take_list(runt_keys_pathf("tessera_conformance.%s.%d", "list", 9)) == "below");
  RuntEntry **entries = runt_get_entries("tessera_conformance.list", 0, 0, 0, 0);
  std::string seen;
  for (RuntEntry **entry = entries; entry != nullptr && *entry != nullptr; entry++)
    seen += std::string(shown((*entry)->key)) + ":" + shown((*entry)->name) + "=" + shown((*entry)->value) + " ";
  runt_entries_free(entries);
  runt_entries_free(nullptr);
  check("runt_get_entries", "lists the direct children that hold a value",
        seen == "tessera_conformance.list.9:9=9 tessera_conformance.list.10:10=10 tessera_conformance.list.x:x=x ");
}

static void check_batches() {
  bool opened = runt_edit_start() == 0;
  opened = runt_set_string_pathf("lost", "tessera_conformance.lost") == 0 && opened;
  runt_deinit();
  opened = runt_init() == 0 && opened;
  check("runt_deinit", "discards an open batch", opened && runt_get_string("tessera_conformance.lost") == nullptr);
  check("runt_delete", "removes a key and all keys below it",
        runt_delete("tessera_conformance") == 0 && runt_get_string(kept_key) == nullptr &&
            runt_keys("tessera_conformance") == nullptr);
  runt_deinit();
  runt_deinit();
  check("runt_deinit", "makes later reads give null", runt_get_string(kept_key) == nullptr);
}

void check_runt() {
  bool connected = runt_init() == 0;
  check("runt_init", "connects to the store", connected);
  if (!connected) return;
  runt_delete("tessera_conformance");
  check_reads();
  check_lists();
  check_batches();
}
