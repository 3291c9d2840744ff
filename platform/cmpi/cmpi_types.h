// CMPI: scalars, values, type codes, states, versions, flags and capabilities.
#pragma once

// NOLINTBEGIN(readability-identifier-naming): the names are those of the interface.

#include <cstddef>
#include <cstdint>
#include <ctime>

#include "platform/cmpi/cmpi_codes.h"

struct CMPIContext;
struct CMPIResult;
struct CMPIString;
struct CMPIArray;
struct CMPIEnumeration;
struct CMPIInstance;
struct CMPIObjectPath;
struct CMPIArgs;
struct CMPIDateTime;
struct CMPISelectExp;
struct CMPISelectCond;
struct CMPISubCond;
struct CMPIPredicate;
struct CMPIError;
struct CMPIPropertyList;
struct CMPIEnumerationFilter;
struct CMPIInstanceMI;
struct CMPIAssociationMI;
struct CMPIMethodMI;
struct CMPIPropertyMI;
struct CMPIIndicationMI;
struct CMPIBroker;
struct CMPIGcStat;

using CMPIBoolean = unsigned char;  // 0 or 1, not a C++ bool
using CMPIChar16 = unsigned short;
using CMPIUint8 = unsigned char;
using CMPIUint16 = unsigned short;
using CMPIUint32 = unsigned int;
using CMPIUint64 = unsigned long long;
using CMPISint8 = signed char;
using CMPISint16 = short;
using CMPISint32 = int;
using CMPISint64 = long long;
using CMPIReal32 = float;
using CMPIReal64 = double;

using CMPICount = unsigned int;         // sizes and positions
using CMPIType = unsigned short;        // CMPI_boolean to CMPI_charsptrA
using CMPIValueState = unsigned short;  // CMPI_goodValue to CMPI_badValue
using CMPIFlags = unsigned int;         // CMPI_FLAG_...
using CMPIVersion = int;                // 100 for 1.0, 200 for 2.0, 210 for 2.1
using CMPIMsgFileHandle = void*;

using CMPI_THREAD_TYPE = void*;
using CMPI_THREAD_RETURN = void*;
using CMPI_THREAD_KEY_TYPE = unsigned int;
using CMPI_MUTEX_TYPE = void*;
using CMPI_COND_TYPE = void*;
using CMPIThreadFunc = CMPI_THREAD_RETURN (*)(void* parm);
using CMPIThreadOnceFunc = void (*)();
using CMPIThreadKeyCleanupFunc = void (*)(void* key);

// What a function of the interface answers. Travels in two registers, so it must stay trivially
// copyable, as must the three structures after it.
struct CMPIStatus {
  CMPIrc rc;
  CMPIString* msg;  // null: no text
};

struct CMPIValuePtr {
  void* ptr;
  CMPICount length;
};

// The member follows from the type code beside it. In arguments of type CMPI_chars the pointer to
// the value is the C string itself.
union CMPIValue {
  CMPIBoolean boolean;
  CMPIChar16 char16;
  CMPIUint8 uint8;
  CMPIUint16 uint16;
  CMPIUint32 uint32;
  CMPIUint64 uint64;
  CMPISint8 sint8;
  CMPISint16 sint16;
  CMPISint32 sint32;
  CMPISint64 sint64;
  CMPIReal32 real32;
  CMPIReal64 real64;
  CMPIInstance* inst;
  CMPIObjectPath* ref;
  CMPIArgs* args;
  CMPISelectExp* filter;
  CMPIEnumeration* Enum;
  CMPIArray* array;
  CMPIString* string;
  char* chars;
  CMPIDateTime* dateTime;
  CMPIValuePtr dataPtr;
  // Older names of the signed integers and reals.
  CMPISint8 Byte;
  CMPISint16 Short;
  CMPISint32 Int;
  CMPISint64 Long;
  CMPIReal32 Float;
  CMPIReal64 Double;
};

struct CMPIData {
  CMPIType type;
  CMPIValueState state;
  CMPIValue value;
};

// Looks a property up while a query is evaluated; passed as a pointer.
using CMPIAccessor = CMPIData(const char* propertyName, void* parm);

// Type codes.
inline constexpr CMPIType CMPI_null = 0x0000;
inline constexpr CMPIType CMPI_boolean = 0x0002;
inline constexpr CMPIType CMPI_char16 = 0x0003;
inline constexpr CMPIType CMPI_real32 = 0x0008;
inline constexpr CMPIType CMPI_real64 = 0x000C;
inline constexpr CMPIType CMPI_uint8 = 0x0080;
inline constexpr CMPIType CMPI_uint16 = 0x0090;
inline constexpr CMPIType CMPI_uint32 = 0x00A0;
inline constexpr CMPIType CMPI_uint64 = 0x00B0;
inline constexpr CMPIType CMPI_sint8 = 0x00C0;
inline constexpr CMPIType CMPI_sint16 = 0x00D0;
inline constexpr CMPIType CMPI_sint32 = 0x00E0;
inline constexpr CMPIType CMPI_sint64 = 0x00F0;
inline constexpr CMPIType CMPI_instance = 0x1000;
inline constexpr CMPIType CMPI_ref = 0x1100;
inline constexpr CMPIType CMPI_args = 0x1200;
inline constexpr CMPIType CMPI_class = 0x1300;
inline constexpr CMPIType CMPI_filter = 0x1400;
inline constexpr CMPIType CMPI_enumeration = 0x1500;
inline constexpr CMPIType CMPI_string = 0x1600;
inline constexpr CMPIType CMPI_chars = 0x1700;
inline constexpr CMPIType CMPI_dateTime = 0x1800;
inline constexpr CMPIType CMPI_ptr = 0x1900;
inline constexpr CMPIType CMPI_charsptr = 0x1A00;

// Arrays: the element type with the array bit.
inline constexpr CMPIType CMPI_booleanA = 0x2002;
inline constexpr CMPIType CMPI_char16A = 0x2003;
inline constexpr CMPIType CMPI_real32A = 0x2008;
inline constexpr CMPIType CMPI_real64A = 0x200C;
inline constexpr CMPIType CMPI_uint8A = 0x2080;
inline constexpr CMPIType CMPI_uint16A = 0x2090;
inline constexpr CMPIType CMPI_uint32A = 0x20A0;
inline constexpr CMPIType CMPI_uint64A = 0x20B0;
inline constexpr CMPIType CMPI_sint8A = 0x20C0;
inline constexpr CMPIType CMPI_sint16A = 0x20D0;
inline constexpr CMPIType CMPI_sint32A = 0x20E0;
inline constexpr CMPIType CMPI_sint64A = 0x20F0;
inline constexpr CMPIType CMPI_instanceA = 0x3000;
inline constexpr CMPIType CMPI_refA = 0x3100;
inline constexpr CMPIType CMPI_stringA = 0x3600;
inline constexpr CMPIType CMPI_charsA = 0x3700;
inline constexpr CMPIType CMPI_dateTimeA = 0x3800;
inline constexpr CMPIType CMPI_charsptrA = 0x3A00;

// Group masks. Unsigned integers have the bit of CMPI_SINT too: compare the masked value.
inline constexpr CMPIType CMPI_SIMPLE = 0x0002;
inline constexpr CMPIType CMPI_REAL = 0x0008;
inline constexpr CMPIType CMPI_UINT = 0x0080;
inline constexpr CMPIType CMPI_SINT = 0x00C0;
inline constexpr CMPIType CMPI_INTEGER = 0x00C0;
inline constexpr CMPIType CMPI_ENC = 0x1000;
inline constexpr CMPIType CMPI_ARRAY = 0x2000;
inline constexpr CMPIType CMPI_SIMPLEA = 0x2002;
inline constexpr CMPIType CMPI_REALA = 0x2008;
inline constexpr CMPIType CMPI_UINTA = 0x2080;
inline constexpr CMPIType CMPI_SINTA = 0x20C0;
inline constexpr CMPIType CMPI_INTEGERA = 0x20C0;
inline constexpr CMPIType CMPI_ENCA = 0x3000;

// Key types where a broker does not know the key's class.
inline constexpr CMPIType CMPI_keyInteger = 0x00F0;
inline constexpr CMPIType CMPI_keyString = 0x1600;
inline constexpr CMPIType CMPI_keyBoolean = 0x0002;
inline constexpr CMPIType CMPI_keyRef = 0x1100;

// Types of predicates only.
inline constexpr CMPIType CMPI_charString = 0x1600;
inline constexpr CMPIType CMPI_integerString = 0x16F0;
inline constexpr CMPIType CMPI_realString = 0x160C;
inline constexpr CMPIType CMPI_numericString = 0x16FC;
inline constexpr CMPIType CMPI_booleanString = 0x1602;
inline constexpr CMPIType CMPI_dateTimeString = 0x1E00;
inline constexpr CMPIType CMPI_classNameString = 0x1700;
inline constexpr CMPIType CMPI_nameString = 0x1E00;

// Older names.
inline constexpr CMPIType CMPI_Byte = 0x00C0;
inline constexpr CMPIType CMPI_Short = 0x00D0;
inline constexpr CMPIType CMPI_Int = 0x00E0;
inline constexpr CMPIType CMPI_Long = 0x00F0;
inline constexpr CMPIType CMPI_Float = 0x0008;
inline constexpr CMPIType CMPI_Double = 0x000C;
inline constexpr CMPIType CMPI_ByteA = 0x20C0;
inline constexpr CMPIType CMPI_ShortA = 0x20D0;
inline constexpr CMPIType CMPI_IntA = 0x20E0;
inline constexpr CMPIType CMPI_LongA = 0x20F0;
inline constexpr CMPIType CMPI_FloatA = 0x2008;
inline constexpr CMPIType CMPI_DoubleA = 0x200C;

// State bits; test them with masks, since good keys carry the key bit.
inline constexpr CMPIValueState CMPI_goodValue = 0x0000;
inline constexpr CMPIValueState CMPI_nullValue = 0x0100;
inline constexpr CMPIValueState CMPI_keyValue = 0x0200;
inline constexpr CMPIValueState CMPI_notFound = 0x0400;
inline constexpr CMPIValueState CMPI_badValue = 0x8000;

inline constexpr CMPIVersion CMPIVersion100 = 100;
inline constexpr CMPIVersion CMPIVersion200 = 200;
inline constexpr CMPIVersion CMPIVersion210 = 210;
inline constexpr CMPIVersion CMPICurrentVersion = 210;

// Bits of the context entry CMPIInvocationFlags.
inline constexpr CMPIFlags CMPI_FLAG_LocalOnly = 0x1;
inline constexpr CMPIFlags CMPI_FLAG_DeepInheritance = 0x2;
inline constexpr CMPIFlags CMPI_FLAG_IncludeQualifiers = 0x4;
inline constexpr CMPIFlags CMPI_FLAG_IncludeClassOrigin = 0x8;

// Capabilities of a broker. Each contains the bits of those that it depends on: test with
// (capabilities & mask) == mask.
inline constexpr unsigned int CMPI_MB_BasicRead = 0x00001;
inline constexpr unsigned int CMPI_MB_BasicWrite = 0x00003;
inline constexpr unsigned int CMPI_MB_InstanceManipulation = 0x00007;
inline constexpr unsigned int CMPI_MB_AssociationTraversal = 0x00009;
inline constexpr unsigned int CMPI_MB_QueryExecution = 0x00011;
inline constexpr unsigned int CMPI_MB_QueryNormalization = 0x00031;
inline constexpr unsigned int CMPI_MB_BasicQualifierSupport = 0x00047;
inline constexpr unsigned int CMPI_MB_Indications = 0x00081;
inline constexpr unsigned int CMPI_MB_OSEncapsulationSupport = 0x00100;
inline constexpr unsigned int CMPI_MB_Supports_MemEnhancements = 0x04000;
inline constexpr unsigned int CMPI_MB_Supports_Extended_Error = 0x08000;
inline constexpr unsigned int CMPI_MB_Logging = 0x10000;
inline constexpr unsigned int CMPI_MB_Tracing = 0x20000;
inline constexpr unsigned int CMPI_MB_PropertyFiltering = 0x40001;
inline constexpr unsigned int CMPI_MB_CodepageConversion = 0x80000;
inline constexpr unsigned int CMPI_MB_Class_0 = 0x00001;
inline constexpr unsigned int CMPI_MB_Class_1 = 0x00003;
inline constexpr unsigned int CMPI_MB_Class_2 = 0x00007;

// Names of context entries.
inline constexpr char CMPIInitNameSpace[] = "CMPIInitNameSpace";
inline constexpr char CMPIInvocationFlags[] = "CMPIInvocationFlags";
inline constexpr char CMPIPrincipal[] = "CMPIPrincipal";
inline constexpr char CMPIRole[] = "CMPIRole";
inline constexpr char CMPIAcceptLanguage[] = "CMPIAcceptLanguage";
inline constexpr char CMPIContentLanguage[] = "CMPIContentLanguage";

// NOLINTEND(readability-identifier-naming)
