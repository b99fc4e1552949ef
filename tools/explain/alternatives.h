// What else a setting could be: the changes by which its influence is tried.
#ifndef TESSERA_EXPLAIN_ALTERNATIVES_H
#define TESSERA_EXPLAIN_ALTERNATIVES_H

#include <string>
#include <vector>

#include "explain/document.h"
#include "explain/trace.h"

// Another string of the same form, that no setting has. Of an address with a prefix length both parts differ.
std::string similar(const Setup &setup, const std::string &text);

// Changes of a setting or fact that the setup has. An object or array can only be removed, or renamed when its user
// named it.
std::vector<Change> alternatives(const Setup &setup, const Setting &setting);

// Changes of what a run has read: the alternatives of a value that the setup has, a value for a key that the document
// leaves out, one more of the known words for an array of strings, a report of a fact that is missing.
std::vector<Change> changes_of(const Setup &setup, const Read &read);

#endif
