"""What the playbooks want to know of their machines, in words for people."""

import json

# How tests end that a patrol has started, in the words of its JSON.
ENDS = ("passed", "failed", "aborted", "unknown")
# What somebody has to look after.
BAD = ("failed", "unknown", "not-asked", "not-started")
# What Ansible says where nothing is left of a task that went on by itself.
GONE = "could not find job"


def patterns(limit):
    """Those of --limit, where a word that begins with @ names a file of them."""
    from ansible.inventory.manager import split_host_pattern  # pylint: disable=import-outside-toplevel
    found = []
    for word in split_host_pattern(limit):
        if word.startswith("@"):
            with open(word[1:], encoding="utf-8") as file:
                found += [line.strip() for line in file]
        else:
            found.append(word)
    return found


def waves(hosts, groups, rack_prefix="", cap=0):
    """The machines in waves: of each rack one at most, and no more than the cap where it is not 0. A rack
    is a group whose name begins with the prefix; machines in none are alone."""
    racks = {}
    for name, members in groups.items():
        if rack_prefix and name.startswith(rack_prefix):
            for host in members:
                racks.setdefault(host, set()).add(name)
    found = []
    for host in hosts:
        for wave, taken in found:
            if not (cap and len(wave) >= cap) and not taken & racks.get(host, set()):
                break
        else:
            wave, taken = [], set()
            found.append((wave, taken))
        wave.append(host)
        taken |= racks.get(host, set())
    return [wave for wave, _ in found]


def _last_line(text):
    return next((line.strip() for line in reversed(str(text or "").splitlines()) if line.strip()), "")


def fault(result):
    """Why a task did not do its work on a machine; empty: it did."""
    if result.get("unreachable"):
        return "unreachable: " + _last_line(result.get("msg"))
    if result.get("skipped"):
        return ""
    faults = [fault(item) for item in result.get("results", []) if item.get("failed")]
    if faults:
        return "; ".join(faults)
    message = str(result.get("msg", ""))
    if "No such file or directory: b'hddtest'" in message:
        return "hddtest is not installed"
    # A shell did not find the command; where Ansible did not come so far, it did not find sudo or Python.
    if result.get("rc") == 127 and "module_stderr" not in result:
        return "hddtest is not installed"
    # Ansible did not come so far as to start the command, or the task has none.
    if "module_stderr" in result or ("rc" not in result and (result.get("failed") or message)):
        return (_last_line(result.get("module_stderr")) or _last_line(result.get("module_stdout")) or
                message.strip().partition("\n")[0])
    return ""


def _ended(is_good, text):
    return {"is_good": is_good, "text": text}


def reached(result):
    """Whether a machine lets us work on it."""
    return _ended(not fault(result), fault(result))


def broken(result):
    """What is told where a task failed that had no result to tell of, or one that seems good."""
    return _ended(False, fault(result or {}) or "a task has failed; its output above says how")


def installed(result, check_mode):
    """Which version hddtest tells of itself at the end."""
    if fault(result):
        is_told = check_mode and not result.get("unreachable")
        return _ended(is_told, "would be installed" if is_told else fault(result))
    return _ended(result["rc"] == 0, _last_line(result["stdout"]) or _last_line(result["stderr"]))


def unless_lost(ended, results):
    """What is told after these tasks, which are not done where their connection was lost."""
    lost = [one for result in results for one in (result, *result.get("results", [])) if one.get("unreachable")]
    return reached(lost[0]) if lost else ended


def _told(result):
    """What a patrol tells in JSON; None: it tells nothing so."""
    try:
        return json.loads(result.get("stdout") or "")
    except ValueError:
        return None


def _is_of_drives(told):
    """Whether that is how it went with each drive. hddtest that could not begin tells why in its place."""
    return isinstance(told, list) and all(isinstance(one, dict) and "result" in one for one in told)


def _refusal(result):
    """Why a patrol could not begin."""
    told = _told(result)
    parts = told if isinstance(told, list) else []
    reasons = [str(part["reason"]) for part in parts if isinstance(part, dict) and part.get("reason")]
    return "; ".join(reasons) or _last_line(result.get("stderr")) or f"exit status {result.get('rc')}"


def has_ended(looked):
    """Whether a look at a patrol that goes on by itself found its end, or could not be taken.
    On a busy machine the first look may be too early to find anything."""
    if looked.get("msg") == GONE and looked.get("attempts") == 1:
        return False
    return bool(looked.get("finished") or fault(looked))


def tested(begun, looked=None):
    """How a patrol ended, told by its JSON, which the last look at it found; none was taken where it did not begin."""
    result = looked if begun.get("ansible_job_id") else begun
    if result is looked and result.get("unreachable"):
        return _ended(False, f"became unreachable while its drives tested: {_last_line(result.get('msg'))}; "
                      "they go on, and 'hddtest status' there tells of them")
    if result is looked and not result.get("finished") and fault(result):
        return _ended(False, f"could not be asked any more while its drives tested: {fault(result)}; they go on, and "
                      "'hddtest status' there tells of them")
    if result is looked and result.get("msg") == GONE:
        return _ended(False, "nobody knows how its patrol ended, as when a machine starts anew; 'hddtest status' "
                      "there tells of its drives")
    if fault(result):
        return _ended(False, fault(result))
    if result.get("skipped"):
        return _ended(True, "would be tested")
    drives = _told(result)
    if not _is_of_drives(drives):
        return _ended(False, _refusal(result))
    if not drives:
        return _ended(True, "no drive to test")
    counts = {}
    for drive in drives:
        counts[drive["result"]] = counts.get(drive["result"], 0) + 1
    text = ", ".join(f"{count} {word}" for word, count in counts.items())
    bad = [drive for drive in drives if drive["result"] in BAD]
    for drive in bad:
        text += f"; {drive.get('name')}: " + (drive.get("reason") or drive["result"])
        text += "; " + drive["advice"] if drive.get("advice") else ""
    return _ended(result.get("rc") == 0 and not bad, text)


def has_started(result):
    """Whether this patrol started a test; one that another patrol started does not count."""
    drives = _told(result)
    return _is_of_drives(drives) and any(drive["result"] in ENDS for drive in drives)


def gathered(result):
    """How far a machine's history came."""
    if fault(result):
        return _ended(False, fault(result))
    if result.get("skipped"):
        return _ended(True, "would be gathered")
    if result.get("rc", 0) != 0:
        return _ended(False, _last_line(result.get("stderr")) or f"exit status {result['rc']}")
    count = int(result["stdout"].split()[0])
    return _ended(True, f"tests: {count}" if count else "no tests are kept")


def and_then(ended, results):
    """What is told after these tasks, which do nothing where the machine has not ended well."""
    faults = [fault(result) for result in results if fault(result)]
    return _ended(False, "; ".join(faults)) if faults else ended


def reported(result, page, before, after):
    """What is told of the report. A changed page was written, even if some file could not be read."""
    if result.get("skipped"):
        return f"{page} would be written"
    if fault(result):
        return fault(result)
    if result["rc"] == 0:
        return page
    before, after = before.get("stat", {}), after.get("stat", {})
    is_new = after.get("isreg") and any(before.get(key) != after[key] for key in ("mtime", "inode"))
    said = str(result.get("stderr", "")).strip() or f"exit status {result['rc']}"
    return f"{said}\n{page} was written without that" if is_new else said


class FilterModule:
    """Ansible asks it for the filters."""

    def filters(self):
        return {one.__name__: one for one in (
            and_then, broken, fault, gathered, has_ended, has_started, installed, patterns, reached, reported,
            tested, unless_lost, waves)}
