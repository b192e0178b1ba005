#!/usr/bin/env python3
"""Runs the blocks of code of Markdown files: run_blocks.py WORK SOURCE FILE...

Each file has a folder in WORK with pictures under the names that the blocks use; its blocks run there
in their order. `sh` runs in bash; `c` and `cpp` are compiled with $VIQ_CC and $VIQ_CXX, and a block
without main() becomes the body of one; `python` runs with the package in python/ if there is one.
`text` is output. A comment <!-- not run: REASON --> before a block leaves it out; a shell block is
then still parsed. Fragments in the comments of headers are C as well."""
import os
import re
import shlex
import subprocess
import sys
import textwrap

BLOCK = re.compile(r"(<!-- not run: (?P<reason>.*?) -->\n)?^```(?P<language>\w*)\n(?P<code>.*?)^```",
                   re.M | re.S)
NOT_CODE = ("text", "json")


# Ends the program with status 1 when the library reports an error.
HANDLER = """#include <stdio.h>
#include <stdlib.h>
#include <viq.h>
static uint32_t stop(uint32_t module, const char *function, uint32_t code, const char *message) {
    printf("%s: %s %s\\n", function, VIQ_error_text(code), message);
    exit(1);
}
"""

# Images that the fragments in the headers use without declaring them.
HEADER_PRELUDE = """VIQ_ErrHandlerInstall(stop);
uint32_t jpeg = VIQ_JPEG_image_create(), picture = VIQ_image_create();
uint32_t strip = VIQ_image_create(), whole = VIQ_image_create(), done = 0;
(void)jpeg, (void)picture, (void)strip, (void)whole, (void)done;
VIQ_image_set_infilename(picture, "photo.bmp");
VIQ_image_read(picture, 0, VIQ_STRIP_NEXT);
"""


def blocks_of_header(text):
    """The fragments in the comments: lines that are indented by four columns."""
    for match in re.finditer(r"(?:^ \*(?:     .*)?\n)+", text, re.M):
        code = re.sub(r"^ \*(     )?", "", match.group(), flags=re.M)
        if re.search(r"VIQ_\w+\(.*;", code):
            line = text.count("\n", 0, match.start()) + 1
            yield line, "c", HEADER_PRELUDE + "{\n" + code + "}\n", None


def blocks_of(path):
    with open(path, encoding="utf-8") as file:
        text = file.read()
    if path.endswith(".h"):
        yield from blocks_of_header(text)
        return
    for match in BLOCK.finditer(text):
        line = text.count("\n", 0, match.start("code"))
        yield line, match["language"], match["code"], match["reason"]


def as_program(code):
    if re.search(r"\bmain\s*\(", code):
        return code
    return (HANDLER + "int main(void) {\n    (void)stop;\n    VIQ_Init();\n"
            + textwrap.indent(code, "    ") + "    return 0;\n}\n")


def compile_and_run(language, code, folder, source):
    compiler = shlex.split(os.environ["VIQ_CC" if language == "c" else "VIQ_CXX"])
    name = "block." + language
    with open(os.path.join(folder, name), "w", encoding="utf-8") as file:
        file.write(as_program(code))
    standard = "-std=c99" if language == "c" else "-std=c++20"
    warnings = ["-Wall", "-Wextra", "-Wno-unused-parameter", "-Wno-unused-variable", "-Werror"]
    if as_program(code) is not code:
        standard = standard.replace("c99", "gnu99")
    subprocess.run([*compiler, standard, *warnings, f"-I{source}/include", name, "-o", "block",
                    *shlex.split(os.environ["VIQ_LINK"])], cwd=folder, check=True)
    subprocess.run(["./block"], cwd=folder, check=True)


def run(language, code, reason, folder, source):
    """None, or why the block was skipped."""
    if language in NOT_CODE:
        return None
    if language == "sh":
        subprocess.run(["bash", "-n"], input=code, text=True, check=True)
    if reason is not None:
        return None
    if language == "sh":
        subprocess.run(["bash", "-e", "-o", "pipefail"], input=code, text=True, cwd=folder,
                       check=True, stdout=subprocess.DEVNULL)
    elif language in ("c", "cpp"):
        compile_and_run(language, code, folder, source)
    elif language == "python":
        if not os.environ.get("VIQ_PYTHON"):
            return "the Python package is not in this build"
        subprocess.run([os.environ["VIQ_PYTHON"], "-c", code], cwd=folder, check=True)
    else:
        raise ValueError(f"no language that can be run: '{language}'")
    return None


def main():
    work, source, *files = sys.argv[1:]
    failures = ran = 0
    skipped = set()
    for path in files:
        folder = os.path.join(work, path.replace("/", "_"))
        subprocess.run(["cp", "-r", os.path.join(work, "pictures"), folder], check=True)
        for line, language, code, reason in blocks_of(path):
            try:
                why = run(language, code, reason, folder, source)
                ran += reason is None and why is None and language not in NOT_CODE
                if why:
                    skipped.add(why)
            except (subprocess.CalledProcessError, ValueError) as error:
                print(f"FAILED: {path}, block at line {line}: {error}")
                failures += 1
    for why in sorted(skipped):
        print("skipped:", why)
    print(f"{ran} blocks of {len(files)} files have run, {failures} failed")
    sys.exit(1 if failures or not ran else 0)


main()
