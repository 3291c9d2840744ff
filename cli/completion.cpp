#include "cli/completion.h"

#include "cli/listed.h"

namespace cli {
namespace {

// Works on the tables that stand before it. _hddtest_words has the words that may follow "hddtest"
// or "hddtest COMMAND"; _hddtest_values what stands, in the words of the help, behind an option or
// as an argument: "hddtest COMMAND --OPTION", "hddtest COMMAND NUMBER", or * for a list.
constexpr const char* kFunctions = R"bash(
# Those that "hddtest drives" lists, without a program that looks for them.
_hddtest_drives() {
  local place drive hidden type
  for place in "${HVX_SYSFS_ROOT-}"/sys/block/*; do
    [ -e "$place/device" ] || continue # a loop device, a logical volume
    hidden= type=
    # One of several ways to an NVMe drive is hidden; a CD drive has another SCSI type.
    { read -r hidden < "$place/hidden"; read -r type < "$place/device/type"; } 2>/dev/null
    [[ $hidden != 1 && ( $type == 0 || $type == 14 || ! $type =~ ^[0-9]+$ ) ]] || continue
    drive=${place##*/}
    [[ $drive =~ ^fd[0-9]+$ ]] || echo "/dev/${drive//!//}"
  done
  return 0
}

_hddtest() {
  local current=${COMP_WORDS[COMP_CWORD]} command=hddtest expected= plain= arguments=0 word i
  # The words before the current one. "=" is a word of its own.
  for ((i = 1; i < COMP_CWORD; ++i)); do
    word=${COMP_WORDS[i]}
    if [ "$word" = = ]; then continue
    elif [ -n "$expected" ]; then expected=
    elif [ "$word" = -- ] && [ -z "$plain" ]; then plain=yes
    elif [[ $word == -* ]] && [ -z "$plain" ]; then expected=${_hddtest_values[$command $word]-}
    elif [ "$command" = hddtest ]; then command="hddtest $word"
    else arguments=$((arguments + 1))
    fi
  done
  [ "$current" != = ] || current=
  COMPREPLY=()
  if [ -z "$expected$plain" ] && [[ $current == -* || $command == hddtest ]]; then
    mapfile -t COMPREPLY < <(compgen -W "${_hddtest_words[$command]-}" -- "$current")
    return 0
  fi
  [ -n "$expected" ] || expected=${_hddtest_values[$command $((arguments + 1))]-}
  [ -n "$expected" ] || expected=${_hddtest_values[$command *]-}
  case $expected in
    DEVICE) mapfile -t COMPREPLY < <(compgen -W "$(_hddtest_drives)" -- "$current") ;;
    COMMAND) mapfile -t COMPREPLY < <(compgen -X '-*' -W "${_hddtest_words[hddtest]}" -- "$current") ;;
    DIR) mapfile -t COMPREPLY < <(compgen -d -- "$current") ;;
    FILE) mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
  esac
  # So that folders get their slash; only bash itself can be told so.
  case $expected in DIR | FILE) compopt -o filenames 2>/dev/null || return 0 ;; esac
}

complete -F _hddtest hddtest
)bash";

struct Arrays {
  std::string words;
  std::string values;
};

void add(Arrays& arrays, const std::string& name, const CLI::App& app) {
  std::string words;
  const auto entry = [&](const std::string& key, const std::string& value) {
    arrays.values += "  ['" + name + " " + key + "']='" + value + "'\n";
  };
  for (const CLI::App* command : listed_commands(app)) words += command->get_name() + " ";
  int arguments = 0;
  for (const CLI::Option* option : listed_options(app)) {
    if (option->get_positional()) {
      const bool list = option->get_items_expected_max() > 1;
      entry(list ? "*" : std::to_string(++arguments), option->get_name(true));
      continue;
    }
    std::vector<std::string> names;
    for (const std::string& text : option->get_snames()) names.push_back("-" + text);
    for (const std::string& text : option->get_lnames()) names.push_back("--" + text);
    for (const std::string& text : names) {
      words += text + " ";
      if (option->get_items_expected_max() > 0) entry(text, option->get_type_name());
    }
  }
  if (words.ends_with(' ')) words.pop_back();
  arrays.words += "  ['" + name + "']='" + words + "'\n";
}

}  // namespace

std::string completion_script(const CLI::App& program) {
  Arrays arrays;
  add(arrays, "hddtest", program);
  for (const CLI::App* command : listed_commands(program))
    add(arrays, "hddtest " + command->get_name(), *command);
  return "# Completion of hddtest's command line in bash; the program has made this itself.\n"
         "declare -gA _hddtest_words=(\n" +
         arrays.words + ")\ndeclare -gA _hddtest_values=(\n" + arrays.values + ")\n" + kFunctions;
}

}  // namespace cli
