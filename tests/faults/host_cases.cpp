// What the process that loads the module may do without harm.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <locale>
#include <sstream>

#include "tests/faults/case.h"

namespace faults {

namespace {

// Numbers as 1.234.567,0.
struct Grouping : std::numpunct<char> {
  char do_thousands_sep() const override { return '.'; }
  char do_decimal_point() const override { return ','; }
  std::string do_grouping() const override { return "\3"; }
};

template <NKVRHVX20::SigchldArrangement arrangement>
void arrange_children(World&) {
  NKVRHVX20::arrange_sigchld(arrangement);
}

void block_signals(World&) {
  sigset_t all;
  sigfillset(&all);
  sigprocmask(SIG_BLOCK, &all, nullptr);
}

void close_streams(World&) {
  for (const int stream : {0, 1, 2}) close(stream);
}

void change_locale(World&) {
  std::setlocale(LC_ALL, "C.UTF-8");
  std::locale::global(std::locale(std::locale(), new Grouping));
}

// In Turkish the small letter of I is not i. The elements of the message file are written in
// capitals, which mean the same as small letters.
void speak_turkish(World& world) {
  const std::string folder = world.place("/locale").string();
  std::filesystem::create_directory(folder);
  // It unpacks its tables with a program.
  const std::string make =
      "PATH=/usr/bin:/bin localedef -c -i tr_TR -f UTF-8 " + folder + "/tr_TR.UTF-8";
  ASSERT_EQ(std::system((make + " 2>/dev/null").c_str()), 0) << "the package locales is missing";
  setenv("LOCPATH", folder.c_str(), 1);
  ASSERT_TRUE(std::setlocale(LC_ALL, "tr_TR.UTF-8"));
  const auto file = world.place("/hddtest/hddtest.msg.xml");
  std::stringstream text;
  text << std::ifstream(file).rdbuf();
  std::string capitals = text.str();
  for (std::size_t at = capitals.find('<'); at != capitals.npos; at = capitals.find('<', at + 1))
    for (std::size_t i = at + 1;
         i < capitals.size() && (isalpha(capitals[i]) || capitals[i] == '/'); ++i)
      if (capitals[i] >= 'a' && capitals[i] <= 'z') capitals[i] -= 'a' - 'A';
  std::ofstream(file) << capitals;
}

}  // namespace

std::vector<Case> host_cases(const char* seen, const char* log) {
  using NKVRHVX20::SigchldArrangement;
  const auto of = [&](const char* name, void (*arrange)(World&), Case::Needs needs) {
    return Case{kNothingWrong, name, arrange, seen, log, needs};
  };
  return {
      of("HostHasTheStandardSigchld", arrange_children<SigchldArrangement::Standard>,
         Case::Nothing),
      of("HostIgnoresSigchld", arrange_children<SigchldArrangement::Ignored>, Case::Nothing),
      of("HostWantsNoZombies", arrange_children<SigchldArrangement::NoChildWait>, Case::Nothing),
      of("HostReapsAnyChild", arrange_children<SigchldArrangement::ReapingHandler>, Case::Nothing),
      of("HostBlocksAllSignals", block_signals, Case::Nothing),
      of("HostHasClosedItsStandardStreams", close_streams, Case::Nothing),
      of("HostHasAnotherLocale", change_locale, Case::Nothing),
      of("HostSpeaksTurkish", speak_turkish, Case::Nothing),
      of(
          "HostHasSmallStacks", [](World& world) { world.take_small_stack(); },
          Case::OrdinaryBuild),
  };
}

}  // namespace faults
