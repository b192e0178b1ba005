"""Reads the public headers: constants, records, types of callbacks and functions. A declaration that
cannot be understood is an error."""
import re

NO_CONSTANTS = {'VIQ_API', 'VIQ_CALL'}


def clean(comment):
    """The text of a comment, without its stars."""
    lines = [re.sub(r'^ ?\* ?', '', line.strip()) if line.strip().startswith('*') else line.strip()
             for line in comment.split('\n')]
    return '\n'.join(lines).strip()


def without_comments(text):
    return re.sub(r'/\*.*?\*/', '', text, flags=re.S)


def split_declaration(text):
    """'const uint8_t *pBuffer' -> ('const uint8_t *', 'pBuffer', [])."""
    dimensions = [int(n) for n in re.findall(r'\[(\d+)\]', text)]
    match = re.match(r'^(.*?)(\w+)\s*(\[.*)?$', text.strip(), re.S)
    return ' '.join(match.group(1).split()), match.group(2), dimensions


def split_arguments(text):
    return [] if text.strip() == 'void' else [split_declaration(part) for part in text.split(',')]


class Headers:
    def __init__(self, folder):
        self.constants = []  # name, value, comment
        self.records = []    # name, fields, comment
        self.callbacks = {}  # name: result, arguments
        self.functions = []  # name, result, arguments, comment
        for header in sorted(folder.glob('viq/*.h'), key=lambda h: (h.name != 'types.h', h.name)):
            text = re.sub(r'\bVIQ_CALL\b\s*', '', header.read_text())
            self.read_constants(text, header)
            self.read_records(text)
            self.read_functions(text, header)
        self.record_names = {name for name, _, _ in self.records}

    def read_constants(self, text, header):
        values = {name: value for name, value, _ in self.constants}

        def add(name, given, comment):
            try:
                values[name] = eval(re.sub(r'(?<=[0-9a-fA-F])[uU]\b', '', given), {}, values)
            except (NameError, SyntaxError):
                raise SystemExit(f'{header}: the value of {name} is not understood: {given}') from None
            self.constants.append((name, values[name], clean(comment or '')))

        for match in re.finditer(r'^#define (VIQ_\w+)[ \t]+([^/\n]+?)\s*(?:/\*\*<(.*?)\*/)?$', text, re.M):
            if match.group(1) not in NO_CONSTANTS:
                add(*match.groups())
        for body in re.findall(r'\benum\b[^{;]*\{(.*?)\}', text, re.S):
            before = '-1'
            for match in re.finditer(r'(VIQ_\w+)\s*(?:=\s*([^,/}]+))?\s*,?\s*(?:/\*\*<(.*?)\*/)?',
                                     body, re.S):
                name, given, comment = match.groups()
                add(name, given.strip() if given else before + ' + 1', comment)
                before = name

    def read_records(self, text):
        for match in re.finditer(
                r'(?:/\*\*((?:(?!\*/).)*?)\*/\s*)?typedef struct(?: \w+)? \{(.*?)\} (\w+);', text, re.S):
            comment, body, name = match.groups()
            fields = [split_declaration(f) for f in without_comments(body).split(';') if f.strip()]
            self.records.append((name, fields, clean(comment or '')))
        for match in re.finditer(r'typedef ([\w *]+?)\(\*(\w+)\)\(([^)]*)\);', without_comments(text)):
            self.callbacks[match.group(2)] = (match.group(1).strip(), split_arguments(match.group(3)))

    def read_functions(self, text, header):
        pattern = re.compile(r'(?:/\*\*((?:(?!\*/).)*?)\*/\s*)?^ *VIQ_API ([^(;]*?)(\w+)\(([^)]*)\);',
                             re.S | re.M)
        for match in pattern.finditer(text):
            comment, result, name, arguments = match.groups()
            self.functions.append((name, ' '.join(result.split()), split_arguments(arguments),
                                   comment or ''))
        marks = len(re.findall(r'^ *VIQ_API ', text, re.M))
        found = len(pattern.findall(text))
        if marks != found:
            raise SystemExit(f'{header}: {marks} functions are marked, {found} are understood')
