#include "broker/operation.h"

#include "broker/core.h"
#include "broker/error.h"

namespace broker {
namespace {

thread_local Operation* innermost = nullptr;

std::string text_entry(const ContextObject& context, const char* name) {
  const Value* value = context.find(name);
  return value && !value->is_null() && value->type() == Type::String ? value->as_text()
                                                                     : std::string();
}

}  // namespace

Operation::Operation(Core& core, const Request& request, CMPIFlags flags)
    : core_(core.shared_from_this()),
      outer_(innermost),
      arena_(core.tables(), core_),
      context_(nullptr),
      attached_(false) {
  context_ = arena_.lend<ContextObject>(std::vector<std::pair<std::string, Value>>{
      {CMPIInitNameSpace, Value(kServedNameSpace)},
      {CMPIInvocationFlags, Value(std::uint32_t{flags})},
      {CMPIPrincipal, Value(request.principal)},
      {CMPIRole, Value(request.role)},
      {CMPIAcceptLanguage, Value(request.accept_language)},
      {CMPIContentLanguage, Value("")}});
  innermost = this;  // last, since the destructor does not run when something fails before
}

Operation::Operation(Core& core, ContextObject* prepared)
    : core_(core.shared_from_this()),
      outer_(innermost),
      arena_(core.tables(), core_),
      context_(prepared),
      attached_(true) {
  context_->header.lent = true;
  innermost = this;
}

Operation::~Operation() {
  if (attached_) Arena::free(context_->header);
  innermost = outer_;
}

Operation* Operation::current() { return innermost; }

Operation& Operation::get() {
  if (innermost) return *innermost;
  throw Error(Status::Failed, "the thread is in no call of the object manager and not attached");
}

Request request_of(const ContextObject& context) {
  Request request;
  request.principal = text_entry(context, CMPIPrincipal);
  request.role = text_entry(context, CMPIRole);
  request.accept_language = text_entry(context, CMPIAcceptLanguage);
  return request;
}

}  // namespace broker
