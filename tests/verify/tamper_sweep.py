#!/usr/bin/python3
"""Makes tampered copies of signed files for the tamper sweep.

For each envelope it finds, with asn1crypto, every SignedData it holds (an envelope, a time-stamp
token in a signer's attributes, a TSR, a TST, the token and the signed content of a TSD, the
binary parts of an M7M message) and the byte ranges its signatures cover: the signed content,
the signed attributes, the signature values, and the signer's certificate when the SignedData
carries that one alone. In a PDF the ranges are those each /ByteRange names, and in the
hexadecimal text of each signature in /Contents the same parts as in an envelope. It then
writes copies with one byte changed at a spread of offsets of each range, and a manifest line per
copy: "copy<TAB>original<TAB>region<TAB>offset".

For an XML file (".xml") the ranges are those of each XML signature in it: the document from its
root element up to the first signature (what an enveloped reference covers), each SignedInfo and
SignedProperties element, and the base64 characters of each SignatureValue and
EncapsulatedTimeStamp.

Usage: tamper_sweep.py OUTDIR PER_REGION FILE..."""
import os
import re
import sys

from asn1crypto import cms, tsp


def find_all(data, part):
    """Every place of part in data (parts are long enough to be found only where they are)."""
    at, places = data.find(part), []
    while at >= 0:
        places.append(at)
        at = data.find(part, at + 1)
    return places


def regions_of_signed_data(data, signed, label, out):
    content = signed["encap_content_info"]["content"]
    if content.native is not None:
        # A TSTInfo stands parsed inside its OCTET STRING; other content is its octets.
        body = content.contents
        for at in find_all(data, bytes(body))[:1]:
            out.append((label + " content", at, len(body)))
    certificates = signed["certificates"]
    if certificates.native is not None and len(certificates) == 1:
        cert = certificates[0].chosen
        for part, name in ((cert["tbs_certificate"].dump(), "certificate"),
                           (cert["signature_value"].contents, "certificate signature")):
            for at in find_all(data, part)[:1]:
                out.append((label + " " + name, at, len(part)))
    for i, signer in enumerate(signed["signer_infos"]):
        who = "%s signer %d" % (label, i)
        if signer["signed_attrs"].native is not None:
            part = signer["signed_attrs"].dump()
            for at in find_all(data, part)[:1]:
                out.append((who + " signed attributes", at, len(part)))
        part = signer["signature"].contents
        for at in find_all(data, part)[:1]:
            out.append((who + " signature", at, len(part)))
        if signer["unsigned_attrs"].native is None:
            continue
        for attribute in signer["unsigned_attrs"]:
            if attribute["type"].dotted != "1.2.840.113549.1.9.16.2.14":
                continue
            for token in attribute["values"]:
                regions_of_content_info(data, token, who + " time stamp", out)


def regions_of_content_info(data, info, label, out):
    if info["content_type"].native == "signed_data":
        regions_of_signed_data(data, info["content"], label, out)


SIGNED_DATA_OID = bytes.fromhex("06092a864886f70d010702")
BYTE_RANGE = re.compile(rb"/ByteRange\s*\[\s*(\d+)\s+(\d+)\s+(\d+)\s+(\d+)\s*\]")


def der_length(data):
    """The length of the DER value at the start of data, header included."""
    if len(data) < 2:
        return len(data)
    first = data[1]
    if first < 0x80:
        return 2 + first
    n = first & 0x7F
    return 2 + n + int.from_bytes(data[2:2 + n], "big")


def regions_of_pdf(data):
    """The two signed ranges of each signature dictionary, and the hexadecimal text of its
    signature (up to the end of its DER, not the zero padding after it)."""
    out = []
    for i, m in enumerate(BYTE_RANGE.finditer(data)):
        a, b, c, d = (int(x) for x in m.groups())
        if b == 0 or d == 0 or c + d > len(data):
            continue
        out.append(("pdf signature %d range 1" % i, a, b))
        out.append(("pdf signature %d range 2" % i, c, d))
        if data[a + b:a + b + 1] != b"<":
            continue
        start = a + b + 1
        text = data[start:c - 1]
        der = bytes.fromhex(text.decode()[:len(text) // 2 * 2])
        der = der[:der_length(der)]
        label = "pdf signature %d hex" % i
        # In a SignedData, the parts its signatures cover; the content of adbe.pkcs7.sha1 is
        # the digest of the ranges, which the verifier computes itself and does not read.
        inner = [r for r in regions_of(der) if r[0] != "signed data at 0 content"]
        for region, at, length in inner:
            out.append((label + " " + region, start + 2 * at, 2 * length))
        if not inner:
            # A bare PKCS#1 signature, and the certificate of /Cert that goes with it.
            out.append((label + " signature value", start, 2 * len(der)))
            cert = data.rfind(b"/Cert <", 0, a + b)
            if cert > data.rfind(b"obj", 0, a + b):
                begin = cert + len(b"/Cert <")
                out.append((label + " certificate", begin, data.index(b">", begin) - begin))
    return out


def regions_of(data):
    """Every SignedData in the file, wherever it stands (an envelope, a token in a response, a
    TSD or a signer's attributes, a binary MIME part), found by its content type."""
    out = []
    for oid_at in find_all(data, SIGNED_DATA_OID):
        for back in range(2, 7):
            start = oid_at - back
            if start < 0 or data[start] != 0x30:
                continue
            try:
                info = cms.ContentInfo.load(data[start:])
                if info["content_type"].native != "signed_data":
                    continue
                found = []
                regions_of_content_info(data, info, "signed data at %d" % start, found)
                out.extend(found)
                break
            except ValueError:
                continue
    # One range once, whichever SignedData named it first.
    seen, unique = set(), []
    for region in out:
        if region[1:] not in seen:
            seen.add(region[1:])
            unique.append(region)
    return unique


def element_ranges(data, name):
    """The byte ranges of every element of that local name, from its "<" to its end tag."""
    out = []
    for m in re.finditer(rb"<(\w+:)?" + name + rb"[\s>]", data):
        end = data.find(b"</" + (m.group(1) or b"") + name + b">", m.start())
        if end > 0:
            out.append((m.start(), end + len(name) + 3 + len(m.group(1) or b"") - m.start()))
    return out


def text_ranges(data, name):
    """The ranges of the base64 characters inside every element of that local name: a change to
    a blank there is no change to the value."""
    out = []
    for start, length in element_ranges(data, name):
        body = data.find(b">", start) + 1
        end = data.rfind(b"<", start, start + length)
        for m in re.finditer(rb"[A-Za-z0-9+/=]+", data[body:end]):
            out.append((body + m.start(), m.end() - m.start()))
    return out


def xml_regions(data):
    out = []
    root = re.search(rb"<[A-Za-z]", data[data.find(b"?>") + 2 if data.startswith(b"<?") else 0:])
    first = re.search(rb"<(\w+:)?Signature[\s>]", data)
    if root is not None and first is not None:
        start = root.start() + (data.find(b"?>") + 2 if data.startswith(b"<?") else 0)
        if start < first.start():
            out.append(("document", start, first.start() - start))
    for name in (b"SignedInfo", b"SignedProperties"):
        for i, (start, length) in enumerate(element_ranges(data, name)):
            out.append(("%s %d" % (name.decode(), i), start, length))
    for name in (b"SignatureValue", b"EncapsulatedTimeStamp"):
        for i, (start, length) in enumerate(text_ranges(data, name)):
            out.append(("%s %d" % (name.decode(), i), start, length))
    return out


def main():
    outdir, per_region, files = sys.argv[1], int(sys.argv[2]), sys.argv[3:]
    manifest = []
    for path in files:
        data = open(path, "rb").read()
        pdf = data.startswith(b"%PDF-")
        if pdf:
            regions = regions_of_pdf(data)
        elif path.endswith(".xml"):
            regions = xml_regions(data)
        else:
            regions = regions_of(data)
        if not regions:
            sys.exit("no signed region found in " + path)
        stem = os.path.basename(path)
        for r, (region, start, length) in enumerate(regions):
            count = min(per_region, length)
            for k in range(count):
                offset = start + (length - 1) * k // max(count - 1, 1)
                copy = bytearray(data)
                if pdf and " hex " in region:
                    # Another hexadecimal digit, so that the text still decodes.
                    copy[offset] = ord("1") if copy[offset] == ord("0") else ord("0")
                else:
                    copy[offset] ^= 0x01 if k % 2 == 0 else 0x80
                name = os.path.join(outdir, "%s.r%d.%d%s" % (stem, r, k, os.path.splitext(stem)[1]))
                open(name, "wb").write(copy)
                manifest.append("%s\t%s\t%s\t%d" % (name, path, region, offset))
    open(os.path.join(outdir, "manifest.txt"), "w").write("\n".join(manifest) + "\n")


main()
