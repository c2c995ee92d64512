"""Late binding: any object of the library, by member name, through IDispatch.

``dispatch(obj)`` wraps an object so that its members are reached by name::

    rec.com.ChannelGroups.Item(1).HNorms.Count
    rec.com.Title = "new title"            # property put
    for group in rec.com.ChannelGroups:    # enumeration (_NewEnum)
        ...

The library publishes no type information, so a name is resolved when it is
used: reading ``obj.Name`` first asks for the property; a member that is a
method, or a property that needs arguments (``Item``, ``Collection``), comes
back as a callable. Call ``obj.invoke(name, *args)`` to pass arguments to a
property that also works without them (``channel.com.invoke("Name", 3)``).
Arguments marked ``Ref(...)`` are passed by reference: after the call the
member's [out] value is in ``ref.value``, and the call returns the [out]
values (after the result, if there is one)::

    hnorm = group.com.HNorms.GetFirstEndingAfter(1.0, Ref())
    data = group.com.GetMuxData(channels, 1, 1, 100, 1, Ref())
"""

from . import _core
from ._errors import Error

Ref = _core.Ref

_GET = _core.DISPATCH_PROPERTYGET
_CALL = _core.DISPATCH_METHOD | _core.DISPATCH_PROPERTYGET
_PUT = _core.DISPATCH_PROPERTYPUT
_NOT_A_PLAIN_PROPERTY = {
    _core.DISP_E_MEMBERNOTFOUND,
    _core.DISP_E_BADPARAMCOUNT,
    _core.DISP_E_PARAMNOTOPTIONAL,
}


def _wrap(value):
    if isinstance(value, _core.Object):
        return Dispatch(value)
    if isinstance(value, list):
        return [_wrap(v) for v in value]
    return value


def _unwrap(value):
    if isinstance(value, Dispatch):
        return value._object
    com = getattr(value, "com", None)
    if isinstance(com, Dispatch):
        return com._object
    if isinstance(value, (list, tuple)):
        return [_unwrap(v) for v in value]
    if isinstance(value, Ref):
        value.value = _unwrap(value.value)
    return value


def _call(obj, name, flags, args):
    args = tuple(_unwrap(a) for a in args)
    result = _wrap(obj.invoke(name, flags, args))
    refs = [a for a in args if isinstance(a, Ref)]
    if not refs:
        return result
    for ref in refs:
        ref.value = _wrap(ref.value)
    outs = ([] if result is None else [result]) + [ref.value for ref in refs]
    if not outs:
        return None
    return outs[0] if len(outs) == 1 else tuple(outs)


class Member:
    """A method (or a property with arguments) of a late-bound object."""

    __slots__ = ("_object", "_name")

    def __init__(self, obj, name):
        self._object = obj
        self._name = name

    def __call__(self, *args):
        return _call(self._object, self._name, _CALL, args)

    def __repr__(self):
        return f"<movalegacy member {self._object.interface or 'object'}.{self._name}>"


class Dispatch:
    """An object of the library reached by member name (see the module text)."""

    __slots__ = ("_object",)

    def __init__(self, obj):
        if not isinstance(obj, _core.Object):
            raise TypeError("dispatch() needs an object of the library")
        object.__setattr__(self, "_object", obj)

    def __getattr__(self, name):
        if name.startswith("__"):
            raise AttributeError(name)
        obj = self._object
        if not obj.has(name):
            raise AttributeError(f"{obj.interface or 'the object'} has no member {name!r}")
        try:
            return _wrap(obj.invoke(name, _GET, ()))
        except Error as error:
            if error.status in _NOT_A_PLAIN_PROPERTY:
                return Member(obj, name)
            raise

    def __setattr__(self, name, value):
        _call(self._object, name, _PUT, (value,))

    def invoke(self, name, *args):
        """Calls member ``name`` (method or property get) with ``args``."""
        return _call(self._object, name, _CALL, args)

    def __iter__(self):
        return iter(_wrap(self._object.items()))

    def __len__(self):
        return self.Count

    def __eq__(self, other):
        return isinstance(other, Dispatch) and other._object.identity == self._object.identity

    def __hash__(self):
        return hash(self._object.identity)

    def __repr__(self):
        try:
            interface = self._object.interface
        except ValueError:
            interface = "closed"
        return f"<movalegacy.dispatch {interface or 'object'}>"


def dispatch(obj):
    """Late-bound access to ``obj``: a Dispatch, or any movalegacy object with a
    ``com`` attribute (recordings, groups, channels)."""
    if isinstance(obj, Dispatch):
        return obj
    if isinstance(obj, _core.Object):
        return Dispatch(obj)
    com = getattr(obj, "com", None)
    if isinstance(com, Dispatch):
        return com
    raise TypeError(f"cannot late-bind a {type(obj).__name__}")


def com_property(member, doc=None):
    """A read-only property that reads ``member`` of its owner's ``com``
    object: the pass-through of a late-bound value."""
    return property(lambda self: getattr(self.com, member), doc=doc)
