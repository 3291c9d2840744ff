#include "cli/report_drawing.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <utility>
#include <vector>

#include "cli/report_attention.h"
#include "cli/report_text.h"
#include "platform/words.h"

namespace cli {

using drivetest::Outcome;
using drivetest::TestKind;
using drivetest::Time;
using std::chrono::days;

namespace {

// The picture is as wide as the page lets it be, so the x of a mark is stretched and its y is not:
// all marks are strokes, which keep their form.
constexpr int kWidth = 1000;
constexpr int kLane = 20;

struct Lane {
  std::optional<TestKind> kind;
  std::string_view name;
};
constexpr std::array kLanes = {Lane{TestKind::Long, "long"}, Lane{TestKind::Short, "short"},
                               Lane{TestKind::Conveyance, "conveyance"},
                               Lane{std::nullopt, "other"}};

// Each outcome has a form of its own beside its colour: a stroke, a ball on a stem, a ring, an open
// square. A stroke without length is a ball or a square, and a smaller one of the page's own colour
// inside makes the ring.
struct Style {
  Outcome outcome;
  std::string_view word;
  std::string_view layers;  // classes of strokes, one over the other
};
constexpr std::array kStyles = {
    Style{Outcome::Passed, "passed", "p"}, Style{Outcome::Aborted, "aborted", "a i"},
    Style{Outcome::Unknown, "not known", "u j"}, Style{Outcome::Failed, "failed", "s f"}};

// A stroke with a height, or one without, in the middle of its lane.
std::string stroke(std::string_view layer, int x, int lane) {
  const int middle = lane * kLane + kLane / 2;
  if (layer == "p") return fmt::format("M{} {}v9", x, middle - 4);
  if (layer == "s") return fmt::format("M{} {}v16", x, middle - 8);
  return fmt::format("M{} {}h0", x, middle);
}

int x_of(Time time, const Span& span) {
  const auto whole = (span.to - span.from).count();
  const auto part = (std::clamp(time, span.from, span.to) - span.from).count();
  return static_cast<int>(part * kWidth / std::max<decltype(whole)>(whole, 1));
}

std::vector<Lane> lanes_of(const ReportedDrive& drive) {
  std::vector<Lane> lanes;
  for (const Lane& lane : kLanes)
    if (std::any_of(drive.marks().begin(), drive.marks().end(),
                    [&](const TestMark& mark) { return mark.kind == lane.kind; }))
      lanes.push_back(lane);
  return lanes;
}

std::string paths(const ReportedDrive& drive, const Span& span, const std::vector<Lane>& lanes) {
  std::string text;
  for (const Style& style : kStyles) {
    for (std::string_view layers = style.layers; !layers.empty();) {
      const std::string_view layer = platform::take_word(layers);
      std::string strokes;
      for (const TestMark& mark : drive.marks()) {
        if (mark.outcome != style.outcome || mark.time < span.from) continue;
        const auto lane = std::find_if(lanes.begin(), lanes.end(),
                                       [&](const Lane& one) { return one.kind == mark.kind; });
        strokes += stroke(layer, x_of(mark.time, span), static_cast<int>(lane - lanes.begin()));
      }
      if (!strokes.empty()) text += fmt::format("<path class=\"{}\" d=\"{}\"/>", layer, strokes);
    }
  }
  return text;
}

std::string description(const ReportedDrive& drive, const Span& span) {
  std::string text = counts_text(drive);
  const auto is_before = [&](const TestMark& mark) { return mark.time < span.from; };
  const auto older = std::count_if(drive.marks().begin(), drive.marks().end(), is_before);
  if (older > 0) text += fmt::format("; {} before {} not drawn", older, date_text(span.from));
  if (drive.undated > 0) text += fmt::format("; {} without a date not drawn", drive.undated);
  for (const TestMark& mark : drive.marks())
    if (mark.outcome == Outcome::Failed && mark.time >= span.from)
      text += "; failed on " + date_text(mark.time);
  return text;
}

}  // namespace

Span span_of(Time oldest, Time now) {
  return {std::clamp(oldest, now - days(2 * 365 + 1), now - days(28)), now};
}

std::string counts_text(const ReportedDrive& drive) {
  const std::size_t total = drive.total();
  std::string text = fmt::format("{} {}", total, total == 1 ? "test" : "tests");
  std::string_view between = ": ";
  for (const auto& [outcome, word] :
       {std::pair(Outcome::Passed, "passed"), std::pair(Outcome::Failed, "failed"),
        std::pair(Outcome::Aborted, "aborted"), std::pair(Outcome::Unknown, "not known")}) {
    const std::size_t count = drive.counts[static_cast<std::size_t>(outcome)];
    if (count == 0) continue;
    text += fmt::format("{}{} {}", between, count, word);
    between = ", ";
  }
  return text;
}

std::string drawing(const ReportedDrive& drive, const Span& span, std::string_view name,
                    std::size_t number) {
  const std::vector<Lane> lanes = lanes_of(drive);
  if (lanes.empty()) return "";
  std::string names;
  std::string grid;
  for (std::size_t lane = 0; lane < lanes.size(); ++lane) {
    names += fmt::format("<span>{}</span>", lanes[lane].name);
    grid += fmt::format("M0 {}h{}", static_cast<int>(lane) * kLane + kLane / 2, kWidth);
  }
  return fmt::format(
      "<div class=\"line\"><div class=\"lanes\" aria-hidden=\"true\">{0}</div>"
      "<svg role=\"img\" aria-labelledby=\"t{1} d{1}\" viewBox=\"0 0 {2} {3}\" height=\"{3}\" "
      "preserveAspectRatio=\"none\"><title id=\"t{1}\">Tests of {4} over time</title>"
      "<desc id=\"d{1}\">{5}</desc><path class=\"g\" d=\"{6}\"/>{7}</svg>"
      "<div class=\"dates\" aria-hidden=\"true\"><span>{8}</span><span>{9}</span></div></div>\n",
      names, number, kWidth, static_cast<int>(lanes.size()) * kLane, markup(name),
      markup(description(drive, span), 1000), grid, paths(drive, span, lanes), date_text(span.from),
      date_text(span.to));
}

std::string legend() {
  std::string text = "<ul class=\"legend\" aria-label=\"Marks on the lines of tests\">";
  for (const Style& style : kStyles) {
    text += "<li><svg width=\"16\" height=\"20\" viewBox=\"0 0 16 20\" aria-hidden=\"true\">";
    for (std::string_view layers = style.layers; !layers.empty();) {
      const std::string_view layer = platform::take_word(layers);
      text += fmt::format("<path class=\"{}\" d=\"{}\"/>", layer, stroke(layer, 8, 0));
    }
    text += fmt::format("</svg>{}</li>", style.word);
  }
  return text + "</ul>\n";
}

}  // namespace cli
