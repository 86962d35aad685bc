"""Shared by the examples: the command line and the controller to talk to.

Each example talks to a controller at --ip/--port (by default a `ky-sim` started on
127.0.0.1:8080), or with --sim to a simulator started inside the example.
"""

import argparse
import contextlib

import kyarm


def arguments(description: str) -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--ip", default="127.0.0.1", help="controller address (default 127.0.0.1)")
    parser.add_argument("--port", type=int, default=8080, help="controller TCP port (default 8080)")
    parser.add_argument("--sim", action="store_true", help="start an in-process simulator instead")
    return parser


@contextlib.contextmanager
def controller(args, mode: int = 2):
    """Yields a connected kyarm.Robot; the library runs in `mode` (2: realtime pushes too)."""
    with contextlib.ExitStack() as stack:
        ip, port = args.ip, args.port
        if args.sim:
            sim = stack.enter_context(kyarm.sim.Simulator(speed_scale=2.0))
            ip, port = "127.0.0.1", sim.port
        stack.enter_context(kyarm.Library(mode))
        yield stack.enter_context(kyarm.Robot(ip, port))
