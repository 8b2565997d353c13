#!/usr/bin/python3
"""Time-stamp test data: a test TSA (certificate with the critical timeStamping extended key
usage, valid to 2099) made with `cryptography`, requests and responses made by
`openssl ts -query/-reply`, and RFC 5544 TimeStampedData assembled with asn1crypto around
openssl's tokens. What a reader must find in each file is read back by asn1crypto into
timestamp.vec.

Run from this directory: /usr/bin/python3 gen_timestamp_data.py
"""
import datetime
import hashlib
import os
import subprocess
import tempfile

from asn1crypto import algos, cms, core, crl, tsp, x509 as ax509
from cryptography import x509
from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import rsa
from cryptography.x509.oid import ExtendedKeyUsageOID, NameOID

HERE = os.path.dirname(os.path.abspath(__file__))
DOC = b"Sigilo: documento da marcare.\n" * 4
POLICY = "1.3.6.1.4.1.99999.7.1"
POLICY2 = "1.3.6.1.4.1.99999.7.2"


def run(*args, cwd, data=None):
    return subprocess.run(args, cwd=cwd, check=True, input=data, capture_output=True).stdout


def write(name, data):
    with open(os.path.join(HERE, name), "wb") as f:
        f.write(data)


def name(cn):
    return x509.Name([x509.NameAttribute(NameOID.COUNTRY_NAME, "IT"),
                      x509.NameAttribute(NameOID.ORGANIZATION_NAME, "Sigilo Test"),
                      x509.NameAttribute(NameOID.COMMON_NAME, cn)])


def make_pki(work):
    start = datetime.datetime(2020, 1, 1)
    end = datetime.datetime(2099, 12, 31, 23, 59, 59)
    ca_key = rsa.generate_private_key(public_exponent=65537, key_size=2048)
    ca = (x509.CertificateBuilder().subject_name(name("Time Stamp Test CA"))
          .issuer_name(name("Time Stamp Test CA")).public_key(ca_key.public_key())
          .serial_number(1).not_valid_before(start).not_valid_after(end)
          .add_extension(x509.BasicConstraints(ca=True, path_length=None), critical=True)
          .add_extension(x509.KeyUsage(False, False, False, False, False, True, True, False,
                                       False), critical=True)
          .add_extension(x509.SubjectKeyIdentifier.from_public_key(ca_key.public_key()),
                         critical=False)
          .sign(ca_key, hashes.SHA256()))
    tsa_key = rsa.generate_private_key(public_exponent=65537, key_size=2048)
    tsa = (x509.CertificateBuilder().subject_name(name("Sigilo Test TSA"))
           .issuer_name(ca.subject).public_key(tsa_key.public_key())
           .serial_number(0x7A01).not_valid_before(start).not_valid_after(end)
           .add_extension(x509.BasicConstraints(ca=False, path_length=None), critical=True)
           .add_extension(x509.KeyUsage(True, True, False, False, False, False, False, False,
                                        False), critical=True)
           .add_extension(x509.ExtendedKeyUsage([ExtendedKeyUsageOID.TIME_STAMPING]),
                          critical=True)
           .add_extension(x509.SubjectKeyIdentifier.from_public_key(tsa_key.public_key()),
                          critical=False)
           .add_extension(x509.AuthorityKeyIdentifier.from_issuer_public_key(
               ca_key.public_key()), critical=False)
           .sign(ca_key, hashes.SHA256()))
    pem = serialization.Encoding.PEM
    for fname, obj in (("ca.pem", ca), ("tsa.pem", tsa)):
        with open(os.path.join(work, fname), "wb") as f:
            f.write(obj.public_bytes(pem))
    for fname, key in (("ca.key", ca_key), ("tsa.key", tsa_key)):
        with open(os.path.join(work, fname), "wb") as f:
            f.write(key.private_bytes(pem, serialization.PrivateFormat.TraditionalOpenSSL,
                                      serialization.NoEncryption()))
    write("ca.pem", ca.public_bytes(pem))
    write("tsa.pem", tsa.public_bytes(pem))
    # A CRL of the CA, carried beside a token in a TimeStampedData.
    with open(os.path.join(work, "crl.cnf"), "w") as f:
        f.write("[ca]\ndefault_ca=d\n[d]\ndatabase=index.txt\ndefault_md=sha256\n"
                "default_crl_days=30\n")
    open(os.path.join(work, "index.txt"), "w").close()
    run("openssl", "ca", "-gencrl", "-config", "crl.cnf", "-keyfile", "ca.key", "-cert",
        "ca.pem", "-out", "crl.der", cwd=work)
    run("openssl", "crl", "-in", "crl.der", "-outform", "DER", "-out", "crl.bin", cwd=work)
    with open(os.path.join(work, "ts.cnf"), "w") as f:
        common = ("serial=serial\nsigner_cert=tsa.pem\nsigner_key=tsa.key\ncerts=ca.pem\n"
                  "signer_digest=sha256\ndefault_policy=%s\nother_policies=%s\n"
                  "digests=sha1,sha256,sha512\ness_cert_id_chain=no\n"
                  "ess_cert_id_alg=sha256\n" % (POLICY, POLICY2))
        f.write("[tsa]\ndefault_tsa=full\n")
        f.write("[full]\n" + common + "accuracy=secs:1,millisecs:500,microsecs:100\n"
                "ordering=yes\ntsa_name=yes\n")
        f.write("[plain]\n" + common + "ordering=no\ntsa_name=no\n")
        f.write("[secs]\n" + common + "accuracy=secs:2\nordering=no\ntsa_name=no\n")
    with open(os.path.join(work, "serial"), "w") as f:
        f.write("0A01\n")


def query(work, out, data_file, *extra):
    run("openssl", "ts", "-query", "-data", data_file, *extra, "-out", out, cwd=work)
    with open(os.path.join(work, out), "rb") as f:
        return f.read()


def reply(work, section, tsq, out, token=False):
    extra = ["-token_out"] if token else []
    run("openssl", "ts", "-reply", "-config", "ts.cnf", "-section", section, "-queryfile", tsq,
        *extra, "-out", out, cwd=work)
    with open(os.path.join(work, out), "rb") as f:
        return f.read()


def hexu(n):
    return "%X" % n


def tstinfo_facts(info, prefix=""):
    acc = info["accuracy"]
    tsa = info["tsa"]
    ext = info["extensions"]
    facts = [
        ("version", str(info["version"].native)[1:]),
        ("policy", info["policy"].dotted),
        ("hash_algorithm", info["message_imprint"]["hash_algorithm"]["algorithm"].dotted),
        ("imprint", info["message_imprint"]["hashed_message"].native.hex()),
        ("serial", hexu(info["serial_number"].native)),
        ("gen_time", info["gen_time"].contents.decode()),
        ("accuracy_seconds", "-" if acc.native is None or acc["seconds"].native is None
         else str(acc["seconds"].native)),
        ("accuracy_millis", "-" if acc.native is None or acc["millis"].native is None
         else str(acc["millis"].native)),
        ("accuracy_micros", "-" if acc.native is None or acc["micros"].native is None
         else str(acc["micros"].native)),
        ("ordering", "yes" if info["ordering"].native else "no"),
        ("nonce", "-" if info["nonce"].native is None else hexu(info["nonce"].native)),
        ("tsa", "-" if tsa.native is None else tsa.chosen.native.get("common_name", "?")
         if tsa.name == "directory_name" else tsa.name),
        ("extensions", "0" if ext.native is None else str(len(ext))),
    ]
    return [(prefix + k, v) for k, v in facts]


def token_facts(token_der):
    info = cms.ContentInfo.load(token_der)
    sd = info["content"]
    encap = sd["encap_content_info"]
    tst = tsp.TSTInfo.load(encap["content"].parsed.dump()) if False else encap["content"].parsed
    return [("content_type", encap["content_type"].dotted),
            ("signed_data_version", str(sd["version"].native)[1:]),
            ("certificates", str(len(sd["certificates"]) if sd["certificates"].native else 0))
            ] + tstinfo_facts(tst)


class TimeStampResp(core.Sequence):
    # asn1crypto's own class makes the token mandatory; RFC 3161 has it OPTIONAL.
    _fields = [("status", tsp.PKIStatusInfo),
               ("time_stamp_token", cms.ContentInfo, {"optional": True})]


class TimeStampAndCRL(core.Sequence):
    _fields = [("time_stamp", cms.ContentInfo), ("crl", crl.CertificateList, {"optional": True})]


class TimeStampTokenEvidence(core.SequenceOf):
    _child_spec = TimeStampAndCRL


class ArchiveTimeStampChain(core.SequenceOf):
    _child_spec = tsp.ArchiveTimeStamp


class ArchiveTimeStampSequence(core.SequenceOf):
    _child_spec = ArchiveTimeStampChain


class EvidenceRecord(core.Sequence):
    _fields = [("version", core.Integer), ("digest_algorithms", tsp.DigestAlgorithms),
               ("crypto_infos", ax509.Attributes, {"implicit": 0, "optional": True}),
               ("archive_time_stamp_sequence", ArchiveTimeStampSequence)]


class Evidence(core.Choice):
    _alternatives = [("tst_evidence", TimeStampTokenEvidence, {"implicit": 0}),
                     ("ers_evidence", EvidenceRecord, {"implicit": 1}),
                     ("other_evidence", tsp.OtherEvidence, {"implicit": 2})]


class TimeStampedData(core.Sequence):
    _fields = [("version", core.Integer), ("data_uri", core.IA5String, {"optional": True}),
               ("meta_data", tsp.MetaData, {"optional": True}),
               ("content", core.OctetString, {"optional": True}),
               ("temporal_evidence", Evidence)]


def tlv(tag, body):
    n = len(body)
    if n < 0x80:
        head = bytes([n])
    else:
        size = n.to_bytes((n.bit_length() + 7) // 8, "big")
        head = bytes([0x80 | len(size)]) + size
    return bytes([tag]) + head + body


def tsd_file(tsd):
    """ContentInfo { id-ct-timestampedData, [0] EXPLICIT TimeStampedData }."""
    oid = core.ObjectIdentifier("1.2.840.113549.1.9.16.1.31").dump()
    return tlv(0x30, oid + tlv(0xA0, tsd))


def draft_tstinfo(final_der):
    """The same TSTInfo with millis and micros under EXPLICIT tags, as the draft wrote them."""
    class DraftAccuracy(core.Sequence):
        _fields = [("seconds", core.Integer, {"optional": True}),
                   ("millis", core.Integer, {"explicit": 0, "optional": True}),
                   ("micros", core.Integer, {"explicit": 1, "optional": True})]

    class DraftTSTInfo(core.Sequence):
        _fields = [(f[0], DraftAccuracy if f[0] == "accuracy" else f[1]) + tuple(f[2:])
                   for f in tsp.TSTInfo._fields]

    final = tsp.TSTInfo.load(final_der)
    acc = final["accuracy"]
    values = {k: final[k] for k, *_ in tsp.TSTInfo._fields
              if k != "accuracy" and final[k].native is not None}
    values["accuracy"] = DraftAccuracy({"seconds": acc["seconds"].native,
                                        "millis": acc["millis"].native,
                                        "micros": acc["micros"].native})
    return DraftTSTInfo(values).dump(force=True)


def main():
    cases = []
    with tempfile.TemporaryDirectory() as work:
        make_pki(work)
        with open(os.path.join(work, "doc.txt"), "wb") as f:
            f.write(DOC)
        write("doc.txt", DOC)

        # ---- Requests ----
        reqs = {
            "req_sha256.tsq": query(work, "req_sha256.tsq", "doc.txt", "-sha256", "-cert"),
            "req_sha1_nononce.tsq": query(work, "req_sha1_nononce.tsq", "doc.txt", "-sha1",
                                          "-no_nonce", "-tspolicy", POLICY2),
            "req_sha512.tsq": query(work, "req_sha512.tsq", "doc.txt", "-sha512"),
        }
        for fname, der in reqs.items():
            write(fname, der)
            r = tsp.TimeStampReq.load(der)
            cases.append(("request", [
                ("file", fname), ("version", str(r["version"].native)[1:]),
                ("hash_algorithm", r["message_imprint"]["hash_algorithm"]["algorithm"].dotted),
                ("imprint", r["message_imprint"]["hashed_message"].native.hex()),
                ("policy", r["req_policy"].dotted if r["req_policy"].native else "-"),
                ("nonce", "-" if r["nonce"].native is None else hexu(r["nonce"].native)),
                ("cert_req", "yes" if r["cert_req"].native else "no")]))

        # ---- Responses and tokens ----
        made = [("resp_full.tsr", "full", "req_sha256.tsq"),
                ("resp_plain.tsr", "plain", "req_sha1_nononce.tsq"),
                ("resp_secs.tsr", "secs", "req_sha512.tsq")]
        tokens = {}
        for fname, section, tsq in made:
            der = reply(work, section, tsq, fname)
            write(fname, der)
            token = reply(work, section, tsq, fname + ".tst", token=True)
            tokens[fname] = token
            write(fname.replace("resp_", "token_").replace(".tsr", ".tst"), token)
        # A response whose status is granted with modifications, same token.
        full = tsp.TimeStampResp.load(tokens and open(os.path.join(HERE, "resp_full.tsr"),
                                                      "rb").read())
        mods = TimeStampResp({"status": {"status": "granted_with_mods",
                                             "status_string": ["policy changed"]},
                                  "time_stamp_token": full["time_stamp_token"]}).dump()
        write("resp_mods.tsr", mods)
        rejected = TimeStampResp({"status": {
            "status": "rejection", "status_string": ["algoritmo non supportato", "bad alg"],
            "fail_info": {"bad_alg", "unaccepted_policy"}}}).dump()
        write("resp_rejected.tsr", rejected)

        for fname in ("resp_full.tsr", "resp_plain.tsr", "resp_secs.tsr", "resp_mods.tsr",
                      "resp_rejected.tsr"):
            der = open(os.path.join(HERE, fname), "rb").read()
            r = TimeStampResp.load(der)
            st = r["status"]
            fail = st["fail_info"].native
            facts = [("file", fname), ("status", str(st["status"].native)),
                     ("status_strings", "|".join(st["status_string"].native)
                      if st["status_string"].native else "-"),
                     ("fail_info", ",".join(sorted(fail)) if fail else "-"),
                     ("token", "yes" if r["time_stamp_token"].native is not None else "no")]
            if r["time_stamp_token"].native is not None:
                facts += token_facts(r["time_stamp_token"].dump())
            cases.append(("response", facts))

        for fname in ("token_full.tst", "token_plain.tst", "token_secs.tst"):
            der = open(os.path.join(HERE, fname), "rb").read()
            cases.append(("token", [("file", fname)] + token_facts(der)))

        # ---- TSTInfo in both forms ----
        token = cms.ContentInfo.load(tokens["resp_full.tsr"])
        final_der = token["content"]["encap_content_info"]["content"].parsed.dump()
        write("tstinfo_final.der", final_der)
        draft_der = draft_tstinfo(final_der)
        write("tstinfo_draft09.der", draft_der)
        plain_token = cms.ContentInfo.load(tokens["resp_plain.tsr"])
        plain_der = plain_token["content"]["encap_content_info"]["content"].parsed.dump()
        write("tstinfo_plain.der", plain_der)
        info = tsp.TSTInfo.load(final_der)
        for fname, form in (("tstinfo_final.der", "final"), ("tstinfo_draft09.der", "draft09"),
                            ("tstinfo_plain.der", "both")):
            src = info if fname != "tstinfo_plain.der" else tsp.TSTInfo.load(plain_der)
            cases.append(("tstinfo", [("file", fname), ("form", form)] + tstinfo_facts(src)))

        # ---- TimeStampedData ----
        crl_der = open(os.path.join(work, "crl.bin"), "rb").read()
        full_token = cms.ContentInfo.load(tokens["resp_full.tsr"])

        def stamp(data, fname):
            with open(os.path.join(work, fname), "wb") as f:
                f.write(data)
            query(work, fname + ".tsq", fname, "-sha256", "-cert")
            return cms.ContentInfo.load(reply(work, "full", fname + ".tsq", fname + ".tst",
                                              token=True))

        meta = tsp.MetaData({"hash_protected": False, "file_name": "documento.txt",
                             "media_type": "text/plain"})
        meta_hp = tsp.MetaData({"hash_protected": True, "file_name": "documento protetto.txt"})
        hp_token = stamp(meta_hp.dump() + DOC, "hp.bin")
        first = TimeStampAndCRL({"time_stamp": full_token, "crl": crl.CertificateList.load(
            crl_der)})
        second_token = stamp(first.dump(), "first.bin")
        other = tsp.OtherEvidence({"oe_type": "1.3.6.1.4.1.99999.7.9",
                                   "oe_value": core.OctetString(b"altra prova")})
        ers = EvidenceRecord({
            "version": 1, "digest_algorithms": [{"algorithm": "sha256"}],
            "archive_time_stamp_sequence": [[{"time_stamp": full_token}]]})

        tsds = [
            ("tsd_embedded.tsd", {"version": 1, "meta_data": meta, "content": DOC,
                                  "temporal_evidence": Evidence(
                                      name="tst_evidence", value=[{"time_stamp": full_token}])},
             "content"),
            ("tsd_hash_protected.tsd", {"version": 1, "meta_data": meta_hp, "content": DOC,
                                        "temporal_evidence": Evidence(
                                            name="tst_evidence",
                                            value=[{"time_stamp": hp_token}])}, "meta+content"),
            ("tsd_detached.tsd", {"version": 1, "data_uri": "file://documento.txt",
                                  "temporal_evidence": Evidence(
                                      name="tst_evidence", value=[{"time_stamp": full_token}])},
             "detached"),
            ("tsd_two_stamps.tsd", {"version": 1, "content": DOC, "temporal_evidence": Evidence(
                name="tst_evidence", value=[first, {"time_stamp": second_token}])}, "content"),
            ("tsd_other.tsd", {"version": 1, "content": DOC, "temporal_evidence": Evidence(
                name="other_evidence", value=other)}, "content"),
            ("tsd_ers.tsd", {"version": 1, "content": DOC, "temporal_evidence": Evidence(
                name="ers_evidence", value=ers)}, "content"),
        ]
        for fname, fields, covers in tsds:
            tsd = TimeStampedData(fields)
            der = tsd_file(tsd.dump())
            write(fname, der)
            cases.append(("tsd", tsd_facts(fname, TimeStampedData.load(tsd.dump()), covers)))

        # The embedded one again in BER: indefinite lengths everywhere on the outside, the
        # content as a constructed OCTET STRING in three pieces.
        tsd = TimeStampedData(tsds[0][1])
        parts = [tsd["version"].dump(), tsd["meta_data"].dump()]
        chunks = [DOC[:40], DOC[40:41], DOC[41:]]
        content = b"\x24\x80" + b"".join(core.OctetString(c).dump() for c in chunks) + b"\0\0"
        body = b"".join(parts) + content + tsd["temporal_evidence"].dump()
        ber = (b"\x30\x80" + core.ObjectIdentifier("1.2.840.113549.1.9.16.1.31").dump() +
               b"\xa0\x80" + b"\x30\x80" + body + b"\0\0" + b"\0\0" + b"\0\0")
        write("tsd_indefinite.tsd", ber)
        facts = tsd_facts("tsd_indefinite.tsd", TimeStampedData.load(tsd.dump()), "content")
        cases.append(("tsd", facts))

    with open(os.path.join(HERE, "timestamp.vec"), "w") as f:
        f.write("# Time-stamp requests, responses, tokens and TimeStampedData made by openssl\n"
                "# and asn1crypto, with what asn1crypto reads in each. Made by\n"
                "# gen_timestamp_data.py. Serials and nonces in upper-case hex; '-' for none.\n")
        for kind, facts in cases:
            f.write("\n[%s]\n" % kind)
            for k, v in facts:
                f.write("%s = %s\n" % (k, v if v != "" else "-"))


def tsd_facts(fname, tsd, covers):
    ev = tsd["temporal_evidence"]
    meta = tsd["meta_data"]
    facts = [("file", fname), ("version", str(tsd["version"].native)),
             ("data_uri", tsd["data_uri"].native or "-"),
             ("meta_data", "yes" if meta.native is not None else "no"),
             ("hash_protected", "-" if meta.native is None else
              "yes" if meta["hash_protected"].native else "no"),
             ("file_name", "-" if meta.native is None or meta["file_name"].native is None
              else meta["file_name"].native),
             ("media_type", "-" if meta.native is None or meta["media_type"].native is None
              else meta["media_type"].native),
             ("content_sha256", "-" if tsd["content"].native is None
              else hashlib.sha256(tsd["content"].native).hexdigest()),
             ("evidence", ev.name)]
    if ev.name == "tst_evidence":
        facts.append(("entries", str(len(ev.chosen))))
        facts.append(("crls", ",".join("yes" if e["crl"].native is not None else "no"
                                       for e in ev.chosen)))
        tst = ev.chosen[0]["time_stamp"]["content"]["encap_content_info"]["content"].parsed
        facts.append(("first_imprint", tst["message_imprint"]["hashed_message"].native.hex()))
        if covers == "meta+content":
            covered = meta.dump() + tsd["content"].native
        elif covers == "content":
            covered = tsd["content"].native
        else:
            covered = DOC
        facts.append(("imprint_covers", covers))
        facts.append(("imprint_matches", "yes" if hashlib.sha256(covered).digest() ==
                      tst["message_imprint"]["hashed_message"].native else "no"))
        if len(ev.chosen) > 1:
            second = ev.chosen[1]["time_stamp"]["content"]["encap_content_info"]["content"]
            facts.append(("second_covers_first", "yes" if hashlib.sha256(
                ev.chosen[0].dump()).digest() == second.parsed["message_imprint"][
                "hashed_message"].native else "no"))
    elif ev.name == "other_evidence":
        facts.append(("oe_type", ev.chosen["oe_type"].dotted))
        facts.append(("oe_value", ev.chosen["oe_value"].dump().hex()))
    else:
        facts.append(("ers_version", str(ev.chosen["version"].native)))
        facts.append(("ers_digests", ",".join(a["algorithm"].dotted
                                               for a in ev.chosen["digest_algorithms"])))
    return facts


if __name__ == "__main__":
    main()
