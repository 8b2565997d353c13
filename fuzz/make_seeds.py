#!/usr/bin/python3
"""Seeds the fuzz corpora from the test vectors: every `der` value of the .vec files under
tests/data becomes one corpus file (named by its hash) of each listed target."""
import glob
import hashlib
import os
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
TARGETS = {
    "ber": ["asn1/*.vec", "crypto/*.vec"],
    "der_roundtrip": ["crypto/*.vec", "asn1/ber_vectors.vec"],
}
# Indefinite forms that no DER vector has.
EXTRA = {
    "ber": ["2480040101aa040102bbcc0000", "3180300906052b0e03021a05000000",
            "3080308000000000", "24060401aa0401bb"],
    "der_roundtrip": ["3180300906052b0e03021a05000000"],
}

def hexes(pattern):
    for path in glob.glob(os.path.join(ROOT, "tests/data", pattern)):
        for line in open(path):
            key, _, value = line.partition("=")
            if key.strip() in ("der", "header") and value.strip() not in ("", "-"):
                yield value.strip()

for target in (sys.argv[1:] or TARGETS):
    out = os.path.join(ROOT, "fuzz/corpus", target)
    os.makedirs(out, exist_ok=True)
    seeds = set(EXTRA.get(target, []))
    for pattern in TARGETS[target]:
        seeds.update(hexes(pattern))
    for h in seeds:
        data = bytes.fromhex(h)
        with open(os.path.join(out, hashlib.sha1(data).hexdigest()[:16]), "wb") as f:
            f.write(data)
    print(target, len(seeds))
