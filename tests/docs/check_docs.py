#!/usr/bin/python3
"""Holds the documents to the tree. check_docs.py CASE: the case is a function below."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
GUIDES = sorted(ROOT.glob("docs/*.md"))


def anchors(page):
    headings = re.findall(r"^#+ (.*)$", page.read_text(), re.M)
    return {re.sub(r"[^\w -]", "", heading).lower().replace(" ", "-") for heading in headings}


def links():
    """What is linked and shown is there, and the front page leads to each guide."""
    front = ROOT / "README.md"
    targets = {}
    for page in [front, ROOT / "CHANGELOG.md", *GUIDES]:
        targets[page] = re.findall(r"\[[^]]+\]\((?!\w+:)([^)#]*)(?:#([^)]*))?\)", page.read_text())
        for path, anchor in targets[page]:
            found = (page.parent / path).resolve() if path else page
            if not found.exists() or (anchor and anchor not in anchors(found)):
                yield f"{page.relative_to(ROOT)}: {path}#{anchor} leads nowhere"
    listed = {(ROOT / path).resolve() for path, _ in targets[front]}
    yield from (f"README.md does not list {guide.name}" for guide in GUIDES if guide not in listed)
    if len(front.read_text().splitlines()) > 120:
        yield "README.md has more than 120 lines"


def log_lines():
    """Every text that is logged stands in the guide to them, "…" in place of what differs, and each
    line of the guide in a source."""
    guide = (ROOT / "docs/troubleshooting.md").read_text()
    logged = re.compile(r'(?:logLine|fputs|qC(?:Info|Warning)|log_\.write|say_?)\(\s*'
                        r'(?:phoneLog,\s*|QStringLiteral\()?"((?:[^"\\]|\\.)+)"'
                        r'|constexpr char \w+\[\] =\s*"([^"]* [^"]*)"')
    texts = {re.sub(r"%(zu|s|\d)", "…", first or second).replace("\\n", "").strip()
             for source in ROOT.glob("korvani/**/*.cpp")
             for first, second in logged.findall(source.read_text())}
    yield from (f"docs/troubleshooting.md lacks: {text}" for text in texts if text not in guide)
    if len(texts) < 50:
        yield f"no more than these are found: {texts}"
    said = "\n".join(text for source in ROOT.glob("korvani/**/*.cpp")
                     for text in re.findall(r'"((?:[^"\\]|\\.)*)"',
                                            re.sub(r'"\s*\n\s*"', "", source.read_text())))
    cells = re.findall(r"^\| ([^|]*`[^|]*) \|", guide[guide.index("\n## The kit"):], re.M)
    for line in re.findall(r"`([^`]+)`", "\n".join(cells)):
        parts = [part.strip() for part in re.split("…|Bluetooth: ", line) if re.search("[a-z]", part)]
        if any(part not in said for part in parts):
            yield f"no source says: {line}"


if __name__ == "__main__":
    wrong = list({"links": links, "log_lines": log_lines}[sys.argv[1]]())
    print("\n".join(wrong))
    sys.exit(1 if wrong else 0)
