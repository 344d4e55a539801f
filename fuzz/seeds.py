#!/usr/bin/env python3
"""Writes the seed corpus of each fuzz target into DIR/<target>/: small valid
inputs of each format, so that the fuzzers start from real structure."""
import base64
import os
import struct
import sys

SIGNATURE = bytes([0x5A, 0xC3, 0x17, 0xE8, 0x4D, 0xB6, 0x21, 0x7F, 0x90, 0x3E])


def record_file(records, words=(7, 1, 2, 3)):
    """A record file: the header words, the signature, then (id, level, data)."""
    out = struct.pack("<4h", *words) + SIGNATURE
    for rid, level, data in records:
        out += struct.pack("<IIh", rid, len(data), level) + data
    return out


def packbits(data):
    """Literal packets only: valid PackBits for any data."""
    out = b""
    for i in range(0, len(data), 128):
        chunk = data[i:i + 128]
        out += bytes([len(chunk) - 1]) + chunk
    return out


def version_note(strings, language=0x0409, code_page=1200):
    """The version note: the fixed block's 13 words, the translation, the strings."""
    words = [0xFEEF04BD, 0x00010000, 0x00020001, 0x00030007, 0x00040005, 0, 0x3F, 0, 0x40004, 1, 0, 0, 0,
             language | code_page << 16]
    desc = struct.pack("<14I", *words) + strings
    desc += b"\0" * (-len(desc) % 4)
    return struct.pack("<III", 8, 14 * 4 + len(strings), 0x4B575649) + b"KWLIB63\0" + desc


def elf(note, wide=True, sections=True, segments=False):
    """A little-endian ELF file holding `note` behind a note section and/or segment."""
    header = 64 if wide else 52
    out = bytearray(header) + note
    shoff = phoff = 0
    if sections:
        shoff = len(out)
        ent = 64 if wide else 40
        null = bytes(ent)
        if wide:
            sec = struct.pack("<IIQQQQIIQQ", 0, 7, 0, 0, header, len(note), 0, 0, 4, 0)
        else:
            sec = struct.pack("<IIIIIIIIII", 0, 7, 0, 0, header, len(note), 0, 0, 4, 0)
        out += null + sec
    if segments:
        phoff = len(out)
        if wide:
            out += struct.pack("<IIQQQQQQ", 4, 4, header, 0, 0, len(note), len(note), 4)
        else:
            out += struct.pack("<IIIIIIII", 4, header, 0, 0, len(note), len(note), 4, 4)
    out[0:7] = b"\x7fELF" + bytes([2 if wide else 1, 1, 1])
    if wide:
        struct.pack_into("<QQ", out, 32, phoff, shoff)
        struct.pack_into("<HHHH", out, 54, 56, 1 if segments else 0, 64, 2 if sections else 0)
    else:
        struct.pack_into("<II", out, 28, phoff, shoff)
        struct.pack_into("<HHHH", out, 42, 32, 1 if segments else 0, 40, 2 if sections else 0)
    return bytes(out)


def seeds():
    tree = [(1, 1, b"r"), (2, 2, b"a"), (3, 3, b"bb"), (4, 2, b""), (5, 1, b"d")]
    yield "serializer", "tree", record_file(tree)
    yield "serializer", "empty", record_file([])
    yield "serializer", "big", record_file([(i % 7, 1 + i % 4, bytes(range(i % 40))) for i in range(60)])
    yield "serializer", "long-record", record_file([(1, 1, b"x" * 3000), (2, 2, b"y")])

    limit = b"\x01\x00"  # 256 * 4 bytes of output allowed
    yield "decompress", "rle", limit + bytes([3, ord("a"), 0, ord("b"), 255, 0])
    yield "decompress", "packbits-runs", limit + bytes([0xFD, ord("z"), 0x80, 1, 0x81, 2])
    yield "decompress", "packbits-literal", limit + packbits(bytes(range(200)))
    yield "decompress", "tiny-limit", b"\x00\x01" + bytes([0x80, 7, 5, 1, 2, 3, 4, 5, 6])

    for name, data in (("man", b"Man"), ("pad1", b"Ma"), ("pad2", b"M"), ("bytes", bytes(range(256)))):
        yield "base64", name, base64.b64encode(data)
    yield "base64", "junk", b"TW Fu\n=="

    yield "csv", "plain", b"\x00," + b"a,,b\nc,d\r\n\r\ne\n"
    yield "csv", "required", b"\x01," + b'junk"a,b" "c\\"d"\n"open\n'
    yield "csv", "optional", b"\x02," + b'"ab",c,""\nabc"\n"x\n'
    yield "csv", "skip-tabs", b"\x43\t" + b"h1\nh2\na\tb\n\n\nc"

    ini = "; c\r\n[Sec]\r\n Key = value \r\nq=\"x\"\r\nnokey\r\n[Two]\na=1\r[T\u00e9]\r\nk=v"
    yield "ini", "ansi", b"\x01" + ini.encode("cp1252")
    yield "ini", "utf16", b"\x01" + b"\xff\xfe" + ini.encode("utf-16-le")
    yield "ini", "write", b"\x00" + b"[S]\nx=1\n\n[T]\ny=2"

    def record(name, code, payload):
        return struct.pack("<H", len(name)) + name + bytes([code]) + payload
    inner = b"DRIVER-BLOC" + record(b"i", 0, struct.pack("<i", 7))
    block = (b"DRIVER-BLOC" + record(b"n", 0, struct.pack("<i", -2)) + record(b"r", 1, struct.pack("<d", 1.5))
             + record(b"sub", 3, struct.pack("<I", len(inner)) + inner)
             + record(b"s\xe9", 5, struct.pack("<H", 4) + "\u00e0b".encode("utf-16-le"))
             + record(b"x", 4, struct.pack("<I", 2) + b"\x01\x02") + record(b"t", 2, struct.pack("<H", 2) + b"\xe9z"))
    yield "blocopcions", "all-types", block
    yield "blocopcions", "empty", b"DRIVER-BLOC"
    yield "blocopcions", "path", b"DRIVER-BLOC" + record(b"a/b", 0, struct.pack("<i", 1))

    yield "xmlsettings", "settings", (b'<?xml version="1.0"?><Sections><Section Name="S"><Key Name="k">v</Key>'
                                      b'<Key Name="j">2</Key></Section><Section Name="T"/></Sections>')
    yield "xmlsettings", "options", (b'<Options SoftwareVersion="6.3"><n Type="int">42</n><r Type="double">0.1</r>'
                                     b'<s Type="string">t</s><x Type="binary"><![CDATA[YWJj]]></x>'
                                     b'<sub Type="SubBloc"><d>4.5</d><e>42</e></sub></Options>')

    reg = ('Windows Registry Editor Version 5.00\r\n\r\n[HKEY_CURRENT_USER\\Software\\T]\r\n'
           '"s"="a \\"q\\" \\\\ b"\r\n@="d"\r\n"n"=dword:0000002a\r\n"m"=hex(7):61,00,00,00,00,00\r\n'
           '"b"=hex:01,02,\\\r\n  03\r\n"gone"=-\r\n\r\n[-HKEY_CURRENT_USER\\Software\\Old]\r\n')
    yield "regfile", "utf16", b"\xff\xfe" + reg.encode("utf-16-le")
    yield "regfile", "utf8", reg.encode("utf-8")
    # The editor's looser lines: comments after data, blanks around '=', continued
    # hex with comment lines and blank lines inside, an 8-bit REGEDIT4 file.
    loose = ('REGEDIT4\r\n; comment\n  [HKEY_CURRENT_USER\\Software\\T ]\r"x"  =  "caf\xe9" ;c\n'
             '@ = dword: 1f ;c\n"h"=hex(2):41,42,\\ ;c\n\n  ; inside\n  43\n"bad"=hex:4\\\n"t"=hex:01,;end\n'
             '[-HKEY_CURRENT_USER\\Software\\T\\Sub]\n"ignored"="v"\n[HKEY_CLASSES_ROOT\\x]\n"y"=-\n')
    yield "regfile", "regedit4", loose.encode("cp1252")

    def sid(authority, *subs):
        return bytes([1, len(subs)]) + authority.to_bytes(6, "big") + b"".join(struct.pack("<I", x) for x in subs)

    def ace(kind, flags, mask, who):
        return struct.pack("<BBHI", kind, flags, 8 + len(who), mask) + who

    entries = (ace(0, 0, 0x13019F, sid(22, 1, 0)) + ace(0, 0, 0x120089, sid(22, 2, 0))
               + ace(0, 0, 0x1200A9, sid(22, 1, 65534)) + ace(0, 0x0B, 0x120089, sid(1, 0)))
    acl = struct.pack("<BBHHH", 2, 0, 8 + len(entries), 4, 0) + entries
    yield "securitydescriptor", "dacl", struct.pack("<BBHIIII", 1, 0, 0x8004, 0, 0, 0, 20) + acl
    yield "securitydescriptor", "owner-dacl", (struct.pack("<BBHIIII", 1, 0, 0x9404, 20, 0, 0, 36)
                                               + sid(22, 1, 0) + acl)


    strings = b"CompanyName\0Tormel\0ProductName\0kwlib63\0FileVersion\x001.2.3\0"
    yield "versioninfo", "elf64-section", elf(version_note(strings))
    yield "versioninfo", "elf32-segment", elf(version_note(b"K\0V\0"), wide=False, sections=False, segments=True)
    yield "versioninfo", "elf64-both", elf(version_note(b"K\0\xc3\xa0\0", 0x040C, 1252), segments=True)
    yield "versioninfo", "elf64-no-note", elf(struct.pack("<III", 4, 4, 1) + b"GNU\0abcd")

    yield "textconv", "ascii", b"plain text, 123"
    yield "textconv", "utf8", "gr\u00fc\u00df \u20ac \U0001F600 \u4e00".encode("utf-8")
    yield "textconv", "utf8-bom", b"\xef\xbb\xbf" + "\u00e0b".encode("utf-8")
    yield "textconv", "utf16-bom", b"\xfe\xff" + "ab\u00e9".encode("utf-16-le")
    yield "textconv", "high-bytes", bytes(range(128, 256))
    yield "textconv", "broken-utf8", b"a\xc3\x28\xe2\x82\xf0\x9f\x98\xed\xa0\x80z"

    for name, text in (("cm", "12.5 cm"), ("fraction", "1 3/4 in"), ("bare-fraction", "3/8"), ("points", "72 pt"),
                       ("metres", "0.25m"), ("feet", "2 ft"), ("yards", "1yd"), ("rep", "10 rep"), ("plain", " 42 "),
                       ("inch-mark", '3"'), ("junk", "abc")):
        yield "units", name, text.encode("utf-8")

    for name, text in (("absolute", "/usr/lib/x.so.6"), ("relative", "a/b/c.txt"), ("folder", "/a/b/"),
                       ("root", "/"), ("quoted", '"/tmp/q r.txt"'), ("join", "/base\tfile.ext"),
                       ("up", "/a/b/c\t.."), ("dots", "/a.b/c"), ("odd", "a<b>:c|d?*e.f")):
        yield "pathstring", name, text.encode("utf-8")

    yield "multistring", "three", b"one\0two\0three\0\0"
    yield "multistring", "empty-first", b"\0rest\0\0"
    yield "multistring", "unterminated", b"a\0bb\0ccc"
    yield "multistring", "repeats", b"x\0y\0x\0\0"

    yield "kwlibargs", "numbers", b"\x05" + b"\0".join([b"42", b"0x1F", b"0XfF", b"007", b"18446744073709551615"])
    yield "kwlibargs", "bad-numbers", b"\x03" + b"\0".join([b"-1", b"+2", b" 3", b"0x", b"12ab", b"70000"])
    yield "kwlibargs", "flags", b"\x02" + b"\0".join([b"--json", b"file", b"-", b"-r", b"--all", b"-5"])
    yield "kwlibargs", "unknown-flag", b"\x01" + b"\0".join([b"--nope", b"x"])
    yield "kwlibargs", "flags-then-dash-dash", b"\x00" + b"\0".join([b"-r", b"-r", b"--all", b"--"])


def main():
    root = sys.argv[1]
    for target, name, data in seeds():
        folder = os.path.join(root, target)
        os.makedirs(folder, exist_ok=True)
        with open(os.path.join(folder, "seed-" + name), "wb") as f:
            f.write(data)


if __name__ == "__main__":
    main()
