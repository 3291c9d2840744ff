#include "platform/cmpi/matching.h"

#include "platform/cmpi/clean_text.h"

namespace ovk_cimple {

namespace {

constexpr int kDeepest = 4;  // references as keys of references

bool same_keys_at(const Instance& left, const Instance& right, int depth);

template <class T>
bool same_value(const T& left, const T& right, int) {
  return left == right;
}
// A key with characters that cannot leave was cleaned on its way out, and the client sends the
// cleaned text back.
bool same_value(const String& left, const String& right, int) {
  return left == right || clean_text(left) == clean_text(right);
}
bool same_value(const Ref<Instance>& left, const Ref<Instance>& right, int depth) {
  if (!left || !right) return !left && !right;
  return left->meta_class == right->meta_class && depth < kDeepest &&
         same_keys_at(*left, *right, depth + 1);
}
template <class T>
bool same_value(const Array<T>&, const Array<T>&, int) {
  return false;  // an array is never a key
}

bool same_keys_at(const Instance& left, const Instance& right, int depth) {
  for (const MetaProperty& property : left.meta_class->properties) {
    if (!property.key) continue;
    const bool same = visit(&left, property, [&]<class T>(const Property<T>& value) {
      const auto& other = *reinterpret_cast<const Property<T>*>(
          reinterpret_cast<const char*>(&right) + property.offset);
      if (value.null() || other.null()) return value.null() && other.null();
      return same_value(value.value(), other.value(), depth);
    });
    if (!same) return false;
  }
  return true;
}

const char* given(const char* name) { return name && *name ? name : nullptr; }

bool fits_role(const char* role, const MetaProperty& property) {
  return !given(role) || same_name(role, property.name);
}

bool related(const MetaClass* left, const MetaClass* right) {
  return !left || !right || is_subclass(*left, *right) || is_subclass(*right, *left);
}

const Ref<Instance>& end_of(const Instance& association, const MetaProperty& property) {
  return reinterpret_cast<const Property<Ref<Instance>>*>(
             reinterpret_cast<const char*>(&association) + property.offset)
      ->value();
}

}  // namespace

bool same_keys(const Instance& left, const Instance& right) { return same_keys_at(left, right, 0); }

bool same_path(const Instance& left, const Instance& right, const String& name_space) {
  const auto place = [&](const Instance& instance) {
    return (instance.name_space.empty() ? name_space : instance.name_space).c_str();
  };
  return left.meta_class == right.meta_class && same_name(place(left), place(right)) &&
         same_keys(left, right);
}

bool holds_more_than_keys(const Instance& instance) {
  for (const MetaProperty& property : instance.meta_class->properties)
    if (!property.key &&
        !visit(&instance, property, [](const auto& value) { return value.null(); }))
      return true;
  return false;
}

AssociationMatcher::AssociationMatcher(const MetaClass& association, const MetaClass* source,
                                       const AssociationQuery& query)
    : far_ends_(query.far_ends), association_(&association) {
  const auto find = [&](const char* name) {
    return association.repository ? association.repository->find(name) : nullptr;
  };
  if (!source) return;
  if (given(query.association_class)) {
    association_ = find(query.association_class);
    if (!association_ || !related(association_, &association)) return;
  }
  if (given(query.result_class)) {
    result_ = find(query.result_class);
    if (!result_) return;
  }
  for (const MetaProperty& from : association.properties) {
    if (from.type != Type::reference || from.array || !fits_role(query.role, from)) continue;
    if (from.reference_class && !is_subclass(*from.reference_class, *source)) continue;
    if (!far_ends_) ends_.push_back({&from, nullptr});
    for (const MetaProperty& to : association.properties) {
      if (!far_ends_ || to.type != Type::reference || to.array || &to == &from) continue;
      if (fits_role(query.result_role, to) && related(result_, to.reference_class))
        ends_.push_back({&from, &to});
    }
  }
}

std::vector<Ref<Instance>> AssociationMatcher::results(const Ref<Instance>& association,
                                                       const Instance& source,
                                                       const String& name_space) const {
  std::vector<Ref<Instance>> found;
  if (!is_a(association.get(), *association_)) return found;
  for (const Ends& ends : ends_) {
    const Ref<Instance>& from = end_of(*association, *ends.source);
    if (!from || !same_path(*from, source, name_space)) continue;
    if (!far_ends_) return {association};
    const Ref<Instance>& to = end_of(*association, *ends.result);
    if (to && fits(*to)) found.push_back(to);
  }
  return found;
}

bool AssociationMatcher::fits(const Instance& result) const {
  const MetaClass* const wanted = far_ends_ ? result_ : association_;
  return !wanted || is_a(&result, *wanted);
}

}  // namespace ovk_cimple
