#!/usr/bin/python3
"""Makes the trust-store test data with tools independent of Sigilo.

- A PKI made by the `openssl` command line (`req` and `ca`): two roots of one subject (a CA that
  renewed its key), intermediates with and without key identifiers, CAs whose URI stands in the
  subject or only in the issuer alternative name, a CA without keyCertSign, one with a path
  length of 0, an expired CA, end entities, and a CRL of the intermediate (`openssl ca -gencrl`)
  with a revoked and a suspended (certificateHold) serial.
- Authority key identifiers assembled by `asn1crypto`.
- Files of PEM blocks, trust lists in the ETSI TSL shape written by hand, and a "caCertsList" and
  a "crlCache" assembled by `asn1crypto` in the files' DER layout.
- trust.vec: what each file holds and what the store must answer, worked out here from
  asn1crypto's reading of the certificates.

Run from anywhere: /usr/bin/python3 tests/data/trust/gen_trust_data.py
Certificates are valid from 2020 to 2099 (the expired CA from 2010 to 2012), so no test depends on
the day it runs."""
import base64
import os
import shutil
import subprocess
import tempfile

from asn1crypto import core, crl as acrl, pem, x509 as ax

HERE = os.path.dirname(os.path.abspath(__file__))
PKI = os.path.join(HERE, "pki")
WORK = tempfile.mkdtemp()

# What the store prints for each attribute type in its one-line subject texts.
SHORT = {"2.5.4.6": "C", "2.5.4.10": "O", "2.5.4.11": "OU", "2.5.4.8": "PROV", "2.5.4.7": "L",
         "2.5.4.3": "CN", "2.5.4.5": "SER", "0.9.2342.19200300.100.1.25": "DOM",
         "2.5.4.4": "SUR", "2.5.4.42": "GIVEN", "2.5.4.12": "TITLE", "2.5.4.46": "DNQUALIF",
         "2.5.4.65": "PSEUD", "1.2.840.113549.1.9.1": "EMAIL", "2.5.4.13": "DESCR"}

CONFIG = """
[ ca ]
default_ca = any
[ any ]
dir = {work}
database = $dir/index_$ENV::CA_NAME.txt
serial = $dir/serial_$ENV::CA_NAME
new_certs_dir = $dir
default_md = sha256
policy = anything
preserve = yes
unique_subject = no
copy_extensions = none
email_in_dn = no
crlnumber = $dir/crlnumber_$ENV::CA_NAME
[ anything ]
countryName = optional
organizationName = optional
commonName = optional
[ req ]
distinguished_name = dn
prompt = no
[ dn ]
CN = unused
[ root ]
basicConstraints = critical,CA:true
keyUsage = critical,keyCertSign,cRLSign
subjectKeyIdentifier = hash
authorityKeyIdentifier = none
[ inter ]
basicConstraints = critical,CA:true
keyUsage = critical,keyCertSign,cRLSign
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid:always
crlDistributionPoints = URI:http://127.0.0.1/intermedia.crl
[ noid ]
basicConstraints = critical,CA:true
keyUsage = critical,keyCertSign,cRLSign
subjectKeyIdentifier = none
authorityKeyIdentifier = none
[ bynameserial ]
basicConstraints = critical,CA:true
keyUsage = critical,keyCertSign,cRLSign
subjectKeyIdentifier = hash
authorityKeyIdentifier = issuer:always
[ san_uri ]
basicConstraints = critical,CA:true
keyUsage = critical,keyCertSign,cRLSign
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid:always
subjectAltName = URI:http://ca.example.it/ca%0Dsan
[ san_uri_other ]
basicConstraints = critical,CA:true
keyUsage = critical,keyCertSign,cRLSign
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid:always
subjectAltName = URI:http://other.example.it/ca
[ ian_uri ]
basicConstraints = critical,CA:true
keyUsage = critical,keyCertSign,cRLSign
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid:always
subjectAltName = email:ca@example.it
issuerAltName = URI:ldap://dir.example.it/cn=CA+IAN?cACertificate
[ no_certsign ]
basicConstraints = critical,CA:true
keyUsage = critical,digitalSignature,cRLSign
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid:always
[ pathlen0 ]
basicConstraints = critical,CA:true,pathlen:0
keyUsage = critical,keyCertSign,cRLSign
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid:always
[ leaf ]
basicConstraints = critical,CA:false
keyUsage = critical,digitalSignature,nonRepudiation
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid:always
crlDistributionPoints = URI:http://127.0.0.1/intermedia.crl
[ leaf_noaki ]
basicConstraints = critical,CA:false
keyUsage = critical,digitalSignature,nonRepudiation
subjectKeyIdentifier = none
authorityKeyIdentifier = none
"""

START, END = "20200101000000Z", "20991231235959Z"


def path(*parts):
    return os.path.join(*parts)


def read(p):
    with open(p, "rb") as f:
        return f.read()


def write(p, data):
    with open(p, "wb") as f:
        f.write(data if isinstance(data, bytes) else data.encode())


def openssl(*args, ca=None):
    env = dict(os.environ, CA_NAME=ca or "none")
    subprocess.run(["openssl", *args], check=True, env=env, stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL)


CNF = path(WORK, "ca.cnf")
write(CNF, CONFIG.format(work=WORK))
KEYS = {}
CERTS = {}


def key(name):
    p = path(PKI, name + "_key.pem")
    openssl("genpkey", "-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:2048", "-out", p)
    KEYS[name] = p


def issue(name, subject, section, issuer=None, key_of=None, start=START, end=END, serial=None):
    """Certificate `name` for `subject`, signed by `issuer` (a name in CERTS) or self-signed."""
    if (key_of or name) not in KEYS:
        key(key_of or name)
    csr = path(WORK, name + ".csr")
    openssl("req", "-new", "-config", CNF, "-key", KEYS[key_of or name], "-subj", subject,
            "-out", csr)
    ca = issuer or name
    db = path(WORK, "index_%s.txt" % ca)
    if not os.path.exists(db):
        write(db, "")
        write(path(WORK, "serial_" + ca), "%02X\n" % (serial or 0x10))
        write(path(WORK, "crlnumber_" + ca), "01\n")
    out = path(PKI, name + ".pem")
    args = ["ca", "-batch", "-config", CNF, "-extensions", section, "-startdate", start,
            "-enddate", end, "-in", csr, "-out", out, "-notext"]
    if issuer is None:
        args += ["-selfsign", "-keyfile", KEYS[key_of or name]]
    else:
        args += ["-cert", CERTS[issuer], "-keyfile", KEYS[issuer]]
    openssl(*args, ca=ca)
    CERTS[name] = out
    openssl("x509", "-in", out, "-outform", "DER", "-out", path(PKI, name + ".der"))
    return out


def load(name):
    return ax.Certificate.load(read(path(PKI, name + ".der")))


def serial_text(n):
    """The store's serial text: two upper-case digits for each byte of the magnitude."""
    size = max(1, (n.bit_length() + 7) // 8)
    return n.to_bytes(size, "big").hex().upper()


def short_text(name_obj):
    parts = []
    for rdn in name_obj.chosen:
        for attr in rdn:
            parts.append("%s=%s" % (SHORT[attr["type"].dotted], attr["value"].native))
    return ",".join(parts)


if os.path.isdir(PKI):
    shutil.rmtree(PKI)
os.makedirs(PKI)

ROOT = "/C=IT/O=Sigilo Test/CN=Sigilo Test Root"
issue("root", ROOT, "root", serial=0x01)
# The same CA with a new key: its own self-signed certificate, of the same subject.
issue("root_renewed", ROOT, "root", key_of="root_renewed", serial=0x02)
issue("inter", "/C=IT/O=Sigilo Test/CN=Sigilo Test Intermedia", "inter", issuer="root")
issue("inter_noid", "/C=IT/O=Sigilo Test/CN=Sigilo Test Senza Identificativi", "noid",
      issuer="root")
issue("inter_byname", "/C=IT/O=Sigilo Test/CN=Sigilo Test Per Nome", "bynameserial",
      issuer="root")
issue("ca_san", "/C=IT/O=Sigilo Test/CN=Sigilo Test URI", "san_uri", issuer="root")
# The same subject with another URI makes a second row; without URI it joins the first row.
issue("ca_san_other", "/C=IT/O=Sigilo Test/CN=Sigilo Test URI", "san_uri_other", issuer="root",
      key_of="ca_san")
issue("ca_san_nouri", "/C=IT/O=Sigilo Test/CN=Sigilo Test URI", "inter", issuer="root",
      key_of="ca_san")
issue("ca_ian", "/C=IT/O=Sigilo Test/CN=Sigilo Test IAN", "ian_uri", issuer="root")
issue("ca_no_certsign", "/C=IT/O=Sigilo Test/CN=Sigilo Test Senza keyCertSign", "no_certsign",
      issuer="root")
issue("ca_pathlen0", "/C=IT/O=Sigilo Test/CN=Sigilo Test Pathlen 0", "pathlen0", issuer="root")
issue("ca_expired", "/C=IT/O=Sigilo Test/CN=Sigilo Test Scaduta", "inter", issuer="root",
      start="20100101000000Z", end="20120101000000Z")
# A root that is in no list: what it signs has no issuer in the table.
issue("stranger", "/C=IT/O=Altro/CN=Sigilo Test Root", "root", serial=0x01)
issue("ee", "/C=IT/O=Sigilo Test/CN=Mario Rossi", "leaf", issuer="inter")
issue("ee_revoked", "/C=IT/O=Sigilo Test/CN=Anna Bianchi", "leaf", issuer="inter",
      key_of="ee")
issue("ee_held", "/C=IT/O=Sigilo Test/CN=Luca Verdi", "leaf", issuer="inter", key_of="ee")
issue("ee_renewed", "/C=IT/O=Sigilo Test/CN=Firmato Dalla Nuova Chiave", "inter",
      issuer="root_renewed")
issue("ee_renewed_noaki", "/C=IT/O=Sigilo Test/CN=Senza AKI", "leaf_noaki",
      issuer="root_renewed", key_of="ee")
issue("ee_stranger_noaki", "/C=IT/O=Sigilo Test/CN=Senza AKI Estraneo", "leaf_noaki",
      issuer="stranger", key_of="ee")

# The intermediate's CRL: one serial revoked for key compromise, one on hold.
env_ca = "inter"
openssl("ca", "-batch", "-config", CNF, "-cert", CERTS["inter"], "-keyfile", KEYS["inter"],
        "-revoke", CERTS["ee_revoked"], "-crl_reason", "keyCompromise", ca=env_ca)
openssl("ca", "-batch", "-config", CNF, "-cert", CERTS["inter"], "-keyfile", KEYS["inter"],
        "-revoke", CERTS["ee_held"], "-crl_reason", "certificateHold", "-crl_hold",
        "1.2.840.10040.2.2", ca=env_ca)
openssl("ca", "-batch", "-config", CNF, "-gencrl", "-cert", CERTS["inter"], "-keyfile",
        KEYS["inter"], "-crl_lastupdate", "20240101000000Z", "-crl_nextupdate",
        "20990101000000Z", "-out", path(PKI, "inter_crl.pem"), ca=env_ca)
openssl("crl", "-in", path(PKI, "inter_crl.pem"), "-outform", "DER", "-out",
        path(PKI, "inter_crl.der"))
certs = {n: load(n) for n in CERTS}

# ---- Authority key identifiers ----


def aki(keyid=None, issuer=None, serial=None):
    value = {}
    if keyid is not None:
        value["key_identifier"] = keyid
    if issuer is not None:
        value["authority_cert_issuer"] = [ax.GeneralName(name="directory_name", value=issuer)]
        value["authority_cert_serial_number"] = serial
    return ax.AuthorityKeyIdentifier(value).dump().hex()


root = certs["root"]
root_ski = root.key_identifier
root_upper = ax.Name.build({"country_name": "IT", "organization_name": "SIGILO TEST",
                            "common_name": "SIGILO TEST ROOT"}, use_printable=True)
# The same name as the root's, spelled as openssl spells it (the builder's own order and string
# types would give other bytes, and the comparison is of the printed text anyway).
root_exact = root.subject

# ---- PEM files ----

def pem_block(name):
    return read(CERTS[name]).decode()


write(path(HERE, "pem_three.pem"),
      (pem_block("root") + pem_block("inter") + pem_block("ca_san")).replace("\n", "\r\n"))
damaged = pem_block("inter").splitlines()
# Base64 that still decodes, of bytes that are no certificate: a line of the body is dropped.
damaged = "\n".join(damaged[:3] + damaged[4:]) + "\n"
write(path(HERE, "pem_second_damaged.pem"), pem_block("root") + damaged + pem_block("ca_san"))
write(path(HERE, "pem_empty.pem"), "")
write(path(HERE, "pem_blank_lines.pem"), "\n\r\n\n")
write(path(HERE, "pem_trailing_blank.pem"), pem_block("root") + "\n\n")
openssl("req", "-new", "-config", CNF, "-key", KEYS["ee"], "-subj", "/CN=Richiesta",
        "-out", path(WORK, "request.pem"))
write(path(HERE, "pem_request.pem"), pem_block("root") + read(path(WORK, "request.pem")).decode())
write(path(HERE, "pem_garbage.pem"), "questo non e' un file PEM\n")
write(path(HERE, "root.der"), read(path(PKI, "root.der")))

# ---- Trust lists ----

NS = 'xmlns:tsl="http://uri.etsi.org/02231/v2#" xmlns:ds="http://www.w3.org/2000/09/xmldsig#"'


def b64(name):
    return base64.b64encode(certs[name].dump()).decode()


def service(ids, status="http://uri.etsi.org/TrstSvc/TrustedList/Svcstatus/granted",
            history=None, name="Servizio"):
    digital = "".join("<tsl:DigitalId>%s</tsl:DigitalId>" % d for d in ids)
    hist = ""
    if history:
        hist = ("<tsl:ServiceHistory><tsl:ServiceHistoryInstance><tsl:ServiceDigitalIdentity>"
                "<tsl:DigitalId><tsl:X509Certificate>%s</tsl:X509Certificate></tsl:DigitalId>"
                "</tsl:ServiceDigitalIdentity></tsl:ServiceHistoryInstance></tsl:ServiceHistory>"
                % b64(history))
    return ("<tsl:TSPService><tsl:ServiceInformation>"
            "<tsl:ServiceTypeIdentifier>http://uri.etsi.org/TrstSvc/Svctype/CA/QC"
            "</tsl:ServiceTypeIdentifier>"
            "<tsl:ServiceName><tsl:Name xml:lang=\"it\">%s</tsl:Name></tsl:ServiceName>"
            "<tsl:ServiceDigitalIdentity>%s</tsl:ServiceDigitalIdentity>"
            "<tsl:ServiceStatus>%s</tsl:ServiceStatus>"
            "<tsl:StatusStartingTime>2020-01-01T00:00:00Z</tsl:StatusStartingTime>"
            "</tsl:ServiceInformation>%s</tsl:TSPService>\n" % (name, digital, status, hist))


def x509(name):
    return "<tsl:X509Certificate>%s</tsl:X509Certificate>" % b64(name)


def provider(services, name="Fornitore"):
    body = "<tsl:TSPServices>\n%s</tsl:TSPServices>" % "".join(services) if services is not None \
        else ""
    return ("<tsl:TrustServiceProvider><tsl:TSPInformation><tsl:TSPName>"
            "<tsl:Name xml:lang=\"it\">%s</tsl:Name></tsl:TSPName></tsl:TSPInformation>\n%s"
            "</tsl:TrustServiceProvider>\n" % (name, body))


def tsl(providers, pointer=None):
    pointers = ""
    if pointer:
        pointers = ("<tsl:PointersToOtherTSL><tsl:OtherTSLPointer>"
                    "<tsl:ServiceDigitalIdentities><tsl:ServiceDigitalIdentity><tsl:DigitalId>"
                    "%s</tsl:DigitalId></tsl:ServiceDigitalIdentity>"
                    "</tsl:ServiceDigitalIdentities>"
                    "<tsl:TSLLocation>http://127.0.0.1/altra.xml</tsl:TSLLocation>"
                    "</tsl:OtherTSLPointer></tsl:PointersToOtherTSL>" % x509(pointer))
    return ('<?xml version="1.0" encoding="UTF-8"?>\n<tsl:TrustServiceStatusList %s '
            'TSLTag="http://uri.etsi.org/19612/TSLTag">\n<tsl:SchemeInformation>'
            "<tsl:TSLVersionIdentifier>5</tsl:TSLVersionIdentifier>%s</tsl:SchemeInformation>\n"
            "<tsl:TrustServiceProviderList>\n%s</tsl:TrustServiceProviderList>\n"
            "</tsl:TrustServiceStatusList>\n" % (NS, pointers, "".join(providers)))


WITHDRAWN = "http://uri.etsi.org/TrstSvc/TrustedList/Svcstatus/withdrawn"
write(path(HERE, "tsl_good.xml"), tsl([
    provider([service([x509("root")]),
              service([x509("inter")], status=WITHDRAWN, name="Ritirato"),
              service([x509("ca_san"), x509("ca_ian")], history="ca_pathlen0")], "Primo"),
    provider([service([x509("ca_no_certsign")])], "Secondo"),
    provider([service([x509("root_renewed")])], "Terzo"),
], pointer="ca_expired"))
write(path(HERE, "tsl_bad_certificate.xml"), tsl([
    provider([service([x509("root")]),
              service(["<tsl:X509Certificate>%s</tsl:X509Certificate>"
                       % base64.b64encode(b"\x30\x03\x02\x01\x05").decode()]),
              service([x509("inter")])])]))
write(path(HERE, "tsl_provider_without_services.xml"), tsl([
    provider([service([x509("root")])]), provider(None, "Vuoto"),
    provider([service([x509("inter")])])]))
write(path(HERE, "tsl_no_certificate.xml"), tsl([
    provider([service(["<tsl:X509SKI>%s</tsl:X509SKI>" % base64.b64encode(root_ski).decode()]),
              service([x509("inter")])])]))
write(path(HERE, "tsl_wrong_shape.xml"),
      '<?xml version="1.0"?>\n<Lista><TrustServiceProvider><TSPServices><TSPService>'
      "<ServiceInformation><ServiceDigitalIdentity>%s</ServiceDigitalIdentity>"
      "</ServiceInformation></TSPService></TSPServices></TrustServiceProvider></Lista>\n"
      % x509("root").replace("tsl:", ""))
write(path(HERE, "tsl_not_xml.xml"), "<tsl:TrustServiceStatusList>\n<non chiuso")

# ---- caCertsList and crlCache in their DER layout ----


class Certs(core.SequenceOf):
    _child_spec = ax.Certificate


class TextOrNull(core.Choice):
    _alternatives = [("text", core.OctetString), ("none", core.Null)]


class CARow(core.Sequence):
    _fields = [("uri", TextOrNull), ("subject", TextOrNull), ("certs", Certs)]


class CAList(core.SetOf):
    _child_spec = CARow


class CRLRow(core.Sequence):
    _fields = [("uri", TextOrNull), ("issuer", TextOrNull), ("ca_row", core.Integer),
               ("ca_index", core.Integer), ("crl", acrl.CertificateList),
               ("this_update", ax.Time), ("next_update", ax.Time),
               ("expired_certs_on_crl", ax.Time), ("time_stamp", ax.Time)]


class CRLList(core.SetOf):
    _child_spec = CRLRow


def text(s):
    return TextOrNull(name="none", value=core.Null()) if s is None else \
        TextOrNull(name="text", value=s.encode())


def set_of(cls, rows):
    # A SET OF in the file keeps the table's order: the DER sorting of asn1crypto would not.
    body = b"".join(r.dump() for r in rows)
    data = bytes([0x31]) + len_bytes(len(body)) + body
    # Read back as the SET OF it is, to be sure of the layout.
    assert cls.load(data).dump(force=True) is not None
    return data


def len_bytes(n):
    if n < 0x80:
        return bytes([n])
    b = n.to_bytes((n.bit_length() + 7) // 8, "big")
    return bytes([0x80 | len(b)]) + b


ca_rows = [
    CARow({"uri": text(None), "subject": text(short_text(root.subject)),
           "certs": [root, certs["root_renewed"]]}),
    CARow({"uri": text("http://ca.example.it/casan"),
           "subject": text(short_text(certs["ca_san"].subject)), "certs": [certs["ca_san"]]}),
    CARow({"uri": text(None), "subject": text(short_text(certs["inter"].subject)),
           "certs": [certs["inter"]]}),
    # A row with an empty subject text and one without certificates.
    CARow({"uri": text(""), "subject": text("CN=Vuota"), "certs": []}),
]
write(path(HERE, "caCertsList_four_rows"), set_of(CAList, ca_rows))
write(path(HERE, "caCertsList_empty"), b"\x31\x00")
# More rows than the table holds: 600 subjects without certificates.
write(path(HERE, "caCertsList_600_rows"), set_of(CAList, [
    CARow({"uri": text(None), "subject": text("CN=Riga %d" % i), "certs": []})
    for i in range(600)]))

inter_crl = acrl.CertificateList.load(read(path(PKI, "inter_crl.der")))
tbs = inter_crl["tbs_cert_list"]
unset = ax.Time(name="utc_time", value=core.UTCTime("700101000000Z"))
crl_rows = [
    CRLRow({"uri": text("http://127.0.0.1/intermedia.crl"),
            "issuer": text(short_text(tbs["issuer"])), "ca_row": 2, "ca_index": 0, "crl": inter_crl,
            "this_update": tbs["this_update"], "next_update": tbs["next_update"],
            "expired_certs_on_crl": unset,
            "time_stamp": ax.Time(name="utc_time", value=core.UTCTime("240102030405Z"))}),
    CRLRow({"uri": text("ldap://127.0.0.1/cn=Sigilo%20Test%20Intermedia"),
            "issuer": text(None), "ca_row": 7, "ca_index": 3, "crl": inter_crl,
            "this_update": tbs["this_update"], "next_update": tbs["next_update"],
            "expired_certs_on_crl": ax.Time(name="general_time",
                                            value=core.GeneralizedTime("20230101000000Z")),
            "time_stamp": ax.Time(name="general_time",
                                  value=core.GeneralizedTime("20240102030405Z"))}),
]
write(path(HERE, "crlCache_two_rows"), set_of(CRLList, crl_rows))

# ---- trust.vec: what the store must answer ----

lines = ["# Generated by gen_trust_data.py (openssl, asn1crypto).", ""]


def block(kind, **fields):
    lines.append("[%s]" % kind)
    for k, v in fields.items():
        lines.append("%s = %s" % (k, "-" if v in ("", None) else v))
    lines.append("")


EXPECTED_URI = {"ca_san": "http://ca.example.it/casan",
                "ca_san_other": "http://other.example.it/ca",
                "ca_ian": "ldap://dir.example.it/cn=CA IAN?cACertificate"}
for n in sorted(CERTS):
    c = certs[n]
    block("cert", name=n, file="pki/%s.der" % n, subject=short_text(c.subject),
          issuer=short_text(c.issuer), serial=serial_text(c.serial_number),
          uri=EXPECTED_URI.get(n), ski=(c.key_identifier or b"").hex())

block("aki", name="keyid_of_root", der=aki(keyid=root_ski), cert="root", match="255")
block("aki", name="keyid_of_inter", der=aki(keyid=certs["inter"].key_identifier), cert="root",
      match="0")
block("aki", name="issuer_and_serial", der=aki(keyid=b"\x01\x02", issuer=root_exact,
                                               serial=root.serial_number), cert="root",
      match="255")
# The issuer differs only in case: no match by name, so the (wrong) key identifier decides.
block("aki", name="issuer_in_other_case_wrong_keyid",
      der=aki(keyid=b"\x01\x02", issuer=root_upper, serial=root.serial_number), cert="root",
      match="0")
block("aki", name="issuer_in_other_case_right_keyid",
      der=aki(keyid=root_ski, issuer=root_upper, serial=root.serial_number), cert="root",
      match="255")
block("aki", name="right_issuer_wrong_serial",
      der=aki(keyid=b"\x01\x02", issuer=root_exact, serial=root.serial_number + 1),
      cert="root", match="0")
# The certificate made with "issuer:always" names its issuer by name and serial only.
byname_aki = [e for e in certs["inter_byname"]["tbs_certificate"]["extensions"]
              if e["extn_id"].native == "authority_key_identifier"][0]["extn_value"].parsed
block("aki", name="of_inter_byname", der=byname_aki.dump().hex(), cert="root", match="255")
block("aki", name="of_inter_byname_against_renewed", der=byname_aki.dump().hex(),
      cert="root_renewed", match="0")

revoked = {r["user_certificate"].native: r for r in tbs["revoked_certificates"]}
for n in ("ee", "ee_revoked", "ee_held"):
    s = certs[n].serial_number
    r = revoked.get(s)
    reason = 0
    if r is not None:
        for e in r["crl_entry_extensions"]:
            if e["extn_id"].native == "crl_reason":
                reason = {"key_compromise": 1, "certificate_hold": 6}[e["extn_value"].native]
    block("crl_entry", cert=n, serial=serial_text(s), revoked="255" if r is not None else "0",
          reason=reason)

block("crl_file", file="crlCache_two_rows", rows=2, body=inter_crl.dump().hex(),
      uri0="http://127.0.0.1/intermedia.crl", issuer0=short_text(tbs["issuer"]), ca_row0=2,
      ca_index0=0, uri1="ldap://127.0.0.1/cn=Sigilo%20Test%20Intermedia", issuer1=None,
      ca_row1=7, ca_index1=3, this_update=tbs["this_update"].chosen.dump().hex(),
      expired1="20230101000000Z", time_stamp0="240102030405Z", time_stamp1="20240102030405Z")

with open(path(HERE, "trust.vec"), "w") as f:
    f.write("\n".join(lines))

# Only what the tests read is kept: certificates, keys (for later data), the CRL.
for f in os.listdir(PKI):
    if f.endswith(".csr"):
        os.remove(path(PKI, f))
shutil.rmtree(WORK)
