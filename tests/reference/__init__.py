"""A second implementation of the converter, written to be compared with the program, not to be fast.

Every step is done the plain way: searches are linear, lists are walked again, single precision is double precision
rounded after each operation. Whatever the program does cleverly must come to the same bytes, the same lines and the
same exit status as here.
"""
