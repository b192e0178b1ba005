#!/usr/bin/env python3
"""Changes what doxygen has written as its defaults: set_up_theme.py HEADER LAYOUT

Adds the scripts of the theme to the header of the pages. In the layout, the description of a group
comes before the list of its functions."""
import re
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


def change(path, pattern, replacement):
    with open(path, encoding="utf-8") as file:
        text = file.read()
    text, count = re.subn(pattern, replacement, text, flags=re.S)
    if count != 1:
        sys.exit(f"set_up_theme.py: {path} does not contain {pattern} once")
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


header, layout = sys.argv[1:]
change(header, "</head>", lambda match: SCRIPTS + "</head>")
change(layout, r'<group>\s*<briefdescription [^>]*>(.*?)(<detaileddescription [^>]*>)',
       r"<group>\n    \2\1")
change(layout, r'(<tab type="modules" [^>]*title=)""', r'\1"Reference by family"')
