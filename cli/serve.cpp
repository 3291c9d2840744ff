// hddtest serve: the object manager as a server of CIM operations over HTTP.
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "broker/cimxml/service.h"
#include "broker/http/address.h"
#include "broker/http/own_names.h"
#include "broker/http/server.h"
#include "cli/certificate.h"
#include "cli/children.h"
#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/json.h"
#include "cli/kept_run.h"
#include "cli/listeners.h"
#include "cli/manager.h"
#include "cli/memory.h"
#include "cli/output.h"
#include "cli/served_facts.h"
#include "cli/signals.h"
#include "cli/supervisor.h"
#include "platform/support/logger.h"
#include "results/message_file.h"

namespace cli {
namespace {

namespace http = broker::http;

struct ServeOptions {
  std::vector<std::string> addresses;
  int port = -1;
  std::vector<std::string> hosts;
  std::string users;
  std::string certificate;
  std::string key;
  bool no_auth = false;
};

constexpr int kHttpPort = 5988;
constexpr int kHttpsPort = 5989;

// How long requests that have arrived may take when the server is told to end. A self-test takes
// longer anyway.
constexpr std::chrono::seconds kGrace{2};

// How long the programs that the server has started may take to go after they were killed: on a
// busy machine seconds, and the unit file has 15 for both.
constexpr std::chrono::seconds kGraceOfKilled{10};

// Providers are idle for minutes before they end, so half a minute more does not matter.
constexpr std::chrono::seconds kLookForIdle{30};

constexpr const char* kDescription = "Serves CIM operations (CIM-XML over HTTP) until it is ended.";

constexpr const char* kFooter =
    "Clients use http://ADDRESS:PORT/cimom and the name space root/cimv2; what the server tells\n"
    "of itself stands in interop. Other addresses than those of this machine's own loopback need\n"
    "--users, --cert and --key.\n"
    "SIGHUP makes it read users file and certificate again; SIGTERM and Ctrl-C end it, but no\n"
    "test that a drive is running: 'hddtest stop DEVICE' does. Exit status: 0 when ended so.\n"
    "The log may be moved away at any time; lines go to a new file of its name soon after.";

// Memory that a crowd of clients has left is given back within this time, and that of enumerations
// which expired.
constexpr std::chrono::seconds kLookForMemory{5};

void note(int severity, const std::string& text) {
  using NKVRHVX20::ILogger;
  NKVRHVX20::TRootObject::GetCoreLogger()->Log(static_cast<ILogger::EHVXLogSeverity>(severity),
                                               text);
}

// Warns on standard error and in the log, so that an administrator sees it in either place.
void warn(const std::string& text) {
  complain(text);
  note(NKVRHVX20::ILogger::eWarning, text);
}

// Makes room for as many connections as the server may have, as far as the system lets us.
void raise_descriptor_limit() {
  constexpr rlim_t kWanted = 4096;
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= kWanted) return;
  limit.rlim_cur = std::min(kWanted, limit.rlim_max);
  setrlimit(RLIMIT_NOFILE, &limit);
}

// Refuses options with which the server would be open to others because one was forgotten.
void check_security(const ServeOptions& options, const http::Address& address) {
  const std::string host = address.host();
  const bool tls = !options.certificate.empty();
  if (tls == options.key.empty())
    throw CommandFailure("--cert and --key belong together; name both");
  if (options.no_auth == !options.users.empty())
    throw CommandFailure(
        options.no_auth ? "--users and --no-auth exclude each other"
                        : "say who may use the server: --users FILE (made by 'hddtest passwd FILE "
                          "USER'), or --no-auth for everybody on this machine");
  if (address.is_loopback()) return;
  if (options.no_auth)
    throw CommandFailure("--no-auth is for loopback addresses only; use --users FILE for " + host);
  if (!tls)
    throw CommandFailure("passwords would be readable on the way to " + host +
                         "; name a certificate with --cert and --key");
}

// What the server is to listen on: the sockets that a supervisor hands over, else the addresses
// that the options name. Nothing is opened yet.
struct Listening {
  Listeners handed_over;
  std::vector<ListeningPlace> places;
};

Listening find_listening(const ServeOptions& options) {
  Listening listening{handed_over_listeners(), {}};
  if (listening.handed_over.sockets.empty()) {
    const int standard = options.certificate.empty() ? kHttpPort : kHttpsPort;
    const int port = options.port >= 0 ? options.port : standard;
    listening.places = listening_places(options.addresses, static_cast<std::uint16_t>(port));
  } else if (!options.addresses.empty() || options.port >= 0) {
    throw CommandFailure(
        "--listen and --port exclude sockets that are handed over; name addresses with "
        "ListenStream= in the socket unit ('systemctl edit hddtest.socket'), or disable "
        "that unit");
  }
  for (const http::Address& address : listening.handed_over.addresses)
    check_security(options, address);
  for (const ListeningPlace& place : listening.places) check_security(options, place.address);
  return listening;
}

CertificateFiles certificate_files(const ServeOptions& options, const Places& places) {
  return {resolve(places, options.certificate), resolve(places, options.key)};
}

http::ServerOptions server_options(const ServeOptions& options, const Places& places) {
  http::ServerOptions server;
  server.log = note;
  server.own_names = std::make_shared<http::OwnNames>(options.hosts);
  if (!options.users.empty()) server.users = http::Users::read(resolve(places, options.users));
  if (!options.certificate.empty()) {
    ReadCertificate read = read_certificate(certificate_files(options, places));
    if (!read.out_of_date.empty())
      warn("clients will refuse the certificate " + options.certificate + ": " + read.out_of_date +
           "; renew it, and send SIGHUP");
    server.certificate = std::make_unique<http::Certificate>(std::move(read.certificate));
  }
  return server;
}

void reload_users(http::Server& server, const std::filesystem::path& file) {
  try {
    server.replace_users(http::Users::read(file));
    note(NKVRHVX20::ILogger::eNotice, "read the users file " + file.string() + " again");
  } catch (const std::exception& error) {
    warn(std::string(error.what()) + "; the users stay as they were");
  }
}

// Keeps the certificate in use where clients would refuse the new one.
void reload_certificate(http::Server& server, const CertificateFiles& files) {
  try {
    const ReadCertificate read = read_certificate(files);
    if (!read.out_of_date.empty())
      throw CommandFailure("certificate " + files.chain.string() + ": " + read.out_of_date +
                           "; renew it");
    server.replace_certificate(read.certificate);
    note(NKVRHVX20::ILogger::eNotice, "read the certificate " + files.chain.string() + " again");
  } catch (const std::exception& error) {
    warn(std::string(error.what()) + "; the certificate stays as it was");
  }
}

void reload(http::Server& server, const ServeOptions& options, const Places& places) {
  if (!options.users.empty()) reload_users(server, resolve(places, options.users));
  if (!options.certificate.empty()) reload_certificate(server, certificate_files(options, places));
}

// Tells where the server listens, in the log and on standard output.
void tell(const std::vector<http::Address>& addresses, bool tls, bool json) {
  std::vector<std::string> urls;
  for (const http::Address& address : addresses)
    urls.push_back((tls ? "https://" : "http://") + address.text());
  const std::string all = fmt::format("{}", fmt::join(urls, " and "));
  note(NKVRHVX20::ILogger::eNotice, "listening on " + all);
  standard_output().write(json ? dump({{"url", urls.front()}, {"urls", urls}})
                               : "Listening on " + all + "\n");
  notify_supervisor("READY=1");
}

void give_back(broker::cimxml::Service& service, FreeMemory& memory) {
  if (const std::size_t dropped = service.drop_expired(); dropped != 0)
    note(NKVRHVX20::ILogger::eTrace,
         fmt::format("dropped {} open enumeration{} that nobody pulled in time", dropped,
                     dropped == 1 ? "" : "s"));
  memory.look();
}

// Returns at a signal that ends the server. Until then reads users and certificate again when told
// to, and gives back memory that clients no longer use.
void serve_until_told(Signals& signals, http::Server& server, broker::cimxml::Service& service,
                      const ServeOptions& options, const Places& places) {
  FreeMemory memory;
  for (;;) {
    const int signal = signals.wait(kLookForMemory);
    if (signal == 0)
      give_back(service, memory);
    else if (signal == SIGHUP)
      reload(server, options, places);
    else
      return;
  }
}

int serve(const ServeOptions& options, const Invocation& invocation) {
  const Places places = find_places(invocation.data);
  if (const std::string fault = reading_fault(places.message_file); !fault.empty()) {
    throw CommandFailure("no test could make a record: " + places.message_file.string() + ": " +
                         fault + "; reinstall hddtest, or name its data with --data");
  }
  // This is no reason to refuse: tests have their outcomes all the same, and the next test reads
  // the file again.
  if (const auto faults = results::message_file_faults(places.message_file); !faults.empty())
    warn("records of tests may lack their texts: " + places.message_file.string() + ": " +
         faults.front() + "; mend it or reinstall hddtest, or name its data with --data");
  Listening listening = find_listening(options);
  http::ServerOptions settings = server_options(options, places);

  raise_descriptor_limit();
  bound_heaps();
  Signals signals;
  const broker::cimxml::Limits limits;
  const auto manager = make_manager(places, kLookForIdle,
                                    served_facts({.encrypts = !options.certificate.empty(),
                                                  .authenticates = !options.no_auth,
                                                  .longest_timeout = limits.context_seconds}),
                                    keep_run);
  broker::cimxml::Service service(*manager, limits);
  Listeners listeners = listening.handed_over.sockets.empty() ? open_listeners(listening.places)
                                                              : std::move(listening.handed_over);
  settings.listeners = std::move(listeners.sockets);
  http::Server server([&](const auto& call, auto& reply) { service.answer(call, reply); },
                      std::move(settings));

  tell(listeners.addresses, !options.certificate.empty(), invocation.json);
  serve_until_told(signals, server, service, options, places);

  notify_supervisor("STOPPING=1");
  manager->end_turns();  // so that calls that have not begun are not waited for
  const std::size_t at_work = server.stop(kGrace);
  note(NKVRHVX20::ILogger::eNotice, "the server ends");
  if (!end_children(kGraceOfKilled))
    warn(
        "a program that the server started was killed and does not end: the kernel waits for a "
        "drive");
  if (at_work == 0) return kStatusOk;
  warn(
      fmt::format("ended with {} request{} in work; drives go on testing by themselves; to stop "
                  "one: hddtest stop DEVICE",
                  at_work, at_work == 1 ? "" : "s"));
  // A provider that is at work cannot be stopped, and its threads use objects that returning from
  // here would destroy.
  _exit(kStatusOk);
}

}  // namespace

Command serve_command(const Invocation& invocation) {
  auto options = std::make_shared<ServeOptions>();
  return {"serve",
          kDescription,
          kFooter,
          {{"--listen", &options->addresses,
            "Address to listen on, once for each (default 127.0.0.1 and ::1)", "ADDRESS"},
           {"--port", Number{&options->port, 0, 65535},
            "Port (default 5988, with TLS 5989; 0 takes any free one)", "N"},
           {"--host", &options->hosts,
            "A further name under which clients ask for it, once for each", "NAME"},
           {"--users", &options->users, "Who may use it; see hddtest passwd --help", "FILE"},
           {"--no-auth", &options->no_auth, "Let everybody on this machine use it"},
           {"--cert", &options->certificate, "Certificate chain for TLS (PEM)", "FILE"},
           {"--key", &options->key, "Its key (PEM)", "FILE"}},
          [&invocation, options] { return serve(*options, invocation); }};
}

}  // namespace cli
