#!/usr/bin/env python3
"""Shows the state of a file, through a library of Python's own word size."""
import ctypes
import sys

if len(sys.argv) != 5:
    sys.exit("usage: minimal-host.py LIBRARY REPOSITORY WORKING-COPY FILE")
path, repository, working_copy, name = sys.argv[1:]
library = ctypes.CDLL(path)
library.AllocateSourceCodeControlSystemInterface.restype = ctypes.c_void_p
provider = ctypes.c_void_p(library.AllocateSourceCodeControlSystemInterface())
table = ctypes.cast(provider, ctypes.POINTER(ctypes.POINTER(ctypes.c_void_p)))[0]


def call(number, result, *arguments):
    return ctypes.CFUNCTYPE(result)(table[number - 1])(provider, *arguments)


call(1, ctypes.c_bool, b"Environment/Source Code Control/CVSExecutable", b"cvs")
call(1, ctypes.c_bool, b"Environment/Source Code Control/CVSRoot", repository.encode())
if not call(6, ctypes.c_bool, working_copy.encode()):
    sys.exit(working_copy + " is not a working copy")
flags = [ctypes.c_bool() for _ in range(4)]
texts = [ctypes.c_char_p() for _ in range(3)]
if call(12, ctypes.c_bool, name.encode(), *map(ctypes.byref, flags + texts)):
    print(*[text.value.decode() for text in texts])
else:
    print("status failed:", call(27, ctypes.c_char_p).decode())
library.ReleaseSourceCodeControlSystemInterface(provider)
