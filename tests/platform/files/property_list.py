"""Reads and writes property lists of strings by Python's own plistlib, for the tests to compare with.

property_list.py read FILE          prints each string as LENGTH:BYTES, and "-" for what is no string
property_list.py write FORMAT FILE  makes FILE, FORMAT xml or binary, of the strings on standard input, in the same form
"""

import plistlib
import sys


def read(path):
    with open(path, "rb") as file:
        for element in plistlib.load(file):
            if isinstance(element, str):
                text = element.encode("utf-8")
                sys.stdout.buffer.write(b"%d:%s" % (len(text), text))
            else:
                sys.stdout.buffer.write(b"-")


def write(form, path):
    given = sys.stdin.buffer.read()
    strings = []
    at = 0
    while at < len(given):
        colon = given.index(b":", at)
        at = colon + 1 + int(given[at:colon])
        strings.append(given[colon + 1 : at].decode("utf-8"))
    formats = {"xml": plistlib.FMT_XML, "binary": plistlib.FMT_BINARY}
    with open(path, "wb") as file:
        plistlib.dump(strings, file, fmt=formats[form])


if __name__ == "__main__":
    {"read": read, "write": write}[sys.argv[1]](*sys.argv[2:])
