"""Envelopes in indefinite-length form, as streaming signers write them, and two damaged copies.

indefinite.p7m is signed by `openssl cms -sign -stream` with the good signer of pki/ (made by
gen_engine_data.py): every constructed value up to the content is indefinite, and the file ends
in three end-of-contents marks. indefinite_eoc_changed.p7m has its last byte changed,
indefinite_eoc_cut.p7m lacks its last two bytes. openssl itself must refuse both, which this
script checks before it writes them.
"""
import os
import subprocess

HERE = os.path.dirname(os.path.abspath(__file__))


def openssl(*args):
    return subprocess.run(["openssl", *args], cwd=HERE, capture_output=True)


r = openssl("cms", "-sign", "-binary", "-stream", "-nodetach", "-cades", "-in", "document.txt",
            "-signer", "pki/good.pem", "-inkey", "pki/good.key", "-outform", "DER",
            "-out", "indefinite.p7m")
assert r.returncode == 0, r.stderr
good = open(os.path.join(HERE, "indefinite.p7m"), "rb").read()
assert good[1] == 0x80 and good.endswith(b"\0" * 6), "not in indefinite form"
damaged = {"indefinite_eoc_changed.p7m": good[:-1] + b"\x01",
           "indefinite_eoc_cut.p7m": good[:-2]}
for name, data in damaged.items():
    open(os.path.join(HERE, name), "wb").write(data)
    assert openssl("cms", "-verify", "-noverify", "-inform", "DER", "-in", name,
                   "-out", os.devnull).returncode != 0, "openssl accepts %s" % name
assert openssl("cms", "-verify", "-noverify", "-inform", "DER", "-in", "indefinite.p7m",
               "-out", os.devnull).returncode == 0
