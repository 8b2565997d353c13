#!/usr/bin/python3
"""Seeds the fuzz corpora from the test vectors: every `der` value of the .vec files under
tests/data becomes one corpus file (named by its hash) of each listed target, and the input
files listed in FILES are copied whole."""
import glob
import hashlib
import os
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
TARGETS = {
    "ber": ["asn1/*.vec", "crypto/*.vec"],
    "der_roundtrip": ["crypto/*.vec", "asn1/ber_vectors.vec"],
    "pkix": ["pkix/*.vec"],
    "cert_roundtrip": ["pkix/certs.vec"],
    "certificate_list": ["crl/crl.vec"],
}
# Whole files made by the test-data generators (tests/data/verify/gen_inputs.py).
FILES = {
    "classify": ["verify/*.p7m", "verify/*.p7s", "verify/*.tsr", "verify/*.tst",
                 "verify/*.tsd", "verify/*.m7m", "verify/*.pdf", "verify/*.xml",
                 "verify/*.txt", "verify/*.pem", "verify/*.bin"],
    "mime": ["verify/*.m7m", "verify/mime_*.txt"],
    "content_info": ["verify/*.p7m", "verify/*.p7s", "verify/*.tsd", "envelopes/*.p7m",
                     "envelopes/*.p7s", "envelopes/*.p7b", "cms/*.p7m", "cms/*.p7s",
                     "cms/*.der"],
    "timestamp": ["timestamp/*.tsr", "timestamp/*.tst", "timestamp/*.tsd", "timestamp/*.tsq",
                  "timestamp/*.der", "verify/*.tsr", "verify/*.tst", "verify/*.tsd"],
}
# Token files are seeded by fuzz/make_token_seeds.sh, which needs the built library.
# Indefinite forms that no DER vector has.
EXTRA = {
    "ber": ["2480040101aa040102bbcc0000", "3180300906052b0e03021a05000000",
            "3080308000000000", "24060401aa0401bb"],
    "der_roundtrip": ["3180300906052b0e03021a05000000"],
    # Messages with CR LF ends, a folded boundary, a false and a longer boundary, a cut part.
    "mime": [m.encode().hex() for m in [
        "MIME-Version: 1.0\r\nContent-Type: multipart/mixed;\r\n\tboundary=fr\r\n\r\n"
        "--fr\r\nContent-Type: a/b\r\n\r\n0\x01\n-x\n--frx\r\n--fr \t\r\n"
        "Content-Transfer-Encoding: base64\r\n\r\nMIIB\r\n--fr--\r\n",
        "Mime-Version: 1.0\nContent-Type: multipart/mixed; boundary=\"b\"\n\n--b\n\n"
        "prima\n--b\n\nseconda"]],
    # Name texts for the text parser, which reads the input as a C string.
    "pkix": ["C=IT,O=Foo Srl,CN=Mario Rossi".encode().hex(),
             " cn=a%b,\n\tST=RM,EMAIL=a@b.it,X=1,SERIALNUMBER=42".encode().hex(),
             "O=a,OU=b,C=IT,CN=http://h/a b\x05".encode().hex()],
}

def signature_seeds():
    """Framed inputs of the signature target from the openssl vectors: algorithm index, the key,
    the signature, the data (only keys of at most 600 bytes pass the target's bound)."""
    algorithms = ["1.2.840.113549.1.1.5", "1.2.840.113549.1.1.11", "1.2.840.113549.1.1.13"]
    case = {}
    for line in open(os.path.join(ROOT, "tests/data/crypto/rsa_vectors.vec")):
        line = line.strip()
        if line.startswith("["):
            case = {}
        elif "=" in line:
            key, _, value = line.partition("=")
            case[key.strip()] = value.strip()
            if key.strip() == "result":
                spki = bytes.fromhex(case["spki"])
                sig = bytes.fromhex(case["signature"])
                msg = bytes.fromhex(case["message"]) if case["message"] != "-" else b""
                if len(spki) > 600 or case["algorithm"] not in algorithms:
                    continue
                index = algorithms.index(case["algorithm"]) if case["algorithm"] in algorithms else 0
                index = [0, 1, 2][index]
                yield (bytes([index]) + len(spki).to_bytes(2, "big") + spki +
                       len(sig).to_bytes(2, "big") + sig + msg).hex()

SPECIAL = {"signature": signature_seeds}

def hexes(pattern):
    for path in glob.glob(os.path.join(ROOT, "tests/data", pattern)):
        for line in open(path):
            key, _, value = line.partition("=")
            if key.strip() in ("der", "header", "a", "b") and value.strip() not in ("", "-"):
                yield value.strip()

for target in (sys.argv[1:] or list(TARGETS) + list(FILES) + list(SPECIAL)):
    out = os.path.join(ROOT, "fuzz/corpus", target)
    os.makedirs(out, exist_ok=True)
    seeds = set(EXTRA.get(target, []))
    if target in SPECIAL:
        seeds.update(SPECIAL[target]())
    for pattern in TARGETS.get(target, []):
        seeds.update(hexes(pattern))
    blobs = [bytes.fromhex(h) for h in seeds]
    for pattern in FILES.get(target, []):
        for path in sorted(glob.glob(os.path.join(ROOT, "tests/data", pattern))):
            # Key files are no input anyone verifies; they stay out of the corpus.
            if path.endswith("_key.pem"):
                continue
            blobs.append(open(path, "rb").read())
    for data in blobs:
        with open(os.path.join(out, hashlib.sha1(data).hexdigest()[:16]), "wb") as f:
            f.write(data)
    print(target, len(blobs))
