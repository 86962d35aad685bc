"""kyarm: a client for networked robot-arm controllers.

    import kyarm
    with kyarm.Library(2), kyarm.Robot("127.0.0.1", 8080) as robot:
        robot.movej([10, 0, 0, 0, 0, 0], v=20)
        print(robot.get_joint_degree())

Every command is a method of :class:`Robot` named after its C function without the ``ky_``
prefix, in the C units, returning what the C call reads; a non-zero result raises a
:class:`kyarm.Error` subclass (see :mod:`kyarm.errors`).

Pushed data arrives either in callbacks (:func:`set_realtime_callback`,
:func:`set_event_callback`, :func:`set_log_callback`, called on the library's threads) or
through bounded queues to iterate over (:func:`realtime`, :func:`events`,
``robot.realtime()``, ``robot.events()``; see :mod:`kyarm.realtime`). :mod:`kyarm.sim` runs a
simulated controller in-process.
"""

from ._kyarm import *  # noqa: F401,F403
from ._kyarm import algo, sim, init, destroy  # noqa: F401
from .errors import (Error, FamilyError, HandleError, ParseError,  # noqa: F401
                     RefusedError, TimeoutError)


class Library:
    """The library's lifetime as a context manager: ``kyarm.init(mode)`` on entry,
    ``kyarm.destroy()`` on exit (which closes every robot)."""

    def __init__(self, mode: int = 2):
        self.mode = mode

    def __enter__(self):
        rc = init(self.mode)
        if rc != 0:
            raise HandleError(rc, "ky_init", "lifecycle", "the library could not start")
        return self

    def __exit__(self, *exc):
        destroy()
        return False


from ._kyarm import Event, set_event_callback, set_log_callback, set_realtime_callback  # noqa: F401,E402
from .realtime import Stream, events, realtime  # noqa: F401,E402
