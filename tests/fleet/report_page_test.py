"""What a real browser makes of the page of 'hddtest report': on a phone, a tablet and a desk, in light
and dark, and on paper.

    report_page_test.py PROGRAM [FOLDER]        FOLDER: keep pictures of the pages there
"""

import base64
import json
import pathlib
import shutil
import sys
import unittest

sys.path.append(str(pathlib.Path(__file__).parent.parent.parent / "cli"))
# pylint: disable=wrong-import-position
from chromium import Chromium
from metrics_test import machine_id
from report_test import HOSTILE, ReportCase, recent

PICTURES = pathlib.Path(sys.argv[2]) if len(sys.argv) > 2 else None
WIDTHS = (360, 800, 1400)
SCHEMES = ("light", "dark")

# Every text with its contrast to what is painted below it, as WCAG 2 reckons it.
CONTRASTS = r"""(() => {
  const parse = text => {
    const parts = text.match(/[\d.]+/g).map(Number);
    return {rgb: parts.slice(0, 3), alpha: parts.length > 3 ? parts[3] : 1};
  };
  const light = rgb => {
    const [r, g, b] = rgb.map(value => {
      const part = value / 255;
      return part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4;
    });
    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
  };
  const below = element => {
    for (let one = element; one; one = one.parentElement) {
      const colour = parse(getComputedStyle(one).backgroundColor);
      if (colour.alpha === 1) return colour.rgb;
      if (colour.alpha !== 0) throw new Error("a colour that lets others through");
    }
    return [255, 255, 255];
  };
  const found = [];
  const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
  while (walker.nextNode()) {
    const element = walker.currentNode.parentElement;
    if (!walker.currentNode.data.trim() || !element.checkVisibility() || element.closest("svg"))
      continue;
    const pair = [light(parse(getComputedStyle(element).color).rgb), light(below(element))];
    const contrast = (Math.max(...pair) + 0.05) / (Math.min(...pair) + 0.05);
    found.push([contrast, walker.currentNode.data.trim().slice(0, 40)]);
  }
  return found;
})()"""

WIDER_THAN_THE_PAGE = r"""(() => {
  const width = document.documentElement.clientWidth;
  return [...document.querySelectorAll("body *")]
    .filter(one => one.checkVisibility() && !(one instanceof SVGPathElement)
                   && one.getBoundingClientRect().right > width + 0.5)
    .map(one => one.outerHTML.slice(0, 100));
})()"""

# What a test of this kind has to notice.
FAULTY = """<!DOCTYPE html><html lang="en"><head><title>x</title></head><body>
<img src="http://127.0.0.1:1/picture"><p style="width:3000px;color:#999;background:#fff">pale</p>
<script>console.log("said")</script></body></html>"""


class Browser(ReportCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = Chromium()
        cls.addClassCleanup(cls.browser.close)

    def setUp(self):
        super().setUp()
        self.page = self.folder / "drives.html"
        self.number = 0

    def history(self, **members):
        """Tests of some drives with every outcome, some with long and some with hostile texts."""
        lines = []
        def add(drive, days, changes=(), **more):
            self.number += 1
            line = json.loads(recent(drive, days, **{"kind": "short", **members, **more}))
            line["id"] = f"{self.number:032x}"
            line["drive"].update({"identity": f"drive {drive}", **dict(changes)})
            lines.append((-days, json.dumps(line)))
        for drive in range(1, 6):
            for week in range(104, 0, -1):
                add(drive, 7 * week - 6)
            for month in range(24, 0, -1):
                add(drive, 30 * month - 20, kind="long")
        add(1, 0, kind="long", outcome="failed", cause="read failure", first_bad_block=4711)
        add(2, 0, kind="long", outcome="unknown", cause="the log could not be read " * 8)
        add(3, 5, kind="long", outcome="aborted", cause="aborted by the host")
        add(4, 4, outcome=None, ended=None, remaining_percent=40, kind="long")
        add(6, 0, {"model": "M" * 150, "serial_number": "N" * 90}, started=None, ended=None,
            source="other", kind=None)
        add(7, 0, {"model": HOSTILE, "serial_number": HOSTILE}, outcome="failed", cause=HOSTILE,
            device=HOSTILE)
        return [line for _, line in sorted(lines)]

    def expect_good_page(self, what):
        for width in WIDTHS:
            for scheme in SCHEMES:
                with self.subTest(width=width, scheme=scheme):
                    self.browser.load(self.page, width, scheme)
                    self.keep_picture(f"{what}-{width}-{scheme}")
                    self.expect_quiet()
                    self.open_details()
                    self.expect_contrast(scheme)
                    self.assertEqual(self.browser.value_of(WIDER_THAN_THE_PAGE), [])
                    self.assertEqual(self.browser.value_of("document.documentElement.scrollWidth"),
                                     width)
        self.expect_labels()
        self.expect_paper(what)

    def keep_picture(self, name):
        if PICTURES:
            (PICTURES / f"{name}.png").write_bytes(base64.b64decode(self.browser.picture()))

    def expect_quiet(self):
        self.assertEqual(self.browser.requests, [self.page.as_uri()])
        self.assertEqual(self.browser.messages, [])

    def open_details(self):
        self.browser.value_of("document.querySelectorAll('details').forEach(one => one.open = true)")

    def expect_contrast(self, scheme):
        contrasts = self.browser.value_of(CONTRASTS)
        self.assertGreater(len(contrasts), 50)
        self.assertEqual([one for one in contrasts if one[0] < 4.5], [])
        # The scheme was really another one.
        lightness = self.browser.value_of("getComputedStyle(document.body).backgroundColor")
        self.assertEqual(int(lightness.strip("rgb()").split(",")[0]) > 127, scheme == "light")

    def expect_labels(self):
        """Each line of tests has a name and says in words what it shows."""
        lines = self.browser.named("image") or self.browser.named("img")
        drawn = self.browser.value_of("document.querySelectorAll('svg[role=img]').length")
        self.assertEqual(len(lines), drawn)
        self.assertGreater(drawn, 1)
        for name, _ in lines:
            self.assertRegex(name, r"\ATests of .* over time \d+ tests?: ")
        self.assertEqual(self.browser.value_of("document.documentElement.lang"), "en")
        self.assertEqual(self.browser.value_of("document.querySelectorAll('h1').length"), 1)

    def expect_paper(self, what):
        self.browser.load(self.page, 800, "dark", "print")
        self.keep_picture(f"{what}-paper")
        self.assertEqual(self.browser.value_of("getComputedStyle(document.body).backgroundColor"),
                         "rgb(255, 255, 255)")
        self.assertEqual([one for one in self.browser.value_of(CONTRASTS) if one[0] < 4.5], [])
        hidden = self.browser.value_of(
            "[...document.querySelectorAll('details table')].filter(one => !one.checkVisibility({"
            "contentVisibilityAuto: true}) || !one.getBoundingClientRect().height).length")
        self.assertEqual(hidden, 0)


class Report(Browser):
    @unittest.skipUnless(machine_id(), "the machine has no /etc/machine-id")
    def test_of_one_machine(self):
        self.keep(*self.history(machine_id=machine_id()))
        self.run_command("report", "--output", self.page)
        self.expect(0)
        self.expect_good_page("machine")

    def test_of_many_machines(self):
        files = self.folder / "histories"
        files.mkdir()
        for number in range(40):
            machine = f"{100 + number:032x}"
            lines = (self.history(machine_id=machine) if number < 2 else
                     [recent(number, machine_id=machine)])
            (files / f"web{number:02}.example.com.json").write_text("\n".join(lines) + "\n")
        (files / ("W" * 200 + ".json")).write_text(recent(99) + "\n")
        (files / "cut.json").write_text(recent(1)[:100])
        self.run_command("report", "--output", self.page, files)
        self.assertEqual(self.status, 3)
        self.expect_good_page("fleet")

    def test_notices_a_page_that_is_not_good(self):
        self.page.write_text(FAULTY)
        self.browser.load(self.page, 360)
        self.assertIn("http://127.0.0.1:1/picture", self.browser.requests)
        self.assertIn("said", str(self.browser.messages))
        self.assertLess(min(self.browser.value_of(CONTRASTS))[0], 3)
        self.assertTrue(self.browser.value_of(WIDER_THAN_THE_PAGE))


if __name__ == "__main__":
    if not shutil.which("chromium"):
        print("skipped: not installed: chromium")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1], verbosity=2)
