#!/usr/bin/env python3
"""Checks the links between the pages of a folder, and those of the Markdown files of the project:
check_links.py HTML [PROJECT]. Links to other hosts are not followed."""
import glob
import html.parser
import os
import re
import sys
import urllib.parse


class Page(html.parser.HTMLParser):
    def __init__(self):
        super().__init__()
        self.anchors, self.links = set(), []

    def handle_starttag(self, tag, attributes):
        values = dict(attributes)
        for key in ("id", "name"):
            if values.get(key):
                self.anchors.add(values[key])
        for key in ("href", "src", "data"):
            if values.get(key):
                self.links.append(values[key])


def read(path):
    with open(path, encoding="utf-8", errors="replace") as file:
        return file.read()


def check_pages(folder, errors):
    pages = {}
    for path in glob.glob(os.path.join(folder, "**/*.html"), recursive=True):
        pages[os.path.normpath(path)] = page = Page()
        page.feed(read(path))
    count = 0
    for path, page in pages.items():
        for link in page.links:
            address = urllib.parse.urlsplit(link)
            if address.scheme or address.netloc:
                continue
            count += 1
            target = os.path.normpath(os.path.join(
                os.path.dirname(path), urllib.parse.unquote(address.path))) if address.path else path
            if not os.path.exists(target):
                errors.append(f"{path}: {link}: no such file")
            elif (address.fragment and target in pages
                  and urllib.parse.unquote(address.fragment) not in pages[target].anchors):
                errors.append(f"{path}: {link}: no such anchor")
    return len(pages), count


def anchors_of_markdown(text):
    anchors = set(re.findall(r"\{#([\w-]+)\}", text))
    for heading in re.findall(r"^#+ +(.*?)(?: *\{#[\w-]+\})?$", text, re.M):
        anchors.add(re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-"))
    return anchors


def check_markdown(project, errors):
    skipped = ("build", ".git")
    for folder, names, files in os.walk(project):
        names[:] = [name for name in names if name not in skipped]
        for name in files:
            if not name.endswith(".md"):
                continue
            path = os.path.join(folder, name)
            text = re.sub(r"```.*?```|`[^`\n]*`", "", read(path), flags=re.S)
            for link in re.findall(r"\]\(([^)\s]+)\)", text):
                address = urllib.parse.urlsplit(link)
                if address.scheme or address.netloc:
                    continue
                target = os.path.join(folder, urllib.parse.unquote(address.path)) \
                    if address.path else path
                generated = "docs/manual" in folder and target.endswith(".svg")
                in_manual = os.path.join(project, "docs", os.path.basename(target))
                if not os.path.exists(target) and not generated and not os.path.exists(in_manual):
                    errors.append(f"{path}: {link}: no such file")
                elif (address.fragment and target.endswith(".md") and os.path.exists(target)
                      and address.fragment not in anchors_of_markdown(read(target))):
                    errors.append(f"{path}: {link}: no such heading")


def main():
    errors = []
    pages, links = check_pages(sys.argv[1], errors)
    if len(sys.argv) > 2:
        check_markdown(sys.argv[2], errors)
    for error in errors:
        print(error, file=sys.stderr)
    print(f"{pages} pages, {links} links, {len(errors)} of them broken")
    sys.exit(1 if errors or not pages else 0)


main()
