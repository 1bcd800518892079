"""Whether a newcomer finds any function in two clicks from the first page: reference_test.py SDK"""
import html.parser
import pathlib
import re
import sys
import urllib.parse

SDK = pathlib.Path(sys.argv[1])
API = SDK / "docs" / "api"


class Page(html.parser.HTMLParser):
    """The anchors of a page, and its links with their words."""

    def __init__(self, path):
        super().__init__()
        self.anchors, self.links, self.words = set(), [], None
        self.feed(path.read_text())

    def handle_starttag(self, tag, attributes):
        attributes = dict(attributes)
        self.anchors |= {attributes.get("id"), attributes.get("name")}
        if tag == "a" and "href" in attributes:
            self.links.append([attributes["href"], ""])
            self.words = self.links[-1]

    def handle_endtag(self, tag):
        if tag == "a":
            self.words = None

    def handle_data(self, data):
        if self.words:
            self.words[1] += data


pages = {path.name: Page(path) for path in API.glob("*.html")}
failures = []
for name, page in pages.items():
    for link, words in page.links:
        target = urllib.parse.urlparse(link)
        # The list of a class's parts names private ones, too, which are not shown.
        if target.scheme or target.fragment == "nested-classes":
            continue
        file = urllib.parse.unquote(target.path) or name
        if not (API / file).exists():
            failures.append(f"{name}: leads nowhere: {link}")
        elif target.fragment and file in pages and target.fragment not in pages[file].anchors:
            failures.append(f"{name}: no such place: {link}")

first = pages["index.html"]
offered = {words.strip("() ") for link, words in first.links if link}
header = (SDK / "include/kiv/kiv_c.h").read_text() + (SDK / "include/kiv/kiv.h").read_text()
functions = set(re.findall(r"^(?!typedef)[a-zA-Z][\w ]*[ *]+(\w+)\([^;{]*\);", header, re.M))
classes = {name for path in (SDK / "include/kiv").glob("*/*.h") for name in
           re.findall(r"^(?:class|struct) KIV_API (\w+)\s*[:{]", path.read_text(), re.M)}
if len(functions) < 30 or len(classes) < 100:
    failures.append(f"only {len(functions)} functions and {len(classes)} classes in the headers")
failures += [f"index.html does not lead to {name}" for name in sorted((functions | classes) - offered)]
text = (API / "index.html").read_text()
if not 0 < text.find("kiv_scan") < text.find("TapeCmdRewind"):
    failures.append("index.html does not begin with the C interface")
print(*failures, sep="\n", end="\n" if failures else "")
sys.exit(bool(failures))
