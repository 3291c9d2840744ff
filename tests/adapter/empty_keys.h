// A habit of object managers that tests in several folders imitate.
#pragma once

#include "broker/tables.h"

namespace ovk_cimple {

// Hands a key that is an empty string to providers as null with status OK. The status is an error
// only for a key that is not there.
inline void hand_empty_keys_as_null(broker::Tables& tables) {
  static decltype(tables.object_path.getKey) get_key;
  get_key = tables.object_path.getKey;
  tables.object_path.getKey = [](const CMPIObjectPath* path, const char* name, CMPIStatus* rc) {
    CMPIStatus status{};
    CMPIData data = get_key(path, name, &status);
    if (rc) *rc = status;
    if (status.rc != CMPI_RC_OK || data.type != CMPI_string || !data.value.string) return data;
    const char* const text = data.value.string->ft->getCharPtr(data.value.string, &status);
    return text && !*text ? CMPIData{CMPI_string, CMPI_nullValue, {}} : data;
  };
}

}  // namespace ovk_cimple
