"""Builds the wheel of the package with its library; a build backend for pip without dependencies.

pip wheel --no-deps --no-build-isolation FOLDER, where FOLDER is what the build of VIQ has assembled:
this file, pyproject.toml, README.md and the folder viq with the generated modules and the library.
Directly: wheel_backend.py FOLDER OUT
"""
import base64
import hashlib
import re
import sys
import sysconfig
import zipfile
from pathlib import Path

# The same contents give the same wheel.
TIME = (2024, 1, 1, 0, 0, 0)


def project_field(folder, name):
    text = (folder / 'pyproject.toml').read_text()
    return re.search(rf'^{name} = "(.*)"$', text, re.M).group(1)


def write_wheel(folder, out):
    package = folder / 'viq'
    if not list(package.glob('*.so')) + list(package.glob('*.dll')) or \
            not (package / 'functions.py').exists():
        raise SystemExit(f'{package} has no library or no generated modules; build VIQ first')
    version = project_field(folder, 'version')
    platform = re.sub(r'[-.]', '_', sysconfig.get_platform())
    tag = f'py3-none-{platform}'
    info = f'viq-{version}.dist-info'
    contents = {f'viq/{file.name}': file.read_bytes() for file in sorted(package.iterdir())
                if file.is_file()}
    contents[f'{info}/METADATA'] = (
        f'Metadata-Version: 2.1\nName: viq\nVersion: {version}\n'
        f'Summary: {project_field(folder, "description")}\n'
        f'Requires-Python: {project_field(folder, "requires-python")}\nRequires-Dist: numpy\n'
        'Description-Content-Type: text/markdown\n\n').encode() + (folder / 'README.md').read_bytes()
    contents[f'{info}/WHEEL'] = ('Wheel-Version: 1.0\nGenerator: viq\nRoot-Is-Purelib: false\n'
                                 f'Tag: {tag}\n').encode()
    rows = [f'{name},sha256={digest(data)},{len(data)}' for name, data in contents.items()]
    contents[f'{info}/RECORD'] = '\n'.join(rows + [f'{info}/RECORD,,', '']).encode()
    name = f'viq-{version}-{tag}.whl'
    with zipfile.ZipFile(Path(out) / name, 'w', zipfile.ZIP_DEFLATED) as wheel:
        for path, data in contents.items():
            entry = zipfile.ZipInfo(path, TIME)
            entry.external_attr = 0o644 << 16
            entry.compress_type = zipfile.ZIP_DEFLATED
            wheel.writestr(entry, data)
    return name


def digest(data):
    return base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b'=').decode()


# ---- The functions that pip calls

def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    return write_wheel(Path(__file__).resolve().parent, wheel_directory)


def get_requires_for_build_wheel(config_settings=None):
    return []


if __name__ == '__main__':
    if len(sys.argv) != 3:
        raise SystemExit(__doc__)
    print(write_wheel(Path(sys.argv[1]), sys.argv[2]))
