"""DLPack capsules: made for the library's tensors, read for anyone's.

A capsule is named "dltensor" (the unversioned form) or "dltensor_versioned";
its consumer renames it "used_..." once it owns the tensor. A capsule nobody
consumed calls the tensor's deleter when it goes.
"""

import ctypes

from ._flat import DLManagedTensor, DLManagedTensorVersioned

PLAIN = b"dltensor"
VERSIONED = b"dltensor_versioned"
_USED = {PLAIN: b"used_dltensor", VERSIONED: b"used_dltensor_versioned"}
_FORMS = {PLAIN: DLManagedTensor, VERSIONED: DLManagedTensorVersioned}


def _api(name, restype, *argtypes):
    return ctypes.PYFUNCTYPE(restype, *argtypes)((name, ctypes.pythonapi))


# The destructor receives the dying capsule by address: taking it as an
# object would revive it.
_is_valid_at = _api("PyCapsule_IsValid", ctypes.c_int, ctypes.c_void_p, ctypes.c_char_p)
_pointer_at = _api("PyCapsule_GetPointer", ctypes.c_void_p, ctypes.c_void_p, ctypes.c_char_p)
_is_valid = _api("PyCapsule_IsValid", ctypes.c_int, ctypes.py_object, ctypes.c_char_p)
_pointer = _api("PyCapsule_GetPointer", ctypes.c_void_p, ctypes.py_object, ctypes.c_char_p)
_set_name = _api("PyCapsule_SetName", ctypes.c_int, ctypes.py_object, ctypes.c_char_p)
_DESTRUCTOR_TYPE = ctypes.PYFUNCTYPE(None, ctypes.c_void_p)
_new = _api("PyCapsule_New", ctypes.py_object, ctypes.c_void_p, ctypes.c_char_p, _DESTRUCTOR_TYPE)


def delete_tensor(address, name):
    """Calls the deleter of the managed tensor of form `name` at `address`."""
    managed = ctypes.cast(address, ctypes.POINTER(_FORMS[name]))
    if managed.contents.deleter:
        managed.contents.deleter(managed)


def _destroy_unconsumed(capsule):
    for name in (PLAIN, VERSIONED):
        if _is_valid_at(capsule, name):
            delete_tensor(_pointer_at(capsule, name), name)
            return


_DESTRUCTOR = _DESTRUCTOR_TYPE(_destroy_unconsumed)


def make_capsule(address, name):
    """A capsule owning the managed tensor of form `name` at `address`."""
    try:
        return _new(address, name, _DESTRUCTOR)
    except BaseException:
        delete_tensor(address, name)
        raise


def open_capsule(capsule):
    """The form and tensor address of an unconsumed capsule."""
    for name in (VERSIONED, PLAIN):
        if _is_valid(capsule, name):
            return name, _pointer(capsule, name)
    raise ValueError("not an unconsumed DLPack capsule")


def mark_consumed(capsule, name):
    _set_name(capsule, _USED[name])
