#include "cli/report_drawing.h"

#include <gmock/gmock.h>

#include <initializer_list>
#include <regex>
#include <utility>

#include "cli/report_text.h"

namespace cli {
namespace {

using drivetest::KeptTest;
using drivetest::Outcome;
using drivetest::TestKind;
using drivetest::Time;
using std::chrono::days;
using std::chrono::seconds;
using testing::HasSubstr;
using testing::Not;

constexpr Time kNow{seconds(1'800'000'000)};  // 2027-01-15T08:00:00Z

ReportedDrive drive_with(std::initializer_list<std::pair<days, Outcome>> tests,
                         TestKind kind = TestKind::Long) {
  ReportedDrive drive;
  for (const auto& [age, outcome] : tests) {
    KeptTest test;
    test.row.kind = kind;
    test.row.ended = kNow - age;
    test.row.outcome = outcome;
    drive.add(test);
  }
  return drive;
}

TEST(Markup, LetsNothingOutOfItsPlace) {
  EXPECT_EQ(markup("</svg><script>alert('a' & \"b\")</script>"),
            "&lt;/svg&gt;&lt;script&gt;alert(&#39;a&#39; &amp; &quot;b&quot;)&lt;/script&gt;");
  const std::string replaced = "\xEF\xBF\xBD";
  EXPECT_EQ(markup(std::string_view("a\0b\nc\x1b\x7f", 7)),
            "a" + replaced + "b" + replaced + "c" + replaced + replaced);
  EXPECT_EQ(markup("\xff \xc3( \xe2\x80\xae"), replaced + " " + replaced + "( " + replaced)
      << "invalid bytes, and a change of the direction of writing";
  EXPECT_EQ(markup("\xc3\xa9 \xe2\x82\xac"), "\xc3\xa9 \xe2\x82\xac");
}

TEST(Markup, CutsBetweenCharacters) {
  EXPECT_EQ(markup("abc", 3), "abc");
  EXPECT_EQ(markup("\xc3\xa9&c\xc3\xa9", 2), "\xc3\xa9&amp;...");
}

TEST(Span, IsTwoYearsAtMostAndFourWeeksAtLeast) {
  EXPECT_EQ(span_of(kNow - days(100), kNow).from, kNow - days(100));
  EXPECT_EQ(span_of(kNow, kNow).from, kNow - days(28));
  EXPECT_EQ(span_of(Time{}, kNow).from, kNow - days(731));
}

TEST(Drawing, PutsEachTestInItsPlaceAndForm) {
  const Span span{kNow - days(100), kNow};
  const std::string drawn = drawing(
      drive_with(
          {{days(100), Outcome::Passed}, {days(50), Outcome::Passed}, {days(0), Outcome::Failed}}),
      span, "A", 7);
  EXPECT_THAT(drawn, HasSubstr(R"(<path class="p" d="M0 6v9M500 6v9"/>)"));
  EXPECT_THAT(drawn,
              HasSubstr(R"(<path class="s" d="M1000 2v16"/><path class="f" d="M1000 10h0"/>)"));
  EXPECT_THAT(drawn, Not(HasSubstr("class=\"a\"")));
  EXPECT_THAT(drawn, HasSubstr("<span>2026-10-07</span><span>2027-01-15</span>"));
}

TEST(Drawing, HasALaneForEachKindOfTest) {
  ReportedDrive drive = drive_with({{days(3), Outcome::Passed}}, TestKind::Short);
  const Span span = span_of(kNow, kNow);
  EXPECT_THAT(drawing(drive, span, "A", 1), HasSubstr(R"(viewBox="0 0 1000 20")"));
  KeptTest test;
  test.row.ended = kNow;
  test.row.outcome = Outcome::Unknown;
  drive.add(test);
  const std::string drawn = drawing(drive, span, "A", 1);
  EXPECT_THAT(drawn, HasSubstr("<span>short</span><span>other</span>"));
  EXPECT_THAT(drawn,
              HasSubstr(R"(<path class="u" d="M1000 30h0"/><path class="j" d="M1000 30h0"/>)"));
}

TEST(Drawing, SaysInWordsWhatItShows) {
  ReportedDrive drive = drive_with({{days(900), Outcome::Failed},
                                    {days(3), Outcome::Failed},
                                    {days(2), Outcome::Aborted},
                                    {days(1), Outcome::Unknown}});
  KeptTest undated;
  undated.row.outcome = Outcome::Passed;
  drive.add(undated);
  const std::string drawn = drawing(drive, span_of(Time{}, kNow), "<b> & \"", 7);
  EXPECT_THAT(drawn, HasSubstr(R"(aria-labelledby="t7 d7")"));
  EXPECT_THAT(drawn,
              HasSubstr("<title id=\"t7\">Tests of &lt;b&gt; &amp; &quot; over time</title>"));
  EXPECT_THAT(drawn,
              HasSubstr("<desc id=\"d7\">5 tests: 1 passed, 2 failed, 1 aborted, 1 not known; 1 "
                        "before 2025-01-14 not drawn; 1 without a date not drawn; failed on "
                        "2027-01-12</desc>"));
}

TEST(Drawing, IsEmptyWithoutDates) {
  EXPECT_EQ(drawing(ReportedDrive(), span_of(kNow, kNow), "A", 1), "");
}

TEST(Drawing, PutsATestOfTheFutureAtTheEnd) {
  EXPECT_THAT(drawing(drive_with({{days(-400), Outcome::Passed}}), span_of(kNow, kNow), "A", 1),
              HasSubstr("M1000 6v9"));
}

TEST(Legend, ShowsEachMarkWithItsMeaning) {
  for (const char* word : {"passed", "aborted", "not known", "failed"})
    EXPECT_THAT(legend(), HasSubstr(std::string("</svg>") + word + "</li>"));
}

}  // namespace
}  // namespace cli
