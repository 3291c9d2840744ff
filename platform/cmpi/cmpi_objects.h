// CMPI: the objects that a broker makes, each a pair of a handle of the broker's and a table.
//
// Release is for clones; a clone outlives the interface function that made it.
#pragma once

// NOLINTBEGIN(readability-identifier-naming): the names are those of the interface.

#include "platform/cmpi/cmpi_types.h"

struct CMPIContextFT;
struct CMPIResultFT;
struct CMPIStringFT;
struct CMPIArrayFT;
struct CMPIEnumerationFT;
struct CMPIInstanceFT;
struct CMPIObjectPathFT;
struct CMPIArgsFT;
struct CMPIDateTimeFT;
struct CMPISelectExpFT;
struct CMPISelectCondFT;
struct CMPISubCondFT;
struct CMPIPredicateFT;
struct CMPIErrorFT;
struct CMPIPropertyListFT;
struct CMPIEnumerationFilterFT;

struct CMPIContext {
  const void* hdl;
  const CMPIContextFT* ft;
};

struct CMPIResult {
  const void* hdl;
  const CMPIResultFT* ft;
};

struct CMPIString {
  const void* hdl;
  const CMPIStringFT* ft;
};

struct CMPIArray {
  const void* hdl;
  const CMPIArrayFT* ft;
};

struct CMPIEnumeration {
  const void* hdl;
  const CMPIEnumerationFT* ft;
};

struct CMPIInstance {
  const void* hdl;
  const CMPIInstanceFT* ft;
};

struct CMPIObjectPath {
  const void* hdl;
  const CMPIObjectPathFT* ft;
};

struct CMPIArgs {
  const void* hdl;
  const CMPIArgsFT* ft;
};

struct CMPIDateTime {
  const void* hdl;
  const CMPIDateTimeFT* ft;
};

struct CMPISelectExp {
  const void* hdl;
  const CMPISelectExpFT* ft;
};

struct CMPISelectCond {
  const void* hdl;
  const CMPISelectCondFT* ft;
};

struct CMPISubCond {
  const void* hdl;
  const CMPISubCondFT* ft;
};

struct CMPIPredicate {
  const void* hdl;
  const CMPIPredicateFT* ft;
};

struct CMPIError {
  const void* hdl;
  const CMPIErrorFT* ft;
};

struct CMPIPropertyList {
  const void* hdl;
  const CMPIPropertyListFT* ft;
};

struct CMPIEnumerationFilter {
  const void* hdl;
  const CMPIEnumerationFilterFT* ft;
};

// Data of one invocation.
struct CMPIContextFT {
  CMPIVersion ftVersion;
  CMPIStatus (*release)(CMPIContext* ctx);
  CMPIContext* (*clone)(const CMPIContext* ctx, CMPIStatus* rc);
  // Entry by name.
  CMPIData (*getEntry)(const CMPIContext* ctx, const char* name, CMPIStatus* rc);
  // Entry by position; name (may be null) receives the entry name.
  CMPIData (*getEntryAt)(const CMPIContext* ctx, CMPICount index, CMPIString** name,
                         CMPIStatus* rc);
  // Number of entries.
  CMPICount (*getEntryCount)(const CMPIContext* ctx, CMPIStatus* rc);
  // Adds or replaces an entry; copies the value.
  CMPIStatus (*addEntry)(const CMPIContext* ctx, const char* name, const CMPIValue* value,
                         CMPIType type);
};

// Takes what an interface function delivers.
struct CMPIResultFT {
  CMPIVersion ftVersion;
  CMPIStatus (*release)(CMPIResult* rslt);
  CMPIResult* (*clone)(const CMPIResult* rslt, CMPIStatus* rc);
  // Adds one value (method result, polling flag).
  CMPIStatus (*returnData)(const CMPIResult* rslt, const CMPIValue* value, CMPIType type);
  // Adds one instance.
  CMPIStatus (*returnInstance)(const CMPIResult* rslt, const CMPIInstance* inst);
  // Adds one path.
  CMPIStatus (*returnObjectPath)(const CMPIResult* rslt, const CMPIObjectPath* op);
  // Says that nothing more follows.
  CMPIStatus (*returnDone)(const CMPIResult* rslt);

  // Since 2.0.
  // Adds one extended error; the first one must carry the same code as the returned status.
  CMPIStatus (*returnError)(const CMPIResult* rslt, const CMPIError* er);
};

// UTF-8 text.
struct CMPIStringFT {
  CMPIVersion ftVersion;
  CMPIStatus (*release)(CMPIString* str);
  CMPIString* (*clone)(const CMPIString* str, CMPIStatus* rc);
  // C string owned by the object; never free it.
  const char* (*getCharPtr)(const CMPIString* str, CMPIStatus* rc);

  // Since 2.1.
  // C string converted to a code page; ended with freeChars.
  char* (*newCharsCP)(const CMPIString* str, CMPICodepageID cpid, CMPIStatus* rc);
};

struct CMPIArrayFT {
  CMPIVersion ftVersion;
  CMPIStatus (*release)(CMPIArray* ar);
  CMPIArray* (*clone)(const CMPIArray* ar, CMPIStatus* rc);
  // Number of elements.
  CMPICount (*getSize)(const CMPIArray* ar, CMPIStatus* rc);
  // Element type, no array bit.
  CMPIType (*getSimpleType)(const CMPIArray* ar, CMPIStatus* rc);
  // Element by position.
  CMPIData (*getElementAt)(const CMPIArray* ar, CMPICount index, CMPIStatus* rc);
  // Sets an existing element; type must equal the element type; a null value is a null element.
  CMPIStatus (*setElementAt)(const CMPIArray* ar, CMPICount index, const CMPIValue* value,
                             CMPIType type);
};

// What an enumerating up-call returned.
struct CMPIEnumerationFT {
  CMPIVersion ftVersion;
  CMPIStatus (*release)(CMPIEnumeration* en);
  CMPIEnumeration* (*clone)(const CMPIEnumeration* en, CMPIStatus* rc);
  // Next element as Data (type instance or ref).
  CMPIData (*getNext)(const CMPIEnumeration* en, CMPIStatus* rc);
  // 1 while elements are left.
  CMPIBoolean (*hasNext)(const CMPIEnumeration* en, CMPIStatus* rc);
  // All elements as array.
  CMPIArray* (*toArray)(const CMPIEnumeration* en, CMPIStatus* rc);
};

struct CMPIInstanceFT {
  CMPIVersion ftVersion;
  CMPIStatus (*release)(CMPIInstance* inst);
  CMPIInstance* (*clone)(const CMPIInstance* inst, CMPIStatus* rc);
  // Property by name (case-insensitive).
  CMPIData (*getProperty)(const CMPIInstance* inst, const char* name, CMPIStatus* rc);
  // Property by position; name receives its name.
  CMPIData (*getPropertyAt)(const CMPIInstance* inst, CMPICount index, CMPIString** name,
                            CMPIStatus* rc);
  // Number of properties present.
  CMPICount (*getPropertyCount)(const CMPIInstance* inst, CMPIStatus* rc);
  // Adds or replaces a property; value null = CIM null of that type; copies everything.
  CMPIStatus (*setProperty)(const CMPIInstance* inst, const char* name, const CMPIValue* value,
                            CMPIType type);
  // Path built from name space, class and key properties.
  CMPIObjectPath* (*getObjectPath)(const CMPIInstance* inst, CMPIStatus* rc);
  // Keeps only the listed properties; null keeps all, an empty list none.
  CMPIStatus (*setPropertyFilter)(const CMPIInstance* inst, const char** properties,
                                  const char** keyList);
  // Replaces the path part; needs name space, class and all keys.
  CMPIStatus (*setObjectPath)(const CMPIInstance* inst, const CMPIObjectPath* op);

  // Since 2.0.
  // SetProperty plus the class that introduced the property (null = none).
  CMPIStatus (*setPropertyWithOrigin)(const CMPIInstance* inst, const char* name,
                                      const CMPIValue* value, CMPIType type, const char* origin);
};

// The path of a class or of an instance.
struct CMPIObjectPathFT {
  CMPIVersion ftVersion;
  CMPIStatus (*release)(CMPIObjectPath* op);
  CMPIObjectPath* (*clone)(const CMPIObjectPath* op, CMPIStatus* rc);
  // Sets the name space.
  CMPIStatus (*setNameSpace)(const CMPIObjectPath* op, const char* ns);
  // Namespace as string object.
  CMPIString* (*getNameSpace)(const CMPIObjectPath* op, CMPIStatus* rc);
  // Sets the host.
  CMPIStatus (*setHostname)(const CMPIObjectPath* op, const char* hn);
  // Host as string object; test for empty.
  CMPIString* (*getHostname)(const CMPIObjectPath* op, CMPIStatus* rc);
  // Sets the class.
  CMPIStatus (*setClassName)(const CMPIObjectPath* op, const char* cn);
  // Class as string object.
  CMPIString* (*getClassName)(const CMPIObjectPath* op, CMPIStatus* rc);
  // Adds or replaces one key; null values are not allowed.
  CMPIStatus (*addKey)(const CMPIObjectPath* op, const char* key, const CMPIValue* value,
                       CMPIType type);
  // Key by name (case-insensitive).
  CMPIData (*getKey)(const CMPIObjectPath* op, const char* key, CMPIStatus* rc);
  // Key by position; name receives its name.
  CMPIData (*getKeyAt)(const CMPIObjectPath* op, CMPICount index, CMPIString** name,
                       CMPIStatus* rc);
  // Number of keys; 0 for a class path.
  CMPICount (*getKeyCount)(const CMPIObjectPath* op, CMPIStatus* rc);
  // Copies name space and, by the standard, class.
  CMPIStatus (*setNameSpaceFromObjectPath)(const CMPIObjectPath* op, const CMPIObjectPath* src);
  // The same and the host.
  CMPIStatus (*setHostAndNameSpaceFromObjectPath)(const CMPIObjectPath* op,
                                                  const CMPIObjectPath* src);
  // Class qualifier value.
  CMPIData (*getClassQualifier)(const CMPIObjectPath* op, const char* qName, CMPIStatus* rc);
  // Property qualifier value.
  CMPIData (*getPropertyQualifier)(const CMPIObjectPath* op, const char* pName, const char* qName,
                                   CMPIStatus* rc);
  // Method qualifier value.
  CMPIData (*getMethodQualifier)(const CMPIObjectPath* op, const char* methodName,
                                 const char* qName, CMPIStatus* rc);
  // Parameter qualifier value.
  CMPIData (*getParameterQualifier)(const CMPIObjectPath* op, const char* mName, const char* pName,
                                    const char* qName, CMPIStatus* rc);
  // Text form, broker specific.
  CMPIString* (*toString)(const CMPIObjectPath* op, CMPIStatus* rc);
};

// Parameters of a method.
struct CMPIArgsFT {
  CMPIVersion ftVersion;
  CMPIStatus (*release)(CMPIArgs* args);
  CMPIArgs* (*clone)(const CMPIArgs* args, CMPIStatus* rc);
  // Adds or replaces one parameter; value null = CIM null; copies the value.
  CMPIStatus (*addArg)(const CMPIArgs* args, const char* name, const CMPIValue* value,
                       CMPIType type);
  // Parameter by name (case-insensitive).
  CMPIData (*getArg)(const CMPIArgs* args, const char* name, CMPIStatus* rc);
  // Parameter by position; name receives its name.
  CMPIData (*getArgAt)(const CMPIArgs* args, CMPICount index, CMPIString** name, CMPIStatus* rc);
  // Number of parameters.
  CMPICount (*getArgCount)(const CMPIArgs* args, CMPIStatus* rc);
};

struct CMPIDateTimeFT {
  CMPIVersion ftVersion;
  CMPIStatus (*release)(CMPIDateTime* dt);
  CMPIDateTime* (*clone)(const CMPIDateTime* dt, CMPIStatus* rc);
  // Microseconds since the epoch (UTC), or duration.
  CMPIUint64 (*getBinaryFormat)(const CMPIDateTime* dt, CMPIStatus* rc);
  // 25-character text.
  CMPIString* (*getStringFormat)(const CMPIDateTime* dt, CMPIStatus* rc);
  // 1 for a duration.
  CMPIBoolean (*isInterval)(const CMPIDateTime* dt, CMPIStatus* rc);
};

// NOLINTEND(readability-identifier-naming)
