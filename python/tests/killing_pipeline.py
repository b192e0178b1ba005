"""A pipeline that kills its worker once, in the middle of an output."""
import os
import signal

import viq
import viq_cluster


def convert(source, target):
    if 'deadly' in source:
        first_time = os.environ['VIQ_TEST_MARK']
        try:
            os.close(os.open(first_time, os.O_CREAT | os.O_EXCL))
        except FileExistsError:
            pass
        else:
            with open(target, 'wb') as part:
                part.write(b'partial')
            os.kill(os.getpid(), signal.SIGKILL)
    viq.save(viq.open(source, 'y8'), target)


def failing_batch(pipeline, pairs):
    """Fails as a whole, as a batch does that no worker survives."""
    if any('fatal.bmp' in source for source, _ in pairs):
        raise RuntimeError('lost')
    return viq_cluster.convert_batch(pipeline, pairs)
