"""The way back: what has to be done to have everything as it was before a step failed."""

import signal

from register.machine import Failure, complain, say, told

ENDINGS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT)


class Undo:
    """Used with `with`: if its block fails or is interrupted, the steps back are taken, the last one
    first. A step back that fails is told, and the others are done all the same."""

    def __init__(self):
        self._steps = []

    def __enter__(self):
        return self

    def push(self, what, function, *arguments):
        self._steps.append((what, function, arguments))

    def forget(self):
        """Forgets the steps back: from now on there is no way back."""
        self._steps.clear()

    def __exit__(self, kind, error, trace):
        if kind is None or not self._steps:
            return
        # Not to be interrupted; a function, and not SIG_IGN, which programs would inherit.
        before = {ending: signal.signal(ending, lambda *_: None) for ending in ENDINGS}
        say("Putting back what was there before")
        while self._steps:
            what, function, arguments = self._steps.pop()
            try:
                function(*arguments)
            except (OSError, Failure) as failure:
                complain(f"{what} is not as before: {told(failure)}")
        for ending, handler in before.items():
            signal.signal(ending, handler)
