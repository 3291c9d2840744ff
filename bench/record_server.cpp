#include "bench/record_server.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>

namespace bench {
namespace {

constexpr char kClass[] = "KAVRO_HDDTest_DiagnosticCompletionRecord";

}  // namespace

std::string enumeration(const std::string& properties) {
  std::string text =
      "<?xml version=\"1.0\" encoding=\"utf-8\"?><CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">"
      "<MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\"><SIMPLEREQ><IMETHODCALL "
      "NAME=\"EnumerateInstances\"><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/>"
      "<NAMESPACE NAME=\"cimv2\"/></LOCALNAMESPACEPATH><IPARAMVALUE NAME=\"ClassName\">"
      "<CLASSNAME NAME=\"";
  text.append(kClass).append("\"/></IPARAMVALUE>");
  if (!properties.empty()) {
    text += "<IPARAMVALUE NAME=\"PropertyList\"><VALUE.ARRAY>";
    std::istringstream names(properties);
    for (std::string name; names >> name;) text += "<VALUE>" + name + "</VALUE>";
    text += "</VALUE.ARRAY></IPARAMVALUE>";
  }
  return text + "</IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>";
}

RecordServer::RecordServer(const std::string& library, const char* provider, const char* filler,
                           unsigned long records) {
  const std::string location = library + "." + std::to_string(records);
  const auto file = [](const std::string& name) {
    return std::string(HDDTEST_BENCH_FOLDER "/lib") + name + ".so";
  };
  // The first loading brings the libraries that the copies need.
  void* loaded = dlopen(file(library).c_str(), RTLD_NOW);
  if (loaded) {
    std::filesystem::copy_file(file(library), file(location),
                               std::filesystem::copy_options::overwrite_existing);
    loaded = dlopen(file(location).c_str(), RTLD_NOW);
  }
  void* const function = loaded ? dlsym(loaded, filler) : nullptr;
  if (!function) {
    std::fprintf(stderr, "%s\n", dlerror());
    std::exit(1);
  }
  reinterpret_cast<void (*)(unsigned long)>(function)(records);

  broker::RegistrationEntry entry;
  entry.class_name = kClass;
  entry.provider = provider;
  entry.location = location;
  entry.instance = true;
  entry.name_spaces = {"root/cimv2"};
  broker::Options options;
  options.registration = {entry};
  options.library_folders = {HDDTEST_BENCH_FOLDER};
  manager_ =
      std::make_unique<broker::ObjectManager>(broker::generated_schema(), std::move(options));
  service_ = std::make_unique<broker::cimxml::Service>(*manager_);
}

broker::cimxml::Call RecordServer::call(std::string_view body) {
  broker::cimxml::Call call;
  call.body = body;
  call.operation = "MethodCall";
  call.method = "EnumerateInstances";
  call.object = "root/cimv2";
  return call;
}

RecordServer& module_with(unsigned long records) {
  static auto& servers = *new std::map<unsigned long, RecordServer*>;
  RecordServer*& server = servers[records];
  if (!server)
    server = new RecordServer("bench_records", "KAVRO_HDDTest_DiagnosticCompletionRecord_Provider",
                              "add_records", records);
  return *server;
}

RecordServer& plain_with(unsigned long records) {
  static auto& servers = *new std::map<unsigned long, RecordServer*>;
  RecordServer*& server = servers[records];
  if (!server) server = new RecordServer("bench_plain", "PlainRecord", "add_records", records);
  return *server;
}

}  // namespace bench
