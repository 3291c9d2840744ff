"""A Chromium without a window, asked over a pipe (its DevTools protocol)."""

import json
import os
import pathlib
import shutil
import subprocess
import tempfile

LIMIT = 60  # seconds that an answer may take


class Chromium:
    """One browser with one page. What the page asked the network for and what it wrote to the
    console is kept in `requests` and `messages` from each load on."""

    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="hddtest_chromium."))
        commands, self.commands = os.pipe()
        self.answers, answers = os.pipe()
        # The program reads from descriptor 3 and writes to 4; these may have other uses here.
        def places():
            high = [os.dup2(one, 60 + number) for number, one in enumerate((commands, answers))]
            for place, one in zip((3, 4), high):
                os.dup2(one, place)
        self.process = subprocess.Popen(
            ["chromium", "--headless=new", "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
             "--remote-debugging-pipe", "--no-first-run", "--disable-background-networking",
             "--disable-dev-shm-usage", f"--user-data-dir={self.folder}", "about:blank"],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            close_fds=False, preexec_fn=places, env=dict(os.environ, HOME=str(self.folder)))
        os.close(commands)
        os.close(answers)
        self.pending, self.number, self.session = b"", 0, None
        self.requests, self.messages, self.is_loaded = [], [], False
        target = self.ask("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.ask("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network", "Accessibility"):
            self.ask(f"{domain}.enable")

    def close(self):
        os.close(self.commands)
        try:
            self.process.wait(LIMIT)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        os.close(self.answers)
        shutil.rmtree(self.folder, ignore_errors=True)

    def ask(self, method, **parameters):
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters}
        if self.session:
            message["sessionId"] = self.session
        os.write(self.commands, json.dumps(message).encode() + b"\0")
        while True:
            answer = self.next_message()
            if answer.get("id") == self.number:
                if "error" in answer:
                    raise RuntimeError(f"{method}: {answer['error']}")
                return answer["result"]

    def next_message(self):
        while b"\0" not in self.pending:
            piece = os.read(self.answers, 1 << 20)
            if not piece:
                raise RuntimeError("chromium has ended")
            self.pending += piece
        text, self.pending = self.pending.split(b"\0", 1)
        message = json.loads(text)
        parameters = message.get("params", {})
        match message.get("method"):
            case "Network.requestWillBeSent":
                self.requests.append(parameters["request"]["url"])
            case "Runtime.consoleAPICalled" | "Runtime.exceptionThrown" | "Log.entryAdded":
                self.messages.append(parameters)
            case "Page.loadEventFired":
                self.is_loaded = True
        return message

    def load(self, file, width, scheme="light", media="screen"):
        self.ask("Emulation.setDeviceMetricsOverride", width=width, height=900, deviceScaleFactor=1,
                 mobile=width < 600)
        self.ask("Emulation.setEmulatedMedia", media=media,
                 features=[{"name": "prefers-color-scheme", "value": scheme}])
        self.requests, self.messages, self.is_loaded = [], [], False
        self.ask("Page.navigate", url=file.as_uri())
        while not self.is_loaded:
            self.next_message()

    def value_of(self, expression):
        result = self.ask("Runtime.evaluate", expression=expression, returnByValue=True)
        if "exceptionDetails" in result:
            raise RuntimeError(result["exceptionDetails"])
        return result["result"].get("value")

    def named(self, role):
        """The names of all elements with that role, as a screen reader has them."""
        document = self.ask("DOM.getDocument", depth=0)["root"]["nodeId"]
        nodes = self.ask("Accessibility.queryAXTree", nodeId=document, role=role)["nodes"]
        return [(node.get("name", {}).get("value", ""), node.get("description", {}).get("value", ""))
                for node in nodes if not node.get("ignored")]

    def picture(self):
        """A PNG of the whole page, in base 64."""
        return self.ask("Page.captureScreenshot", captureBeyondViewport=True)["data"]
