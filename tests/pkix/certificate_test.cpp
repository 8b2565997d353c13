// Certificates made by cryptography, openssl and by hand (certs.vec, gen_certs.py): reading,
// byte-for-byte re-encoding, the fields against openssl and asn1crypto, the strict and lax
// integers, and the two digest sources of the signature check.
#include "pkix/Certificate.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>

#include "asn1/SecureBuffer.h"
#include "asn1/X500Time.h"
#include "crypto/AlgorithmIdentifier.h"
#include "crypto/CryptoDevice.h"
#include "crypto/DigestInfo.h"
#include "crypto/RSAPublicKey.h"
#include "crypto/Signature.h"
#include "pkix/CertificateInfo.h"
#include "crypto/CryptoKi.h"
#include "pkix/Extension.h"
#include "pkix/KeyInfo.h"
#include "pkix/Name.h"
#include "pkix/NameLabels.h"
#include "pkix/Validity.h"
#include "pkix_test_support.h"

namespace {

std::vector<VecCase> certificates(const std::string& parse) {
    std::vector<VecCase> out;
    for (const VecCase& c : pkixCases("certs.vec", "certificate")) {
        if (c.get("parse") == parse) out.push_back(c);
    }
    return out;
}

const VecCase& certificateLabelled(const std::string& label) {
    static const std::vector<VecCase> all = pkixCases("certs.vec", "certificate");
    for (const VecCase& c : all) {
        if (c.get("label") == label) return c;
    }
    throw std::runtime_error("no certificate " + label);
}

Bytes derOf(const VecCase& c) {
    Bytes der = c.hex("der");
    if (c.has("length")) der.resize(std::stoul(c.get("length")));
    return der;
}

std::unique_ptr<Certificate> read(const Bytes& der) {
    auto in = bufferOf(der);
    auto cert = std::make_unique<Certificate>();
    EXPECT_TRUE(cert->unwrapASN1(in.get()));
    return cert;
}

std::string opensslForm(const Name* name, const std::string& opensslText) {
    std::unique_ptr<Name> copy(name->clone());
    copy->toUTF8();
    std::vector<std::string> dotted;
    for (const std::string& part : split(opensslText, ',')) {
        for (const std::string& member : split(part, '+')) {
            dotted.push_back(member.substr(0, member.find('=')));
        }
    }
    std::vector<const char*> table;
    for (const std::string& d : dotted) table.push_back(d.c_str());
    return take(
        copy->getShortUTF8String(table.data(), table.data(), static_cast<int>(table.size())));
}

std::string extensionList(const CertificateInfo* info) {
    const ExtensionList* list = info->_getExtensions();
    std::string out;
    for (int i = 0; list != nullptr && i < list->getCount(); ++i) {
        if (!out.empty()) out += ",";
        out += take(list->getExtensionID(i)) + ":" +
               std::to_string(list->_getElement(i)->getCritical());
    }
    return out;
}

TEST(Certificate, CorpusReadsAndReencodesByteForByte) {
    ASSERT_GE(certificates("ok").size(), 35u);
    for (const VecCase& c : certificates("ok")) {
        SCOPED_TRACE(c.get("label"));
        Bytes der = derOf(c);
        auto in = bufferOf(c.hex("der"));
        Certificate cert;
        ASSERT_TRUE(cert.unwrapASN1(in.get()));
        // Bytes after the certificate are left unread.
        EXPECT_EQ(in->getReadPos(), der.size());
        EXPECT_EQ(encode(cert), der);
        std::unique_ptr<Certificate> copy(cert.clone());
        EXPECT_EQ(encode(*copy), der);

        const CertificateInfo* info = cert._getCertInfo();
        ASSERT_NE(info, nullptr);
        EXPECT_EQ(cert.isBEREncoded(), c.get("ber") == "1");
        EXPECT_EQ(info->getVersion(), std::stoi(c.get("version")));
        EXPECT_EQ(info->getExplicitVersion(), std::stoi(c.get("explicit_version")));
        EXPECT_EQ(take(info->printSerial(16)), c.get("serial"));
        EXPECT_EQ(take(info->printSerial(10)), c.get("serial_dec"));
        EXPECT_EQ(opensslForm(info->_getSubject(), c.get("subject")), [&] {
            std::string s = c.get("subject");
            std::replace(s.begin(), s.end(), '+', ',');
            return s;
        }());
        std::string issuer = c.get("issuer");
        std::string issuerText = opensslForm(info->_getIssuer(), issuer);
        std::replace(issuer.begin(), issuer.end(), '+', ',');
        EXPECT_EQ(issuerText, issuer);
        EXPECT_EQ(take(info->_getSubject()->getShortUTF8String(kNameLabelOIDs, kNameShortLabels,
                                                               kNameLabelCount)),
                  c.get("subject_short"));

        const Validity* validity = info->_getValidity();
        EXPECT_EQ(validity->_getNotBefore()->getClockValue(), std::stol(c.get("not_before")));
        EXPECT_EQ(validity->_getNotAfter()->getClockValue(), std::stol(c.get("not_after")));
        EXPECT_EQ(validity->_getNotAfter()->getFormat(), std::stoi(c.get("not_after_tag")));
        EXPECT_EQ(take(cert._getSignAlgorithm()->getAlgorithm()), c.get("sig_alg"));
        EXPECT_EQ(take(info->_getSignAlg()->getAlgorithm()), c.get("tbs_sig_alg"));
        std::unique_ptr<Key> key(info->_getSubjectPubKey()->getKey());
        ASSERT_NE(key, nullptr);
        EXPECT_EQ(key->getKeyLen() * 8, std::stoul(c.get("key_bits")));
        EXPECT_EQ(extensionList(info), c.get("extensions"));
        if (c.has("issuer_uid")) {
            std::unique_ptr<unsigned char[]> uid(info->getIssuerUniqueID());
            ASSERT_NE(uid, nullptr);
            EXPECT_EQ(toHex(uid.get(), info->getIssuerUniqueIDLen()),
                      split(c.get("issuer_uid"), ':')[1]);
        }
        if (c.has("subject_uid")) {
            std::unique_ptr<unsigned char[]> uid(info->getSubjectUniqueID());
            ASSERT_NE(uid, nullptr);
            EXPECT_EQ(toHex(uid.get(), info->getSubjectUniqueIDLen()),
                      split(c.get("subject_uid"), ':')[1]);
        }
    }
}

TEST(Certificate, NonConformingEncodingsFail) {
    ASSERT_GE(certificates("fail").size(), 6u);
    for (const VecCase& c : certificates("fail")) {
        SCOPED_TRACE(c.get("label"));
        auto in = bufferOf(c.hex("der"));
        Certificate cert;
        EXPECT_FALSE(cert.unwrapASN1(in.get()));
    }
}

// The signature's BIT STRING carries whole bytes: a count of unused bits is refused, since the
// signature itself does not cover that byte (openssl refuses it too).
TEST(Certificate, ASignatureWithUnusedBitsFails) {
    Bytes der = derOf(certificateLabelled("v3 with every extension"));
    Certificate good;
    auto in = bufferOf(der);
    ASSERT_TRUE(good.unwrapASN1(in.get()));
    size_t unusedAt = der.size() - good._getSign()->getLength() - 1;
    ASSERT_EQ(der[unusedAt], 0);
    for (unsigned char unused : {1, 7}) {
        Bytes bad = der;
        bad[unusedAt] = unused;
        auto badIn = bufferOf(bad);
        Certificate cert;
        EXPECT_FALSE(cert.unwrapASN1(badIn.get())) << int(unused);
    }
}

TEST(Certificate, EveryTruncationFails) {
    Bytes der = derOf(certificateLabelled("v3 with every extension"));
    for (size_t n = 0; n < der.size(); ++n) {
        Bytes cut(der.begin(), der.begin() + static_cast<long>(n));
        auto in = bufferOf(cut);
        Certificate cert;
        ASSERT_FALSE(cert.unwrapASN1(in.get())) << "prefix of " << n << " bytes";
    }
}

TEST(Certificate, VersionElementIsKeptAsItCame) {
    auto spelled = read(derOf(certificateLabelled("v1 with the version 0 spelled out")));
    auto plain = read(derOf(certificateLabelled("v1 without a version element")));
    // Everything but the [0] element is equal, so the encodings differ by its five bytes.
    EXPECT_EQ(encode(*spelled).size(), encode(*plain).size() + 5);
    std::unique_ptr<CertificateInfo> info(plain->getCertInfo());
    EXPECT_EQ(info->_getExtensions(), nullptr);
    info->setVersion(0);
    info->setExplicitVersion(255);
    Certificate rebuilt;
    rebuilt.setCertInfo(info.get());
    rebuilt.setSignAlgorithm(plain->_getSignAlgorithm());
    rebuilt.setSign(spelled->_getSign());
    EXPECT_EQ(encode(rebuilt), derOf(certificateLabelled("v1 with the version 0 spelled out")));
}

TEST(Certificate, PrintableDescription) {
    auto cert = read(derOf(certificateLabelled("v3 with every extension")));
    std::string text = take(cert->getPrintableString());
    EXPECT_EQ(text.find("Versione: 3\n\nN.ro seriale: 0A0B0C0D0E0F\n\nRilasciato a: \n"
                        "\tStato: IT\n\tOrganizzazione: Studio Legale\n"
                        "\tCommon Name: Mario Rossi\n\tNumero Seriale: TINIT-RSSMRA80A01H501U\n\n"
                        "Emesso da: \n\tStato: IT\n"),
              0u);
    EXPECT_NE(text.find("\n\nEmesso il "), std::string::npos);
    EXPECT_NE(text.find("\n\nScade il "), std::string::npos);
    EXPECT_NE(text.find("Chiave valida per l'algoritmo di firma: \n    sha256WithRSAEncryption\n"
                        "Lunghezza della chiave: 2048 bits\n\n"
                        "Algoritmo di firma utilizzato: \n    sha256WithRSAEncryption\n"),
              std::string::npos);
    EXPECT_EQ(text.back(), '\n');

    std::unique_ptr<CertificateInfo> info(cert->getCertInfo());
    for (int v : {0, 1, 7, -1}) {
        info->setVersion(v);
        std::string expected = v == 0   ? "Versione: 1\n\n"
                               : v == 1 ? "Versione: 2\n\n"
                                        : "Versione: sconosciuta\n\n";
        EXPECT_EQ(take(info->getPrintableString()).find(expected), 0u) << v;
    }
}

// A device that digests by handing back the input's length and first bytes, and signs with a
// fixed value, recording the algorithms it is given. It has no token, so its verify fails.
class RecordingDevice : public CryptoDevice {
public:
    unsigned char setSignAlgorithm(AlgorithmIdentifier* a) override {
        algorithms.push_back(take(a != nullptr ? a->getAlgorithm() : nullptr));
        return 255;
    }
    DigestInfo* digest(const unsigned char* data, unsigned long len) override {
        digested.emplace_back(data, data + len);
        return new DigestInfo("2.16.840.1.101.3.4.2.1", data, len < 32 ? len : 32);
    }
    Signature* sign(const unsigned char* data, unsigned long len) override {
        signedBytes.assign(data, data + len);
        if (!canSign) return nullptr;
        const unsigned char value[] = {1, 2, 3, 4};
        return new Signature(value, 4);
    }

    bool canSign = true;
    std::vector<std::string> algorithms;
    std::vector<Bytes> digested;
    Bytes signedBytes;
};

// The bytes of the to-be-signed part inside a certificate's DER.
Bytes tbsOf(const Bytes& der) {
    unsigned int outerHeader = der[1] & 0x80 ? 2 + (der[1] & 0x7F) : 2;
    unsigned int innerLen = 0;
    unsigned int at = outerHeader + 1;
    unsigned int header = 2;
    if (der[at] & 0x80) {
        unsigned int count = der[at] & 0x7F;
        for (unsigned int i = 0; i < count; ++i) innerLen = (innerLen << 8) | der[at + 1 + i];
        header = 2 + count;
    } else {
        innerLen = der[at];
    }
    return Bytes(der.begin() + outerHeader, der.begin() + outerHeader + header + innerLen);
}

TEST(Certificate, SignatureCheckUsesTheRightDigestSource) {
    Bytes der = derOf(certificateLabelled("v3 with every extension"));
    Bytes tbs = tbsOf(der);

    // Read through a SecureBuffer: the input bytes are digested while reading.
    RecordingDevice device;
    SecureBuffer secure(&device);
    secure.fromByteArray(der.data(), static_cast<unsigned int>(der.size()));
    Certificate fromSecure;
    ASSERT_TRUE(fromSecure.unwrapASN1(&secure));
    ASSERT_EQ(device.digested.size(), 1u);
    EXPECT_EQ(device.digested[0], tbs);
    ASSERT_NE(fromSecure._getCertInfo(), nullptr);
    std::unique_ptr<DigestInfo> kept(fromSecure.getDigest());
    ASSERT_NE(kept, nullptr);
    KeyInfo* key = const_cast<KeyInfo*>(fromSecure._getCertInfo()->_getSubjectPubKey());
    // The device has no token: the check fails, and it digests nothing more.
    EXPECT_EQ(fromSecure.checkSignature(&device, key), 0);
    EXPECT_EQ(device.digested.size(), 1u);
    EXPECT_EQ(device.algorithms.back(), "1.2.840.113549.1.1.11");

    // Read through a plain Buffer: the check digests the re-encoded part.
    RecordingDevice second;
    auto cert = read(der);
    EXPECT_EQ(cert->getDigest(), nullptr);
    EXPECT_EQ(cert->checkSignature(&second, key), 0);
    ASSERT_EQ(second.digested.size(), 1u);
    EXPECT_EQ(second.digested[0], tbs);
    EXPECT_EQ(second.algorithms, std::vector<std::string>{"1.2.840.113549.1.1.11"});
    // checkSignature1 never digests.
    EXPECT_EQ(cert->checkSignature1(&second, key), 0);
    EXPECT_EQ(second.digested.size(), 1u);

    // The library's device, whose operations all fail, and no device at all.
    CryptoDevice placeholder;
    auto again = read(der);
    EXPECT_EQ(again->checkSignature(&placeholder, key), 0);
    EXPECT_EQ(again->checkSignature1(&placeholder, key), 0);
    EXPECT_EQ(again->checkSignature(nullptr, key), 0);
    Certificate empty;
    EXPECT_EQ(empty.checkSignature(&device, key), 0);
    EXPECT_EQ(empty.checkSignature1(&device, key), 0);
    EXPECT_TRUE(empty.isBEREncoded());
}

// Signatures made by openssl and python cryptography, checked through the built-in token.
TEST(Certificate, SignaturesVerifyThroughTheToken) {
    CryptoKi ki;
    CryptoDevice device(&ki);
    ASSERT_NE(device.openToken(0, nullptr, 0), 0u);
    auto root = read(derOf(certificateLabelled("openssl req -x509 root")));
    Bytes leafDer = derOf(certificateLabelled("openssl x509 -req leaf"));
    KeyInfo* rootKey = const_cast<KeyInfo*>(root->_getCertInfo()->_getSubjectPubKey());

    EXPECT_EQ(root->checkSignature(&device, rootKey), 255);  // self-signed
    // The leaf through both digest sources: the bytes as read, and the re-encoded part.
    SecureBuffer secure(&device);
    secure.fromByteArray(leafDer.data(), static_cast<unsigned int>(leafDer.size()));
    Certificate leaf;
    ASSERT_TRUE(leaf.unwrapASN1(&secure));
    EXPECT_EQ(leaf.checkSignature(&device, rootKey), 255);
    EXPECT_EQ(read(leafDer)->checkSignature1(&device, rootKey), 255);
    // The leaf's own key did not sign it: under that key the value is no PKCS#1 block at all.
    KeyInfo* leafKey = const_cast<KeyInfo*>(leaf._getCertInfo()->_getSubjectPubKey());
    EXPECT_EQ(read(leafDer)->checkSignature(&device, leafKey), 0);
    EXPECT_EQ(device.getErrorCodeNumeric(), 6u);

    // One changed byte near the end of the signed part breaks it.
    Bytes tampered = leafDer;
    Bytes tbs = tbsOf(leafDer);
    tampered[tbs.size()] ^= 0x01;
    auto broken = read(tampered);
    ASSERT_NE(broken, nullptr);
    EXPECT_EQ(broken->checkSignature(&device, rootKey), 0);

    // Certificates that python cryptography signed with its test CA key.
    auto ca = read(derOf(certificateLabelled("self-signed CA, serial 1")));
    KeyInfo* caKey = const_cast<KeyInfo*>(ca->_getCertInfo()->_getSubjectPubKey());
    EXPECT_EQ(ca->checkSignature(&device, caKey), 255);
    EXPECT_EQ(read(derOf(certificateLabelled("v3 with every extension")))
                  ->checkSignature(&device, caKey),
              255);
}

TEST(Certificate, SigningEncoder) {
    Bytes der = derOf(certificateLabelled("v3 with every extension"));
    auto cert = read(der);
    std::unique_ptr<CertificateInfo> info(cert->getCertInfo());
    Certificate unsigned_;
    unsigned_.setCertInfo(info.get());
    unsigned_.setSignAlgorithm("1.2.840.113549.1.1.11");

    RecordingDevice device;
    SecureBuffer out(&device);
    out.writeByte(0xEE);  // something before, which must stay
    ASSERT_EQ(unsigned_.wrapASN1(&out), 255);
    EXPECT_EQ(device.signedBytes, tbsOf(der));
    ASSERT_NE(unsigned_._getSign(), nullptr);
    EXPECT_EQ(unsigned_._getSign()->getLength(), 4u);
    EXPECT_EQ(out._getData()[0], 0xEE);
    Bytes written(out._getData() + 1, out._getData() + out.getWritePos());
    EXPECT_EQ(written, encode(unsigned_));

    // Signing fails: nothing is written and the result is 0.
    Certificate again;
    again.setCertInfo(info.get());
    RecordingDevice refusing;
    refusing.canSign = false;
    SecureBuffer none(&refusing);
    EXPECT_EQ(again.wrapASN1(&none), 0);
    EXPECT_EQ(none.getWritePos(), 0u);
    EXPECT_EQ(again._getSign(), nullptr);
    // The split form needs a signer that signs digests.
    EXPECT_EQ(again.wrapASN1(&none, &refusing, &device), 0);
    EXPECT_EQ(none.getWritePos(), 0u);
    // With a signature present nothing is signed.
    SecureBuffer plain(&refusing);
    EXPECT_EQ(cert->wrapASN1(&plain, &refusing, &refusing), 255);
    EXPECT_EQ(Bytes(plain._getData(), plain._getData() + plain.getWritePos()), der);
}

TEST(Certificate, PEMFileRoundTrip) {
    Bytes der = derOf(certificateLabelled("openssl x509 -req leaf"));
    auto cert = read(der);
    char path[] = "/tmp/sigilo-cert-XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    SecureBuffer work;
    ASSERT_TRUE(cert->writePEMFile(fd, &work));
    close(fd);
    std::string text;
    {
        FILE* f = fopen(path, "rb");
        char chunk[256];
        size_t n;
        while ((n = fread(chunk, 1, sizeof chunk, f)) > 0) text.append(chunk, n);
        fclose(f);
    }
    EXPECT_EQ(text.find("-----BEGIN CERTIFICATE-----\r\n"), 0u);
    fd = open(path, O_RDONLY);
    SecureBuffer in;
    Certificate back;
    EXPECT_TRUE(back.readPEMFile(fd, &in));
    close(fd);
    unlink(path);
    EXPECT_EQ(encode(back), der);
}

TEST(Certificate, ListOfCertificates) {
    CertList list;
    auto a = read(derOf(certificateLabelled("openssl req -x509 root")));
    auto b = read(derOf(certificateLabelled("openssl x509 -req leaf")));
    list.addCertificate(a.get());
    list.addCertificate(b.get());
    Bytes der = encode(list);
    auto in = bufferOf(der);
    CertList back;
    ASSERT_TRUE(back.unwrapASN1(in.get()));
    ASSERT_EQ(back.getCount(), 2);
    std::unique_ptr<Certificate> second(back.getCertificate(1));
    EXPECT_EQ(encode(*second), derOf(certificateLabelled("openssl x509 -req leaf")));
    Buffer tagged;
    list.wrapASN1(0xA0, &tagged);
    CertList fromTagged;
    EXPECT_TRUE(fromTagged.unwrapASN1(0xA0, &tagged));
    EXPECT_EQ(fromTagged.getCount(), 2);
}

}  // namespace
