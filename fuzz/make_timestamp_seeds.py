#!/usr/bin/python3
"""Seeds of the timestamp_files corpus, each a selector byte (the driver) followed by a file:
tokens of the time-stamp authority of tests/data/engine/pki made by `openssl ts -reply`, a
TimeStampedData around one (assembled with asn1crypto), an M7M message made with python's
email package, and the separate TSR of tests/data/engine/cades.p7m.

Run from the project root: /usr/bin/python3 fuzz/make_timestamp_seeds.py
"""
import os
import subprocess
import tempfile
from email.mime.application import MIMEApplication
from email.mime.multipart import MIMEMultipart

from asn1crypto import cms, core

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
ENGINE = os.path.join(ROOT, "tests", "data", "engine")
OUT = os.path.join(ROOT, "fuzz", "corpus", "timestamp_files")
TSR, TST, TSD, TSD_DETACHED, M7M, SEPARATE = range(6)


class TimeStampAndCRL(core.Sequence):
    _fields = [("time_stamp", cms.ContentInfo)]


class TimeStampTokenEvidence(core.SequenceOf):
    _child_spec = TimeStampAndCRL


class Evidence(core.Choice):
    _alternatives = [("tst_evidence", TimeStampTokenEvidence, {"implicit": 0})]


class TimeStampedData(core.Sequence):
    _fields = [("version", core.Integer), ("content", core.OctetString, {"optional": True}),
               ("temporal_evidence", Evidence)]


def token_for(work, data, token=False):
    path = os.path.join(work, "data.bin")
    with open(path, "wb") as f:
        f.write(data)
    subprocess.run(["openssl", "ts", "-query", "-data", path, "-sha256", "-cert", "-out",
                    "q.tsq"], cwd=work, check=True, capture_output=True)
    extra = ["-token_out"] if token else []
    subprocess.run(["openssl", "ts", "-reply", "-config", "ts.cnf", "-queryfile", "q.tsq",
                    *extra, "-out", "r.der"], cwd=work, check=True, capture_output=True)
    return open(os.path.join(work, "r.der"), "rb").read()


def save(name, selector, data):
    with open(os.path.join(OUT, name), "wb") as f:
        f.write(bytes([selector]) + data)


def main():
    os.makedirs(OUT, exist_ok=True)
    document = open(os.path.join(ENGINE, "document.txt"), "rb").read()
    envelope = open(os.path.join(ENGINE, "cades.p7m"), "rb").read()
    with tempfile.TemporaryDirectory() as work:
        with open(os.path.join(work, "ts.cnf"), "w") as f:
            f.write("[tsa]\ndefault_tsa=t\n[t]\nserial=%s/serial\nsigner_cert=%s\n"
                    "signer_key=%s\nsigner_digest=sha256\ndefault_policy=1.3.6.1.4.1.99999.7\n"
                    "digests=sha256\ness_cert_id_alg=sha256\n"
                    % (work, os.path.join(ENGINE, "pki", "tsa.pem"),
                       os.path.join(ENGINE, "pki", "tsa.key")))
        with open(os.path.join(work, "serial"), "w") as f:
            f.write("01\n")
        save("document.tsr", TSR, token_for(work, document))
        token = token_for(work, document, token=True)
        save("document.tst", TST, token)
        tsd = TimeStampedData({"version": 1, "content": document, "temporal_evidence": Evidence(
            name="tst_evidence", value=[{"time_stamp": cms.ContentInfo.load(token)}])})
        # The ContentInfo by hand: the TimeStampedData SEQUENCE itself under the [0].
        inner = tsd.dump()
        oid = core.ObjectIdentifier("1.2.840.113549.1.9.16.1.31").dump()
        body = oid + b"\xa0" + length(len(inner)) + inner
        der = b"\x30" + length(len(body)) + body
        save("embedded.tsd", TSD, der)
        save("detached.tsd", TSD_DETACHED, der)
        separate = token_for(work, envelope)
        save("cades.tsr", SEPARATE, separate)
        message = MIMEMultipart("mixed")
        message.attach(MIMEApplication(envelope, "pkcs7-mime", name="documento.p7m"))
        message.attach(MIMEApplication(separate, "timestamp-reply", name="documento.tsr"))
        save("message.m7m", M7M, message.as_bytes())


def length(n):
    if n < 0x80:
        return bytes([n])
    raw = n.to_bytes((n.bit_length() + 7) // 8, "big")
    return bytes([0x80 | len(raw)]) + raw


if __name__ == "__main__":
    main()
