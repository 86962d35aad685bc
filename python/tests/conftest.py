"""Fixtures shared by the suites: a simulated KY6A-B arm in the process (moving four times as
fast as the real one) and a robot connected to it with the library in mode 1."""

import threading
import time

import pytest

import kyarm


@pytest.fixture
def sim():
    s = kyarm.sim.Simulator(model="KY6A-B", speed_scale=4.0)
    yield s
    s.stop()


@pytest.fixture
def robot(sim):
    with kyarm.Library(1), kyarm.Robot("127.0.0.1", sim.port) as r:
        yield r


def _ticks_during(call):
    """How many times another Python thread ran (every 5 ms) while `call()` ran: a call that
    holds the GIL while it waits lets it run once at most."""
    ticks = []
    stop = threading.Event()

    def counter():
        while not stop.is_set():
            ticks.append(1)
            time.sleep(0.005)

    t = threading.Thread(target=counter)
    t.start()
    start = len(ticks)
    try:
        call()
    finally:
        moved = len(ticks) - start
        stop.set()
        t.join()
    return moved


@pytest.fixture
def ticks_during():
    return _ticks_during
