"""Fixtures shared by the suites: a simulated KY6A-B arm in the process (moving four times as
fast as the real one) and a robot connected to it with the library in mode 1."""

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
