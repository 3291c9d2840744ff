// CMPI: the broker and its function tables.
//
// A later version of the standard only ever appended members: a member may be read only when the
// table's version field reaches the version named here, and may even then be null. Brokers exist
// that report 0 or 1 in a version field; that is 1.0.
#pragma once

// NOLINTBEGIN(readability-identifier-naming): the names are those of the interface.

#include "platform/cmpi/cmpi_types.h"

struct CMPIBrokerFT;
struct CMPIBrokerEncFT;
struct CMPIBrokerExtFT;
struct CMPIBrokerMemFT;

struct CMPIBroker {
  const void* hdl;
  const CMPIBrokerFT* bft;
  const CMPIBrokerEncFT* eft;
  const CMPIBrokerExtFT* xft;
  const CMPIBrokerMemFT* mft;  // since 2.0; null where the broker has none
};

// Operations of the broker, and up-calls into other providers.
struct CMPIBrokerFT {
  // Capability bits (CMPI_MB_...).
  unsigned int brokerCapabilities;
  // Version of the standard that this table follows.
  CMPIVersion brokerVersion;
  // Free text.
  const char* brokerName;
  // Called on a broker's thread: a copy of ctx for a thread about to be started.
  CMPIContext* (*prepareAttachThread)(const CMPIBroker* mb, const CMPIContext* ctx);
  // First broker call on the new thread; takes the prepared context.
  CMPIStatus (*attachThread)(const CMPIBroker* mb, const CMPIContext* ctx);
  // Last broker call on that thread; ends the context.
  CMPIStatus (*detachThread)(const CMPIBroker* mb, const CMPIContext* ctx);
  // Hands over one indication instance; having no subscriber is not an error.
  CMPIStatus (*deliverIndication)(const CMPIBroker* mb, const CMPIContext* ctx, const char* ns,
                                  const CMPIInstance* ind);
  // Instance paths of a class and its subclasses.
  CMPIEnumeration* (*enumerateInstanceNames)(const CMPIBroker* mb, const CMPIContext* ctx,
                                             const CMPIObjectPath* classPath, CMPIStatus* rc);
  // One instance by full path.
  CMPIInstance* (*getInstance)(const CMPIBroker* mb, const CMPIContext* ctx,
                               const CMPIObjectPath* instPath, const char** properties,
                               CMPIStatus* rc);
  // Creates an instance; keys come as properties of newInst.
  CMPIObjectPath* (*createInstance)(const CMPIBroker* mb, const CMPIContext* ctx,
                                    const CMPIObjectPath* classPath, const CMPIInstance* newInst,
                                    CMPIStatus* rc);
  // Changes the listed (or all given) properties.
  CMPIStatus (*modifyInstance)(const CMPIBroker* mb, const CMPIContext* ctx,
                               const CMPIObjectPath* instPath, const CMPIInstance* modInst,
                               const char** properties);
  // Deletes one instance.
  CMPIStatus (*deleteInstance)(const CMPIBroker* mb, const CMPIContext* ctx,
                               const CMPIObjectPath* instPath);
  // Query; result elements are instances.
  CMPIEnumeration* (*execQuery)(const CMPIBroker* mb, const CMPIContext* ctx,
                                const CMPIObjectPath* classPath, const char* query,
                                const char* lang, CMPIStatus* rc);
  // Instances of a class and its subclasses.
  CMPIEnumeration* (*enumerateInstances)(const CMPIBroker* mb, const CMPIContext* ctx,
                                         const CMPIObjectPath* classPath, const char** properties,
                                         CMPIStatus* rc);
  // Instances at the far end of associations of instPath.
  CMPIEnumeration* (*associators)(const CMPIBroker* mb, const CMPIContext* ctx,
                                  const CMPIObjectPath* instPath, const char* assocClass,
                                  const char* resultClass, const char* role, const char* resultRole,
                                  const char** properties, CMPIStatus* rc);
  // Same, paths only.
  CMPIEnumeration* (*associatorNames)(const CMPIBroker* mb, const CMPIContext* ctx,
                                      const CMPIObjectPath* instPath, const char* assocClass,
                                      const char* resultClass, const char* role,
                                      const char* resultRole, CMPIStatus* rc);
  // The association instances that point at instPath.
  CMPIEnumeration* (*references)(const CMPIBroker* mb, const CMPIContext* ctx,
                                 const CMPIObjectPath* instPath, const char* resultClass,
                                 const char* role, const char** properties, CMPIStatus* rc);
  // Same, paths only.
  CMPIEnumeration* (*referenceNames)(const CMPIBroker* mb, const CMPIContext* ctx,
                                     const CMPIObjectPath* instPath, const char* resultClass,
                                     const char* role, CMPIStatus* rc);
  // Extrinsic method on a class or instance path; fills out, returns the method's value.
  CMPIData (*invokeMethod)(const CMPIBroker* mb, const CMPIContext* ctx,
                           const CMPIObjectPath* objPath, const char* method, const CMPIArgs* in,
                           CMPIArgs* out, CMPIStatus* rc);
  // Deprecated up-call: writes one property.
  CMPIStatus (*setProperty)(const CMPIBroker* mb, const CMPIContext* ctx,
                            const CMPIObjectPath* instPath, const char* name,
                            const CMPIValue* value, CMPIType type);
  // Deprecated up-call: reads one property.
  CMPIData (*getProperty)(const CMPIBroker* mb, const CMPIContext* ctx,
                          const CMPIObjectPath* instPath, const char* name, CMPIStatus* rc);

  // Since 2.1.
  // As enumerateInstances plus a filter query; null language or query = no filter.
  CMPIEnumeration* (*enumerateInstancesFiltered)(const CMPIBroker* mb, const CMPIContext* ctx,
                                                 const CMPIObjectPath* classPath,
                                                 const char** properties,
                                                 const char* filterQueryLanguage,
                                                 const char* filterQuery, CMPIStatus* rc);
  // As associators plus filter.
  CMPIEnumeration* (*associatorsFiltered)(const CMPIBroker* mb, const CMPIContext* ctx,
                                          const CMPIObjectPath* instPath, const char* assocClass,
                                          const char* resultClass, const char* role,
                                          const char* resultRole, const char** properties,
                                          const char* filterQueryLanguage, const char* filterQuery,
                                          CMPIStatus* rc);
  // As references plus filter.
  CMPIEnumeration* (*referencesFiltered)(const CMPIBroker* mb, const CMPIContext* ctx,
                                         const CMPIObjectPath* instPath, const char* resultClass,
                                         const char* role, const char** properties,
                                         const char* filterQueryLanguage, const char* filterQuery,
                                         CMPIStatus* rc);
};

// Makes objects and asks about them. What an interface function made lives until it returns.
struct CMPIBrokerEncFT {
  CMPIVersion ftVersion;
  // A new instance without properties, its path copied from instPath.
  CMPIInstance* (*newInstance)(const CMPIBroker* mb, const CMPIObjectPath* instPath,
                               CMPIStatus* rc);
  // New path object with name space and class, no keys, no host.
  CMPIObjectPath* (*newObjectPath)(const CMPIBroker* mb, const char* ns, const char* cn,
                                   CMPIStatus* rc);
  // New empty parameter list.
  CMPIArgs* (*newArgs)(const CMPIBroker* mb, CMPIStatus* rc);
  // New string object, copies the C string.
  CMPIString* (*newString)(const CMPIBroker* mb, const char* data, CMPIStatus* rc);
  // All elements start as null; type is that of an element, without the array bit.
  CMPIArray* (*newArray)(const CMPIBroker* mb, CMPICount size, CMPIType type, CMPIStatus* rc);
  // Current time.
  CMPIDateTime* (*newDateTime)(const CMPIBroker* mb, CMPIStatus* rc);
  // Microseconds since 1970-01-01T00:00 UTC, or the length of an interval.
  CMPIDateTime* (*newDateTimeFromBinary)(const CMPIBroker* mb, CMPIUint64 binTime,
                                         CMPIBoolean interval, CMPIStatus* rc);
  // From the 25-character CIM datetime text (timestamp or interval).
  CMPIDateTime* (*newDateTimeFromChars)(const CMPIBroker* mb, const char* datetime, CMPIStatus* rc);
  // Parses a query; projection (may be null) receives an array of selected names, or null for
  // "all".
  CMPISelectExp* (*newSelectExp)(const CMPIBroker* mb, const char* query, const char* lang,
                                 CMPIArray** projection, CMPIStatus* rc);
  // 1 when the class of the path is className or derives from it; needs name space in the path.
  CMPIBoolean (*classPathIsA)(const CMPIBroker* mb, const CMPIObjectPath* classPath,
                              const char* className, CMPIStatus* rc);
  // Debug text of any encapsulated object.
  CMPIString* (*toString)(const CMPIBroker* mb, const void* object, CMPIStatus* rc);
  // 1 when object is of the named type, for instance "CMPIInstance".
  CMPIBoolean (*isOfType)(const CMPIBroker* mb, const void* object, const char* type,
                          CMPIStatus* rc);
  // Type name of an encapsulated object.
  CMPIString* (*getType)(const CMPIBroker* mb, const void* object, CMPIStatus* rc);
  // Deprecated. $0 to $9 are replaced by count pairs of type (as int) and value.
  CMPIString* (*getMessage)(const CMPIBroker* mb, const char* msgId, const char* defMsg,
                            CMPIStatus* rc, CMPICount count, ...);
  // Writes a log record; text goes before string.
  CMPIStatus (*logMessage)(const CMPIBroker* mb, CMPISeverity severity, const char* id,
                           const char* text, const CMPIString* string);
  // Writes a trace record.
  CMPIStatus (*trace)(const CMPIBroker* mb, CMPILevel level, const char* component,
                      const char* text, const CMPIString* string);

  // Since 2.0.
  // New extended-error object with the core attributes set.
  CMPIError* (*newCMPIError)(const CMPIBroker* mb, const char* owner, const char* msgID,
                             const char* msg, CMPIErrorSeverity sev, CMPIErrorProbableCause pc,
                             CMPIrc cimStatusCode, CMPIStatus* rc);
  // Opens a message catalogue, language from the current context.
  CMPIStatus (*openMessageFile)(const CMPIBroker* mb, const char* msgFile,
                                CMPIMsgFileHandle* msgFileHandle);
  // Closes it; a null handle is not an error.
  CMPIStatus (*closeMessageFile)(const CMPIBroker* mb, CMPIMsgFileHandle msgFileHandle);
  // As getMessage but from an open catalogue; a null handle means: use defMsg.
  CMPIString* (*getMessage2)(const CMPIBroker* mb, const char* msgId,
                             CMPIMsgFileHandle msgFileHandle, const char* defMsg, CMPIStatus* rc,
                             CMPICount count, ...);

  // Since 2.1.
  // New property-list object from a null-terminated name array.
  CMPIPropertyList* (*newPropertyList)(const CMPIBroker* mb, const char** properties,
                                       CMPIStatus* rc);
  // New string from text in a given code page, stored as UTF-8.
  CMPIString* (*newStringCP)(const CMPIBroker* mb, const char* data, CMPICodepageID cpid,
                             CMPIStatus* rc);
  // New filter object for the filtered operations.
  CMPIEnumerationFilter* (*newEnumerationFilter)(const CMPIBroker* mb,
                                                 const char* filterQueryLanguage,
                                                 const char* filterQuery, CMPIStatus* rc);
};

// Services of the operating system.
struct CMPIBrokerExtFT {
  CMPIVersion ftVersion;
  // The platform's file name of a library, "libX.so" for "X".
  char* (*resolveFileName)(const char* libName);
  // Starts start(parm) on a new thread; detached!=0 = not joinable.
  void* (*newThread)(CMPIThreadFunc start, void* parm, int detached);
  // Waits for a thread; 0 or an errno value.
  int (*joinThread)(void* thread, void** retval);
  // Ends the calling thread; does not return.
  int (*exitThread)(void* return_code);
  // Requests cancellation.
  int (*cancelThread)(void* thread);
  // Sleeps msec milliseconds.
  int (*threadSleep)(CMPIUint32 msec);
  // Runs function exactly once per once-variable (an int that starts as 0).
  int (*threadOnce)(int* once, CMPIThreadOnceFunc function);
  // Creates a thread-local key with a destructor.
  int (*createThreadKey)(unsigned int* key, CMPIThreadKeyCleanupFunc cleanup);
  // Deletes the key.
  int (*destroyThreadKey)(unsigned int key);
  // Reads the thread-local pointer.
  void* (*getThreadSpecific)(unsigned int key);
  // Sets the thread-local pointer.
  int (*setThreadSpecific)(unsigned int key, void* value);
  // Recursive since 2.1; opt is 0.
  void* (*newMutex)(int opt);
  // Deprecated, no result.
  void (*destroyMutex)(void* mutex);
  // Deprecated, no result.
  void (*lockMutex)(void* mutex);
  // Deprecated, no result.
  void (*unlockMutex)(void* mutex);
  // opt is 0.
  void* (*newCondition)(int opt);
  // Deprecated, no result.
  void (*destroyCondition)(void* cond);
  // Waits; mutex must be held.
  int (*condWait)(void* cond, void* mutex);
  // Waits until the absolute time.
  int (*timedCondWait)(void* cond, void* mutex, struct timespec* wait);
  // Wakes a waiter.
  int (*signalCondition)(void* cond);

  // Since 2.1.
  // As destroyMutex, returns 0 or errno.
  int (*destroyMutex2)(void* mutex);
  // As lockMutex, returns 0 or errno.
  int (*lockMutex2)(void* mutex);
  // As unlockMutex, returns 0 or errno.
  int (*unlockMutex2)(void* mutex);
  // As destroyCondition, returns 0 or errno.
  int (*destroyCondition2)(void* cond);
};

// Early release of memory (since 2.0).
struct CMPIBrokerMemFT {
  CMPIVersion ftVersion;
  // Opens a nested level of object lifetimes.
  CMPIGcStat* (*mark)(const CMPIBroker* mb, CMPIStatus* rc);
  CMPIStatus (*release)(const CMPIBroker* mb, const CMPIGcStat* gc);
  // Malloc; block is freed by the broker at MI cleanup at the latest.
  void* (*cmpiMalloc)(const CMPIBroker* mb, size_t size);
  // Calloc.
  void* (*cmpiCalloc)(const CMPIBroker* mb, size_t nElems, size_t sizeElem);
  // Realloc; null ptr = malloc.
  void* (*cmpiRealloc)(const CMPIBroker* mb, void* ptr, size_t size);
  // Strdup.
  char* (*cmpiStrDup)(const CMPIBroker* mb, const char* str);
  // Free for the four above.
  void (*cmpiFree)(const CMPIBroker* mb, void* ptr);
  // Early free of an object made by newInstance.
  void (*freeInstance)(const CMPIBroker* mb, CMPIInstance* inst);
  // Early free of newObjectPath result.
  void (*freeObjectPath)(const CMPIBroker* mb, CMPIObjectPath* obj);
  // Early free of newArgs result.
  void (*freeArgs)(const CMPIBroker* mb, CMPIArgs* args);
  // Early free of newString / newStringCP result.
  void (*freeString)(const CMPIBroker* mb, CMPIString* str);
  // Early free of newArray result.
  void (*freeArray)(const CMPIBroker* mb, CMPIArray* array);
  // Early free of a newDateTime* result.
  void (*freeDateTime)(const CMPIBroker* mb, CMPIDateTime* dt);
  // Early free of newSelectExp result.
  void (*freeSelectExp)(const CMPIBroker* mb, CMPISelectExp* se);

  // Since 2.1.
  // Frees a C string made by newCharsCP.
  void (*freeChars)(const CMPIBroker* mb, char* chars);
};

// NOLINTEND(readability-identifier-naming)
