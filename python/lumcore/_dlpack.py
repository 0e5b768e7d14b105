"""DLPack into the library: lumcore.from_dlpack."""

from ._lumcore import LumCoreError, Variant, _from_capsule

# Producers from before the versioned form (NumPy 1.24) refuse max_version:
# asked once, remembered by type.
_UNVERSIONED = set()


def _capsule(producer):
    if type(producer) in _UNVERSIONED:
        return producer.__dlpack__()
    try:
        return producer.__dlpack__(max_version=(1, 0))
    except TypeError:
        _UNVERSIONED.add(type(producer))
        return producer.__dlpack__()


def from_dlpack(x, /, *, copy=None):
    """A Variant over the memory of `x` (anything with __dlpack__, or a
    DLPack capsule), which `x`'s owner keeps until the last share goes.

    copy=None shares when the producer and the library allow it and copies
    otherwise (a read-only NumPy array, or strides that are neither row- nor
    column-major); copy=True always copies; copy=False never does, and says
    why when it cannot share.
    """
    if not hasattr(x, "__dlpack__"):
        return _from_capsule(x)
    if copy:
        return x.copy() if isinstance(x, Variant) else Variant(x)
    try:
        return _from_capsule(_capsule(x))
    except (BufferError, LumCoreError) as refused:
        if copy is False:
            raise BufferError(f"{refused} (with copy=True, from_dlpack copies instead)") from refused
        return Variant(x)
