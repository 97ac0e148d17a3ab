#!/usr/bin/env python3
"""Writes hostile preference files into OUTDIR: property lists that are small on disk but
nest deeply, expand exponentially, refer to themselves or out of the file, or hold U+0000.
Each must be refused (or read) by the preference store without crashing or exhausting it.

    fuzz/make_hostile_plists.py OUTDIR [--large]

Without --large the files are small enough to be seeds of the prefs_file fuzzer (they are
kept in fuzz/corpus/prefs_file/); --large also writes the big variants, for local runs.
"""

import os
import plistlib
import struct
import sys

XML_HEAD = (b'<?xml version="1.0" encoding="UTF-8"?>\n'
            b'<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN"'
            b' "http://www.apple.com/DTDs/PropertyList-1.0.dtd">\n'
            b'<plist version="1.0">\n<dict>\n\t<key>Lang</key>\n')
XML_TAIL = b'\n</dict>\n</plist>\n'


def xml_nested(levels):
    """A dictionary whose one value is an array nested `levels` deep."""
    return XML_HEAD + b'<array>' * levels + b'</array>' * levels + XML_TAIL


def xml_comment_nested(levels):
    """Nested arrays where each level also holds "</array>" inside a comment, so that counting
    tags without reading comments sees no depth at all."""
    return XML_HEAD + b'<array><!--</array>-->' * levels + b'</array>' * levels + XML_TAIL


def int_object(n):
    """The marker and bytes of a binary-plist integer, as used for lengths."""
    for marker, fmt in ((0x10, '>B'), (0x11, '>H'), (0x12, '>I'), (0x13, '>Q')):
        if n < 1 << (8 * struct.calcsize(fmt)):
            return bytes([marker]) + struct.pack(fmt, n)
    raise ValueError(n)


class Binary:
    """A binary property list built object by object. Objects refer to each other by index;
    the reference and offset widths are chosen from the final counts."""

    def __init__(self):
        self.objects = []  # (kind, payload): 'raw' bytes, or 'array'/'dict' with references

    def add(self, kind, payload):
        self.objects.append((kind, payload))
        return len(self.objects) - 1

    def ascii(self, text):
        data = text.encode('ascii')
        head = bytes([0x50 | len(data)]) if len(data) < 15 else b'\x5f' + int_object(len(data))
        return self.add('raw', head + data)

    def array(self, refs):
        return self.add('array', list(refs))

    def dict(self, keys, values):
        return self.add('dict', (list(keys), list(values)))

    def encode(self, top=0, ref_size=None, num_objects=None, table_at=None, offsets_patch=None):
        count = len(self.objects)
        if ref_size is None:
            ref_size = 1 if count < 1 << 8 else 2 if count < 1 << 16 else 4
        refs = lambda rs: b''.join(r.to_bytes(ref_size, 'big') for r in rs)
        body = bytearray(b'bplist00')
        offsets = []
        for kind, payload in self.objects:
            offsets.append(len(body))
            if kind == 'raw':
                body += payload
            elif kind == 'array':
                n = len(payload)
                body += (bytes([0xA0 | n]) if n < 15 else b'\xaf' + int_object(n)) + refs(payload)
            else:
                keys, values = payload
                n = len(keys)
                body += (bytes([0xD0 | n]) if n < 15 else b'\xdf' + int_object(n))
                body += refs(keys) + refs(values)
        for index, value in (offsets_patch or {}).items():
            offsets[index] = value
        table = len(body)
        offset_size = 1 if table < 1 << 8 else 2 if table < 1 << 16 else 4
        for at in offsets:
            body += (at % (1 << (8 * offset_size))).to_bytes(offset_size, 'big')
        body += bytes(6) + bytes([offset_size, ref_size])
        body += struct.pack('>QQQ', count if num_objects is None else num_objects, top,
                            table if table_at is None else table_at)
        return bytes(body)


def binary_deep_then_bad_reference(levels, bad='key'):
    """A root dictionary of two entries: the first value nests `levels` arrays, and the second
    entry's key (or value) refers to an object that does not exist. A check that stops at the
    bad reference passes the file on to a parser that first recurses into the deep value."""
    b = Binary()
    root = b.add('dict', None)  # filled below: the root must be object 0
    key = b.ascii('Lang')
    first = b.array([])
    inner = first
    for _ in range(levels - 1):
        inner = b.array([inner])
    missing = len(b.objects) + 1000
    keys = [key, missing if bad == 'key' else key]
    values = [inner, key if bad == 'key' else missing]
    b.objects[root] = ('dict', (keys, values))
    return b.encode()


def binary_exponential(levels, copies):
    """Arrays that each hold the previous one `copies` times: a few KB that a parser copying
    every reference expands to copies ** levels values."""
    b = Binary()
    root = b.add('dict', None)
    key = b.ascii('Lang')
    inner = b.ascii('x')
    for _ in range(levels):
        inner = b.array([inner] * copies)
    b.objects[root] = ('dict', ([key], [inner]))
    return b.encode()


def binary_cycle():
    """An array that contains itself."""
    b = Binary()
    b.dict([1], [2])
    b.ascii('Lang')
    b.array([2])
    return b.encode()


def binary_offset_outside():
    """The offset table sends the key past the end of the file."""
    b = Binary()
    b.dict([1], [2])
    b.ascii('Lang')
    b.ascii('en')
    return b.encode(offsets_patch={1: 0xF0})


def binary_huge_counts():
    """A trailer claiming 2^62 objects, and one whose offset table lies far past the file."""
    b = Binary()
    b.dict([1], [2])
    b.ascii('Lang')
    b.ascii('en')
    return b.encode(num_objects=1 << 62), b.encode(table_at=(1 << 63) + 12)


def main(argv):
    if len(argv) not in (2, 3) or (len(argv) == 3 and argv[2] != '--large'):
        sys.stderr.write('usage: make_hostile_plists.py OUTDIR [--large]\n')
        return 2
    out, large = argv[1], len(argv) == 3
    os.makedirs(out, exist_ok=True)
    huge_count, table_past_end = binary_huge_counts()
    files = {
        'hostile-key-nul.bplist': plistlib.dumps({'\u00e9\x00': 'v'}, fmt=plistlib.FMT_BINARY),
        'hostile-value-nul.bplist': plistlib.dumps({'k': '\u00e9\x00'}, fmt=plistlib.FMT_BINARY),
        'hostile-comment-depth-300.xml': xml_comment_nested(300),
        'hostile-nested-300.xml': xml_nested(300),
        'hostile-deep-then-bad-key-300.bplist': binary_deep_then_bad_reference(300, 'key'),
        'hostile-deep-then-bad-value-300.bplist': binary_deep_then_bad_reference(300, 'value'),
        'hostile-exponential.bplist': binary_exponential(230, 8),
        'hostile-cycle.bplist': binary_cycle(),
        'hostile-offset-outside.bplist': binary_offset_outside(),
        'hostile-huge-count.bplist': huge_count,
        'hostile-table-past-end.bplist': table_past_end,
    }
    if large:
        files.update({
            'large-comment-depth-500000.xml': xml_comment_nested(500000),
            'large-nested-100000.xml': xml_nested(100000),
            'large-deep-then-bad-key-200000.bplist': binary_deep_then_bad_reference(200000, 'key'),
            'large-deep-then-bad-value-200000.bplist':
                binary_deep_then_bad_reference(200000, 'value'),
        })
    for name, data in sorted(files.items()):
        with open(os.path.join(out, name), 'wb') as f:
            f.write(data)
        print('%8d  %s' % (len(data), name))
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv))
