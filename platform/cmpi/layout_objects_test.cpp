// Holds values and objects against the layout of the standard.
//
// The figures were measured on x86-64 Linux; a deviation breaks every broker and provider.
#include <cstddef>

#include "platform/cmpi/cmpi.h"

#include <type_traits>

// Status and data travel by value: a constructor or destructor of any of them would change the
// calling convention silently.
static_assert(std::is_trivially_copyable_v<CMPIStatus> && std::is_trivial_v<CMPIStatus>);
static_assert(std::is_trivially_copyable_v<CMPIData> && std::is_trivial_v<CMPIData>);
static_assert(std::is_trivially_copyable_v<CMPIValue> && std::is_trivial_v<CMPIValue>);
static_assert(std::is_trivially_copyable_v<CMPIValuePtr> && std::is_trivial_v<CMPIValuePtr>);

static_assert(sizeof(CMPIStatus) == 16 && alignof(CMPIStatus) == 8);
static_assert(offsetof(CMPIStatus, rc) == 0);
static_assert(offsetof(CMPIStatus, msg) == 8);

static_assert(sizeof(CMPIValuePtr) == 16 && alignof(CMPIValuePtr) == 8);
static_assert(offsetof(CMPIValuePtr, ptr) == 0);
static_assert(offsetof(CMPIValuePtr, length) == 8);

static_assert(sizeof(CMPIValue) == 16 && alignof(CMPIValue) == 8);
static_assert(offsetof(CMPIValue, boolean) == 0);
static_assert(offsetof(CMPIValue, char16) == 0);
static_assert(offsetof(CMPIValue, uint8) == 0);
static_assert(offsetof(CMPIValue, uint16) == 0);
static_assert(offsetof(CMPIValue, uint32) == 0);
static_assert(offsetof(CMPIValue, uint64) == 0);
static_assert(offsetof(CMPIValue, sint8) == 0);
static_assert(offsetof(CMPIValue, sint16) == 0);
static_assert(offsetof(CMPIValue, sint32) == 0);
static_assert(offsetof(CMPIValue, sint64) == 0);
static_assert(offsetof(CMPIValue, real32) == 0);
static_assert(offsetof(CMPIValue, real64) == 0);
static_assert(offsetof(CMPIValue, inst) == 0);
static_assert(offsetof(CMPIValue, ref) == 0);
static_assert(offsetof(CMPIValue, args) == 0);
static_assert(offsetof(CMPIValue, filter) == 0);
static_assert(offsetof(CMPIValue, Enum) == 0);
static_assert(offsetof(CMPIValue, array) == 0);
static_assert(offsetof(CMPIValue, string) == 0);
static_assert(offsetof(CMPIValue, chars) == 0);
static_assert(offsetof(CMPIValue, dateTime) == 0);
static_assert(offsetof(CMPIValue, dataPtr) == 0);
static_assert(offsetof(CMPIValue, Byte) == 0);
static_assert(offsetof(CMPIValue, Short) == 0);
static_assert(offsetof(CMPIValue, Int) == 0);
static_assert(offsetof(CMPIValue, Long) == 0);
static_assert(offsetof(CMPIValue, Float) == 0);
static_assert(offsetof(CMPIValue, Double) == 0);

static_assert(sizeof(CMPIData) == 24 && alignof(CMPIData) == 8);
static_assert(offsetof(CMPIData, type) == 0);
static_assert(offsetof(CMPIData, state) == 2);
static_assert(offsetof(CMPIData, value) == 8);

static_assert(sizeof(CMPIContext) == 16 && alignof(CMPIContext) == 8);
static_assert(offsetof(CMPIContext, hdl) == 0);
static_assert(offsetof(CMPIContext, ft) == 8);

static_assert(sizeof(CMPIContextFT) == 56 && alignof(CMPIContextFT) == 8);
static_assert(offsetof(CMPIContextFT, ftVersion) == 0);
static_assert(offsetof(CMPIContextFT, release) == 8);
static_assert(offsetof(CMPIContextFT, clone) == 16);
static_assert(offsetof(CMPIContextFT, getEntry) == 24);
static_assert(offsetof(CMPIContextFT, getEntryAt) == 32);
static_assert(offsetof(CMPIContextFT, getEntryCount) == 40);
static_assert(offsetof(CMPIContextFT, addEntry) == 48);

static_assert(sizeof(CMPIResult) == 16 && alignof(CMPIResult) == 8);
static_assert(offsetof(CMPIResult, hdl) == 0);
static_assert(offsetof(CMPIResult, ft) == 8);

static_assert(sizeof(CMPIResultFT) == 64 && alignof(CMPIResultFT) == 8);
static_assert(offsetof(CMPIResultFT, ftVersion) == 0);
static_assert(offsetof(CMPIResultFT, release) == 8);
static_assert(offsetof(CMPIResultFT, clone) == 16);
static_assert(offsetof(CMPIResultFT, returnData) == 24);
static_assert(offsetof(CMPIResultFT, returnInstance) == 32);
static_assert(offsetof(CMPIResultFT, returnObjectPath) == 40);
static_assert(offsetof(CMPIResultFT, returnDone) == 48);
static_assert(offsetof(CMPIResultFT, returnError) == 56);

static_assert(sizeof(CMPIString) == 16 && alignof(CMPIString) == 8);
static_assert(offsetof(CMPIString, hdl) == 0);
static_assert(offsetof(CMPIString, ft) == 8);

static_assert(sizeof(CMPIStringFT) == 40 && alignof(CMPIStringFT) == 8);
static_assert(offsetof(CMPIStringFT, ftVersion) == 0);
static_assert(offsetof(CMPIStringFT, release) == 8);
static_assert(offsetof(CMPIStringFT, clone) == 16);
static_assert(offsetof(CMPIStringFT, getCharPtr) == 24);
static_assert(offsetof(CMPIStringFT, newCharsCP) == 32);

static_assert(sizeof(CMPIArray) == 16 && alignof(CMPIArray) == 8);
static_assert(offsetof(CMPIArray, hdl) == 0);
static_assert(offsetof(CMPIArray, ft) == 8);

static_assert(sizeof(CMPIArrayFT) == 56 && alignof(CMPIArrayFT) == 8);
static_assert(offsetof(CMPIArrayFT, ftVersion) == 0);
static_assert(offsetof(CMPIArrayFT, release) == 8);
static_assert(offsetof(CMPIArrayFT, clone) == 16);
static_assert(offsetof(CMPIArrayFT, getSize) == 24);
static_assert(offsetof(CMPIArrayFT, getSimpleType) == 32);
static_assert(offsetof(CMPIArrayFT, getElementAt) == 40);
static_assert(offsetof(CMPIArrayFT, setElementAt) == 48);

static_assert(sizeof(CMPIEnumeration) == 16 && alignof(CMPIEnumeration) == 8);
static_assert(offsetof(CMPIEnumeration, hdl) == 0);
static_assert(offsetof(CMPIEnumeration, ft) == 8);

static_assert(sizeof(CMPIEnumerationFT) == 48 && alignof(CMPIEnumerationFT) == 8);
static_assert(offsetof(CMPIEnumerationFT, ftVersion) == 0);
static_assert(offsetof(CMPIEnumerationFT, release) == 8);
static_assert(offsetof(CMPIEnumerationFT, clone) == 16);
static_assert(offsetof(CMPIEnumerationFT, getNext) == 24);
static_assert(offsetof(CMPIEnumerationFT, hasNext) == 32);
static_assert(offsetof(CMPIEnumerationFT, toArray) == 40);

static_assert(sizeof(CMPIInstance) == 16 && alignof(CMPIInstance) == 8);
static_assert(offsetof(CMPIInstance, hdl) == 0);
static_assert(offsetof(CMPIInstance, ft) == 8);

static_assert(sizeof(CMPIInstanceFT) == 88 && alignof(CMPIInstanceFT) == 8);
static_assert(offsetof(CMPIInstanceFT, ftVersion) == 0);
static_assert(offsetof(CMPIInstanceFT, release) == 8);
static_assert(offsetof(CMPIInstanceFT, clone) == 16);
static_assert(offsetof(CMPIInstanceFT, getProperty) == 24);
static_assert(offsetof(CMPIInstanceFT, getPropertyAt) == 32);
static_assert(offsetof(CMPIInstanceFT, getPropertyCount) == 40);
static_assert(offsetof(CMPIInstanceFT, setProperty) == 48);
static_assert(offsetof(CMPIInstanceFT, getObjectPath) == 56);
static_assert(offsetof(CMPIInstanceFT, setPropertyFilter) == 64);
static_assert(offsetof(CMPIInstanceFT, setObjectPath) == 72);
static_assert(offsetof(CMPIInstanceFT, setPropertyWithOrigin) == 80);

static_assert(sizeof(CMPIObjectPath) == 16 && alignof(CMPIObjectPath) == 8);
static_assert(offsetof(CMPIObjectPath, hdl) == 0);
static_assert(offsetof(CMPIObjectPath, ft) == 8);

static_assert(sizeof(CMPIObjectPathFT) == 160 && alignof(CMPIObjectPathFT) == 8);
static_assert(offsetof(CMPIObjectPathFT, ftVersion) == 0);
static_assert(offsetof(CMPIObjectPathFT, release) == 8);
static_assert(offsetof(CMPIObjectPathFT, clone) == 16);
static_assert(offsetof(CMPIObjectPathFT, setNameSpace) == 24);
static_assert(offsetof(CMPIObjectPathFT, getNameSpace) == 32);
static_assert(offsetof(CMPIObjectPathFT, setHostname) == 40);
static_assert(offsetof(CMPIObjectPathFT, getHostname) == 48);
static_assert(offsetof(CMPIObjectPathFT, setClassName) == 56);
static_assert(offsetof(CMPIObjectPathFT, getClassName) == 64);
static_assert(offsetof(CMPIObjectPathFT, addKey) == 72);
static_assert(offsetof(CMPIObjectPathFT, getKey) == 80);
static_assert(offsetof(CMPIObjectPathFT, getKeyAt) == 88);
static_assert(offsetof(CMPIObjectPathFT, getKeyCount) == 96);
static_assert(offsetof(CMPIObjectPathFT, setNameSpaceFromObjectPath) == 104);
static_assert(offsetof(CMPIObjectPathFT, setHostAndNameSpaceFromObjectPath) == 112);
static_assert(offsetof(CMPIObjectPathFT, getClassQualifier) == 120);
static_assert(offsetof(CMPIObjectPathFT, getPropertyQualifier) == 128);
static_assert(offsetof(CMPIObjectPathFT, getMethodQualifier) == 136);
static_assert(offsetof(CMPIObjectPathFT, getParameterQualifier) == 144);
static_assert(offsetof(CMPIObjectPathFT, toString) == 152);

static_assert(sizeof(CMPIArgs) == 16 && alignof(CMPIArgs) == 8);
static_assert(offsetof(CMPIArgs, hdl) == 0);
static_assert(offsetof(CMPIArgs, ft) == 8);

static_assert(sizeof(CMPIArgsFT) == 56 && alignof(CMPIArgsFT) == 8);
static_assert(offsetof(CMPIArgsFT, ftVersion) == 0);
static_assert(offsetof(CMPIArgsFT, release) == 8);
static_assert(offsetof(CMPIArgsFT, clone) == 16);
static_assert(offsetof(CMPIArgsFT, addArg) == 24);
static_assert(offsetof(CMPIArgsFT, getArg) == 32);
static_assert(offsetof(CMPIArgsFT, getArgAt) == 40);
static_assert(offsetof(CMPIArgsFT, getArgCount) == 48);

static_assert(sizeof(CMPIDateTime) == 16 && alignof(CMPIDateTime) == 8);
static_assert(offsetof(CMPIDateTime, hdl) == 0);
static_assert(offsetof(CMPIDateTime, ft) == 8);

static_assert(sizeof(CMPIDateTimeFT) == 48 && alignof(CMPIDateTimeFT) == 8);
static_assert(offsetof(CMPIDateTimeFT, ftVersion) == 0);
static_assert(offsetof(CMPIDateTimeFT, release) == 8);
static_assert(offsetof(CMPIDateTimeFT, clone) == 16);
static_assert(offsetof(CMPIDateTimeFT, getBinaryFormat) == 24);
static_assert(offsetof(CMPIDateTimeFT, getStringFormat) == 32);
static_assert(offsetof(CMPIDateTimeFT, isInterval) == 40);
