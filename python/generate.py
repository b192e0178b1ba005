#!/usr/bin/env python3
"""Generates the low-level layer of the package, viq/functions.py and functions.pyi, and the layer
of operations, viq/operations.py and operations.pyi.

generate.py INCLUDE FOLDER

INCLUDE is the folder of the public headers, FOLDER receives the modules. Every function that the
headers mark with VIQ_API becomes a function of the same name, with the manual as its docstring; every
constant and every record becomes one too. A declaration that cannot be translated is an error, so
that no function is missing without notice.
"""
import re
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
from operation_table import OPERATIONS

NUMBERS = {
    'uint8_t': 'c_uint8', 'uint16_t': 'c_uint16', 'uint32_t': 'c_uint32', 'uint64_t': 'c_uint64',
    'int8_t': 'c_int8', 'int16_t': 'c_int16', 'int32_t': 'c_int32', 'int64_t': 'c_int64',
    'int': 'c_int', 'uintptr_t': 'c_size_t', 'size_t': 'c_size_t', 'double': 'c_double',
    'float': 'c_float', 'char': 'c_char',
}

# Functions whose result is a number of any size, not a handle, a status or an error code.
VALUES = re.compile(r'^(VIQ_[fm](get|put)_\w+|TIFF_read_\w+|VIQ_Err\w+|VIQ_Debug\w+)$')
# Functions whose result is an error code only if the error has been reported.
REPORTED = {'VIQ_image_get_parameter'}
# Functions that can free, replace or move the pixels of the image in one of these arguments.
MOVED_ARGUMENT = re.compile(r'^(hOut\w*|hTo|hMemory|hStrip|hPaddedImage|hOffsetRefImage|hGainRefImage)$')
MOVES_IMAGE = re.compile(r'^VIQ_(image_(destroy|read|free_data|malloc_a_strip|set_ptr)|read_\w+_file)$')


def clean(comment):
    """The text of a comment, without its stars."""
    lines = [re.sub(r'^ ?\* ?', '', line.strip()) if line.strip().startswith('*') else line.strip()
             for line in comment.split('\n')]
    return '\n'.join(lines).strip()


def docstring(comment):
    """The manual of a function as a docstring: arguments, result and errors as sections."""
    text = clean(comment).replace('\\', '\\\\').replace('"""', "'''")
    lines = []
    for line in text.split('\n'):
        line = re.sub(r'^@param (\w+) +', r'\1: ', line)
        line = re.sub(r'^@return ', 'Returns: ', line)
        line = re.sub(r'^@par (.*)$', r'\1:', line)
        line = re.sub(r'@ref (\w+)', r'\1', line)
        lines.append(line)
    return '\n'.join(lines)


def without_comments(text):
    return re.sub(r'/\*.*?\*/', '', text, flags=re.S)


def split_declaration(text):
    """'const uint8_t *pBuffer' -> ('const uint8_t *', 'pBuffer', [])."""
    dimensions = [int(n) for n in re.findall(r'\[(\d+)\]', text)]
    match = re.match(r'^(.*?)(\w+)\s*(\[.*)?$', text.strip(), re.S)
    return ' '.join(match.group(1).split()), match.group(2), dimensions


class Headers:
    def __init__(self, folder):
        self.constants = []  # name, value, comment
        self.records = []    # name, fields, comment
        self.functions = []  # name, result, arguments, comment
        self.handler_types = []
        known = set()
        for header in sorted(folder.glob('viq/*.h'), key=lambda h: (h.name != 'types.h', h.name)):
            text = header.read_text()
            self.read_constants(text, known)
            self.read_records(text)
            self.read_functions(text, header)
        self.record_names = {name for name, _, _ in self.records}

    def read_constants(self, text, known):
        values = {name: value for name, value, _ in self.constants}
        for match in re.finditer(r'^#define (VIQ_\w+) (0x[0-9a-fA-F]+|\d+)u?\s*(?:/\*\*<(.*?)\*/)?$',
                                 text, re.M):
            self.constants.append((match.group(1), int(match.group(2), 0), match.group(3) or ''))
        for body in re.findall(r'\benum\b[^{;]*\{(.*?)\}', text, re.S):
            value = -1
            for match in re.finditer(r'(VIQ_\w+)\s*(?:=\s*([^,/}]+))?\s*,?\s*(?:/\*\*<(.*?)\*/)?',
                                     body, re.S):
                name, given, comment = match.groups()
                value = eval(given.replace('u', ''), {}, values) if given else value + 1
                values[name] = value
                self.constants.append((name, value, clean(comment or '')))

    def read_records(self, text):
        for match in re.finditer(
                r'(?:/\*\*((?:(?!\*/).)*?)\*/\s*)?typedef struct(?: \w+)? \{(.*?)\} (\w+);', text, re.S):
            comment, body, name = match.groups()
            fields = [split_declaration(f) for f in without_comments(body).split(';') if f.strip()]
            self.records.append((name, fields, clean(comment or '')))
        self.handler_types += re.findall(r'typedef uint32_t ?\(VIQ_CALL \*(\w+)\)', text)

    def read_functions(self, text, header):
        pattern = re.compile(r'(?:/\*\*((?:(?!\*/).)*?)\*/\s*)?^ *VIQ_API ([^(;]*?)VIQ_CALL (\w+)\(([^)]*)\);',
                             re.S | re.M)
        for match in pattern.finditer(text):
            comment, result, name, arguments = match.groups()
            arguments = [] if arguments.strip() == 'void' else arguments.split(',')
            self.functions.append((name, ' '.join(result.split()),
                                   [split_declaration(a) for a in arguments], comment or ''))
        marks = len(re.findall(r'^ *VIQ_API ', text, re.M))
        found = len(pattern.findall(text))
        if marks != found:
            raise SystemExit(f'{header}: {marks} functions are marked, {found} are understood')

    # ---- C types as those of ctypes

    def field_type(self, c_type, dimensions):
        base = c_type.replace('const ', '').strip()
        if base.endswith('*') or base in self.handler_types:
            made = 'c_void_p'
        elif base in self.record_names:
            made = base
        else:
            made = NUMBERS[base]
        for count in reversed(dimensions):
            made = f'{made} * {count}'
        return made

    def argument_type(self, c_type):
        base = c_type.replace('const ', '').strip()
        if c_type == 'const char *':
            return 'c_char_p'
        if base in self.handler_types:
            return base
        return 'c_void_p' if base.endswith('*') else NUMBERS[base]

    def result_type(self, c_type):
        base = c_type.replace('const ', '').strip()
        if base == 'void':
            return 'None'
        if base == 'char *':
            return 'c_char_p'
        if base.endswith('*'):
            record = base[:-1].strip()
            return f'POINTER({record})' if record in self.record_names else 'c_void_p'
        return NUMBERS[base]


PYTHON_TYPES = {'c_char_p': 'Optional[Text]', 'c_void_p': 'Pointer', 'None': 'None',
                'c_double': 'float', 'c_float': 'float'}


def stub_type(made, is_result):
    if made == 'c_char_p' and is_result:
        return 'Optional[bytes]'
    if made.startswith('POINTER'):
        return 'Any'
    if made == 'c_void_p' and is_result:
        return 'Optional[int]'
    if made == 'VIQ_ErrHandler':
        return 'Any'
    return PYTHON_TYPES.get(made, 'int')


def indent(text):
    return '\n'.join('    ' + line if line else '' for line in text.split('\n'))


def write_functions(headers, folder):
    code = ['"""The functions, constants and records of the library, as its headers declare them.',
            '',
            'Generated from the headers. A function whose result is an error code raises viq.Error',
            'instead. Every thread works in a context of its own. Text is str or bytes, a pointer is',
            'None, an address, bytes or an object of ctypes.',
            '"""',
            'from ctypes import (CFUNCTYPE, POINTER, Structure, c_char, c_char_p, c_int, c_int8, c_int16,',
            '                    c_int32, c_int64, c_size_t, c_uint8, c_uint16, c_uint32, c_uint64,',
            '                    c_double, c_float, c_void_p)',
            '',
            'from ._runtime import check, encode_text, exported, guard, here, library',
            '']
    stub = ['from ctypes import Structure', 'from typing import Any, Optional, Union', '',
            'Text = Union[str, bytes]', 'Pointer = Any', '']
    for name, value, comment in headers.constants:
        shown = f'0x{value:x}' if value > 0xFFFF else str(value)
        comment = ' '.join(comment.split())
        code.append(f'{name} = {shown}' + (f'  # {comment}' if comment else ''))
        stub.append(f'{name}: int')
    for name in headers.handler_types:
        code += ['', f'{name} = CFUNCTYPE(c_uint32, c_uint32, c_char_p, c_uint32, c_char_p)']
        stub += ['', f'{name}: Any']
    for name, fields, comment in headers.records:
        code += ['', '', f'class {name}(Structure):', indent(f'"""{comment}"""'), '    _fields_ = [']
        stub += ['', f'class {name}(Structure):']
        for c_type, field, dimensions in fields:
            code.append(f'        ({field!r}, {headers.field_type(c_type, dimensions)}),')
            stub.append(f'    {field}: Any')
        code.append('    ]')
    for name, result, arguments, comment in headers.functions:
        types = [headers.argument_type(c_type) for c_type, _, _ in arguments]
        names = [argument for _, argument, _ in arguments]
        result = headers.result_type(result)
        passed = [f'encode_text({n})' if t == 'c_char_p' else n for n, t in zip(names, types)]
        signature = ', '.join(names)
        code += ['', '', f'_{name} = library.{name}', f'_{name}.restype = {result}',
                 f'_{name}.argtypes = [{", ".join(types)}]', '', '',
                 f'def {name}({signature}):', indent(f'"""{docstring(comment)}\n"""'),
                 '    here.started']
        moved = [n for n in names if MOVED_ARGUMENT.match(n) or
                 (MOVES_IMAGE.match(name) and n == 'hImage')]
        if moved:
            code += ['    if exported:', f'        guard({name!r}, {", ".join(moved)})']
        call = f'_{name}({", ".join(passed)})'
        if result != 'c_uint32' or VALUES.match(name):
            code.append(f'    return {call}')
        else:
            if name in REPORTED:
                code.append('    here.reports.clear()')
            code += [f'    result = {call}',
                     '    if result > 0xFFFF:',
                     f'        check(result, {name!r}' + (', True)' if name in REPORTED else ')'),
                     '    return result']
        typed = ', '.join(f'{n}: {stub_type(t, False)}' for n, t in zip(names, types))
        stub.append(f'def {name}({typed}) -> {stub_type(result, True)}: ...')
    functions = sorted(name for name, _, _, _ in headers.functions)
    code += ['', '', '# The names of all functions.', 'ALL = (']
    code += [f'    {name!r},' for name in functions] + [')']
    stub.append('ALL: tuple[str, ...]')
    (folder / 'functions.py').write_text('\n'.join(code) + '\n')
    (folder / 'functions.pyi').write_text('\n'.join(stub) + '\n')


def manual_of(comment, parameters, c_arguments):
    """The manual of a C function without the arguments that the Python function does not have."""
    renamed = dict(zip(c_arguments, parameters))
    lines, keep = [], True
    for line in clean(comment).split('\n'):
        match = re.match(r'^@param (\w+) +(.*)$', line)
        if match:
            name, text = match.groups()
            keep = name in renamed
            line = f'{renamed.get(name)}: {text}'
        elif line.startswith('@') or not line:
            keep = True
        if keep:
            lines.append(line)
    return docstring('\n'.join(lines))


def write_operations(headers, folder):
    functions = {name: (arguments, comment) for name, _, arguments, comment in headers.functions}
    code = ['"""Operations on whole pictures, one Python function for each C function.',
            '',
            'Generated from a table and the headers. An operation takes an Image or an array that',
            'from_array accepts, and returns a new Image. Numbers of arguments and errors are those of',
            'the C function that the docstring names.',
            '"""',
            'from . import functions as _c',
            'from ._image import handle_of, kernel_of, run, run_whole',
            '',
            'NEXT = _c.VIQ_STRIP_NEXT']
    stub = ['from typing import Any, Sequence', 'from ._image import Image, Picture', '']
    for name, function, parameters, call in OPERATIONS:
        if function not in functions:
            raise SystemExit(f'{name}: there is no {function} in the headers')
        arguments, comment = functions[function]
        names = [p.split(':')[0].strip() for p in parameters.split(',') if p.strip()]
        by_strips = 'command' in call
        signature = ', '.join(['image'] + [re.sub(r': [^=,]+(?= ?=)|: [^=,]+', '', p).strip()
                                           for p in parameters.split(',') if p.strip()])
        values = [value.strip() for value in call.split(',')]
        c_names = [argument for _, argument, _ in arguments]
        if len(values) != len(c_names):
            raise SystemExit(f'{name}: {function} has {len(c_names)} arguments')
        known = {}
        for value, c_name in zip(values, c_names):
            inner = re.sub(r'^\w+\((.*)\)$', r'\1', value)
            if inner in names:
                known[c_name] = inner
        manual = manual_of(comment, list(known.values()), list(known))
        step = f'_{name}'
        step_arguments = ['source', 'target'] + (['command'] if by_strips else []) + names
        code += ['', '', f'def {step}({", ".join(step_arguments)}):',
                 f'    _c.{function}({call})', '', '',
                 f'def {name}({signature}):', indent(f'"""{manual}\n\nThe C function is {function}.\n"""'),
                 f'    return {"run" if by_strips else "run_whole"}'
                 f'({", ".join([step, "image"] + names)})']
        if by_strips:
            code += ['', '', f'{name}.step = {step}']
        typed = ', '.join(['image: Picture'] + [p.strip() for p in parameters.split(',') if p.strip()])
        stub.append(f'def {name}({typed}) -> Image: ...')
    names = [row[0] for row in OPERATIONS]
    code += ['', '', '__all__ = [', *[f'    {name!r},' for name in names], ']']
    (folder / 'operations.py').write_text('\n'.join(code) + '\n')
    (folder / 'operations.pyi').write_text('\n'.join(stub) + '\n')


def main():
    if len(sys.argv) != 3:
        raise SystemExit(__doc__)
    headers = Headers(Path(sys.argv[1]))
    folder = Path(sys.argv[2])
    folder.mkdir(parents=True, exist_ok=True)
    write_functions(headers, folder)
    write_operations(headers, folder)


if __name__ == '__main__':
    main()
