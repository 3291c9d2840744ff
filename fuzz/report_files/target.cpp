// The page of a fleet, made of a machine's file that may hold anything: no text in it gets out of
// its place.
#include <algorithm>
#include <iterator>
#include <sstream>

#include "cli/report_fleet.h"
#include "fuzz/target.h"
#include "platform/utf8.h"

namespace {

using fuzz::require;

// All elements that a page has.
constexpr std::string_view kElements[] = {
    "!DOCTYPE", "html", "head", "meta", "title",   "style",   "body",    "main",  "header",
    "section",  "h1",   "h2",   "h3",   "p",       "b",       "bdi",     "span",  "div",
    "time",     "ul",   "li",   "svg",  "desc",    "path",    "article", "table", "thead",
    "tbody",    "tr",   "th",   "td",   "details", "summary", "footer"};

void expect_plain(std::string_view page) {
  while (!page.empty()) {
    const auto [character, length] = platform::first_utf8(page);
    require(character == '\n' || !platform::misleads(character), "the page is plain text");
    page.remove_prefix(length);
  }
}

void expect_our_elements(std::string_view page) {
  for (std::size_t at = page.find('<'); at != std::string_view::npos; at = page.find('<', at)) {
    at += page.substr(at, 2) == "</" ? 2 : 1;
    const std::string_view name = page.substr(at, page.find_first_of(" />\n", at) - at);
    require(std::find(std::begin(kElements), std::end(kElements), name) != std::end(kElements),
            "the page has no elements but its own");
  }
}

}  // namespace

void fuzz::read_input(std::string_view input) {
  constexpr drivetest::Time kNow{std::chrono::seconds(1'800'000'000)};
  const std::string_view name = take_line(input);
  std::istringstream file{std::string(input)};
  cli::FleetReport fleet(kNow);
  try {
    fleet.add(std::string(name), cli::read_machine_history(file, name, kNow));
  } catch (const cli::MachineFileError& error) {
    fleet.add_unread(std::string(name), error.what());
  }
  const std::string page = fleet.page();
  expect_plain(page);
  expect_our_elements(page);
  // What a drive takes on the page is limited, however long its texts are.
  require(page.size() <= 20'000 + 100 * input.size(), "the page is no flood");
}
