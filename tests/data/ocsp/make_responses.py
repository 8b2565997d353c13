#!/usr/bin/python3
"""OCSP responses that `openssl ocsp` cannot make, built with cryptography's OCSP builder (and
asn1crypto where the builder refuses), over the PKI of gen_ocsp_data.sh:

  resp_noeku.der          good for 1001, signed by a certificate of the CA that has no
                          id-kp-OCSPSigning (responder id by key hash)
  resp_unrelated.der      good for 1001, signed by the unrelated CA's key, no certificates
  resp_unrelated_cert.der the same, carrying the unrelated CA's certificate (keyCertSign)
  resp_otherserial.der    good for 1001, properly signed by the CA: the answer to a question
                          about another certificate
  resp_stale.der          good for 1001, signed by the CA, next update 2020-01-02
  resp_delegated.der      good for 1001, signed by the delegated responder (thisUpdate 2024,
                          no next update), to compare with what openssl ocsp serves
  resp_trylater.der       the unsuccessful status tryLater (3)
  resp_othertype.der      a successful status whose bytes are of another response type
  resp_twoentries.der     two answers signed by the CA: 1001 good, then 1002 revoked

    make_responses.py DIR
"""
import datetime
import sys

from asn1crypto import core, ocsp as aocsp
from cryptography import x509
from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import padding
from cryptography.x509 import ocsp

here = sys.argv[1]


def cert(name):
    return x509.load_pem_x509_certificate(open(f"{here}/{name}.pem", "rb").read())


def key(name):
    return serialization.load_pem_private_key(open(f"{here}/{name}.key", "rb").read(), None)


ca, good, revoked = cert("ca"), cert("good"), cert("revoked")
THIS = datetime.datetime(2024, 1, 1, tzinfo=datetime.timezone.utc)
NEXT = datetime.datetime(2099, 1, 1, tzinfo=datetime.timezone.utc)


def good_response(signer_cert, signer_key, certs, encoding=ocsp.OCSPResponderEncoding.NAME,
                  subject=good, this=THIS, next_=NEXT):
    builder = ocsp.OCSPResponseBuilder().add_response(
        cert=subject, issuer=ca, algorithm=hashes.SHA1(), cert_status=ocsp.OCSPCertStatus.GOOD,
        this_update=this, next_update=next_, revocation_time=None, revocation_reason=None)
    builder = builder.responder_id(encoding, signer_cert)
    if certs:
        builder = builder.certificates(certs)
    return builder.sign(signer_key, hashes.SHA256()).public_bytes(serialization.Encoding.DER)


def write(name, data):
    open(f"{here}/{name}", "wb").write(data)


write("resp_noeku.der", good_response(cert("noeku"), key("noeku"), [cert("noeku")],
                                      ocsp.OCSPResponderEncoding.HASH))
write("resp_unrelated.der", good_response(cert("other"), key("other"), []))
write("resp_unrelated_cert.der", good_response(cert("other"), key("other"), [cert("other")]))
write("resp_otherserial.der", good_response(ca, key("ca"), []))
write("resp_stale.der", good_response(
    ca, key("ca"), [], this=datetime.datetime(2020, 1, 1, tzinfo=datetime.timezone.utc),
    next_=datetime.datetime(2020, 1, 2, tzinfo=datetime.timezone.utc)))
write("resp_delegated.der", good_response(cert("responder"), key("responder"),
                                          [cert("responder")], next_=None))
write("resp_trylater.der", ocsp.OCSPResponseBuilder.build_unsuccessful(
    ocsp.OCSPResponseStatus.TRY_LATER).public_bytes(serialization.Encoding.DER))

# A successful response whose bytes claim another type: the basic response of resp_otherserial
# under an OID that is not id-pkix-ocsp-basic.
basic = aocsp.OCSPResponse.load(open(f"{here}/resp_otherserial.der", "rb").read())
inner = basic["response_bytes"]["response"].contents


class AnyBytes(core.Sequence):
    _fields = [("response_type", core.ObjectIdentifier), ("response", core.OctetString)]


class AnyResponse(core.Sequence):
    _fields = [("response_status", aocsp.OCSPResponseStatus),
               ("response_bytes", AnyBytes, {"explicit": 0, "optional": True})]


write("resp_othertype.der", AnyResponse({
    "response_status": "successful",
    "response_bytes": {"response_type": "1.3.6.1.5.5.7.48.1.99", "response": inner}}).dump())

# Two answers in one response, which the builder refuses: 1001 good, then 1002 revoked, the
# ResponseData built with asn1crypto and signed with the CA key by cryptography.
first = aocsp.OCSPResponse.load(open(f"{here}/resp_otherserial.der", "rb").read())
data = first["response_bytes"]["response"].parsed["tbs_response_data"]
one = data["responses"][0]
two = aocsp.SingleResponse({
    "cert_id": {
        "hash_algorithm": one["cert_id"]["hash_algorithm"],
        "issuer_name_hash": one["cert_id"]["issuer_name_hash"],
        "issuer_key_hash": one["cert_id"]["issuer_key_hash"],
        "serial_number": revoked.serial_number},
    "cert_status": aocsp.CertStatus(name="revoked", value={
        "revocation_time": datetime.datetime(2023, 4, 1, tzinfo=datetime.timezone.utc),
        "revocation_reason": "key_compromise"}),
    "this_update": THIS, "next_update": NEXT})
tbs = aocsp.ResponseData({
    "responder_id": data["responder_id"], "produced_at": data["produced_at"],
    "responses": [aocsp.SingleResponse.load(one.dump()), two]})
signature = key("ca").sign(tbs.dump(), padding.PKCS1v15(), hashes.SHA256())
basic_two = aocsp.BasicOCSPResponse({
    "tbs_response_data": tbs, "signature_algorithm": {"algorithm": "sha256_rsa"},
    "signature": signature})
write("resp_twoentries.der", aocsp.OCSPResponse({
    "response_status": "successful",
    "response_bytes": {"response_type": "basic_ocsp_response", "response": basic_two}}).dump())
