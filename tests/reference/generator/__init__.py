"""Random files and command lines, the same again for the same seed."""
