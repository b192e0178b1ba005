#!/usr/bin/env python3
"""Writes the man pages of section 3: function_pages.py INCLUDE FOLDER VERSION

INCLUDE is the folder of the public headers. Every function gets a page of its name, every group of the
headers one that lists its constants, records and functions. The text is that of the headers' comments.
"""
import re
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / 'python'))
from public_headers import clean

COMMENT = re.compile(r'/\*\*(?!<)(.*?)\*/\s*((?:(?!/\*\*(?!<)).)*)', re.S)
MACROS = re.compile(r'\bVIQ_(API|CALL)\b ?')


class Group:
    def __init__(self, name, title, header, text):
        self.name, self.title, self.header, self.text = name, title, header, text
        self.members = []  # section, name of a function or None, text, declaration


def read_groups(include):
    """The groups of the headers; a member of a section has the section's text after its own."""
    groups = {}
    for path in sorted(include.glob('viq/*.h')):
        group, section = None, ('', '')
        for comment, code in COMMENT.findall(path.read_text()):
            text = clean(comment)
            command = re.match(r'@(defgroup|addtogroup|name) +(.*)\n?', text)
            rest = text[command.end() if command else 0:].replace('@{', '').strip()
            if command and command.group(1) == 'name':
                section = (command.group(2), rest)
            elif command:
                name, _, title = command.group(2).partition(' ')
                header = path.relative_to(include).as_posix()
                group = groups.setdefault(name, Group(name, title, header, rest))
            elif text == '@}':
                section = ('', '')
            elif group and code.strip() and not re.match('@file|@def VIQ_(API|CALL)', text):
                function = re.match(r'VIQ_API [^(;]*?(\w+)\([^)]*\);', code)
                declaration = function.group(0) if function else declaration_of(code)
                group.members.append((section, function and function.group(1), rest, declaration))
    return groups.values()


def declaration_of(code):
    """The constants or the record after a comment, without the directives of the preprocessor."""
    lines = [line for line in code.rstrip().split('\n')
             if not re.match(r'#(?!define)|extern "C"|}$', line)]
    return '\n'.join(lines).replace('/**<', '/*').strip()


# ---- Text in the language of man pages

def escape(text):
    text = text.replace('\\', '\\e').replace('-', '\\-')
    return re.sub(r"^(?=[.'])", r'\\&', text, flags=re.M)


def first_sentence(text, otherwise=''):
    paragraph = ' '.join(re.split(r'\n\s*\n|(?:^|\n)@|\n- ', text)[0].split())
    for end in re.finditer(r'[.:](?= |$)', paragraph):
        if paragraph.count('(', 0, end.start()) == paragraph.count(')', 0, end.start()):
            return paragraph[:end.start()]
    return paragraph or otherwise


def verbatim(lines):
    return ['.PP', '.in +4n', '.nf', *lines, '.fi', '.in']


def table(lines):
    """A table of Markdown; texts in the last column are broken into lines."""
    rows = [[cell.strip() for cell in re.split(r'(?<!\\)\|', line.strip().strip('|'))] for line in lines
            if not re.fullmatch(r'[\s|:-]+', line)]
    layout = ' '.join(['l'] * (len(rows[0]) - 1) + ['lx'])
    made = ['.PP', '.TS', layout + '.']
    for row in rows:
        made += ['\t'.join(row[:-1] + ['T{']), row[-1], 'T}']
    return made + ['.TE', '.PP']


def body(text, linked):
    """Paragraphs, lists, tables and code of a comment; `linked` marks references in a line."""
    lines, made, block = escape(text).split('\n'), [], []
    in_list = False

    def flush(writer):
        if block:
            made.extend(writer(block))
            block.clear()

    kind = None
    for line in lines + ['']:
        is_code = re.match(r'    ', line) and (kind == 'code' or (kind is None and not in_list))
        now = 'table' if line.startswith('|') else 'code' if is_code else 'text'
        if now != kind or (now == 'text' and not line.strip()):
            flush({'table': table, 'code': verbatim}.get(kind, list))
        if not line.strip():
            kind, in_list = None, False
            made.append('.PP')
            continue
        kind = now
        item = re.match(r' *(\\-|\d+\.) (.*)$', line)
        if now == 'text' and item:
            in_list = True
            mark = '\\(bu 2' if item.group(1) == '\\-' else item.group(1) + ' 3'
            block += ['.IP ' + mark, linked(item.group(2))]
        elif now == 'text':
            block.append(linked(line.strip()))
        else:
            block.append(line[4:] if now == 'code' else line)
    return made


def without_double_breaks(lines):
    kept = []
    for line in lines:
        if line == '.PP' and (not kept or kept[-1].split()[0] in ('.PP', '.SH', '.TP', '.IP')):
            continue
        while kept and kept[-1] == '.PP' and line.split()[0] in ('.SH', '.TP', '.IP'):
            kept.pop()
        kept.append(line)
    while kept and kept[-1] == '.PP':
        kept.pop()
    return kept


def sections(text):
    """The description of a function and what follows it: (heading, text)."""
    found, arguments = [('DESCRIPTION', [])], []
    target = found[0][1]
    for line in text.split('\n'):
        match = re.match(r'@(param(?:\[\w+\])?|return|par) +(.*)$', line)
        if not match:
            target.append(line)
        elif match.group(1).startswith('param'):
            name, _, rest = match.group(2).partition(' ')
            target = [rest.strip()]
            arguments.append((name, target))
        else:
            is_result = match.group(1) == 'return'
            target = [match.group(2)] if is_result else []
            found.append(('RETURN VALUE' if is_result else match.group(2).upper(), target))
    return found, arguments


class Pages:
    def __init__(self, groups, folder, version):
        self.folder, self.version = folder, version
        self.groups = groups
        self.functions = {name: group for group in groups for _, name, _, _ in group.members if name}

    def linked(self, line):
        """Names of functions in bold, with the section of their page."""
        def replace(match):
            name = match.group(0)
            return f'\\fB{name}\\fR(3)' if name in self.functions else name
        line = re.sub(r'@ref (\w+)', r'\1(3)', line)
        return re.sub(r'(?<!")\b(VIQ|TIFF)_\w+\b(?![("])', replace, line)

    def write(self, name, purpose, lines, others):
        head = ["'\\\" t", f'.TH "{name}" "3" "" "viq {self.version}" "VIQ library"',
                '.SH NAME', f'{name} \\- {escape(purpose)}', '.SH SYNOPSIS']
        lines = [line for line in lines if line.strip()]
        see = [f'.BR {other} (3),' for other in others] + ['.BR viq (3)']
        made = without_double_breaks(head + lines + ['.SH SEE ALSO'] + see)
        (self.folder / f'{name}.3').write_text('\n'.join(made) + '\n')

    def write_function(self, group, section, name, text, declaration):
        parts, arguments = sections(text)
        shown = escape(MACROS.sub('', declaration)).split('\n')
        lines = ['.nf', '#include <viq.h>', '.PP', *(f'\\fB{line}\\fR' for line in shown), '.fi']
        lines += ['.SH DESCRIPTION'] + body('\n'.join(parts[0][1]), self.linked)
        if section[1]:
            lines += ['.PP'] + body(section[1], self.linked)
        if arguments:
            lines.append('.SH ARGUMENTS')
            for argument, words in arguments:
                lines += ['.TP', f'.I {argument}', 
                          *self.linked(escape('\n'.join(w.strip() for w in words))).split('\n')]
        for heading, words in parts[1:]:
            lines += [f'.SH {heading}'] + body('\n'.join(words).replace('\n    ', '\n'), self.linked)
        named = re.findall(r'\b(?:VIQ|TIFF)_\w+', text)
        others = dict.fromkeys(n for n in named if n in self.functions and n != name)
        self.write(name, first_sentence(text, section[0]), lines, [group.name, *others])

    def write_group(self, group):
        lines = ['.nf', '#include <viq.h>', '.fi', '.SH DESCRIPTION'] + body(group.text, self.linked)
        others = [member for member in group.members if not member[1]]
        if others:
            lines.append('.SH CONSTANTS AND RECORDS')
        for _, _, text, declaration in others:
            lines += ['.PP'] + body(re.sub('@(param|return) ', '- ', text), self.linked)
            lines += verbatim([line for line in escape(declaration).split('\n') if line.strip()])
        heading = None
        for section, name, text, _ in group.members:
            if not name:
                continue
            if section[0] != heading:
                heading = section[0]
                lines.append('.SH ' + ('FUNCTIONS' if not heading else f'FUNCTIONS: {heading}'))
            lines += ['.TP', f'.BR {name} (3)', escape(first_sentence(text, name))]
        families = [other.name for other in self.groups if other is not group]
        self.write(group.name, group.title, lines, families)

    def write_all(self):
        for group in self.groups:
            self.write_group(group)
            for section, name, text, declaration in group.members:
                if name:
                    self.write_function(group, section, name, text, declaration)


def main():
    if len(sys.argv) != 4:
        raise SystemExit(__doc__)
    folder = Path(sys.argv[2])
    folder.mkdir(parents=True, exist_ok=True)
    Pages(list(read_groups(Path(sys.argv[1]))), folder, sys.argv[3]).write_all()


main()
