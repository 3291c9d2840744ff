// Arrays, enumerations, parameter lists and contexts.
#include "broker/core.h"
#include "broker/family.h"
#include "broker/marshal.h"

namespace broker {
namespace {

[[noreturn]] void out_of_range(CMPICount index) {
  throw Error(Status::NoSuchProperty, "there is no element " + std::to_string(index));
}

// Arrays.

CMPICount get_size(const CMPIArray* array, CMPIStatus* rc) {
  return answer(rc, CMPICount{0},
                [&] { return static_cast<CMPICount>(object<ArrayObject>(array).values.size()); });
}

CMPIType get_simple_type(const CMPIArray* array, CMPIStatus* rc) {
  return answer(rc, CMPIType{CMPI_null},
                [&] { return static_cast<CMPIType>(object<ArrayObject>(array).element); });
}

CMPIData get_element_at(const CMPIArray* array, CMPICount index, CMPIStatus* rc) {
  return answer(rc, missing_data(), [&] {
    const auto& values = object<ArrayObject>(array).values;
    if (index >= values.size()) out_of_range(index);
    return to_cmpi(values[index]);
  });
}

CMPIStatus set_element_at(const CMPIArray* array, CMPICount index, const CMPIValue* value,
                          CMPIType type) {
  return answer([&] {
    ArrayObject& target = object<ArrayObject>(array);
    if (index >= target.values.size()) out_of_range(index);
    const CMPIType expected =
        target.of_chars ? CMPIType{CMPI_chars} : static_cast<CMPIType>(target.element);
    if (type != expected) {
      throw Error(Status::TypeMismatch,
                  "the array has elements of type " + std::string(type_name(target.element)));
    }
    target.values[index] = from_cmpi(value, type);
  });
}

// Enumerations.

CMPIData get_next(const CMPIEnumeration* enumeration, CMPIStatus* rc) {
  return answer(rc, missing_data(), [&] {
    EnumerationObject& source = object<EnumerationObject>(enumeration);
    if (source.position >= source.items.size()) {
      throw Error(Status::NoMoreElements, "the enumeration is at its end");
    }
    return to_cmpi(source.items[source.position++]);
  });
}

CMPIBoolean has_next(const CMPIEnumeration* enumeration, CMPIStatus* rc) {
  return answer(rc, CMPIBoolean{0}, [&] {
    const EnumerationObject& source = object<EnumerationObject>(enumeration);
    return static_cast<CMPIBoolean>(source.position < source.items.size());
  });
}

CMPIArray* to_array(const CMPIEnumeration* enumeration, CMPIStatus* rc) {
  return answer(rc, static_cast<CMPIArray*>(nullptr), [&] {
    const EnumerationObject& source = object<EnumerationObject>(enumeration);
    return handle(make<ArrayObject>(source.type, source.items));
  });
}

// Parameter lists.

CMPIStatus add_arg(const CMPIArgs* args, const char* name, const CMPIValue* value, CMPIType type) {
  return answer([&] {
    ArgsObject& target = object<ArgsObject>(args);
    Name added(required(name, "the parameter name"));
    Value copy = from_cmpi(value, type);
    if (target.out_of) {
      const ParameterInfo* parameter = target.out_of->find_parameter(name);
      if (!parameter || !parameter->feature->out) {
        throw Error(Status::NoSuchProperty, "method " + target.out_of->name.str() +
                                                " has no output parameter " + added.str());
      }
      if (copy.type() != parameter->type || copy.is_array() != parameter->array) {
        throw Error(Status::InvalidDataType, "parameter " + added.str() + " is of type " +
                                                 std::string(type_name(parameter->type)) +
                                                 ", not " + std::string(type_name(copy.type())));
      }
      added = parameter->name;
    }
    for (Argument& argument : target.arguments) {
      if (argument.name == added) {
        argument.value = std::move(copy);
        return;
      }
    }
    target.arguments.push_back({std::move(added), std::move(copy)});
  });
}

CMPIData get_arg(const CMPIArgs* args, const char* name, CMPIStatus* rc) {
  return answer(rc, missing_data(), [&] {
    const ArgsObject& source = object<ArgsObject>(args);
    const std::string_view wanted = required(name, "the parameter name");
    for (const Argument& argument : source.arguments) {
      if (argument.name == wanted) return to_cmpi(argument.value);
    }
    throw Error(Status::NoSuchProperty, "there is no parameter " + std::string(wanted));
  });
}

CMPIData get_arg_at(const CMPIArgs* args, CMPICount index, CMPIString** name, CMPIStatus* rc) {
  return answer(rc, missing_data(), [&] {
    const auto& arguments = object<ArgsObject>(args).arguments;
    if (index >= arguments.size()) out_of_range(index);
    if (name) *name = new_string(arguments[index].name);
    return to_cmpi(arguments[index].value);
  });
}

CMPICount get_arg_count(const CMPIArgs* args, CMPIStatus* rc) {
  return answer(rc, CMPICount{0},
                [&] { return static_cast<CMPICount>(object<ArgsObject>(args).arguments.size()); });
}

// Contexts. The names of their entries compare with regard to case.

CMPIData get_entry(const CMPIContext* context, const char* name, CMPIStatus* rc) {
  return answer(rc, missing_data(), [&] {
    const ContextObject& source = object<ContextObject>(context);
    const Value* value = source.find(required(name, "the entry name"));
    if (!value) throw Error(Status::NoSuchProperty, std::string("there is no entry ") + name);
    return to_cmpi(*value);
  });
}

CMPIData get_entry_at(const CMPIContext* context, CMPICount index, CMPIString** name,
                      CMPIStatus* rc) {
  return answer(rc, missing_data(), [&] {
    const auto& entries = object<ContextObject>(context).entries;
    if (index >= entries.size()) out_of_range(index);
    if (name) *name = new_string(entries[index].first);
    return to_cmpi(entries[index].second);
  });
}

CMPICount get_entry_count(const CMPIContext* context, CMPIStatus* rc) {
  return answer(rc, CMPICount{0}, [&] {
    return static_cast<CMPICount>(object<ContextObject>(context).entries.size());
  });
}

// A prepared context that no thread has taken is no longer counted (Core::thread_attached).
CMPIStatus release_context(CMPIContext* context) {
  return answer([&] {
    ContextObject& released = object<ContextObject>(context);
    if (released.header.lent) return;
    if (released.prepared) released.header.keeps->thread_attached(-1);
    Arena::free(released.header);
  });
}

CMPIStatus add_entry(const CMPIContext* context, const char* name, const CMPIValue* value,
                     CMPIType type) {
  return answer([&] {
    ContextObject& target = object<ContextObject>(context);
    const std::string_view added = required(name, "the entry name");
    Value copy = from_cmpi(value, type);
    for (auto& [entry, existing] : target.entries) {
      if (entry == added) {
        existing = std::move(copy);
        return;
      }
    }
    target.entries.emplace_back(added, std::move(copy));
  });
}

}  // namespace

void fill_collection_tables(Tables& tables) {
  tables.array = {
      .ftVersion = CMPIVersion210,
      .release = release<ArrayObject>,
      .clone = clone<ArrayObject>,
      .getSize = get_size,
      .getSimpleType = get_simple_type,
      .getElementAt = get_element_at,
      .setElementAt = set_element_at,
  };
  tables.enumeration = {
      .ftVersion = CMPIVersion210,
      .release = release<EnumerationObject>,
      .clone = clone<EnumerationObject>,
      .getNext = get_next,
      .hasNext = has_next,
      .toArray = to_array,
  };
  tables.args = {
      .ftVersion = CMPIVersion210,
      .release = release<ArgsObject>,
      .clone = clone<ArgsObject>,
      .addArg = add_arg,
      .getArg = get_arg,
      .getArgAt = get_arg_at,
      .getArgCount = get_arg_count,
  };
  tables.context = {
      .ftVersion = CMPIVersion210,
      .release = release_context,
      .clone = clone<ContextObject>,
      .getEntry = get_entry,
      .getEntryAt = get_entry_at,
      .getEntryCount = get_entry_count,
      .addEntry = add_entry,
  };
}

}  // namespace broker
