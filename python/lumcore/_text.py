"""A Variant's text for people, in NumPy's manner: all elements up to a
thousand, beyond that the first and last three along each axis around
'...'."""

import itertools

THRESHOLD = 1000
EDGE_ITEMS = 3


def _positions(extent, summarise):
    if summarise and extent > 2 * EDGE_ITEMS:
        return itertools.chain(range(EDGE_ITEMS), [None], range(extent - EDGE_ITEMS, extent))
    return range(extent)


def _nested(v, prefix, summarise, separator, indent):
    """The elements under index `prefix`, as bracketed text."""
    depth = len(prefix)
    if depth == v.ndim:
        return repr(v[prefix] if prefix else v.item())
    parts = ["..." if i is None else _nested(v, prefix + (i,), summarise, separator, indent + 1)
             for i in _positions(v.shape[depth], summarise)]
    if depth + 1 == v.ndim:
        return "[" + separator.join(parts) + "]"
    between = separator.rstrip() + "\n" * (v.ndim - depth - 1) + " " * indent
    return "[" + between.join(parts) + "]"


def _elements(v, separator, indent):
    if v.type == "unknown":
        return ""
    summarise = v.size > THRESHOLD
    if v.ndim == 0:
        return repr(v.item())
    return _nested(v, (), summarise, separator, indent)


def variant_repr(v):
    if v.type == "unknown":
        return "lumcore.Variant()"
    head = "lumcore.Variant("
    ordering = ", ordering='ColumnMajor'" if v.ordering == "ColumnMajor" and v.ndim > 1 else ""
    return f"{head}{_elements(v, ', ', len(head) + 1)}, dtype='{v.type}'{ordering})"


def variant_str(v):
    if v.type == "unknown":
        return "null"
    text = _elements(v, " ", 1)
    return text if v.ndim else text.strip("'") if v.type == "string" else text
