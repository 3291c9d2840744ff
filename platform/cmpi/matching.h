// Decisions on instances and associations: which instance a path means, which associations and
// far ends a query asks for. Functions of plain data, without the object manager.
#pragma once

#include <vector>

#include "platform/framework/meta.h"

namespace ovk_cimple {

// Whether both have the same values in the keys of the left one, as a client sees them. Both must
// have those properties.
bool same_keys(const Instance& left, const Instance& right);

// Whether both have the same path. Instances without a name space live in the given one.
bool same_path(const Instance& left, const Instance& right, const String& name_space);

// Whether the instance holds anything but its keys.
bool holds_more_than_keys(const Instance& instance);

// A client's question. A null or empty name does not restrict the answer.
struct AssociationQuery {
  const char* association_class;
  const char* role;
  bool far_ends;  // asked for the instances at the other end, rather than the associations
  const char* result_class = nullptr;  // the other two matter for far ends only
  const char* result_role = nullptr;
};

// The answer to a query from one association class for one source class.
class AssociationMatcher {
 public:
  // source is null for a class that is not known.
  AssociationMatcher(const MetaClass& association, const MetaClass* source,
                     const AssociationQuery& query);

  // Whether any instance can match. An object manager may ask every association provider about
  // every object, and an enumeration may cost seconds.
  bool possible() const { return !ends_.empty(); }

  // What one association adds to the answer: itself, or its far ends.
  std::vector<Ref<Instance>> results(const Ref<Instance>& association, const Instance& source,
                                     const String& name_space) const;

  // Whether the class of an instance allows it in the answer.
  bool fits(const Instance& result) const;

 private:
  struct Ends {
    const MetaProperty* source;
    const MetaProperty* result;  // null when asked for associations
  };

  const bool far_ends_;
  const MetaClass* association_;
  const MetaClass* result_ = nullptr;  // null: any
  std::vector<Ends> ends_;
};

}  // namespace ovk_cimple
