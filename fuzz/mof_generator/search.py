"""The search for inputs. It changes the stored inputs, and keeps each that reaches a place
in the generator by a new way, to go on from there."""

import pathlib
import random
import re
import sys
import time

MODEL = str(pathlib.Path(__file__).resolve().parents[2] / "model")
LONGEST_INPUT = 6000
MOST_FINDINGS = 10
WORD = re.compile(rb"[A-Za-z0-9_]+|[^A-Za-z0-9_\s]")


def dictionary(file):
    """The pieces of a dictionary: a quoted text per line, with \\xNN, \\" and \\\\ in it."""
    pieces = []
    for line in file.read_bytes().splitlines():
        if line.startswith(b'"'):
            body = line[1:line.rindex(b'"')]
            pieces.append(re.sub(rb'\\(x([0-9A-Fa-f]{2})|.)',
                                 lambda match: bytes([int(match.group(2), 16)])
                                 if match.group(2) else match.group(1), body))
    return pieces


class Ways:
    """The steps from line to line in the generator that inputs have taken."""

    def __init__(self):
        self.known = set()

    def taken(self, action):
        """Runs the action; returns its result and how many of the steps taken are new."""
        steps = set()
        before = {}  # line by frame

        def trace_line(frame, event, _argument):
            if event == "line":
                place = (frame.f_code, frame.f_lineno)
                steps.add((before.get(frame), place))
                before[frame] = place
            return trace_line

        def trace_call(frame, _event, _argument):
            return trace_line if frame.f_code.co_filename.startswith(MODEL) else None

        sys.settrace(trace_call)
        try:
            result = action()
        finally:
            sys.settrace(None)
        new = len(steps - self.known)
        self.known |= steps
        return result, new


class Mutator:
    def __init__(self, pieces, seed):
        self.pieces = pieces
        self.random = random.Random(seed)

    def mutate(self, data, other):
        for _ in range(self.random.choice((1, 1, 2, 3, 5))):
            change = self.random.choice((self.insert_piece, self.insert_piece, self.replace_word,
                                         self.swap_words, self.remove, self.repeat, self.cross,
                                         self.change_byte))
            data = change(data, other)
        return data[:LONGEST_INPUT]

    def place(self, data):
        return self.random.randint(0, len(data))

    def words(self, data):
        return list(WORD.finditer(data))

    def insert_piece(self, data, _other):
        at = self.place(data)
        return data[:at] + self.random.choice(self.pieces) + data[at:]

    def replace_word(self, data, other):
        words = self.words(data)
        if not words:
            return data
        word = self.random.choice(words)
        others = self.words(other)
        by = self.random.choice(others).group() if others and self.random.random() < 0.5 else \
            self.random.choice(self.pieces)
        return data[:word.start()] + by + data[word.end():]

    def swap_words(self, data, _other):
        words = self.words(data)
        if len(words) < 2:
            return data
        one, two = sorted(self.random.sample(words, 2), key=lambda word: word.start())
        return (data[:one.start()] + two.group() + data[one.end():two.start()] + one.group() +
                data[two.end():])

    def remove(self, data, _other):
        at = self.place(data)
        return data[:at] + data[at + self.random.choice((1, 4, 20, 100)):]

    def repeat(self, data, _other):
        at = self.place(data)
        size = self.random.choice((1, 4, 20, 100))
        return data[:at] + data[at:at + size] * self.random.choice((2, 2, 3, 50)) + data[at + size:]

    def cross(self, data, other):
        return data[:self.place(data)] + other[self.place(other):]

    def change_byte(self, data, _other):
        at = self.place(data)
        return data[:at] + bytes([self.random.randrange(256)]) + data[at + 1:]


def run(seconds, inputs, dictionary_file, fault_of, keep_new, keep_finding):
    """Returns the exit status: 1 with findings."""
    seed = time.time_ns()
    mutator = Mutator(dictionary(dictionary_file), seed)
    ways = Ways()
    executions = findings = 0
    seen_faults = set()

    def attempt(data):
        nonlocal executions, findings
        executions += 1
        fault, new = ways.taken(lambda: fault_of(data))
        # All inputs that fail at the same place are one finding.
        place = fault and re.findall(r'File "[^"]*", line \d+', fault)[-1]
        if fault and place not in seen_faults:
            seen_faults.add(place)
            findings += 1
            print(f"{keep_finding(data)}:\n{fault}", flush=True)
        return not fault and new > 0

    corpus = list(inputs) or [b""]
    for data in inputs:
        attempt(data)
    end = time.monotonic() + seconds
    while time.monotonic() < end and findings < MOST_FINDINGS:
        # The inputs that were found last lead to new places most often.
        recent = mutator.random.random() < 0.3
        data = mutator.random.choice(corpus[-20:] if recent else corpus)
        data = mutator.mutate(data, mutator.random.choice(corpus))
        if attempt(data):
            corpus.append(data)
            keep_new(data)
    print(f"{executions} executions, cov: {len(ways.known)} steps, corp: {len(corpus)}, "
          f"{findings} findings, seed {seed}")
    return 1 if findings else 0
