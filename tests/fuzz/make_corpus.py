#!/usr/bin/env python3
"""Writes the seed corpora of the fuzz harnesses: corpus/<harness>/seed-*.

Seeds are real-looking messages and files (SIP-style requests with XML
bodies, TPKT frames of several sizes, INI files with comments) plus the
awkward cases each format knows. Files whose names do not start with
"seed-" (saved findings) are left alone. Run it from anywhere:

    python3 tests/fuzz/make_corpus.py
"""
import os
import struct

HERE = os.path.dirname(os.path.abspath(__file__))
GB_CALL = b"\xba\xf4\xbd\xd0\xbd\xa8\xc1\xa2"  # "call set-up" in GB2312, as the devices send it


def write(harness, seeds):
    out = os.path.join(HERE, "corpus", harness)
    os.makedirs(out, exist_ok=True)
    for name in os.listdir(out):
        if name.startswith("seed-"):
            os.remove(os.path.join(out, name))
    for i, data in enumerate(seeds):
        with open(os.path.join(out, "seed-%02d" % i), "wb") as f:
            f.write(data)


def xml_doc(root="request", id_=17, type_="call_setup", items=(), decl=b'<?xml version="1.0" encoding="utf-8"?>'):
    """A document as the encoder writes it; items are (name, source, content)
    for leaves and (name, source, [items]) for child elements."""
    def body(items, depth):
        out = b""
        for name, source, content in items:
            attr = b' source="%s"' % source if source else b""
            if isinstance(content, list):
                out += b"\t" * depth + b"<%s%s>\r\n" % (name, attr) + body(content, depth + 1)
                out += b"\t" * depth + b"</%s>\r\n" % name
            else:
                out += b"\t" * depth + b"<%s%s>%s</%s>\r\n" % (name, attr, content, name)
        return out
    head = b'<%s id="%d" type="%s">\r\n' % (root.encode(), id_, type_.encode())
    return decl + b"\r\n" + head + body(items, 1) + b"</%s>\r\n" % root.encode()


CALL = [(b"caller", None, b"8001"), (b"callee", None, b"8002"),
        (b"route", b"trunk", [(b"hop", None, b"gw-a"), (b"hop", None, b"gw-b")])]
ANSWER = [(b"result", None, b"fail"), (b"cause", None, GB_CALL), (b"callee", None, b"8002")]


def xml_seeds():
    deep = b"<leaf>x</leaf>"
    for level in range(66):  # a little deeper than the decoder follows
        deep = b"<n%d>%s</n%d>" % (level, deep, level)
    return [
        xml_doc(items=CALL),
        xml_doc("response", 17, "call_setup", ANSWER),
        xml_doc("response", -5, "", [(b"result", None, b"ok")]),
        xml_doc(items=[]),
        b'x\r\n<request id="1" type="t"></request>',  # empty body: one "/request" item
        xml_doc(items=[(b"a", b"x", b"1"), (b"a", b"y", b"2"), (b"b", None, b"")]),
        xml_doc(items=[(b"grp", b"x", [(b"a", None, b"1"), (b"sub", None, [(b"z", None, b"9")])])]),
        xml_doc(items=[(b"content", None, b"A" * 1500), (b"n" * 200, b"s" * 200, b"v")]),
        xml_doc(items=[(b"text", None, b"a<b"), (b"amp", None, b"&lt;&amp;")]),
        xml_doc(items=[(b"a", None, [(b"a", None, b"inner")])]),  # same name inside
        b'<?xml version="1.0"?>\r\n<request id="2" type="deep">' + deep + b"</request>",
        b'<?xml version="1.0"?>\r\n<request id="3" type="t"><a/><b>1</b></request>',
        b'<?xml version="1.0"?>\r\n<request type="t" id="3"><a>1</a></request>',  # type first
        b'<?xml version="1.0"?>\r\n<reply id="3" type="t"><a>1</a></reply>',
        b'<?xml version="1.0"?><request id="3" type="t"><a>1</a></request>',  # no line end
        b'<?xml version="1.0"?>\r\n<request id="12abc" type="t" extra="q"><>x</><a b c="1" d="2">v</a></request>',
        b'<?xml version="1.0"?>\r\n<request id="7" type="t"><a source="s">x</a>trailing</request>tail',
        b'\r\n<response id="99999999999" type="x"><![CDATA[<a>]]><!-- c --><a>1</a></response>',
        b'\r\n<request id="1" type="t"><a>unclosed <b>2</b></request>',
        b'\r\n<request id=" type="><a>1</a></request>',
        xml_doc(items=[(b"g", None, GB_CALL + b"\xff\xfe" + GB_CALL), (b"bad", None, b"\x81")]),
        xml_doc(type_='a"b', items=[(b"q", b'x"y', b"1")]),
        xml_doc(decl=b'<?xml version="1.0" encoding="GB2312"?>', items=[(b"name", None, GB_CALL)]),
    ]


def tpkt(body, reserved=0):
    return bytes([3, reserved]) + struct.pack(">H", len(body) + 4) + body


def options(small_buffers, cap, seed, dump=False, bound=None):
    """The four option bytes of the loopback harnesses: small kernel buffers,
    largest chunk (0: 1 byte, 1: 16, 2: 512, 3: 4096, 4: 30000), seed (below
    4096), the print switch and a bound of the send list (below 4096)."""
    word = (seed << 8) | (cap << 1) | int(small_buffers) | (int(dump) << 4)
    if bound is not None:
        word |= 0x20 | (bound << 20)
    return struct.pack("<I", word)


def element_body(*elements):
    return b"".join(struct.pack("<II", tag, len(v)) + v for tag, v in elements)


def tpkt_seeds():
    frames = [tpkt(b"ABCDE"), tpkt(element_body((1, b"8001"), (2, b"8002")), 7), tpkt(b"x" * 1000, 1),
              tpkt(bytes(range(256)) * 31, 2), tpkt(b"z" * 19996, 3)]
    return [
        options(0, 4, 1) + b"".join(frames[:3]),
        options(1, 0, 2) + b"".join(frames[:3]),
        options(0, 1, 3) + b"\x00\x00" + frames[0],                  # junk before a frame
        options(0, 2, 4) + tpkt(b"ab") + tpkt(b"abc") + tpkt(b""),   # lengths 6, 7, 4
        options(0, 4, 5) + b"\x03\x00\x00\x00" + frames[0],          # zero length drops the rest
        options(0, 3, 6) + b"\x03\x00\x00\x02" + frames[1],          # length shorter than a header
        options(1, 3, 7) + frames[3] + frames[1],
        options(0, 4, 8) + frames[4] + frames[0],                    # the largest frame delivered
        options(0, 4, 9) + tpkt(b"y" * 20000) + frames[0],           # too large: stalls
        options(1, 2, 10) + b"".join(frames[:4]) * 2,
        options(0, 0, 11) + frames[1][:2],                            # header cut short
        options(0, 4, 12) + frames[2][:700],
        options(0, 1, 13) + b"\x03\x03\x03\x00\x10" + bytes(32),
        options(1, 4, 14) + b"".join(tpkt(b"m%d" % i * 3, i) for i in range(40)),
        options(0, 2, 15, dump=True) + b"\x03\x00\x00\x01" + b"".join(frames[:3]),
        options(1, 4, 16, bound=1500) + b"".join(frames[:4]),
    ]


def sip(body, command=b"INVITE Command sip:call_setup@127.0.0.1 SIP/2.0", seq=1, length=None):
    length = len(body) if length is None else length
    return (command + b"\r\nCall-ID: demo-%d@127.0.0.1\r\nCSeq: %d\r\nContent-Type: application/xml\r\n"
            b"Content-Length: %d\r\n\r\n" % (seq, seq, length) + body)


def sip_seeds():
    req = sip(xml_doc(items=CALL))
    ans = sip(xml_doc("response", 17, "call_setup", ANSWER), b"SIP/2.0 200 OK Command sip:call_setup@127.0.0.1", 2)
    return [
        options(0, 4, 1) + req,
        options(1, 1, 2) + req + ans,
        options(0, 0, 3) + ans,
        options(0, 2, 4) + b"garbage\r\n" + req + b"\r\n" + ans,
        options(0, 3, 5) + sip(b""),                                     # empty body
        options(0, 3, 6) + sip(b"Command sip:inner Content-Length: 0\r\n\r\n", length=-5) + req,
        options(0, 4, 7) + sip(b"no xml here"),
        options(0, 4, 8) + sip(xml_doc(items=[(b"c", None, b"x" * 1000)] * 6)),  # over 5000 bytes
        options(0, 4, 9) + sip(b"x" * 13000) + req,                     # over 12288: stalls
        options(0, 4, 10) + b"\x00" + req + b"A\x00" + ans,             # zero bytes stop the search
        options(0, 2, 11) + req[:60],                                   # cut in the header
        options(1, 2, 12) + sip(xml_doc(items=CALL), length=10) + ans,  # length too short
        options(0, 3, 13) + b"Command sip:x\r\nContent-Length: abc\r\n\r\n" + req,
        options(1, 4, 14) + b"".join(sip(xml_doc(id_=i, items=CALL[:1]), seq=i) for i in range(20)),
        options(0, 4, 15) + b"Content-Length: 5\r\n\r\n12345" + req,
        options(0, 3, 16, dump=True) + req + ans,
        options(1, 4, 17, bound=700) + req + ans + req,
    ]


def element_input(body, length=None, room=5000, index=1, add_len=16):
    length = len(body) if length is None else length
    return struct.pack("<IHBH", length, room, index + 8, add_len) + body


def element_seeds():
    call = element_body((1, b"8001"), (2, b"8002"), (3, struct.pack("<i", 42)), (1, b"again"))
    return [
        element_input(call),
        element_input(call, room=4, index=1),
        element_input(element_body((7, b"abc"))),
        element_input(element_body((5, b"a"), (5, b"bb"), (5, b"ccc")), index=2),
        element_input(element_body((5, b"a"), (5, b""))),                 # empty value placed last
        element_input(element_body((9, b"v" * 5000)), room=10000),
        element_input(element_body((9, b"v" * 4990)) + bytes(8), add_len=0),
        element_input(call, length=0x80000000 | 10001),                   # too long: refused
        element_input(struct.pack("<II", 1, 0xFFFFFFF0) + b"x" * 32),     # length past the body
        element_input(struct.pack("<II", 1, 100) + b"x" * 20, room=200),
        element_input(call, length=0x80000000 | 7),
        element_input(bytes(10000), add_len=5001),
    ]


def d_element_seeds():
    def add(tag, value):
        return bytes([0, tag]) + struct.pack("<H", len(value) + 128) + value

    def get(tag, room, index=None):
        if index is None:
            return bytes([1, tag]) + struct.pack("<H", room + 100)
        return bytes([2, tag]) + struct.pack("<H", room + 100) + bytes([index + 2])
    return [
        add(2, b"A") + add(2, b"B") + get(2, 10) + get(2, 10, 1) + bytes([4, 2]),
        add(1, b"x" * 100) + get(1, 99) + get(1, 100) + bytes([3, 1]),
        get(0, 10) + bytes([4, 0, 3, 0]),
        add(3, b"") + get(3, 0) + get(3, 0, 0) + get(3, 0, -1),
        bytes([0, 1]) + struct.pack("<H", 5) + bytes([5, 1]),             # negative length
        b"".join(add(i % 5, b"v%d" % i) for i in range(30)) + get(1, 50, 4) + bytes([4, 1]),
    ]


INI = b"""# Settings of the call service.
# Ports of 0 mean "any free port".
port = 5060
[general]
name = switch one  // trailing comment
log_dir=/tmp/log
empty =
\tindented\t=\t3
// slash comment
/lone = slash
key==double
retry ms = 300
"""


def ini_seeds():
    return [
        INI,
        INI.replace(b"\n", b"\r\n"),
        b"# c\r\nkey = a b  // x\r\nk2\t=\t3",
        b"port=1\n",
        b"k = v\r\n",
        b"a = 1\n# trailing comment without end",
        b"key_without_equals \n",
        b"lastword",
        b"=5\nk = v\n",
        b"k" * 300 + b" = " + b"v" * 300 + b"\n" + b"#" + b"c" * 600 + b"\nnext = 1\n",
        b"name = " + GB_CALL + b"\n\xff\xfe = \x81\n",
        b"a = 1\x00b = 2\n",
        b"\n\n\t  \r\n",
        b"x = # not a comment\ny = //empty\nz = a //b\n",
        b"port\n\n\n= 8080 \n",
        b"dup = 1\ndup = 2\ndup = 3\n",
    ]


def str_input(key1, key2, other, text, length=40):
    return (struct.pack("<H", length + 100) + struct.pack("<H", len(key1)) + key1 + struct.pack("<H", len(key2))
            + key2 + struct.pack("<H", len(other)) + other + text)


def str_seeds():
    return [
        str_input(b";", b"", b"A;B", b"a;b"),
        str_input(b";", b";", b"", b";a"),
        str_input(b";", b"x", b"A;;B", b"a;;b", 3),
        str_input(b"<a>", b"</a>", b"x<A>Y</A>z", b"x<a>y</a>z<a>w</a>"),
        str_input(b"<a>", b"</a>", b"", b"x<a>y"),
        str_input(b",", b",", b"a,b,c", b",,"),
        str_input(b"ab", b"ba", b"ABAB", b"ababababa", 0),
        str_input(b" ", b"\r\n", b"Abc", b"aBC"),
        str_input(b"x", b"y", b"q" * 1200, b"Q" * 1100, 1100),
        str_input(b"", b"", b"-123abc", b"  +42 rest"),
        str_input(b"Command sip:", b"\r\n", b"99999999999", b"Command sip:a\r\nContent-Length: 5\r\n\r\n"),
        str_input(b"\xc8", b"\xa1", GB_CALL, GB_CALL + b"abc"),
    ]


def utf8_seeds():
    return [
        struct.pack("<H", 100) + GB_CALL,
        struct.pack("<H", 8) + GB_CALL,                   # no room for all of it
        struct.pack("<H", 0) + GB_CALL,
        struct.pack("<H", 50) + b"plain ascii",
        struct.pack("<H", 50) + b"\xb0",                  # incomplete
        struct.pack("<H", 50) + b"\xff\xff",              # invalid
        struct.pack("<H", 8000) + GB_CALL * 700,          # more than the converter's own buffer
        struct.pack("<H", 4096) + b"a" * 4096,
        struct.pack("<H", 1024) + GB_CALL * 80 + b"\x00" + GB_CALL,
    ]


if __name__ == "__main__":
    write("xml", xml_seeds())
    write("tpkt", tpkt_seeds())
    write("sip", sip_seeds())
    write("element", element_seeds())
    write("d_element", d_element_seeds())
    write("ini", ini_seeds())
    write("str", str_seeds())
    write("utf8", utf8_seeds())
