"""Exceptions raised by kyarm: one per meaning of the C result codes.

Every failed call raises a subclass of :class:`Error` carrying the C result code
(``.code``), the C function that returned it (``.function``) and the command family whose
meaning of the code applies (``.family``, e.g. ``"motion"``).
"""

import builtins


class Error(Exception):
    """A kyarm call returned a non-zero result code."""

    def __init__(self, code: int, function: str, family: str, message: str):
        super().__init__(f"{function}: {message} (code {code})")
        self.code = code
        self.function = function
        self.family = family
        self.message = message


class RefusedError(Error):
    """Code 1: the controller answered but refused (or the trajectory failed)."""


class HandleError(Error):
    """Code -1: unknown or deleted robot, send failure, or an argument refused."""


class TimeoutError(Error, builtins.TimeoutError):
    """Code -2: no reply within the time-out (also: the controller could not be reached)."""


class ParseError(Error):
    """Code -3: the reply could not be read (also a query's reply length, a code above 1)."""


class FamilyError(Error):
    """-4, -5, -6 or a documented positive code: its meaning depends on ``.family``."""


_BY_CODE = {1: RefusedError, -1: HandleError, -2: TimeoutError, -3: ParseError}


def _make(code: int, function: str, family: str, message: str, condition: int = None) -> Error:
    """The exception for a C result (used by the extension module). `condition` is the
    family-independent meaning of the code (1, -1, -2, -3, or another value for a
    family-specific code), which in some families differs from the code itself."""
    key = code if condition is None else condition
    cls = ParseError if key > 1 else _BY_CODE.get(key, FamilyError)
    return cls(code, function, family, message)
