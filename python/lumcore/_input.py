"""What the Variant constructor hands back to Python: NumPy arrays of text
or objects, which become nested lists, and values that have no element
type, which get a message naming why."""


def prepare(value):
    """Nested lists for `value`, or an exception that says what is wrong."""
    kind = getattr(getattr(value, "dtype", None), "kind", None)
    if hasattr(value, "mask") and kind is not None:
        raise TypeError("a masked array has no Variant: fill or drop the masked elements first "
                        "(a.filled(value) or a.compressed())")
    if kind in ("U", "S", "O") and hasattr(value, "tolist"):
        if kind == "S":
            raise TypeError("NumPy bytes arrays have no Variant: decode them to str first (a.astype('U'))")
        return value.tolist()
    if kind is not None:
        raise TypeError(f"NumPy's {value.dtype} has no LumCore element type; the types are "
                        "listed in lumcore.TYPES")
    raise TypeError(f"{type(value).__name__} has no LumCore element type: give a number, str, nested lists, "
                    "a NumPy array or a Variant")
