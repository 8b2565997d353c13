#!/usr/bin/python3
"""Makes tampered copies of signed files for the tamper sweep.

For each input it finds, with asn1crypto, every SignedData it holds (an envelope, a time-stamp
token in a signer's attributes, a TSR, a TST, the token and the signed content of a TSD, the
binary parts of an M7M message) and the byte ranges its signatures cover: the signed content,
the signed attributes, the signature values, and the signer's certificate when the SignedData
carries that one alone. It then
writes copies with one byte changed at a spread of offsets of each range, and a manifest line per
copy: "copy<TAB>original<TAB>region<TAB>offset".

Usage: tamper_sweep.py OUTDIR PER_REGION FILE..."""
import os
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


def main():
    outdir, per_region, files = sys.argv[1], int(sys.argv[2]), sys.argv[3:]
    manifest = []
    for path in files:
        data = open(path, "rb").read()
        regions = regions_of(data)
        if not regions:
            sys.exit("no signed region found in " + path)
        stem = os.path.basename(path)
        for r, (region, start, length) in enumerate(regions):
            count = min(per_region, length)
            for k in range(count):
                offset = start + (length - 1) * k // max(count - 1, 1)
                copy = bytearray(data)
                copy[offset] ^= 0x01 if k % 2 == 0 else 0x80
                name = os.path.join(outdir, "%s.r%d.%d%s" % (stem, r, k, os.path.splitext(stem)[1]))
                open(name, "wb").write(copy)
                manifest.append("%s\t%s\t%s\t%d" % (name, path, region, offset))
    open(os.path.join(outdir, "manifest.txt"), "w").write("\n".join(manifest) + "\n")


main()
