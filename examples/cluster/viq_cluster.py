#!/usr/bin/env python3
"""Converts a folder or a list of pictures on the workers of a Dask cluster. See README.md."""
import argparse
import importlib
import os
import shlex
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

try:
    from distributed import Client, LocalCluster, as_completed
except ImportError:
    sys.exit('viq_cluster.py needs Dask distributed, on Debian the package python3-distributed')

PART = '.viq-part-'  # starts the names of unfinished outputs


# ---- On the workers

def reason_of(failure):
    return f'{type(failure).__name__}: {failure}'.replace('\n', ' ')


def run_function(name, pairs):
    """Calls a Python function with each input and a path for its output; gives the failures."""
    module, _, attribute = name.partition(':')
    function = getattr(importlib.import_module(module), attribute)
    failures = {}
    for source, target in pairs:
        os.makedirs(os.path.dirname(target), exist_ok=True)
        # The extension stays at the end, because it selects the file format.
        handle, part = tempfile.mkstemp(prefix=PART, suffix=os.path.splitext(target)[1],
                                        dir=os.path.dirname(target))
        os.close(handle)
        try:
            function(source, part)
            os.chmod(part, 0o644)
            os.replace(part, target)
        except Exception as failure:
            failures[source] = reason_of(failure)
            if os.path.exists(part):
                os.remove(part)
    return failures


def run_tool(command, pairs):
    """Runs the tool once for the batch. Its outputs are numbered in a folder of their own and then
    renamed."""
    root = os.path.dirname(os.path.commonpath([os.path.dirname(t) + '/x' for _, t in pairs]))
    os.makedirs(root, exist_ok=True)
    folder = tempfile.mkdtemp(prefix=PART, dir=root)
    try:
        failures = {}
        extension = os.path.splitext(pairs[0][1])[1]
        links, outputs = os.path.join(folder, 'in'), os.path.join(folder, 'out')
        os.mkdir(links)
        os.mkdir(outputs)
        for number, (source, _) in enumerate(pairs):
            # The number keeps pictures of one name apart.
            link = os.path.join(links, f'{number}{os.path.splitext(source)[1]}')
            os.symlink(os.path.abspath(source), link)
        names = [os.path.join(links, f'{n}{os.path.splitext(s)[1]}') for n, (s, _) in enumerate(pairs)]
        arguments = shlex.split(command) + ['--jobs', '1', '--to', extension[1:], '-o',
                                            os.path.join(outputs, '{name}' + extension)]
        done = subprocess.run(arguments + names, capture_output=True, text=True, check=False)
        for (source, target), name in zip(pairs, names):
            output = os.path.join(outputs, Path(name).stem + extension)
            if os.path.exists(output):
                os.makedirs(os.path.dirname(target), exist_ok=True)
                os.replace(output, target)
            else:
                lines = [line for line in done.stderr.splitlines() if name in line]
                failures[source] = (lines or done.stderr.splitlines() or ['no output'])[0].replace(
                    name, source)
        return failures
    finally:
        shutil.rmtree(folder, ignore_errors=True)


def convert_batch(pipeline, pairs):
    """One task: gives the inputs of the batch with their failures, None if there is none."""
    kind, what = pipeline
    try:
        failures = (run_function if kind == 'function' else run_tool)(what, pairs)
    except Exception as failure:  # the disk is full, the tool is missing
        failures = {source: reason_of(failure) for source, _ in pairs}
    return [(source, failures.get(source)) for source, _ in pairs]


def examine(pipeline, paths):
    """What keeps this worker from working, None if nothing does, and the version of viq here."""
    unseen = [path for path in paths if not os.path.exists(path)]
    if unseen:
        return f'does not see {unseen[0]}', ''
    kind, what = pipeline
    try:
        if kind == 'tool':
            done = subprocess.run([shlex.split(what)[0], '--version'], capture_output=True, text=True,
                                  check=True)
            return None, done.stdout.partition('\n')[0]
        importlib.import_module(what.partition(':')[0])
        return None, getattr(sys.modules.get('viq'), '__version__', '')
    except Exception as failure:
        return reason_of(failure), ''


# ---- In the program

def find_inputs(given):
    """The inputs of a folder with its subfolders, or of a file with one path a line, in order."""
    if os.path.isdir(given):
        for folder, folders, files in os.walk(given):
            folders.sort()
            yield from (os.path.join(folder, name) for name in sorted(files))
    else:
        with open(given, errors='surrogateescape') as manifest:
            yield from (line.rstrip('\n') for line in manifest if line.strip())


def plan(given, out, extension):
    """Pairs of input and output. An output that two inputs would share is named after its input."""
    root = given if os.path.isdir(given) else None
    taken = set()
    for source in find_inputs(given):
        relative = os.path.relpath(source, root) if root else source.lstrip('/').replace('../', '')
        source = os.path.abspath(source)  # workers have other current folders
        target = os.path.join(out, os.path.splitext(relative)[0] + extension)
        if target in taken:
            target = os.path.join(out, relative + extension)
        taken.add(target)
        yield source, target


def read_lines(path):
    if not os.path.exists(path):
        return set()
    with open(path, errors='surrogateescape') as lines:
        # A line that the end of the program has cut off does not count.
        return {line[:-1] for line in lines if line.endswith('\n')}


def is_cut(path):
    """The last line has no end."""
    with open(path, 'rb') as lines:
        return os.path.getsize(path) > 0 and lines.seek(-1, os.SEEK_END) >= 0 and lines.read() != b'\n'


def remove_parts(out):
    for folder, folders, files in os.walk(out):
        for name in [n for n in files if n.startswith(PART)]:
            os.remove(os.path.join(folder, name))
        for name in [n for n in folders if n.startswith(PART)]:
            shutil.rmtree(os.path.join(folder, name), ignore_errors=True)


class Progress:
    def __init__(self, total, skipped):
        self.total, self.skipped, self.start, self.shown = total, skipped, time.monotonic(), 0.0
        self.done = self.failed = 0

    def add(self, results):
        self.done += len(results)
        self.failed += sum(failure is not None for _, failure in results)
        if time.monotonic() - self.shown >= 1:
            self.show()

    def show(self):
        self.shown = time.monotonic()
        rate = self.done / max(self.shown - self.start, 1e-9)
        left = (self.total - self.done) / rate if rate else 0
        print(f'{self.done} of {self.total}, {rate:.1f} a second, {self.failed} failed, '
              f'{self.skipped} finished before, {left:.0f} s left', flush=True)


def count_threads(client):
    return sum(worker['nthreads'] for worker in client.scheduler_info().get('workers', {}).values())


def end(problem):
    print(problem, file=sys.stderr)
    sys.exit(2)


def check_workers(client, pipeline, modules, pairs, out):
    """Waits for the first worker; ends the program if one sees other folders or lacks the pipeline."""
    if not count_threads(client):
        print('waiting for workers', flush=True)
        client.wait_for_workers(1)
    for module in modules:
        try:
            client.upload_file(module)
        except Exception as failure:
            end(f'a worker cannot load {module}: {reason_of(failure)}')
    inputs = [source for source, _ in pairs if os.path.exists(source)][:1]
    with tempfile.NamedTemporaryFile(prefix=PART, dir=out) as seen:
        answers = client.run(examine, pipeline, [seen.name] + inputs)
    problems = [f'{worker}: {problem}' for worker, (problem, _) in answers.items() if problem]
    if problems:
        end('\n'.join(problems))
    versions = {version for _, version in answers.values()}
    if len(versions) > 1:
        print(f'workers have different versions: {", ".join(sorted(versions))}', file=sys.stderr)


def process(client, pipeline, pairs, out, batch):
    """Converts the pairs that are not finished; gives the number of failures."""
    finished_file = os.path.join(out, 'finished.txt')
    finished = read_lines(finished_file)
    todo = [(s, t) for s, t in pairs if not (s in finished and os.path.exists(t))]
    progress = Progress(len(todo), len(pairs) - len(todo))
    waiting = [todo[n:n + batch] for n in range(0, len(todo), batch)][::-1]
    parts = {}  # of the tasks under way, by their keys

    def submit():
        part = waiting.pop()
        future = client.submit(convert_batch, pipeline, part, pure=False)
        parts[future.key] = part
        return future

    def results_of(future):
        part = parts.pop(future.key)
        try:
            return future.result()
        except Exception as failure:  # the workers that had the batch have ended one after the other
            if len(part) == 1:
                return [(part[0][0], reason_of(failure))]
            waiting.extend([pair] for pair in reversed(part))
            return []

    def keep_busy():
        """Few tasks are under way, however many pictures there are; workers may come and go."""
        room = 4 * max(1, count_threads(client)) - len(parts)
        for _ in range(min(room, len(waiting))):
            running.add(submit())

    running = as_completed()
    keep_busy()
    with open(finished_file, 'a+', errors='surrogateescape') as journal, \
            open(os.path.join(out, 'failed.txt'), 'w', errors='surrogateescape') as failures:
        if is_cut(finished_file):
            journal.write('\n')
        for future in running:
            if future.cancelled():
                end('the connection to the scheduler is lost; a further run continues')
            results = results_of(future)
            for source, failure in results:
                if failure is not None:
                    failures.write(f'{source}\t{failure}\n')
                elif source not in finished:
                    journal.write(source + '\n')
            journal.flush()
            failures.flush()
            progress.add(results)
            keep_busy()
    remove_parts(out)
    progress.show()
    return progress.failed


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument('input', help='a folder, or a file with one path a line')
    parser.add_argument('out', help='the folder of the results')
    parser.add_argument('--to', default='.jpg', help='extension of the results (.jpg)')
    how = parser.add_mutually_exclusive_group()
    how.add_argument('--viq', default='viq convert', help='the command, such as "viq convert --scale 50%%"')
    how.add_argument('--function', metavar='MODULE:NAME', help='a function of an input and an output path')
    parser.add_argument('--upload', action='append', default=[], help='a module for the workers')
    parser.add_argument('--scheduler', help='address of a scheduler; otherwise workers are started here')
    parser.add_argument('--workers', type=int, default=os.cpu_count(), help='workers to start here')
    parser.add_argument('--batch', type=int, default=50, help='pictures of a task (50)')
    options = parser.parse_args()

    out = os.path.abspath(options.out)
    os.makedirs(out, exist_ok=True)
    pairs = list(plan(options.input, out, '.' + options.to.lstrip('.')))
    pipeline = ('function', options.function) if options.function else ('tool', options.viq)
    cluster = None
    if options.scheduler is None:
        cluster = LocalCluster(options.workers, threads_per_worker=1, dashboard_address=None)
    with Client(options.scheduler or cluster) as client:
        check_workers(client, pipeline, [__file__] + options.upload, pairs, out)
        failed = process(client, pipeline, pairs, out, options.batch)
    if cluster is not None:
        cluster.close()
    return 1 if failed else 0


if __name__ == '__main__':
    sys.exit(main())
