// CMPI: tables of the objects that queries, filters and extended errors consist of.
#pragma once

// NOLINTBEGIN(readability-identifier-naming): the names are those of the interface.

#include "platform/cmpi/cmpi_objects.h"

// A parsed query.
struct CMPISelectExpFT {
  CMPIVersion ftVersion;
  CMPIStatus (*release)(CMPISelectExp* se);
  CMPISelectExp* (*clone)(const CMPISelectExp* se, CMPIStatus* rc);
  // 1 when the instance satisfies the WHERE part.
  CMPIBoolean (*evaluate)(const CMPISelectExp* se, const CMPIInstance* inst, CMPIStatus* rc);
  // Query text.
  CMPIString* (*getString)(const CMPISelectExp* se, CMPIStatus* rc);
  // WHERE part as OR of ANDs.
  CMPISelectCond* (*getDOC)(const CMPISelectExp* se, CMPIStatus* rc);
  // WHERE part as AND of ORs.
  CMPISelectCond* (*getCOD)(const CMPISelectExp* se, CMPIStatus* rc);
  // As evaluate, property values come from a callback.
  CMPIBoolean (*evaluateUsingAccessor)(const CMPISelectExp* se, CMPIAccessor* accessor, void* parm,
                                       CMPIStatus* rc);
};

// Its condition in a normal form.
struct CMPISelectCondFT {
  CMPIVersion ftVersion;
  CMPIStatus (*release)(CMPISelectCond* sc);
  CMPISelectCond* (*clone)(const CMPISelectCond* sc, CMPIStatus* rc);
  // Number of sub-conditions; *type (may be null) = 0 DOC, 1 COD.
  CMPICount (*getCountAndType)(const CMPISelectCond* sc, int* type, CMPIStatus* rc);
  // Sub-condition by position.
  CMPISubCond* (*getSubCondAt)(const CMPISelectCond* sc, CMPICount index, CMPIStatus* rc);
};

// One group of predicates.
struct CMPISubCondFT {
  CMPIVersion ftVersion;
  CMPIStatus (*release)(CMPISubCond* sc);
  CMPISubCond* (*clone)(const CMPISubCond* sc, CMPIStatus* rc);
  // Number of predicates.
  CMPICount (*getCount)(const CMPISubCond* sc, CMPIStatus* rc);
  // Predicate by position.
  CMPIPredicate* (*getPredicateAt)(const CMPISubCond* sc, CMPICount index, CMPIStatus* rc);
  // Predicate by left-hand name.
  CMPIPredicate* (*getPredicate)(const CMPISubCond* sc, const char* name, CMPIStatus* rc);
};

// One comparison.
struct CMPIPredicateFT {
  CMPIVersion ftVersion;
  CMPIStatus (*release)(CMPIPredicate* pr);
  CMPIPredicate* (*clone)(const CMPIPredicate* pr, CMPIStatus* rc);
  // Type, operator, left and right side as strings; each output may be null.
  CMPIStatus (*getData)(const CMPIPredicate* pr, CMPIType* type, CMPIPredOp* prop, CMPIString** lhs,
                        CMPIString** rhs);
  // Tests this predicate with values from a callback.
  CMPIBoolean (*evaluateUsingAccessor)(const CMPIPredicate* pr, CMPIAccessor* accessorFnc,
                                       void* parm, CMPIStatus* rc);
};

// Since 2.1.
struct CMPIPropertyListFT {
  CMPIVersion ftVersion;
  CMPIStatus (*release)(CMPIPropertyList* plist);
  CMPIPropertyList* (*clone)(const CMPIPropertyList* plist, CMPIStatus* rc);
  // 1 when the name is in the list (case-insensitive).
  CMPIBoolean (*isPropertyInList)(const CMPIPropertyList* plist, const char* pname, CMPIStatus* rc);
  // The names as null-terminated array, any order and case.
  const char** (*getProperties)(const CMPIPropertyList* plist, CMPIStatus* rc);
};

// Since 2.1.
struct CMPIEnumerationFilterFT {
  CMPIVersion ftVersion;
  CMPIStatus (*release)(CMPIEnumerationFilter* ef);
  CMPIEnumerationFilter* (*clone)(const CMPIEnumerationFilter* ef, CMPIStatus* rc);
  // 1 when the instance passes the filter.
  CMPIBoolean (*match)(const CMPIEnumerationFilter* ef, const CMPIInstance* inst, CMPIStatus* rc);
};

// An extended error (since 2.0). What is unset reads as null with status 0.
struct CMPIErrorFT {
  CMPIVersion ftVersion;
  CMPIStatus (*release)(CMPIError* er);
  CMPIError* (*clone)(const CMPIError* er, CMPIStatus* rc);
  CMPIErrorType (*getErrorType)(const CMPIError* er, CMPIStatus* rc);
  CMPIString* (*getOtherErrorType)(const CMPIError* er, CMPIStatus* rc);
  CMPIString* (*getOwningEntity)(const CMPIError* er, CMPIStatus* rc);
  CMPIString* (*getMessageID)(const CMPIError* er, CMPIStatus* rc);
  CMPIString* (*getMessage)(const CMPIError* er, CMPIStatus* rc);
  CMPIErrorSeverity (*getPerceivedSeverity)(const CMPIError* er, CMPIStatus* rc);
  CMPIErrorProbableCause (*getProbableCause)(const CMPIError* er, CMPIStatus* rc);
  CMPIString* (*getProbableCauseDescription)(const CMPIError* er, CMPIStatus* rc);
  CMPIArray* (*getRecommendedActions)(const CMPIError* er, CMPIStatus* rc);
  CMPIString* (*getErrorSource)(const CMPIError* er, CMPIStatus* rc);
  CMPIErrorSrcFormat (*getErrorSourceFormat)(const CMPIError* er, CMPIStatus* rc);
  CMPIString* (*getOtherErrorSourceFormat)(const CMPIError* er, CMPIStatus* rc);
  CMPIrc (*getCIMStatusCode)(const CMPIError* er, CMPIStatus* rc);
  CMPIString* (*getCIMStatusCodeDescription)(const CMPIError* er, CMPIStatus* rc);
  CMPIArray* (*getMessageArguments)(const CMPIError* er, CMPIStatus* rc);
  CMPIStatus (*setErrorType)(const CMPIError* er, CMPIErrorType et);
  CMPIStatus (*setOtherErrorType)(const CMPIError* er, const char* ot);
  CMPIStatus (*setProbableCauseDescription)(const CMPIError* er, const char* pcd);
  CMPIStatus (*setRecommendedActions)(const CMPIError* er, const CMPIArray* ra);
  CMPIStatus (*setErrorSource)(const CMPIError* er, const char* es);
  CMPIStatus (*setErrorSourceFormat)(const CMPIError* er, CMPIErrorSrcFormat esf);
  CMPIStatus (*setOtherErrorSourceFormat)(const CMPIError* er, const char* oef);
  CMPIStatus (*setCIMStatusCodeDescription)(const CMPIError* er, const char* scd);
  CMPIStatus (*setMessageArguments)(const CMPIError* er, const CMPIArray* values);
};

// NOLINTEND(readability-identifier-naming)
