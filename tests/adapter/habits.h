// The habits of object managers that the adapter must cope with, made by changing the function
// tables of the embedded object manager.
#pragma once

#include <functional>
#include <ostream>
#include <vector>

#include "broker/tables.h"

namespace ovk_cimple {

struct Habit {
  const char* name;
  std::function<void(broker::Tables&)> adjust;
};

inline void PrintTo(const Habit& habit, std::ostream* out) { *out << habit.name; }

// The standard's version 2.1, in full.
Habit standard();
// Version 1.0 with version fields of 0 and 1, missing members, status 6 for what is missing,
// instances that begin with their keys and the class's defaults, a property filter that drops
// keys unless they are listed, any value for an array's number or a context's entry that is not
// there.
Habit old_versions();
// Version 2.0: integer keys as sint64 with the key bit, empty-string keys as null, no early
// release, no property filter; unknown properties are dropped, wrong types refused, arrays must
// have no null element, and instances have all properties of their class.
Habit loose_keys();
// Version 1.0 tables that end where that version ends: what lies behind must not be read.
Habit short_tables();
// Paths without name space, null wherever null is allowed, and 0 for a missing number in an array.
Habit bare_paths();

std::vector<Habit> all_habits();

// The habit with one more change, which wins if both change the same member.
Habit combined(const Habit& habit, std::function<void(broker::Tables&)> more);

}  // namespace ovk_cimple
