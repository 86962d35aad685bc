"""The package around the module: the committed type stub is current, the examples run."""

import os
import pathlib
import subprocess
import sys

import pytest

import kyarm

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILT = pathlib.Path(kyarm.__file__).resolve().parents[1]  # <build>/python


def test_committed_stub_matches_the_built_module(tmp_path):
    fresh = subprocess.run([sys.executable, str(ROOT / "scripts" / "gen-pyi.py"), str(BUILT)],
                           capture_output=True, text=True, check=True, timeout=120).stdout
    committed = (ROOT / "python" / "kyarm" / "_kyarm.pyi").read_text()
    assert fresh == committed, ("python/kyarm/_kyarm.pyi is stale: run "
                                "python3 scripts/gen-pyi.py <build>/python > python/kyarm/_kyarm.pyi")
    compile(fresh, "_kyarm.pyi", "exec")


@pytest.mark.parametrize("example,extra,output", [
    ("state.py", [], None),
    ("moves.py", [], None),
    ("realtime_plot.py", ["-o", "joints.png"], "joints.png"),
])
def test_example_runs_against_the_simulator(tmp_path, example, extra, output):
    env = dict(os.environ, PYTHONPATH=str(BUILT), MPLBACKEND="Agg")
    run = subprocess.run([sys.executable, str(ROOT / "examples" / "python" / example), "--sim", *extra],
                         cwd=tmp_path, env=env, capture_output=True, text=True, timeout=120)
    assert run.returncode == 0, run.stdout + run.stderr
    if output:
        png = tmp_path / output
        assert png.read_bytes()[:8] == b"\x89PNG\r\n\x1a\n"
