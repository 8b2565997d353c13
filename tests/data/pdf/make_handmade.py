#!/usr/bin/python3
"""Writes the PDF fixtures that no tool writes: LZW-coded cross-reference and object streams,
TIFF predictors, /W [0 2 1], a field hidden as the last object of its object stream, a field
rewritten by a later revision, a /Prev loop, more fields than the reader keeps, a stream that
inflates without end. Signatures are made by "openssl cms" over the ranges the file declares.
Also writes the LZW strip of a TIFF made by libtiff (through Pillow), an independent LZW coder."""
import io
import os
import re
import struct
import subprocess
import sys
import zlib

from PIL import Image

HEADER = b"%PDF-1.7\n%\xe2\xe3\xcf\xd3\n"
CONTENTS_HEX = 6000  # room for the DER of the signature, in hexadecimal digits
BYTE_RANGE = b"/ByteRange [0 0000000000 0000000000 0000000000]"


def lzw_encode(data):
    """LZW as PDF writes it by default (EarlyChange 1): 9 to 12 bits, 256 clears, 257 ends."""
    bits = []

    def emit(code, width):
        bits.append(format(code, "0%db" % width))

    table = {bytes([i]): i for i in range(256)}
    next_code, width = 258, 9
    emit(256, width)
    word = b""
    for byte in data:
        candidate = word + bytes([byte])
        if candidate in table:
            word = candidate
            continue
        emit(table[word], width)
        table[candidate] = next_code
        next_code += 1
        word = bytes([byte])
        if next_code >= 4095:
            emit(256, width)
            table = {bytes([i]): i for i in range(256)}
            next_code, width = 258, 9
        elif next_code + 1 > (1 << width) - 1 + 1 and width < 12:
            width += 1
    if word:
        emit(table[word], width)
    emit(257, width)
    text = "".join(bits)
    text += "0" * (-len(text) % 8)
    return bytes(int(text[i:i + 8], 2) for i in range(0, len(text), 8))


def png_up_rows(data, columns):
    """PNG "Up" filter on rows of columns bytes, each row led by its tag byte 2."""
    out, above = bytearray(), bytes(columns)
    for i in range(0, len(data), columns):
        row = data[i:i + columns]
        out.append(2)
        out += bytes((row[k] - above[k]) & 255 for k in range(columns))
        above = row
    return bytes(out)


def tiff_rows(data, columns):
    """TIFF predictor 2 on 8-bit samples of one colour; each stored row has one lead byte (the
    reader steps by the pixel size plus the row, as for PNG rows). A spare row ends the data,
    as the reader drops the last decoded row."""
    data = data + b" " * (-len(data) % columns) + b" " * columns
    out = bytearray()
    for i in range(0, len(data), columns):
        row = data[i:i + columns]
        out.append(0)
        out += bytes([row[0]]) + bytes((row[k] - row[k - 1]) & 255 for k in range(1, columns))
    return bytes(out)


def encode(data, filt, predictor, columns):
    if predictor == 12:
        data = png_up_rows(data, columns)
    elif predictor == 2:
        data = tiff_rows(data, columns)
    params = b""
    if predictor:
        params = b" /DecodeParms << /Predictor %d /Columns %d >>" % (predictor, columns)
    if filt == "flate":
        return zlib.compress(data), b" /Filter /FlateDecode" + params
    if filt == "lzw":
        return lzw_encode(data), b" /Filter /LZWDecode" + params
    return data, params


def field(num, value, name):
    return (b"<< /FT /Sig /T (%s) /V %d 0 R /Type /Annot /Subtype /Widget /Rect [0 0 0 0] "
            b"/F 132 /P 3 0 R >>" % (name.encode(), value))


def sig_dict(extra=b""):
    return (b"<< /Type /Sig /Filter /Adobe.PPKLite /SubFilter /adbe.pkcs7.detached "
            + BYTE_RANGE + b" /Contents <" + b"0" * CONTENTS_HEX + b"> /M (D:20240506070809Z) "
            b"/Name (Sigilo \\(test\\)) /Reason (Prova) /Location (Roma)" + extra + b" >>")


def common(fields):
    """Catalog 1, pages 2, page 3, content 4; field objects are listed in /Fields."""
    refs = b" ".join(b"%d 0 R" % n for n in fields)
    return {
        1: b"<< /Type /Catalog /Pages 2 0 R /AcroForm << /Fields [" + refs +
           b"] /SigFlags 3 >> >>",
        2: b"<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        3: b"<< /Type /Page /Parent 2 0 R /MediaBox [0 0 200 200] /Contents 4 0 R /Annots [" +
           refs + b"] >>",
        4: b"<< /Length 0 >>\nstream\n\nendstream",
    }


def build(objects, xref="table", in_objstm=(), xref_filter=None, xref_predictor=None,
          objstm_filter=None, objstm_predictor=None, index=True, widths=(1, 2, 1),
          prev_self=False, trailer_extra=b""):
    """A whole file of one revision. Objects in in_objstm go into one object stream, in the
    order given (the reader never looks at the last one)."""
    out = bytearray(HEADER)
    offsets, compressed = {}, {}
    top = max(objects)
    objstm_num = None
    if in_objstm:
        objstm_num = top + 1
        top += 1
    for num in sorted(objects):
        if num in in_objstm:
            continue
        offsets[num] = len(out)
        out += b"%d 0 obj\n" % num + objects[num] + b"\nendobj\n"
    if in_objstm:
        members = list(in_objstm)
        bodies, header_parts, pos = [], [], 0
        for k, num in enumerate(members):
            compressed[num] = (objstm_num, k)
            header_parts.append(b"%d %d" % (num, pos))
            bodies.append(objects[num])
            pos += len(objects[num]) + 1
        head = b" ".join(header_parts) + b"\n"
        content = head + b"\n".join(bodies) + b"\n"
        data, dictionary = encode(content, objstm_filter, objstm_predictor, 16)
        offsets[objstm_num] = len(out)
        out += (b"%d 0 obj\n<< /Type /ObjStm /N %d /First %d /Length %d%s >>\nstream\n"
                % (objstm_num, len(members), len(head), len(data), dictionary))
        out += data + b"\nendstream\nendobj\n"
    if xref == "table":
        start = len(out)
        out += b"xref\n0 %d\n0000000000 65535 f\r\n" % (top + 1)
        for num in range(1, top + 1):
            out += b"%010d 00000 n\r\n" % offsets[num]
        out += b"trailer\n<< /Size %d /Root 1 0 R%s >>\n" % (top + 1, trailer_extra)
    else:
        xref_num = top + 1
        start = len(out)
        offsets[xref_num] = start
        rows = bytearray()
        w0, w1, w2 = widths
        for num in range(0, xref_num + 1):
            if num == 0:
                entry = (0, 0, 65535)
            elif num in compressed:
                entry = (2,) + compressed[num]
            else:
                entry = (1, offsets[num], 0)
            entry = tuple(min(v, (1 << (8 * w)) - 1) for v, w in zip(entry, widths))
            if w0:
                rows += entry[0].to_bytes(w0, "big")
            rows += entry[1].to_bytes(w1, "big") + entry[2].to_bytes(w2, "big")
        data, dictionary = encode(bytes(rows), xref_filter, xref_predictor, sum(widths))
        extra = b""
        if index:
            split = 3
            extra += b" /Index [0 %d %d %d]" % (split, split, xref_num + 1 - split)
        if prev_self:
            extra += b" /Prev %d" % start
        out += (b"%d 0 obj\n<< /Type /XRef /Size %d /W [%d %d %d] /Root 1 0 R%s /Length %d%s "
                b">>\nstream\n" % (xref_num, xref_num + 1, w0, w1, w2, extra, len(data),
                                  dictionary))
        out += data + b"\nendstream\nendobj\n"
    out += b"startxref\n%d\n%%%%EOF\n" % start
    return bytes(out)


def sign_last(pdf, here):
    """Fills the last /ByteRange and /Contents placeholders of the file with the ranges around
    the /Contents string and a detached CMS signature by openssl over them."""
    at = pdf.rindex(b"/Contents <" + b"0" * CONTENTS_HEX + b">")
    lt = at + len(b"/Contents ")
    gt = lt + CONTENTS_HEX + 2
    ranges = b"/ByteRange [0 %010d %010d %010d]" % (lt, gt, len(pdf) - gt)
    br = pdf.rindex(BYTE_RANGE)
    pdf = pdf[:br] + ranges + pdf[br + len(BYTE_RANGE):]
    tbs = os.path.join(here, "work", "tbs.bin")
    with open(tbs, "wb") as f:
        f.write(pdf[:lt] + pdf[gt:])
    der = subprocess.run(
        ["openssl", "cms", "-sign", "-binary", "-in", tbs, "-signer",
         os.path.join(here, "work", "signer.pem"), "-inkey",
         os.path.join(here, "work", "signer.key"), "-outform", "DER", "-md", "sha256"],
        check=True, capture_output=True).stdout
    os.remove(tbs)
    hexa = der.hex().upper().encode()
    assert len(hexa) <= CONTENTS_HEX
    hexa += b"0" * (CONTENTS_HEX - len(hexa))
    return pdf[:lt + 1] + hexa + pdf[gt - 1:]


def append_revision(pdf, objects, prev, size):
    """An incremental update with a classic table naming the given objects."""
    out = bytearray(pdf)
    offsets = {}
    for num in sorted(objects):
        offsets[num] = len(out)
        out += b"%d 0 obj\n" % num + objects[num] + b"\nendobj\n"
    start = len(out)
    out += b"xref\n"
    for num in sorted(objects):
        out += b"%d 1\n%010d 00000 n\r\n" % (num, offsets[num])
    out += b"trailer\n<< /Size %d /Root 1 0 R /Prev %d >>\nstartxref\n%d\n%%%%EOF\n" % (
        size, prev, start)
    return bytes(out)


def write(here, name, data):
    with open(os.path.join(here, name), "wb") as f:
        f.write(data)


def main(here):
    # LZW cross-reference stream with PNG rows and /Index; the field in an LZW object stream;
    # the signature dictionary in the file.
    objs = common([5])
    objs[5] = field(5, 6, "Firma1")
    objs[6] = sig_dict()
    objs[7] = b"<< /Producer (riempitivo) >>"
    pdf = build(objs, xref="stream", in_objstm=(5, 7), xref_filter="lzw", xref_predictor=12,
                objstm_filter="lzw")
    write(here, "handmade-lzw.pdf", sign_last(pdf, here))
    # TIFF rows in the object stream, laid out as the reader steps through them (one lead
    # byte per row, as for PNG rows); other readers do not see the field in this file.
    pdf = build(objs, xref="stream", in_objstm=(5, 7), xref_filter="flate", xref_predictor=12,
                objstm_filter="flate", objstm_predictor=2)
    write(here, "handmade-tiff.pdf", sign_last(pdf, here))

    # The same with Flate, and /W [0 2 1]: every row is of type 1, the field is in the file.
    pdf = build(objs, xref="stream", xref_filter="flate", widths=(0, 2, 1))
    write(here, "handmade-w021.pdf", sign_last(pdf, here))

    # A field that is the last object of its stream is never looked at; without /Index the
    # object stream cannot be found at all.
    pdf = build(objs, xref="stream", in_objstm=(7, 5), xref_filter="flate", xref_predictor=12,
                objstm_filter="flate")
    write(here, "handmade-objstm-last.pdf", sign_last(pdf, here))
    pdf = build(objs, xref="stream", in_objstm=(5, 7), xref_filter="flate", index=False,
                objstm_filter="flate")
    write(here, "handmade-noindex.pdf", sign_last(pdf, here))

    # A cross-reference stream whose /Prev names itself.
    write(here, "handmade-prevloop.pdf", build(objs, xref="stream", prev_self=True))

    # Field 5 rewritten by a second revision with a new value: the old value is superseded.
    first = sign_last(build(objs), here)
    prev = int(re.findall(rb"startxref\n(\d+)", first)[-1])
    second = append_revision(first, {5: field(5, 9, "Firma1"), 9: sig_dict()}, prev, 10)
    write(here, "handmade-shadowed.pdf", sign_last(second, here))

    # 30 and 31 signature fields, all valued by one dictionary.
    for count in (30, 31):
        numbers = list(range(6, 6 + count))
        many = common(numbers)
        many[5] = sig_dict()
        for n in numbers:
            many[n] = field(n, 5, "F%d" % n)
        write(here, "handmade-%dfields.pdf" % count, build(many))

    # 31 signature dictionaries and no field.
    many = common([])
    for n in range(5, 36):
        many[n] = sig_dict().replace(BYTE_RANGE, b"/ByteRange [0 10 20 30]").replace(
            b"0" * CONTENTS_HEX, b"3082")
    write(here, "handmade-31sigs.pdf", build(many))

    # A cross-reference stream that inflates more than fifteen times: 2 MB of zeros.
    bomb = build(objs, xref="stream", xref_filter="flate")
    start = int(re.findall(rb"startxref\n(\d+)", bomb)[-1])
    packed = zlib.compress(b"\0" * (2 << 20), 9)
    bomb = bomb[:start] + (b"9 0 obj\n<< /Type /XRef /Size 8 /W [1 2 1] /Root 1 0 R /Length %d "
                           b"/Filter /FlateDecode >>\nstream\n" % len(packed)) + packed + (
        b"\nendstream\nendobj\nstartxref\n%d\n%%%%EOF\n" % start)
    write(here, "handmade-bomb.pdf", bomb)

    # libtiff's LZW (through Pillow): a strip and the pixels it codes.
    # Varied enough to expand less than three times, the most the reader allows an LZW stream.
    pixels = bytes(((i * 7919 + (i * i) // 3) >> 3) % 61 for i in range(96 * 64))
    image = Image.frombytes("L", (96, 64), pixels)
    tif = io.BytesIO()
    image.save(tif, format="TIFF", compression="tiff_lzw")
    reread = Image.open(io.BytesIO(tif.getvalue()))
    offsets, counts = reread.tag_v2[273], reread.tag_v2[279]
    assert len(offsets) == 1, "one strip expected"
    strip = tif.getvalue()[offsets[0]:offsets[0] + counts[0]]
    write(here, "libtiff-lzw.bin", strip)
    write(here, "libtiff-lzw.raw", pixels)
    # Pillow's PNG rows (libpng's filters, a tag byte per row): the zlib stream of the IDAT
    # chunks of a 24 x 12 grey image, and its pixels.
    width, height = 24, 12
    grey = bytes((x * x + 7 * y * y + x * y * 3) % 251 for y in range(height)
                 for x in range(width))
    png = io.BytesIO()
    Image.frombytes("L", (width, height), grey).save(png, format="PNG", optimize=False)
    png, pos, idat = png.getvalue(), 8, b""
    while pos < len(png):
        size, kind = struct.unpack(">I4s", png[pos:pos + 8])
        if kind == b"IDAT":
            idat += png[pos + 8:pos + 8 + size]
        pos += 12 + size
    write(here, "pillow-png-rows.bin", idat)
    write(here, "pillow-png-rows.raw", grey)
    write(here, "python-lzw.bin", lzw_encode(pixels * 3))
    write(here, "python-lzw.raw", pixels * 3)


if __name__ == "__main__":
    main(sys.argv[1])
