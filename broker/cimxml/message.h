// A request message: what its elements say, before any of it is carried out.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "broker/cimxml/decode.h"
#include "broker/error.h"

namespace broker::cimxml {

// What a parameter holds, told by the element that holds it.
enum class Form {
  Null,           // nothing
  Text,           // VALUE
  Texts,          // VALUE.ARRAY
  Reference,      // VALUE.REFERENCE
  References,     // VALUE.REFARRAY
  ClassName,      // CLASSNAME; the value is a path without keys
  InstanceName,   // INSTANCENAME
  Instance,       // INSTANCE
  NamedInstance,  // VALUE.NAMEDINSTANCE; the path of the value has the keys
  NotSupported,   // CLASS, QUALIFIER.DECLARATION: for operations that this server lacks
};

struct Parameter {
  std::string name;
  Form form = Form::Null;
  Value value;
};

struct SimpleRequest {
  bool intrinsic = true;
  std::string name;
  ObjectPath target;  // of an intrinsic operation the name space alone
  std::vector<Parameter> parameters;
  std::optional<Error> error;  // set: it is the whole answer
};

struct Message {
  std::string id;
  std::string protocol_version;
  bool batch = false;
  std::vector<SimpleRequest> requests;
};

// batch: how many requests a message may hold. Throws HttpError when the text is no request that
// this server could answer.
Message read_message(std::string_view text, const Schema& schema, Allowance& allowance,
                     std::size_t batch);

// Whether versions of a protocol understand each other: their first numbers are the same.
// Throws HttpError (not valid) for text that is no version.
bool same_major(std::string_view version, char major);

}  // namespace broker::cimxml
