// Those parts of the CMPI header that are not figures; the figures are in layout_figures.txt.
#include <string_view>
#include <type_traits>

#include "platform/cmpi/cmpi.h"

static_assert(std::string_view(CMPIInitNameSpace) == "CMPIInitNameSpace");
static_assert(std::string_view(CMPIInvocationFlags) == "CMPIInvocationFlags");
static_assert(std::string_view(CMPIPrincipal) == "CMPIPrincipal");
static_assert(std::string_view(CMPIRole) == "CMPIRole");
static_assert(std::string_view(CMPIAcceptLanguage) == "CMPIAcceptLanguage");
static_assert(std::string_view(CMPIContentLanguage) == "CMPIContentLanguage");

// Status and data travel by value: a constructor or destructor of any of them would change the
// calling convention silently.
static_assert(std::is_trivially_copyable_v<CMPIStatus> && std::is_trivial_v<CMPIStatus>);
static_assert(std::is_trivially_copyable_v<CMPIData> && std::is_trivial_v<CMPIData>);
static_assert(std::is_trivially_copyable_v<CMPIValue> && std::is_trivial_v<CMPIValue>);
static_assert(std::is_trivially_copyable_v<CMPIValuePtr> && std::is_trivial_v<CMPIValuePtr>);
