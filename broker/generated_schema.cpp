#include "broker/schema.h"

namespace broker {

const Schema& generated_schema() {
  // Never destroyed: providers may still be at work while the process ends.
  static const Schema& schema = *new Schema(all_classes(), all_qualifiers());
  return schema;
}

}  // namespace broker
