// Other values of a setting: the changes by which its influence is tried.
#ifndef TESSERA_EXPLAIN_ALTERNATIVES_H
#define TESSERA_EXPLAIN_ALTERNATIVES_H

#include <string>
#include <vector>

#include "explain/document.h"
#include "explain/trace.h"

// Returns another string of the same form, which no setting has. In an address with a prefix length both parts differ.
std::string similar(const Setup &setup, const std::string &text);

// Returns the changes to try for a setting or fact that the setup has. An object or array is only removed; an entry of
// a map is also renamed.
std::vector<Change> alternatives(const Setup &setup, const Setting &setting);

// Returns the changes to try for something that a run has read: the alternatives of a value that the setup has, a value
// for a key that the document leaves out, one more known word for an array of strings, a value for a missing fact.
std::vector<Change> changes_of(const Setup &setup, const Read &read);

#endif
