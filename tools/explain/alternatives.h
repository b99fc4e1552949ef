// What else a setting could be: the changes by which its influence is tried.
#ifndef TESSERA_EXPLAIN_ALTERNATIVES_H
#define TESSERA_EXPLAIN_ALTERNATIVES_H

#include <string>
#include <vector>

#include "explain/document.h"

// Another string of the same form, that no setting has. Of an address with a prefix length both parts differ.
std::string similar(const Setup &setup, const std::string &text);

// Changes of a setting or fact that the setup has. An object or array can only be removed, or renamed when its user
// named it.
std::vector<Change> alternatives(const Setup &setup, const Setting &setting);

// Changes that give the setup a value for a key which the schema knows and the document leaves out.
std::vector<Change> additions(const Setup &setup, const std::string &path);

// Changes that add one of the known words to an array of strings; none for anything else.
std::vector<Change> more_elements(const Setup &setup, const std::string &path);

// Changes that report a fact which is missing. `kind` is how it was read: bool, int, string or list.
std::vector<Change> reports(const Setup &setup, const std::string &key, const std::string &kind);

#endif
