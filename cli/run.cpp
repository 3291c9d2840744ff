// hddtest run: tests drives and waits.
#include <memory>

#include "cli/commands.h"
#include "cli/drive_tests.h"
#include "cli/failure.h"
#include "cli/places.h"
#include "cli/run_all.h"
#include "cli/test_words.h"
#include "cli/worker.h"

namespace cli {
namespace {

constexpr const char* kDescription =
    "Tests the named drives, or all that can be tested, and waits.";

constexpr const char* kFooter =
    "Short tests of ATA and SCSI drives on onboard controllers go through the CIM module, all\n"
    "others are made as 'hddtest start' makes them. Without DEVICE every drive is tested that\n"
    "knows the test. A drive is called failed only where it reported an error itself, or\n"
    "disappeared during its test; where no test could be made, or its end is not known,\n"
    "one line of standard error says why and what to do. A test that runs already, no\n"
    "matter who started it, is left alone; 'hddtest watch' shows it.\n"
    "Exit status: 3 if a drive could not be tested or its result is not known, else 1 if\n"
    "one failed, else 2 if one was aborted or knows no such test, else 0. So 3 does not say\n"
    "that none failed: with --json each drive has a status of its own. Without DEVICE drives\n"
    "that know no such test do not count. In a short test all count that the service offers;\n"
    "one that it leaves out and that cannot be reached does not. Where none is left it is 3.\n"
    "Ctrl-C ends the command (130 in a shell), but not the tests in the drives: 'hddtest watch'\n"
    "shows them again, and 'hddtest stop' ends them.";

WorkerTask task_of(const RunOptions& options) {
  WorkerTask task{.device = options.devices.at(0),
                  .kind = kind_named(options.kind, options.devices)};
  if (options.force) task.way = Way::Forced;
  if (options.by_library) task.way = Way::Library;
  task.type = options.type;
  task.is_type_given = options.type_given;
  task.is_apart = options.apart;
  return task;
}

int run(const RunOptions& options, const Invocation& invocation) {
  const Places places = find_places(invocation.data);
  if (options.worker) return work(places, task_of(options));
  if (options.force && (options.kind != "short" || !options.type.empty()))
    throw WrongCommandLine("--force is for the module, which knows neither --test nor --type");
  if (options.force && options.devices.empty())
    throw WrongCommandLine("--force needs a DEVICE: name the drives that are to be tested");
  expect_names(options.devices);
  return run_all(options, invocation.json, places);
}

}  // namespace

Command run_command(const Invocation& invocation) {
  auto options = std::make_shared<RunOptions>();
  return {"run",
          kDescription,
          kFooter,
          {{"DEVICE", &options->devices, "Drives: a device, a serial number or a by-id name"},
           {"-t,--test", &options->kind, "short, long or conveyance (short)", "KIND"},
           {"--type", &options->type, "Device type for smartctl -d, such as sat", "TYPE"},
           {"--jobs", Number{&options->jobs, 1, kAnyNumber},
            "How many drives are tested at once (4)", "N"},
           {"--per-controller", Number{&options->per_controller, 1, kAnyNumber},
            "How many of them behind one controller (any number)", "N"},
           {"--json-lines", &options->json_lines, "Print JSON line by line, with the progress"},
           {"--force", &options->force, "Pass DEVICE on as it stands, whatever it is"},
           {"--worker", &options->worker, ""},
           {"--by-library", &options->by_library, ""},
           {"--apart", &options->apart, ""},
           {"--type-given", &options->type_given, ""}},
          [&invocation, options] { return run(*options, invocation); }};
}

}  // namespace cli
