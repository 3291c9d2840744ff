// The methods of TEST_Widget.
#include <atomic>
#include <string>

#include "broker/test_provider.h"

namespace test_provider {
namespace {

std::atomic<int> inside{0}, most_inside{0};

std::string count(const CMPIEnumeration* items, const CMPIStatus& rc) {
  if (!items) return "error " + std::to_string(rc.rc) + " " + text(rc.msg);
  int found = 0;
  for (; items->ft->hasNext(items, nullptr); ++found) items->ft->getNext(items, nullptr);
  CMPIStatus end = kOk;
  items->ft->getNext(items, &end);
  return std::to_string(found) + " then " + std::to_string(end.rc);
}

struct Attached {
  const CMPIBroker* mb;
  CMPIContext* context;
  std::string report;
};

void* attached_main(void* argument) {
  Attached& thread = *static_cast<Attached*>(argument);
  const CMPIBroker* mb = thread.mb;
  CMPIStatus rc = kOk;
  mb->eft->newString(mb, "before", &rc);
  thread.report += "before " + std::to_string(rc.rc);
  thread.report += ", attach " + std::to_string(mb->bft->attachThread(mb, thread.context).rc);
  thread.report += ", again " + std::to_string(mb->bft->attachThread(mb, thread.context).rc);
  CMPIObjectPath* path = mb->eft->newObjectPath(mb, kNameSpace, "TEST_Gadget", nullptr);
  thread.report +=
      ", found " + count(mb->bft->enumerateInstanceNames(mb, thread.context, path, &rc), rc);
  thread.report += ", detach " + std::to_string(mb->bft->detachThread(mb, thread.context).rc);
  mb->eft->newString(mb, "after", &rc);
  thread.report += ", after " + std::to_string(rc.rc);
  return nullptr;
}

std::string run_attached(const CMPIBroker* mb, const CMPIContext* context) {
  Attached thread{mb, mb->bft->prepareAttachThread(mb, context), {}};
  void* handle = mb->xft->newThread(attached_main, &thread, 0);
  mb->xft->joinThread(handle, nullptr);
  thread.report += ", not mine " + std::to_string(mb->bft->detachThread(mb, context).rc);
  return thread.report;
}

std::string add_by_up_call(const CMPIBroker* mb, const CMPIContext* context) {
  CMPIArgs* in = mb->eft->newArgs(mb, nullptr);
  CMPIArgs* out = mb->eft->newArgs(mb, nullptr);
  const CMPIUint32 a = 2;
  const CMPISint64 b = -5;
  in->ft->addArg(in, "A", reinterpret_cast<const CMPIValue*>(&a), CMPI_uint32);
  in->ft->addArg(in, "B", reinterpret_cast<const CMPIValue*>(&b), CMPI_sint64);
  CMPIStatus rc = kOk;
  const CMPIData result =
      mb->bft->invokeMethod(mb, context, named(mb, "TEST_Widget", "one"), "Add", in, out, &rc);
  return std::to_string(rc.rc) + " " + std::to_string(result.value.uint32) + " " +
         std::to_string(out->ft->getArg(out, "Sum", nullptr).value.sint64);
}

// Tries every way to put something wrong into a method's result. Returns the status codes.
std::string wrong_results(const CMPIBroker* mb, const CMPIResult* result, CMPIArgs* out) {
  const CMPIUint16 narrow = 1;
  const CMPIUint32 right = 7;
  const auto* value = reinterpret_cast<const CMPIValue*>(&right);
  std::string report;
  const auto add = [&report](const CMPIStatus& status) {
    report += std::to_string(status.rc) + " ";
  };
  add(result->ft->returnInstance(result, thing(mb, "TEST_Widget", "one")));
  add(result->ft->returnObjectPath(result, named(mb, "TEST_Widget", "one")));
  add(result->ft->returnData(result, reinterpret_cast<const CMPIValue*>(&narrow), CMPI_uint16));
  add(result->ft->returnData(result, nullptr, CMPI_uint32));
  add(result->ft->returnData(result, value, CMPI_uint32));
  add(result->ft->returnData(result, value, CMPI_uint32));
  add(out->ft->addArg(out, "Nothing", value, CMPI_uint32));
  add(out->ft->addArg(out, "What", chars("x"), CMPI_chars));
  add(out->ft->addArg(out, "Report", value, CMPI_uint32));
  add(result->ft->returnDone(result));
  add(result->ft->returnData(result, value, CMPI_uint32));
  add(result->ft->returnDone(result));
  return report;
}

std::string do_it(const State& provider, const CMPIContext* context, const CMPIResult* result,
                  const std::string& what, CMPIArgs* out) {
  const CMPIBroker* mb = provider.mb;
  CMPIStatus rc = kOk;
  CMPIObjectPath* widget = mb->eft->newObjectPath(mb, kNameSpace, "TEST_Widget", nullptr);
  CMPIObjectPath* one = named(mb, "TEST_Widget", "one");
  if (what == "enumerate") {
    return count(mb->bft->enumerateInstances(mb, context, widget, nullptr, &rc), rc);
  }
  if (what == "names") return count(mb->bft->enumerateInstanceNames(mb, context, widget, &rc), rc);
  if (what == "filtered") {
    const std::string all = count(
        mb->bft->enumerateInstancesFiltered(mb, context, widget, nullptr, nullptr, nullptr, &rc),
        rc);
    mb->bft->enumerateInstancesFiltered(mb, context, widget, nullptr, "WQL", "x", &rc);
    return all + ", " + std::to_string(rc.rc);
  }
  if (what == "get") {
    const char* list[] = {"U8", nullptr};
    CMPIInstance* found = mb->bft->getInstance(mb, context, one, list, &rc);
    return std::to_string(found->ft->getPropertyCount(found, nullptr)) + " " +
           std::to_string(found->ft->getProperty(found, "U8", nullptr).value.uint8);
  }
  if (what == "get missing") {
    CMPIInstance* found =
        mb->bft->getInstance(mb, context, named(mb, "TEST_Widget", "x"), nullptr, &rc);
    return (found ? "found " : "error ") + std::to_string(rc.rc) + " " + text(rc.msg);
  }
  if (what == "property") {
    const CMPIData data = mb->bft->getProperty(mb, context, one, "U16", &rc);
    return std::to_string(rc.rc) + " " + std::to_string(data.value.uint16);
  }
  if (what == "associators") {
    return count(mb->bft->associators(mb, context, one, nullptr, nullptr, nullptr, nullptr, nullptr,
                                      &rc),
                 rc) +
           ", " + count(mb->bft->referenceNames(mb, context, one, nullptr, nullptr, &rc), rc);
  }
  if (what == "method") return add_by_up_call(mb, context);
  if (what == "attach") return run_attached(mb, context);
  if (what == "wrong") return wrong_results(mb, result, out);
  if (what == "principal") {
    return text(context->ft->getEntry(context, CMPIPrincipal, nullptr).value.string);
  }
  if (what == "meet") {  // it returns when two callers are inside at once
    ++inside;
    int seen = inside;
    for (int i = 0; i < 2000 && seen < 2 && most_inside < 2; ++i) {
      mb->xft->threadSleep(10);
      seen = inside;
    }
    if (seen >= 2) most_inside = seen;
    return most_inside >= 2 ? "met" : "alone";
  }
  return "?";
}

}  // namespace

CMPIStatus invoke_method(CMPIMethodMI* mi, const CMPIContext* context, const CMPIResult* result,
                         const CMPIObjectPath*, const char* method, const CMPIArgs* in,
                         CMPIArgs* out) {
  const State& provider = state(mi->hdl);
  const std::string name = method;
  CMPIUint32 answer = 0;
  CMPIStatus rc = kOk;
  if (name == "Add") {
    const CMPIData a = in->ft->getArg(in, "a", &rc);
    if (rc.rc != CMPI_RC_OK || a.type != CMPI_uint32) answer = 1;
    const CMPIData b = in->ft->getArg(in, "b", &rc);
    const CMPISint64 sum = a.value.uint32 + (rc.rc == CMPI_RC_OK ? b.value.sint64 : 0);
    out->ft->addArg(out, "sum", reinterpret_cast<const CMPIValue*>(&sum), CMPI_sint64);
  } else if (name == "Echo") {
    answer = in->ft->getArgCount(in, nullptr);
    for (CMPICount i = 0; i < answer; ++i) {
      CMPIString* argument = nullptr;
      const CMPIData data = in->ft->getArgAt(in, i, &argument, nullptr);
      const bool null = (data.state & CMPI_nullValue) != 0;
      out->ft->addArg(out, text(argument).c_str(), null ? nullptr : &data.value, data.type);
    }
  } else if (name == "Do") {
    const std::string what = text(in->ft->getArg(in, "What", nullptr).value.string);
    const std::string report = do_it(provider, context, result, what, out);
    out->ft->addArg(out, "Report", chars(report.c_str()), CMPI_chars);
    if (what == "wrong") return kOk;
  } else if (name == "Text") {
    return kOk;
  } else {
    return {CMPI_RC_ERR_METHOD_NOT_AVAILABLE, nullptr};
  }
  result->ft->returnData(result, reinterpret_cast<const CMPIValue*>(&answer), CMPI_uint32);
  return result->ft->returnDone(result);
}

}  // namespace test_provider
