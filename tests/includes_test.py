"""Each unit and each header includes what it names: of the standard library, of the system, and of our
own headers, itself or through headers of ours. A build that compiles several units as one does not show
what is missing, and a compiler that brings other headers along shows it in another place.

    includes_test.py
"""

import functools
import pathlib
import re
import unittest

TREE = pathlib.Path(__file__).resolve().parent.parent

# What of std:: stands in which header. What several headers declare is in the line of each.
STANDARD = """
algorithm: all_of any_of clamp copy copy_if copy_n count count_if equal fill find find_first_of find_if
algorithm: for_each max max_element min minmax mismatch none_of remove_copy_if remove_if replace replace_if
algorithm: reverse sort stable_partition stable_sort transform unique ranges::any_of ranges::all_of
algorithm: ranges::find ranges::find_if ranges::count ranges::count_if ranges::none_of ranges::max_element
algorithm: ranges::min_element ranges::next_permutation
array: array to_array
atomic: atomic atomic_ref memory_order_acquire memory_order_acq_rel memory_order_relaxed
cctype: isalnum isdigit
charconv: from_chars to_chars
chrono: chrono
clocale: setlocale
cmath: fabs isfinite isinf isnan ldexp nan trunc
concepts: floating_point integral signed_integral
condition_variable: condition_variable
csignal: signal
cstdarg: va_list
cstddef: ptrdiff_t
cstdint: int8_t int16_t int32_t int64_t uint8_t uint16_t uint32_t uint64_t uintmax_t uintptr_t
cstdio: FILE fclose fflush fgetc fopen fprintf fread perror printf puts rename snprintf sscanf
cstdlib: abort atexit calloc exit free getenv malloc realloc strtod strtol strtoul strtoull system
cstring: memchr memcmp memcpy memset strcmp strerror strlen strncmp strspn strstr
ctime: clock gmtime strftime time time_t timespec tm
deque: deque
exception: current_exception exception exception_ptr rethrow_exception set_terminate terminate
stdexcept: exception logic_error out_of_range runtime_error
filesystem: filesystem
fstream: ifstream ofstream
functional: function greater less
future: future future_status promise shared_future
initializer_list: initializer_list
iostream: cin cout
iterator: back_inserter istream_iterator istreambuf_iterator
latch: latch
limits: numeric_limits
list: list
locale: locale numpunct
map: map multimap
memory: enable_shared_from_this make_shared make_unique shared_ptr static_pointer_cast unique_ptr weak_ptr
mutex: lock_guard mutex try_to_lock unique_lock
new: bad_alloc nothrow nothrow_t
numeric: accumulate iota
optional: nullopt nullopt_t optional
random: mt19937 mt19937_64 random_device seed_seq uniform_int_distribution
regex: regex regex_search smatch
set: multiset set
span: span
sstream: istringstream ostringstream stringstream
string: getline stoi stoul string to_string
string_view: string_view
system_error: errc error_code generic_category system_error
thread: jthread this_thread thread
tuple: tie tuple
type_traits: conditional_t decay_t is_arithmetic_v is_const_v is_empty_v is_same_v is_trivial_v
type_traits: is_trivially_copyable_v is_trivially_destructible_v remove_cvref_t remove_reference_t
type_traits: type_identity_t underlying_type_t
unordered_map: unordered_map
unordered_set: unordered_set
utility: cmp_equal cmp_greater cmp_greater_equal cmp_less_equal exchange in_range pair
vector: vector
variant: get_if holds_alternative monostate variant visit
"""

# Of the system and of C. A line with several headers: each of them declares it.
SYSTEM = r"""
cerrno errno.h: errno E(AGAIN|BADF|EXIST|INTR|INVAL|IO|MFILE|NOENT|NOMEM|NOSPC|PERM|PIPE|RANGE)
climits limits.h: INT_MAX|INT_MIN|LONG_MAX|PATH_MAX|UINT_MAX
cstdint stdint.h: U?INT(8|16|32|64)_MAX
cstdlib stdlib.h: EXIT_SUCCESS|EXIT_FAILURE|setenv|unsetenv|mkdtemp|realpath
dirent.h: opendir|readdir
dlfcn.h: dlopen|dlsym|dlclose|RTLD_\w+
fcntl.h: O_(RDONLY|WRONLY|RDWR|CREAT|EXCL|CLOEXEC|NOFOLLOW|DIRECTORY|NONBLOCK|APPEND|TRUNC)|F_[SG]ETF[DL]
poll.h: pollfd|POLLIN|POLLOUT|POLLHUP
csignal signal.h: SIG(TERM|INT|HUP|PIPE|CHLD|_IGN|_DFL)|sigaction|sigset_t
csignal signal.h sys/wait.h: SIGKILL
sys/mman.h: mmap|munmap|MAP_SHARED|PROT_READ
sys/socket.h: AF_UNIX|AF_INET6?|SOCK_STREAM|sockaddr_storage
sys/stat.h: S_ISREG|S_ISDIR|S_ISLNK|S_ISBLK|S_ISCHR|fstat|lstat|mkfifo|fchmod
sys/wait.h: WIFEXITED|WEXITSTATUS|WIFSIGNALED|WTERMSIG|waitpid|WNOHANG
unistd.h: geteuid|getuid|getpid|getppid|fork|execve?|execvp|dup2|pipe2|isatty|[STD]{3}(IN|OUT|ERR)_FILENO
unistd.h: readlink|symlink|ftruncate|fsync|fdatasync|usleep|chown|lchown|gethostname|_exit
"""


def standard_names():
    found = {}
    for line in STANDARD.strip().splitlines():
        header, names = line.split(": ")
        for name in names.split():
            found.setdefault(name, set()).add(header)
    return found


# What so many headers declare that one of them is always there.
EVERYWHERE = set("""begin char_traits distance end endl erase erase_if flush forward get in_place ios ios_base
istream move next oct ostream prev ranges size size_t ssize streambuf streamoff streamsize
string_literals string_view_literals chrono_literals swap""".split())


def system_names():
    found = []
    for line in SYSTEM.strip().splitlines():
        headers, names = line.split(": ")
        found.append((set(headers.split()), re.compile(rf"(?<![\w.>:\"])(?:{names.replace(' ', '|')})\b")))
    return found


STANDARD_NAMES = standard_names()
SYSTEM_NAMES = system_names()


def code_of(text):
    """The text without what is no code: comments and quoted texts."""
    return re.sub(r'//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'',
                  " ", re.sub(r"^#(?:.*\\\n)*.*$", "", text, flags=re.MULTILINE), flags=re.DOTALL)


def definitions(text):
    """The classes and other types that a header defines, not those that it only declares."""
    return set(re.findall(r"^(?:template <[^\n]*>\s*)?(?:enum class|class|struct|enum|union)\s+(?:[A-Z_]+_EXPORT )?"
                          r"([A-Z]\w+)(?:\s+final)?\s*(?::[^;{]*)?\{", text, re.MULTILINE)
               + re.findall(r"^using\s+([A-Z]\w+)\s*=", text, re.MULTILINE))


@functools.cache
def other_meanings(text):
    """Names that mean something else in this text: inner and declared types, enumerators, members."""
    found = set(re.findall(r"\b(?:enum class|class|struct|enum|using|typename|union)(?:\.\.\.)?\s+([A-Z]\w+)", text))
    found.update(re.findall(r"\btypedef\b[^;]*?\b([A-Z]\w+)(?:\[\w*\])?;", text))
    for body in re.findall(r"\benum\b[^;{]*\{([^}]*)\}", text):
        found.update(re.findall(r"\b[A-Z]\w+", body))
    return found


@functools.cache
def spaces():
    """Our name spaces."""
    return {part for path in sources() for space in re.findall(r"^namespace ([\w:]+)", text_of(path), re.MULTILINE)
            for part in space.split("::")}


def missing(code, included, ours, meanings=frozenset()):
    """What the code names that none of the included headers declares. OURS: type -> the headers of ours that
    define it; MEANINGS: what those that are included mean by such a name otherwise."""
    found = []
    for name in sorted(set(re.findall(r"\bstd::((?:ranges::)?\w+)", code))):
        if name in EVERYWHERE:
            continue
        headers = STANDARD_NAMES.get(name)
        if headers is None:
            found.append(f"std::{name}: say in {pathlib.Path(__file__).name} which header it stands in")
        elif not headers & included:
            found.append(f"std::{name}: include <{'> or <'.join(sorted(headers))}>")
    for headers, names in SYSTEM_NAMES:
        if not headers & included and (use := names.search(code)):
            found.append(f"{use[0]}: include <{'> or <'.join(sorted(headers))}>")
    declared = other_meanings(code) | meanings
    used = re.findall(r"(?<![\w.>:])(?:([a-z]\w*)::)?([A-Z]\w+)(?=[&*>{]|::|\s+\w)", code)
    for name in sorted({name for space, name in used if not space or space in spaces()} - declared):
        headers = ours.get(name, set())
        if headers and not headers & included:
            found.append(f"{name}: include {' or '.join(sorted(headers))}")
    return found


@functools.cache
def text_of(path):
    return path.read_text(encoding="utf-8")


@functools.cache
def included_by(path):
    """All headers that it includes, and that those of ours do."""
    found = set()
    for name in re.findall(r'^#include ["<]([^">]+)', text_of(path), re.MULTILINE):
        place = next((one for one in (path.parent / name, TREE / name) if one.is_file()), None)
        found.add(str(place.relative_to(TREE)) if place else name)
        if place:
            found |= included_by(place)
    return frozenset(found)


def is_built(header):
    """Whether it is one of ours that the build writes."""
    return "/" in header and (TREE / header).parent.is_dir() and not (TREE / header).is_file()


def sources():
    folders = [one for one in TREE.iterdir() if one.is_dir() and one.name[0] != "." and one.name != "build"]
    return sorted(path for folder in folders for path in folder.rglob("*")
                  if path.suffix in (".h", ".cpp") and path.is_file())


class Tree(unittest.TestCase):
    maxDiff = None

    def test_includes_what_it_names(self):
        found = []
        ours = {}
        for path in sources():
            if path.suffix == ".h":
                for name in definitions(code_of(text_of(path))):
                    ours.setdefault(name, set()).add(str(path.relative_to(TREE)))
        for path in sources():
            place = str(path.relative_to(TREE))
            included = included_by(path) | {place}
            # What the build writes is not there.
            known = {} if any(is_built(one) for one in included) else ours
            meanings = set().union(*(other_meanings(code_of(text_of(TREE / one)))
                                     for one in included if (TREE / one).is_file()))
            found += [f"{place}: {one}"
                      for one in missing(code_of(text_of(path)), included, known, meanings)]
        self.assertEqual(found, [])
        self.assertGreater(len(sources()), 500)


class Check(unittest.TestCase):
    def test_finds_what_is_missing(self):
        ours = {"Drive": {"drivetest/drive.h"}}
        for code, included, expected in (
            ("std::vector<int> all;", set(), ["std::vector: include <vector>"]),
            ("std::vector<int> all;", {"vector"}, []),
            ("std::exception e;", {"stdexcept"}, []),
            ("std::no_such_thing e;", {"vector"},
             ["std::no_such_thing: say in includes_test.py which header it stands in"]),
            ("open(name, O_RDONLY);", {"unistd.h"}, ["O_RDONLY: include <fcntl.h>"]),
            ("if (errno == EINTR) return;", {"errno.h"}, []),
            ("Drive drive;", set(), ["Drive: include drivetest/drive.h"]),
            ("Drive drive;", {"drivetest/drive.h"}, []),
            ("class Drive; Drive* drive;", set(), []),
            ("broker::Drive drive;", set(), ["Drive: include drivetest/drive.h"]),
        ):
            self.assertEqual(missing(code_of(code), included, ours), expected, code)

    def test_reads_code_only(self):
        text = """#include <vector> // std::map
"std::map \\" std::set" /* std::list
std::deque */ R"(std::span)" 'x' std::string"""
        self.assertEqual(re.findall(r"std::\w+", code_of(text)), ["std::string"])

    def test_knows_what_a_header_defines(self):
        self.assertEqual(definitions("class One;\nclass Two {\nstruct Three final : One {\n  class Inner {\n"
                                     "enum class Four {\nusing Five = int;\nclass A_EXPORT Six {\n"),
                         {"Two", "Three", "Four", "Five", "Six"})


if __name__ == "__main__":
    unittest.main()
