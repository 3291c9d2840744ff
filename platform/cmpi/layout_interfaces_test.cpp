// Holds query objects and management interfaces against the layout of the standard.
//
// The figures were measured on x86-64 Linux; a deviation breaks every broker and provider.
#include <cstddef>

#include "platform/cmpi/cmpi.h"

static_assert(sizeof(CMPISelectExp) == 16 && alignof(CMPISelectExp) == 8);
static_assert(offsetof(CMPISelectExp, hdl) == 0);
static_assert(offsetof(CMPISelectExp, ft) == 8);

static_assert(sizeof(CMPISelectExpFT) == 64 && alignof(CMPISelectExpFT) == 8);
static_assert(offsetof(CMPISelectExpFT, ftVersion) == 0);
static_assert(offsetof(CMPISelectExpFT, release) == 8);
static_assert(offsetof(CMPISelectExpFT, clone) == 16);
static_assert(offsetof(CMPISelectExpFT, evaluate) == 24);
static_assert(offsetof(CMPISelectExpFT, getString) == 32);
static_assert(offsetof(CMPISelectExpFT, getDOC) == 40);
static_assert(offsetof(CMPISelectExpFT, getCOD) == 48);
static_assert(offsetof(CMPISelectExpFT, evaluateUsingAccessor) == 56);

static_assert(sizeof(CMPISelectCond) == 16 && alignof(CMPISelectCond) == 8);
static_assert(offsetof(CMPISelectCond, hdl) == 0);
static_assert(offsetof(CMPISelectCond, ft) == 8);

static_assert(sizeof(CMPISelectCondFT) == 40 && alignof(CMPISelectCondFT) == 8);
static_assert(offsetof(CMPISelectCondFT, ftVersion) == 0);
static_assert(offsetof(CMPISelectCondFT, release) == 8);
static_assert(offsetof(CMPISelectCondFT, clone) == 16);
static_assert(offsetof(CMPISelectCondFT, getCountAndType) == 24);
static_assert(offsetof(CMPISelectCondFT, getSubCondAt) == 32);

static_assert(sizeof(CMPISubCond) == 16 && alignof(CMPISubCond) == 8);
static_assert(offsetof(CMPISubCond, hdl) == 0);
static_assert(offsetof(CMPISubCond, ft) == 8);

static_assert(sizeof(CMPISubCondFT) == 48 && alignof(CMPISubCondFT) == 8);
static_assert(offsetof(CMPISubCondFT, ftVersion) == 0);
static_assert(offsetof(CMPISubCondFT, release) == 8);
static_assert(offsetof(CMPISubCondFT, clone) == 16);
static_assert(offsetof(CMPISubCondFT, getCount) == 24);
static_assert(offsetof(CMPISubCondFT, getPredicateAt) == 32);
static_assert(offsetof(CMPISubCondFT, getPredicate) == 40);

static_assert(sizeof(CMPIPredicate) == 16 && alignof(CMPIPredicate) == 8);
static_assert(offsetof(CMPIPredicate, hdl) == 0);
static_assert(offsetof(CMPIPredicate, ft) == 8);

static_assert(sizeof(CMPIPredicateFT) == 40 && alignof(CMPIPredicateFT) == 8);
static_assert(offsetof(CMPIPredicateFT, ftVersion) == 0);
static_assert(offsetof(CMPIPredicateFT, release) == 8);
static_assert(offsetof(CMPIPredicateFT, clone) == 16);
static_assert(offsetof(CMPIPredicateFT, getData) == 24);
static_assert(offsetof(CMPIPredicateFT, evaluateUsingAccessor) == 32);

static_assert(sizeof(CMPIError) == 16 && alignof(CMPIError) == 8);
static_assert(offsetof(CMPIError, hdl) == 0);
static_assert(offsetof(CMPIError, ft) == 8);

static_assert(sizeof(CMPIErrorFT) == 216 && alignof(CMPIErrorFT) == 8);
static_assert(offsetof(CMPIErrorFT, ftVersion) == 0);
static_assert(offsetof(CMPIErrorFT, release) == 8);
static_assert(offsetof(CMPIErrorFT, clone) == 16);
static_assert(offsetof(CMPIErrorFT, getErrorType) == 24);
static_assert(offsetof(CMPIErrorFT, getOtherErrorType) == 32);
static_assert(offsetof(CMPIErrorFT, getOwningEntity) == 40);
static_assert(offsetof(CMPIErrorFT, getMessageID) == 48);
static_assert(offsetof(CMPIErrorFT, getMessage) == 56);
static_assert(offsetof(CMPIErrorFT, getPerceivedSeverity) == 64);
static_assert(offsetof(CMPIErrorFT, getProbableCause) == 72);
static_assert(offsetof(CMPIErrorFT, getProbableCauseDescription) == 80);
static_assert(offsetof(CMPIErrorFT, getRecommendedActions) == 88);
static_assert(offsetof(CMPIErrorFT, getErrorSource) == 96);
static_assert(offsetof(CMPIErrorFT, getErrorSourceFormat) == 104);
static_assert(offsetof(CMPIErrorFT, getOtherErrorSourceFormat) == 112);
static_assert(offsetof(CMPIErrorFT, getCIMStatusCode) == 120);
static_assert(offsetof(CMPIErrorFT, getCIMStatusCodeDescription) == 128);
static_assert(offsetof(CMPIErrorFT, getMessageArguments) == 136);
static_assert(offsetof(CMPIErrorFT, setErrorType) == 144);
static_assert(offsetof(CMPIErrorFT, setOtherErrorType) == 152);
static_assert(offsetof(CMPIErrorFT, setProbableCauseDescription) == 160);
static_assert(offsetof(CMPIErrorFT, setRecommendedActions) == 168);
static_assert(offsetof(CMPIErrorFT, setErrorSource) == 176);
static_assert(offsetof(CMPIErrorFT, setErrorSourceFormat) == 184);
static_assert(offsetof(CMPIErrorFT, setOtherErrorSourceFormat) == 192);
static_assert(offsetof(CMPIErrorFT, setCIMStatusCodeDescription) == 200);
static_assert(offsetof(CMPIErrorFT, setMessageArguments) == 208);

static_assert(sizeof(CMPIPropertyList) == 16 && alignof(CMPIPropertyList) == 8);
static_assert(offsetof(CMPIPropertyList, hdl) == 0);
static_assert(offsetof(CMPIPropertyList, ft) == 8);

static_assert(sizeof(CMPIPropertyListFT) == 40 && alignof(CMPIPropertyListFT) == 8);
static_assert(offsetof(CMPIPropertyListFT, ftVersion) == 0);
static_assert(offsetof(CMPIPropertyListFT, release) == 8);
static_assert(offsetof(CMPIPropertyListFT, clone) == 16);
static_assert(offsetof(CMPIPropertyListFT, isPropertyInList) == 24);
static_assert(offsetof(CMPIPropertyListFT, getProperties) == 32);

static_assert(sizeof(CMPIEnumerationFilter) == 16 && alignof(CMPIEnumerationFilter) == 8);
static_assert(offsetof(CMPIEnumerationFilter, hdl) == 0);
static_assert(offsetof(CMPIEnumerationFilter, ft) == 8);

static_assert(sizeof(CMPIEnumerationFilterFT) == 32 && alignof(CMPIEnumerationFilterFT) == 8);
static_assert(offsetof(CMPIEnumerationFilterFT, ftVersion) == 0);
static_assert(offsetof(CMPIEnumerationFilterFT, release) == 8);
static_assert(offsetof(CMPIEnumerationFilterFT, clone) == 16);
static_assert(offsetof(CMPIEnumerationFilterFT, match) == 24);

static_assert(sizeof(CMPIInstanceMI) == 16 && alignof(CMPIInstanceMI) == 8);
static_assert(offsetof(CMPIInstanceMI, hdl) == 0);
static_assert(offsetof(CMPIInstanceMI, ft) == 8);

static_assert(sizeof(CMPIInstanceMIFT) == 88 && alignof(CMPIInstanceMIFT) == 8);
static_assert(offsetof(CMPIInstanceMIFT, ftVersion) == 0);
static_assert(offsetof(CMPIInstanceMIFT, miVersion) == 4);
static_assert(offsetof(CMPIInstanceMIFT, miName) == 8);
static_assert(offsetof(CMPIInstanceMIFT, cleanup) == 16);
static_assert(offsetof(CMPIInstanceMIFT, enumerateInstanceNames) == 24);
static_assert(offsetof(CMPIInstanceMIFT, enumerateInstances) == 32);
static_assert(offsetof(CMPIInstanceMIFT, getInstance) == 40);
static_assert(offsetof(CMPIInstanceMIFT, createInstance) == 48);
static_assert(offsetof(CMPIInstanceMIFT, modifyInstance) == 56);
static_assert(offsetof(CMPIInstanceMIFT, deleteInstance) == 64);
static_assert(offsetof(CMPIInstanceMIFT, execQuery) == 72);
static_assert(offsetof(CMPIInstanceMIFT, enumerateInstancesFiltered) == 80);

static_assert(sizeof(CMPIAssociationMI) == 16 && alignof(CMPIAssociationMI) == 8);
static_assert(offsetof(CMPIAssociationMI, hdl) == 0);
static_assert(offsetof(CMPIAssociationMI, ft) == 8);

static_assert(sizeof(CMPIAssociationMIFT) == 72 && alignof(CMPIAssociationMIFT) == 8);
static_assert(offsetof(CMPIAssociationMIFT, ftVersion) == 0);
static_assert(offsetof(CMPIAssociationMIFT, miVersion) == 4);
static_assert(offsetof(CMPIAssociationMIFT, miName) == 8);
static_assert(offsetof(CMPIAssociationMIFT, cleanup) == 16);
static_assert(offsetof(CMPIAssociationMIFT, associators) == 24);
static_assert(offsetof(CMPIAssociationMIFT, associatorNames) == 32);
static_assert(offsetof(CMPIAssociationMIFT, references) == 40);
static_assert(offsetof(CMPIAssociationMIFT, referenceNames) == 48);
static_assert(offsetof(CMPIAssociationMIFT, associatorsFiltered) == 56);
static_assert(offsetof(CMPIAssociationMIFT, referencesFiltered) == 64);

static_assert(sizeof(CMPIMethodMI) == 16 && alignof(CMPIMethodMI) == 8);
static_assert(offsetof(CMPIMethodMI, hdl) == 0);
static_assert(offsetof(CMPIMethodMI, ft) == 8);

static_assert(sizeof(CMPIMethodMIFT) == 32 && alignof(CMPIMethodMIFT) == 8);
static_assert(offsetof(CMPIMethodMIFT, ftVersion) == 0);
static_assert(offsetof(CMPIMethodMIFT, miVersion) == 4);
static_assert(offsetof(CMPIMethodMIFT, miName) == 8);
static_assert(offsetof(CMPIMethodMIFT, cleanup) == 16);
static_assert(offsetof(CMPIMethodMIFT, invokeMethod) == 24);

static_assert(sizeof(CMPIPropertyMI) == 16 && alignof(CMPIPropertyMI) == 8);
static_assert(offsetof(CMPIPropertyMI, hdl) == 0);
static_assert(offsetof(CMPIPropertyMI, ft) == 8);

static_assert(sizeof(CMPIPropertyMIFT) == 48 && alignof(CMPIPropertyMIFT) == 8);
static_assert(offsetof(CMPIPropertyMIFT, ftVersion) == 0);
static_assert(offsetof(CMPIPropertyMIFT, miVersion) == 4);
static_assert(offsetof(CMPIPropertyMIFT, miName) == 8);
static_assert(offsetof(CMPIPropertyMIFT, cleanup) == 16);
static_assert(offsetof(CMPIPropertyMIFT, setProperty) == 24);
static_assert(offsetof(CMPIPropertyMIFT, getProperty) == 32);
static_assert(offsetof(CMPIPropertyMIFT, setPropertyWithOrigin) == 40);

static_assert(sizeof(CMPIIndicationMI) == 16 && alignof(CMPIIndicationMI) == 8);
static_assert(offsetof(CMPIIndicationMI, hdl) == 0);
static_assert(offsetof(CMPIIndicationMI, ft) == 8);

static_assert(sizeof(CMPIIndicationMIFT) == 96 && alignof(CMPIIndicationMIFT) == 8);
static_assert(offsetof(CMPIIndicationMIFT, ftVersion) == 0);
static_assert(offsetof(CMPIIndicationMIFT, miVersion) == 4);
static_assert(offsetof(CMPIIndicationMIFT, miName) == 8);
static_assert(offsetof(CMPIIndicationMIFT, cleanup) == 16);
static_assert(offsetof(CMPIIndicationMIFT, authorizeFilter) == 24);
static_assert(offsetof(CMPIIndicationMIFT, mustPoll) == 32);
static_assert(offsetof(CMPIIndicationMIFT, activateFilter) == 40);
static_assert(offsetof(CMPIIndicationMIFT, deActivateFilter) == 48);
static_assert(offsetof(CMPIIndicationMIFT, enableIndications) == 56);
static_assert(offsetof(CMPIIndicationMIFT, disableIndications) == 64);
static_assert(offsetof(CMPIIndicationMIFT, authorizeFilterCollection) == 72);
static_assert(offsetof(CMPIIndicationMIFT, activateFilterCollection) == 80);
static_assert(offsetof(CMPIIndicationMIFT, deActivateFilterCollection) == 88);
