#!/usr/bin/env python3
"""Adds the scripts of the theme to the page header that doxygen has written: add_theme.py HEADER"""
import sys

SCRIPTS = """
<script type="text/javascript" src="$relpath^doxygen-awesome-darkmode-toggle.js"></script>
<script type="text/javascript" src="$relpath^doxygen-awesome-fragment-copy-button.js"></script>
<script type="text/javascript" src="$relpath^doxygen-awesome-paragraph-link.js"></script>
<script type="text/javascript" src="$relpath^doxygen-awesome-interactive-toc.js"></script>
<script type="text/javascript">
    DoxygenAwesomeDarkModeToggle.init()
    DoxygenAwesomeFragmentCopyButton.init()
    DoxygenAwesomeParagraphLink.init()
    DoxygenAwesomeInteractiveToc.init()
</script>
"""

path = sys.argv[1]
with open(path, encoding="utf-8") as file:
    text = file.read()
if text.count("</head>") != 1:
    sys.exit(f"add_theme.py: {path} has no end of a head")
with open(path, "w", encoding="utf-8") as file:
    file.write(text.replace("</head>", SCRIPTS + "</head>"))
