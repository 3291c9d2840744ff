"""The pages for people: their links lead somewhere, also when only docs/ is installed.

    pages_test.py SOURCE-DIRECTORY
"""

import pathlib
import re
import sys
import unittest

TREE = pathlib.Path(sys.argv[1]).resolve()
LINK = re.compile(r"\]\(([^)\s]+)\)")


def pages():
    """Every page of the sources, but what a build put there."""
    return [path for path in TREE.rglob("*.md")
            if not path.relative_to(TREE).parts[0].startswith((".", "build"))]


def text_of(page):
    """Without code, in which brackets mean something else."""
    return re.sub(r"^ *```.*?^ *```|`[^`\n]*`", "", page.read_text(encoding="utf-8"),
                  flags=re.MULTILINE | re.DOTALL)


def anchors(page):
    """The names by which links reach the headings of a page."""
    headings = re.findall(r"^#+ +(.*)$", text_of(page), re.MULTILINE)
    return {re.sub(r"[^\w -]", "", heading).strip().lower().replace(" ", "-") for heading in headings}


def fault_of(page, link):
    """Why a link leads nowhere, or None."""
    if re.match(r"[a-z]+:", link):
        return None
    name, _, anchor = link.partition("#")
    target = (page.parent / name).resolve() if name else page
    if not target.is_file():
        return "there is no such file"
    if anchor and anchor not in anchors(target):
        return "the page has no such heading"
    if page.parent.name == "docs" and target.parent != page.parent:
        return "the packages install docs/ without the other folders"
    return None


class Pages(unittest.TestCase):
    def test_links_lead_somewhere(self):
        links = [(page, link) for page in pages() for link in LINK.findall(text_of(page))]
        self.assertGreater(len(links), 5)
        for page, link in links:
            with self.subTest(page=str(page.relative_to(TREE)), link=link):
                self.assertIsNone(fault_of(page, link))

    def test_links_that_lead_nowhere_are_noticed(self):
        page = TREE / "docs/limits.md"
        for link in ("nosuch.md", "faults.md#nosuch", "#nosuch", "../README.md"):
            self.assertIsNotNone(fault_of(page, link), link)
        for link in ("faults.md", "faults.md#the-server-and-its-clients", "#the-server"):
            self.assertIsNone(fault_of(page, link), link)

    def test_readme_can_be_read_in_five_minutes(self):
        self.assertLessEqual(len((TREE / "README.md").read_text(encoding="utf-8").splitlines()), 100)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
