"""Pulling realtime states and events instead of receiving them in a callback.

    with kyarm.Library(2), kyarm.Robot("127.0.0.1", 8080) as robot:
        for state in robot.realtime(timeout=1.0, count=200):
            print(state.joint_position[:robot.dof])

A :class:`Stream` is a bounded queue fed by the library's realtime (or event) callback. It is
a listener of its own: it works alongside a callback set with
:func:`kyarm.set_realtime_callback` (both receive every push) and alongside other streams.

Drop policy: when the consumer is slower than the pushes and the queue is full, the *oldest*
queued item is dropped to make room for the newest, so the consumer always catches up with
the current state; :attr:`Stream.dropped` counts the items lost that way.

Stopping: leave the ``with`` block, call :meth:`Stream.close` (from any thread, including the
loop body), or give ``count``. A ``timeout`` (seconds) bounds the wait for the next item:
:class:`TimeoutError` is raised when nothing arrives in time (pushes only arrive in library
mode 2, from a connected robot whose controller pushes).
"""

from __future__ import annotations

import collections
import threading
import time
import weakref
from typing import Any, Callable, Deque, Generic, Iterator, Optional, TypeVar

from . import _kyarm

T = TypeVar("T")

_REALTIME, _EVENT = 0, 1


class Stream(Generic[T]):
    """An iterator over the items one library callback delivers, through a bounded queue."""

    def __init__(self, kind: int, maxsize: int = 256, timeout: Optional[float] = 5.0,
                 count: Optional[int] = None, accept: Optional[Callable[[T], bool]] = None):
        if maxsize < 1:
            raise ValueError("maxsize must be at least 1")
        self.maxsize = maxsize
        self.timeout = timeout
        self.count = count
        self.dropped = 0
        self.received = 0
        self._kind = kind
        self._items: Deque[T] = collections.deque()
        self._ready = threading.Condition(threading.Lock())
        self._closed = False
        self._yielded = 0
        # The library holds the tap, the tap only a weak reference to the stream: a stream
        # dropped without close() (a loop left by break) is collected and stops receiving.
        ref = weakref.ref(self)

        def tap(item: T) -> None:
            stream = ref()
            if stream is not None and (accept is None or accept(item)):
                stream._push(item)

        self._tap = tap
        _kyarm._add_tap(kind, tap)

    def _push(self, item: T) -> None:
        # Runs on a library thread with the GIL held: short and never blocking.
        with self._ready:
            if self._closed:
                return
            if len(self._items) >= self.maxsize:
                self._items.popleft()
                self.dropped += 1
            self._items.append(item)
            self.received += 1
            self._ready.notify()

    def get(self, timeout: Optional[float] = None) -> T:
        """The next item; waits up to ``timeout`` seconds (default: the stream's), then raises
        TimeoutError. Raises StopIteration once the stream is closed and drained."""
        wait = self.timeout if timeout is None else timeout
        deadline = None if wait is None else time.monotonic() + wait
        with self._ready:
            while not self._items:
                if self._closed:
                    raise StopIteration
                left = None if deadline is None else deadline - time.monotonic()
                if left is not None and left <= 0:
                    raise TimeoutError(f"no item within {wait} s")
                self._ready.wait(left)
            return self._items.popleft()

    def __iter__(self) -> Iterator[T]:
        return self

    def __next__(self) -> T:
        if self.count is not None and self._yielded >= self.count:
            self.close()
            raise StopIteration
        item = self.get()
        self._yielded += 1
        return item

    def drain(self) -> list:
        """Every queued item, without waiting."""
        with self._ready:
            items = list(self._items)
            self._items.clear()
        return items

    def close(self) -> None:
        """Stops receiving; an iteration ends once the queued items are consumed (a waiting
        one wakes up at once)."""
        with self._ready:
            if self._closed:
                return
            self._closed = True
            self._items.clear()
            self._ready.notify_all()
        _kyarm._remove_tap(self._kind, self._tap)

    @property
    def closed(self) -> bool:
        return self._closed

    def __enter__(self) -> "Stream[T]":
        return self

    def __exit__(self, *exc: Any) -> bool:
        self.close()
        return False

    def __del__(self) -> None:
        try:
            self.close()
        except Exception:
            pass


def realtime(maxsize: int = 256, timeout: Optional[float] = 5.0,
             count: Optional[int] = None) -> "Stream[_kyarm.RealtimeState]":
    """A :class:`Stream` of :class:`kyarm.RealtimeState`, one per realtime push (library
    mode 2), from every connected robot. Keeps at most ``maxsize`` states (dropping the
    oldest), waits ``timeout`` seconds for each (None: forever), stops after ``count``."""
    return Stream(_REALTIME, maxsize, timeout, count)


def events(maxsize: int = 256, timeout: Optional[float] = 5.0,
           count: Optional[int] = None) -> "Stream[_kyarm.Event]":
    """A :class:`Stream` of :class:`kyarm.Event` (trajectory and program ends; library modes 1
    and 2), same rules as :func:`realtime`."""
    return Stream(_EVENT, maxsize, timeout, count)


def _robot_realtime(self, maxsize: int = 256, timeout: Optional[float] = 5.0,
                    count: Optional[int] = None) -> "Stream[_kyarm.RealtimeState]":
    """The realtime states as a :class:`kyarm.Stream` (see :func:`kyarm.realtime`).
    The library has one realtime receiver per process: with several robots, tell their states
    apart by ``state.sender_ip``."""
    return realtime(maxsize, timeout, count)


def _robot_events(self, maxsize: int = 256, timeout: Optional[float] = 5.0,
                  count: Optional[int] = None) -> "Stream[_kyarm.Event]":
    """This robot's events as a :class:`kyarm.Stream` (see :func:`kyarm.events`);
    events of other robots are skipped."""
    robot_id = self.id
    return Stream(_EVENT, maxsize, timeout, count, accept=lambda e: e.handle_id == robot_id)


_kyarm.Robot.realtime = _robot_realtime
_kyarm.Robot.events = _robot_events
