"""Tests of examples/cluster/viq_cluster.py: run_cluster.py TOOL FOLDER."""
import contextlib
import json
import os
import subprocess
import sys
import time
from pathlib import Path

import numpy as np

import killing_pipeline
import viq
import viq_cluster

COUNT = 60


def make_pictures(folder):
    for number in range(COUNT):
        sub = folder / f'part{number % 3}'
        sub.mkdir(parents=True, exist_ok=True)
        name = f'{"deadly" if number == 25 else "picture"}{number}.bmp'
        viq.save(np.full((20, 30, 3), number, np.uint8), sub / name)
    (folder / 'part0' / 'bad.bmp').write_bytes(b'not a picture')
    viq.save(np.full((20, 30, 3), 7, np.uint8), folder / 'part0' / 'picture0.tif')


def run(*arguments):
    sys.argv = ['viq_cluster'] + [str(a) for a in arguments]
    return viq_cluster.main()


def outputs_of(out):
    return {str(p.relative_to(out)) for p in out.rglob('*') if p.is_file() and p.suffix == '.tif'}


def expected_names():
    names = {f'part{n % 3}/{"deadly" if n == 25 else "picture"}{n}.tif' for n in range(COUNT)}
    return names | {'part0/picture0.tif.tif'}


def check(out, is_grey):
    assert outputs_of(out) == expected_names(), outputs_of(out) ^ expected_names()
    assert not [p for p in out.rglob('*') if p.name.startswith(viq_cluster.PART)]
    for number in range(COUNT):
        name = 'deadly' if number == 25 else 'picture'
        image = viq.open(out / f'part{number % 3}' / f'{name}{number}.tif')
        assert image.format == ('y8' if is_grey else 'rgb24') and (image.array == number).all()
    finished = (out / 'finished.txt').read_text().splitlines()
    assert len(finished) == len(set(finished)) == COUNT + 1, len(finished)
    failed = (out / 'failed.txt').read_text().splitlines()
    assert len(failed) == 1 and 'bad.bmp\t' in failed[0], failed


@contextlib.contextmanager
def cluster(work):
    """A scheduler and two workers as processes of their own; gives the address."""
    file = work / 'scheduler.json'
    processes = []
    for name, arguments in (('scheduler', ['--host', '127.0.0.1', '--port', '0']),
                            ('worker', ['--nworkers', '2', '--nthreads', '1'])):
        folder = work / name
        folder.mkdir()
        processes.append(subprocess.Popen(
            [sys.executable, '-m', f'distributed.cli.dask_{name}', '--no-dashboard',
             '--scheduler-file', file, *arguments], cwd=folder, stderr=subprocess.DEVNULL))
        while not file.exists():
            assert processes[0].poll() is None
            time.sleep(0.1)
    try:
        yield json.loads(file.read_text())['address']
    finally:
        for process in reversed(processes):
            process.terminate()
            process.wait()


def main():
    tool, work = sys.argv[1], Path(sys.argv[2])
    pictures = work / 'in'
    make_pictures(pictures)

    # A worker is killed while it writes an output; the run ends complete all the same.
    out = work / 'by_function'
    mark = work / 'mark'
    os.environ['VIQ_TEST_MARK'] = str(mark)
    status = run(pictures, out, '--to', 'tif', '--function', 'killing_pipeline:convert',
                 '--workers', 2, '--batch', 4)
    assert status == 1 and mark.exists()
    check(out, True)

    # Finished outputs are skipped; one that is missing is made again. A cut line does not count.
    times = {name: (out / name).stat().st_mtime_ns for name in outputs_of(out)}
    (out / 'part1' / 'picture1.tif').unlink()
    journal = (out / 'finished.txt').read_text()
    cut = journal.splitlines()[-1]
    (out / 'finished.txt').write_text(journal[:-5])
    assert run(pictures, out, '--to', 'tif', '--function', 'killing_pipeline:convert',
               '--workers', 2, '--batch', 4) == 1
    again = {n for n in times if (out / n).stat().st_mtime_ns != times[n]}
    made = os.path.splitext(os.path.relpath(cut, pictures))[0] + '.tif'
    assert again == {'part1/picture1.tif', made}, again

    # A picture that ends every worker fails alone.
    fatal = work / 'fatal_in'
    fatal.mkdir()
    for name in ('a', 'fatal', 'z'):
        viq.save(np.zeros((4, 4, 3), np.uint8), fatal / f'{name}.bmp')
    fatal_out = work / 'fatal_out'
    real, viq_cluster.convert_batch = viq_cluster.convert_batch, killing_pipeline.failing_batch
    assert run(fatal, fatal_out, '--to', 'tif', '--function', 'killing_pipeline:convert',
               '--workers', 1, '--batch', 3) == 1
    viq_cluster.convert_batch = real
    assert outputs_of(fatal_out) == {'a.tif', 'z.tif'}
    assert 'fatal.bmp\tRuntimeError: lost' in (fatal_out / 'failed.txt').read_text()

    # The tool, from a manifest.
    manifest = work / 'manifest.txt'
    manifest.write_text(''.join(f'{p}\n' for p in sorted(pictures.rglob('*.*'))))
    tool_out = work / 'by_tool'
    assert run(manifest, tool_out, '--to', 'tif', '--viq', f'{tool} convert', '--workers', 2,
               '--batch', 7) == 1
    made = {str(p.relative_to(tool_out / str(pictures).lstrip('/')))
            for p in tool_out.rglob('*.tif')}
    assert made == expected_names(), made ^ expected_names()
    assert 'bad.bmp' in (tool_out / 'failed.txt').read_text()

    # At the address of a scheduler, whose workers have other current folders.
    os.chdir(work)
    with cluster(work) as address:
        arguments = ('in', 'far', '--to', 'tif', '--scheduler', address, '--batch', 9)
        try:
            run(*arguments, '--viq', '/missing/viq convert')
            raise AssertionError('workers without the tool are accepted')
        except SystemExit as refusal:
            assert refusal.code == 2 and not outputs_of(work / 'far')
        assert run(*arguments, '--viq', f'{tool} convert --format y8') == 1
    check(work / 'far', True)


if __name__ == '__main__':
    main()
