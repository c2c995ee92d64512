"""Exceptions raised by movalegacy."""


class Error(Exception):
    """A failure reported by the library.

    Attributes: ``status`` (the 32-bit status code, unsigned), ``name`` (its
    symbolic name, e.g. ``"STG_E_FILENOTFOUND"``, ``"MESSAGE_10104"`` for the
    library's numbered messages, or ``""``), ``message`` (the library's
    message text) and ``operation`` (what was being done).
    """

    def __init__(self, status, name, message, operation=""):
        self.status = status & 0xFFFFFFFF
        self.name = name
        self.message = message
        self.operation = operation
        text = f"0x{self.status:08X}"
        if name:
            text += f" {name}"
        if message and message != name:
            text += f": {message}"
        super().__init__(f"{operation}: {text}" if operation else text)


class ArgumentError(Error, TypeError):
    """The library refused the arguments of a late-bound call (wrong type or
    number); it is also a ``TypeError``."""
