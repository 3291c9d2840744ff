// Holds the broker's tables against the layout of the standard.
//
// The figures were measured on x86-64 Linux; a deviation breaks every broker and provider.
#include <cstddef>

#include "platform/cmpi/cmpi.h"

static_assert(sizeof(CMPIBroker) == 40 && alignof(CMPIBroker) == 8);
static_assert(offsetof(CMPIBroker, hdl) == 0);
static_assert(offsetof(CMPIBroker, bft) == 8);
static_assert(offsetof(CMPIBroker, eft) == 16);
static_assert(offsetof(CMPIBroker, xft) == 24);
static_assert(offsetof(CMPIBroker, mft) == 32);

static_assert(sizeof(CMPIBrokerFT) == 184 && alignof(CMPIBrokerFT) == 8);
static_assert(offsetof(CMPIBrokerFT, brokerCapabilities) == 0);
static_assert(offsetof(CMPIBrokerFT, brokerVersion) == 4);
static_assert(offsetof(CMPIBrokerFT, brokerName) == 8);
static_assert(offsetof(CMPIBrokerFT, prepareAttachThread) == 16);
static_assert(offsetof(CMPIBrokerFT, attachThread) == 24);
static_assert(offsetof(CMPIBrokerFT, detachThread) == 32);
static_assert(offsetof(CMPIBrokerFT, deliverIndication) == 40);
static_assert(offsetof(CMPIBrokerFT, enumerateInstanceNames) == 48);
static_assert(offsetof(CMPIBrokerFT, getInstance) == 56);
static_assert(offsetof(CMPIBrokerFT, createInstance) == 64);
static_assert(offsetof(CMPIBrokerFT, modifyInstance) == 72);
static_assert(offsetof(CMPIBrokerFT, deleteInstance) == 80);
static_assert(offsetof(CMPIBrokerFT, execQuery) == 88);
static_assert(offsetof(CMPIBrokerFT, enumerateInstances) == 96);
static_assert(offsetof(CMPIBrokerFT, associators) == 104);
static_assert(offsetof(CMPIBrokerFT, associatorNames) == 112);
static_assert(offsetof(CMPIBrokerFT, references) == 120);
static_assert(offsetof(CMPIBrokerFT, referenceNames) == 128);
static_assert(offsetof(CMPIBrokerFT, invokeMethod) == 136);
static_assert(offsetof(CMPIBrokerFT, setProperty) == 144);
static_assert(offsetof(CMPIBrokerFT, getProperty) == 152);
static_assert(offsetof(CMPIBrokerFT, enumerateInstancesFiltered) == 160);
static_assert(offsetof(CMPIBrokerFT, associatorsFiltered) == 168);
static_assert(offsetof(CMPIBrokerFT, referencesFiltered) == 176);

static_assert(sizeof(CMPIBrokerEncFT) == 192 && alignof(CMPIBrokerEncFT) == 8);
static_assert(offsetof(CMPIBrokerEncFT, ftVersion) == 0);
static_assert(offsetof(CMPIBrokerEncFT, newInstance) == 8);
static_assert(offsetof(CMPIBrokerEncFT, newObjectPath) == 16);
static_assert(offsetof(CMPIBrokerEncFT, newArgs) == 24);
static_assert(offsetof(CMPIBrokerEncFT, newString) == 32);
static_assert(offsetof(CMPIBrokerEncFT, newArray) == 40);
static_assert(offsetof(CMPIBrokerEncFT, newDateTime) == 48);
static_assert(offsetof(CMPIBrokerEncFT, newDateTimeFromBinary) == 56);
static_assert(offsetof(CMPIBrokerEncFT, newDateTimeFromChars) == 64);
static_assert(offsetof(CMPIBrokerEncFT, newSelectExp) == 72);
static_assert(offsetof(CMPIBrokerEncFT, classPathIsA) == 80);
static_assert(offsetof(CMPIBrokerEncFT, toString) == 88);
static_assert(offsetof(CMPIBrokerEncFT, isOfType) == 96);
static_assert(offsetof(CMPIBrokerEncFT, getType) == 104);
static_assert(offsetof(CMPIBrokerEncFT, getMessage) == 112);
static_assert(offsetof(CMPIBrokerEncFT, logMessage) == 120);
static_assert(offsetof(CMPIBrokerEncFT, trace) == 128);
static_assert(offsetof(CMPIBrokerEncFT, newCMPIError) == 136);
static_assert(offsetof(CMPIBrokerEncFT, openMessageFile) == 144);
static_assert(offsetof(CMPIBrokerEncFT, closeMessageFile) == 152);
static_assert(offsetof(CMPIBrokerEncFT, getMessage2) == 160);
static_assert(offsetof(CMPIBrokerEncFT, newPropertyList) == 168);
static_assert(offsetof(CMPIBrokerEncFT, newStringCP) == 176);
static_assert(offsetof(CMPIBrokerEncFT, newEnumerationFilter) == 184);

static_assert(sizeof(CMPIBrokerExtFT) == 200 && alignof(CMPIBrokerExtFT) == 8);
static_assert(offsetof(CMPIBrokerExtFT, ftVersion) == 0);
static_assert(offsetof(CMPIBrokerExtFT, resolveFileName) == 8);
static_assert(offsetof(CMPIBrokerExtFT, newThread) == 16);
static_assert(offsetof(CMPIBrokerExtFT, joinThread) == 24);
static_assert(offsetof(CMPIBrokerExtFT, exitThread) == 32);
static_assert(offsetof(CMPIBrokerExtFT, cancelThread) == 40);
static_assert(offsetof(CMPIBrokerExtFT, threadSleep) == 48);
static_assert(offsetof(CMPIBrokerExtFT, threadOnce) == 56);
static_assert(offsetof(CMPIBrokerExtFT, createThreadKey) == 64);
static_assert(offsetof(CMPIBrokerExtFT, destroyThreadKey) == 72);
static_assert(offsetof(CMPIBrokerExtFT, getThreadSpecific) == 80);
static_assert(offsetof(CMPIBrokerExtFT, setThreadSpecific) == 88);
static_assert(offsetof(CMPIBrokerExtFT, newMutex) == 96);
static_assert(offsetof(CMPIBrokerExtFT, destroyMutex) == 104);
static_assert(offsetof(CMPIBrokerExtFT, lockMutex) == 112);
static_assert(offsetof(CMPIBrokerExtFT, unlockMutex) == 120);
static_assert(offsetof(CMPIBrokerExtFT, newCondition) == 128);
static_assert(offsetof(CMPIBrokerExtFT, destroyCondition) == 136);
static_assert(offsetof(CMPIBrokerExtFT, condWait) == 144);
static_assert(offsetof(CMPIBrokerExtFT, timedCondWait) == 152);
static_assert(offsetof(CMPIBrokerExtFT, signalCondition) == 160);
static_assert(offsetof(CMPIBrokerExtFT, destroyMutex2) == 168);
static_assert(offsetof(CMPIBrokerExtFT, lockMutex2) == 176);
static_assert(offsetof(CMPIBrokerExtFT, unlockMutex2) == 184);
static_assert(offsetof(CMPIBrokerExtFT, destroyCondition2) == 192);

static_assert(sizeof(CMPIBrokerMemFT) == 128 && alignof(CMPIBrokerMemFT) == 8);
static_assert(offsetof(CMPIBrokerMemFT, ftVersion) == 0);
static_assert(offsetof(CMPIBrokerMemFT, mark) == 8);
static_assert(offsetof(CMPIBrokerMemFT, release) == 16);
static_assert(offsetof(CMPIBrokerMemFT, cmpiMalloc) == 24);
static_assert(offsetof(CMPIBrokerMemFT, cmpiCalloc) == 32);
static_assert(offsetof(CMPIBrokerMemFT, cmpiRealloc) == 40);
static_assert(offsetof(CMPIBrokerMemFT, cmpiStrDup) == 48);
static_assert(offsetof(CMPIBrokerMemFT, cmpiFree) == 56);
static_assert(offsetof(CMPIBrokerMemFT, freeInstance) == 64);
static_assert(offsetof(CMPIBrokerMemFT, freeObjectPath) == 72);
static_assert(offsetof(CMPIBrokerMemFT, freeArgs) == 80);
static_assert(offsetof(CMPIBrokerMemFT, freeString) == 88);
static_assert(offsetof(CMPIBrokerMemFT, freeArray) == 96);
static_assert(offsetof(CMPIBrokerMemFT, freeDateTime) == 104);
static_assert(offsetof(CMPIBrokerMemFT, freeSelectExp) == 112);
static_assert(offsetof(CMPIBrokerMemFT, freeChars) == 120);
