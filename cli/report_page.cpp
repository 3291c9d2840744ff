#include "cli/report_page.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

#include "cli/report_drawing.h"
#include "cli/report_style.h"
#include "cli/report_text.h"
#include "cli/terminal_text.h"
#include "cli/test_words.h"
#include "drivetest/time_text.h"
#include "platform/words.h"

namespace cli {

using drivetest::TestRow;
using drivetest::Time;

namespace {

using Counts = std::array<std::size_t, kNeeds>;

std::string_view colour_of(Need need) {
  if (need == Need::Failed || need == Need::Gone) return "red";
  if (is_needy(need)) return "amber";
  return need == Need::None ? "green" : "quiet";
}

std::string capital(std::string_view word) {
  std::string text(word);
  text.front() = platform::upper(text.front());
  return text;
}

// What stands in it cannot change the direction of writing around it.
std::string isolated(std::string_view text) { return "<bdi>" + markup(text) + "</bdi>"; }

std::string minute_text(Time time) {
  const std::string text = drivetest::time_text(time);
  return text.substr(0, 10) + " " + text.substr(11, 5);
}

std::string head(const std::string& title, Time now) {
  return fmt::format(
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src "
      "'unsafe-inline'; base-uri 'none'; form-action 'none'\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<meta name=\"referrer\" content=\"no-referrer\">\n"
      "<title>{}</title>\n<style>{}</style>\n</head>\n<body>\n<main>\n<header>\n<h1>{}</h1>\n"
      "<p class=\"quiet\">Self-tests of drives on <time datetime=\"{}\">{} UTC</time></p>\n",
      markup(title), kReportStyle, isolated(title), drivetest::time_text(now), minute_text(now));
}

std::string foot() {
  return fmt::format(
      "<footer><p>Times are UTC. A drive is overdue when its last long test passed {} days ago, or "
      "long ones are tried for so long and none has passed, or its last short one passed {} days "
      "ago and no long one since, or neither is known to have passed. Tests that nobody saw have "
      "no date: they are counted and listed, not drawn.</p></footer>\n</main>\n</body>\n</html>\n",
      kLongOverdue.count(), kShortOverdue.count());
}

std::string sums(const Counts& counts) {
  std::string text = "<ul class=\"sum\">";
  for (std::size_t place = 0; place < kNeeds; ++place) {
    const auto need = static_cast<Need>(place);
    if (counts[place] > 0)
      text +=
          fmt::format("<li class=\"{}\">{} {}</li>", colour_of(need), counts[place], name_of(need));
  }
  return text + "</ul>\n";
}

std::string noted(const std::vector<std::string>& notes) {
  std::string text;
  for (const std::string& note : notes) text += "<p class=\"note\">" + markup(note, 600) + "</p>\n";
  return text;
}

// Model and serial number, or what else is known.
std::string title_of(const ReportedDrive& reported) {
  const drivetest::Drive& drive = reported.drive;
  std::string name = drive.model;
  if (!drive.serial_number.empty()) name += (name.empty() ? "" : ", ") + drive.serial_number;
  if (name.empty()) name = drive.world_wide_name;
  return name.empty() ? "a drive that does not say what it is" : name;
}

std::string heading(const ReportedDrive& reported) {
  const drivetest::Drive& drive = reported.drive;
  const bool is_gone = reported.found && !reported.found->is_here;
  std::string details;
  if (!reported.machine.empty()) details = isolated(reported.machine) + " ";
  if (!is_gone && !drive.place.device.empty()) details += isolated(drive.place.device);
  if (!drive.place.type.empty() && !is_gone) details += " " + isolated(drive.place.type);
  if (drive.size) details += " " + size_text(*drive.size);
  return fmt::format("<h3>{} <span class=\"quiet\">{}</span></h3>\n", isolated(title_of(reported)),
                     details);
}

std::string when_text(const TestRow& row) {
  if (const auto date = date_of(row)) return minute_text(*date);
  return row.hours ? fmt::format("hour {}", *row.hours) : "not known";
}

std::string tests_table(const ReportedDrive& reported) {
  if (reported.listed().empty()) return "";
  std::string rows;
  const auto& listed = reported.listed();
  for (auto row = listed.rbegin(); row != listed.rend(); ++row) {
    rows +=
        fmt::format("<tr><td class=\"whole\">{}</td><td class=\"whole\">{}</td><td>{}</td></tr>\n",
                    when_text(*row), row->kind ? drivetest::name_of(*row->kind) : "other",
                    markup(outcome_text(*row), 400));
  }
  const std::string which = reported.total() > listed.size()
                                ? fmt::format(". The newest {}", listed.size())
                                : std::string();
  return fmt::format(
      "<details><summary>{}{}</summary><table><thead><tr><th scope=\"col\">When</th>"
      "<th scope=\"col\">Test</th><th scope=\"col\">Result</th></tr></thead>\n<tbody>{}</tbody>"
      "</table></details>\n",
      counts_text(reported), which, rows);
}

std::string card(const JudgedDrive& judged, const Span& span, std::size_t number) {
  const std::string_view colour = colour_of(judged.attention.need);
  const ReportedDrive& drive = judged.drive;
  const std::string name =
      drive.machine.empty() ? title_of(drive) : drive.machine + ": " + title_of(drive);
  return fmt::format("<article class=\"{0}\">\n{1}<p><b class=\"word {0}\">{2}</b> {3}</p>\n",
                     colour, heading(drive), capital(name_of(judged.attention.need)),
                     markup(judged.attention.words, 1000)) +
         drawing(drive, span, name, number) + tests_table(drive) + "</article>\n";
}

Span span_of_all(const std::vector<JudgedDrive>& drives, Time now) {
  Time oldest = now;
  for (const JudgedDrive& one : drives)
    for (const TestMark& mark : one.drive.marks()) oldest = std::min(oldest, mark.time);
  return span_of(oldest, now);
}

std::string section(const std::string& title, const std::string& content) {
  if (content.empty()) return "";
  return "<section>\n<h2>" + title + "</h2>\n" + content + "</section>\n";
}

// Those with needs first, the gravest at the top, then by name.
bool comes_before(const ReportedMachine& one, const ReportedMachine& other) {
  const Need need = std::min(one.gravest(), Need::None);
  const Need other_need = std::min(other.gravest(), Need::None);
  if (need != other_need) return need < other_need;
  return one.name < other.name;
}

// "1 failed 23 in order", each word in its colour.
std::string state(const ReportedMachine& machine) {
  std::string text;
  for (std::size_t place = 0; place < kNeeds; ++place) {
    if (machine.counts[place] == 0) continue;
    const auto need = static_cast<Need>(place);
    text += fmt::format("<b class=\"word {}\">{} {}</b> ", colour_of(need), machine.counts[place],
                        name_of(need));
  }
  for (const std::string& note : machine.notes) text += markup(note, 400) + " ";
  return text;
}

std::string machine_row(const ReportedMachine& machine) {
  return fmt::format(
      "<tr><th scope=\"row\">{}</th><td>{}</td><td class=\"whole\">{}"
      "</td></tr>\n",
      isolated(machine.name), state(machine),
      machine.told == Time{} ? "" : date_text(machine.told));
}

std::string machines_table(const std::vector<ReportedMachine>& machines) {
  std::string rows;
  for (const ReportedMachine& machine : machines)
    if (machine.fault.empty()) rows += machine_row(machine);
  if (rows.empty()) return "";
  return "<div class=\"fleet\"><table><thead><tr><th scope=\"col\">Machine</th><th "
         "scope=\"col\">State</th><th scope=\"col\">Newest "
         "test</th></tr></thead>\n<tbody>" +
         rows + "</tbody></table></div>\n";
}

std::string unread_list(const std::vector<ReportedMachine>& machines) {
  std::string text;
  for (const ReportedMachine& machine : machines)
    if (!machine.fault.empty())
      text += "<p class=\"note\"><b class=\"word red\">Not shown</b> " + isolated(machine.name) +
              ": " + markup(machine.fault, 400) + "</p>\n";
  return text;
}

}  // namespace

bool is_graver(const JudgedDrive& one, const JudgedDrive& other) {
  if (one.attention.need != other.attention.need) return one.attention.need < other.attention.need;
  return one.drive.heard > other.drive.heard;
}

std::string machine_page(const std::string& machine, std::vector<JudgedDrive> drives,
                         const std::vector<std::string>& notes, Time now) {
  // Those without a need stay in the order in which the machine has them.
  std::stable_sort(drives.begin(), drives.end(), [](const auto& one, const auto& other) {
    return (is_needy(one.attention.need) || one.attention.need != other.attention.need) &&
           is_graver(one, other);
  });
  Counts counts{};
  for (const JudgedDrive& one : drives) ++counts[static_cast<std::size_t>(one.attention.need)];
  const Span span = span_of_all(drives, now);
  std::string needy;
  std::string quiet;
  for (std::size_t number = 0; number < drives.size(); ++number)
    (is_needy(drives[number].attention.need) ? needy : quiet) +=
        card(drives[number], span, number + 1);
  std::string page =
      head("Drives of " + machine, now) + sums(counts) + legend() + "</header>\n" + noted(notes);
  if (drives.empty())
    page +=
        "<p class=\"note\">There is no drive on this machine, and no test of one is kept.</p>\n";
  return page + section("Needs attention", needy) +
         section(needy.empty() ? "All drives" : "The other drives", quiet) + foot();
}

std::size_t ReportedMachine::drives() const {
  return std::accumulate(counts.begin(), counts.end(), std::size_t{0});
}

// The gravest need of the machine. One without a test needs somebody as a drive without one does.
Need ReportedMachine::gravest() const {
  if (drives() == 0) return Need::NeverTested;
  const auto first =
      std::find_if(counts.begin(), counts.end(), [](auto count) { return count > 0; });
  return static_cast<Need>(first - counts.begin());
}

std::string fleet_page(std::vector<ReportedMachine> machines,
                       const std::vector<JudgedDrive>& drives, std::size_t left_out, Time now) {
  std::sort(machines.begin(), machines.end(), comes_before);
  Counts counts{};
  for (const ReportedMachine& machine : machines)
    for (std::size_t need = 0; need < kNeeds; ++need) counts[need] += machine.counts[need];
  const Span span = span_of_all(drives, now);
  std::string needy;
  for (std::size_t number = 0; number < drives.size(); ++number)
    needy += card(drives[number], span, number + 1);
  if (left_out > 0)
    needy += fmt::format(
        "<p class=\"note\">{} more, which are less grave, stand with their machines below.</p>\n",
        left_out);
  const std::string title = fmt::format("Drives of {} {}", machines.size(),
                                        machines.size() == 1 ? "machine" : "machines");
  return head(title, now) + sums(counts) + legend() + "</header>\n" +
         section("Machines that are not shown", unread_list(machines)) +
         section("Needs attention", needy) + section("Machines", machines_table(machines)) + foot();
}

}  // namespace cli
