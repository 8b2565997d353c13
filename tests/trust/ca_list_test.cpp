// The CA table: how certificates of the openssl PKI fall into rows, the lookups by name, by key
// identifier and by signature, and the limits of the table.
#include <memory>
#include <string>

#include "asn1/Buffer.h"
#include "pkix/AuthorityKeyIdentifier.h"
#include "pkix/Extension.h"
#include "pkix/KeyInfo.h"
#include "trust_test_support.h"

namespace {

using CAList = TrustTest;

std::string row(const std::string& uri, const std::string& subject, int count) {
    return uri + "|" + subject + "|" + std::to_string(count);
}

std::unique_ptr<AuthorityKeyIdentifier> akiOf(const std::vector<unsigned char>& der) {
    Buffer in;
    in.fromByteArray(der.data(), static_cast<unsigned int>(der.size()));
    std::unique_ptr<AuthorityKeyIdentifier> aki(new AuthorityKeyIdentifier());
    EXPECT_TRUE(aki->unwrapASN1(&in));
    return aki;
}

// The certificate's own authority key identifier, or null.
std::unique_ptr<AuthorityKeyIdentifier> akiOf(const Certificate& certificate) {
    const ExtensionList* list = certificate._getCertInfo()->_getExtensions();
    int i = list != nullptr ? list->findExtension("2.5.29.35") : -1;
    if (i < 0) return nullptr;
    const Extension* e = list->_getElement(i);
    return akiOf(std::vector<unsigned char>(e->_getExtnValue(), e->_getExtnValue() + e->getVlen()));
}

TEST_F(CAList, RowsAreKeyedBySubjectAndURI) {
    startLog();
    for (const char* name :
         {"root", "ca_san", "root_renewed", "ca_san_other", "ca_san_nouri", "ca_ian", "inter"}) {
        EXPECT_EQ(cache->addCACert(trustData(pkiCase(name).get("file")).c_str()), 255) << name;
    }
    // A renewed key joins its subject's row; a URI that differs makes a row of its own, and a
    // certificate without URI joins the first row of its subject. The URI comes from the issuer
    // alternative name when the subject alternative name has none; its "%0D" is gone and its
    // "+" is a blank.
    EXPECT_EQ(rows(), (std::vector<std::string>{
                          row("(null)", subjectOf("root"), 2),
                          row(pkiCase("ca_san").get("uri"), subjectOf("ca_san"), 2),
                          row(pkiCase("ca_san_other").get("uri"), subjectOf("ca_san"), 1),
                          row(pkiCase("ca_ian").get("uri"), subjectOf("ca_ian"), 1),
                          row("(null)", subjectOf("inter"), 1),
                      }));
    EXPECT_EQ(text(CACache::getRowURI(1)).find('\r'), std::string::npos);
    EXPECT_TRUE(logged(5, 4675, subjectOf("ca_ian")));
    EXPECT_TRUE(logged(7, 4695, "Aggiunta alla lista dei certificati completata"));
    EXPECT_TRUE(logged(5, 4677, "Certificati di CA presenti nella lista: 5"));

    // Certificates keep their order of arrival in the row.
    std::unique_ptr<Certificate> second(cache->getCACert(0, 1));
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(text(second->_getCertInfo()->printSerial(16)), pkiCase("root_renewed").get("serial"));
    EXPECT_EQ(cache->getCACert(0, 2), nullptr);
    EXPECT_EQ(cache->getCACert(5, 0), nullptr);
    EXPECT_EQ(cache->getCACert(-1, 0), nullptr);

    // A lookup by name ignores case and finds only the first row of a subject.
    std::unique_ptr<Name> upper = nameOf("C=IT,O=SIGILO TEST,CN=sigilo test uri");
    EXPECT_EQ(cache->getCACerts(upper.get()), 1);
    EXPECT_EQ(cache->getCACerts(nameOf("C=IT,O=Sigilo Test,CN=Nessuno").get()), -1);
    // The same words in another order are another name.
    EXPECT_EQ(cache->getCACerts(nameOf("CN=Sigilo Test Root,O=Sigilo Test,C=IT").get()), -1);
}

TEST_F(CAList, TheSameCertificateTwiceStandsTwice) {
    std::unique_ptr<Certificate> root = pkiCertificate("root");
    EXPECT_EQ(cache->addCACert(root.get()), 255);
    EXPECT_EQ(cache->addCACert(root.get()), 255);
    EXPECT_EQ(rows(), std::vector<std::string>{row("(null)", subjectOf("root"), 2)});
}

TEST_F(CAList, CertificateFilesInDERAndPEM) {
    startLog();
    EXPECT_EQ(cache->addCACert(trustData("pki/inter.pem").c_str()), 255);
    EXPECT_EQ(cache->addCACert(trustData("root.der").c_str()), 255);
    EXPECT_EQ(CACache::getCACertListMax(), 2);
    for (const char* bad : {"pem_garbage.pem", "pem_empty.pem", "missing"}) {
        capturedLog().clear();
        EXPECT_EQ(cache->addCACert(trustData(bad).c_str()), 0) << bad;
        EXPECT_TRUE(logged(3, 5195, "Impossibile aggiungere alla lista dei certificati")) << bad;
    }
    // pem_request.pem starts with a certificate: only the first block of a file counts, and
    // that one is taken.
    EXPECT_EQ(cache->addCACert(trustData("pem_request.pem").c_str()), 255);
    EXPECT_EQ(cache->addCACert(trustData("pem_three.pem").c_str()), 255);
    EXPECT_EQ(CACache::getCACertListMax(), 2);
    EXPECT_EQ(cache->addCACert(static_cast<const char*>(nullptr)), 0);
    EXPECT_EQ(cache->addCACert(static_cast<const Certificate*>(nullptr)), 0);
}

TEST_F(CAList, AFullTableTakesOnlySubjectsItHolds) {
    startLog();
    std::unique_ptr<Certificate> root = pkiCertificate("root");
    for (int i = 0; i < CACache::kMaxCACertRows; ++i) {
        std::unique_ptr<Certificate> c = withSubject(*root, "CN=CA " + std::to_string(i));
        ASSERT_EQ(cache->addCACert(c.get()), 255) << i;
    }
    EXPECT_EQ(CACache::getCACertListMax(), 512);
    // A new subject finds no room, by either form, and changes nothing.
    EXPECT_EQ(cache->addCACert(root.get()), 0);
    EXPECT_EQ(cache->addCACert(trustData("root.der").c_str()), 0);
    EXPECT_TRUE(logged(3, 5195, "Impossibile aggiungere alla lista dei certificati"));
    EXPECT_EQ(CACache::getCACertListMax(), 512);
    EXPECT_EQ(cache->getCACerts(nameOf(subjectOf("root")).get()), -1);
    // A subject already there still takes a further certificate.
    std::unique_ptr<Certificate> again = withSubject(*root, "cn=ca 511");
    EXPECT_EQ(cache->addCACert(again.get()), 255);
    EXPECT_EQ(CACache::getRowCertCount(511), 2);
    // The given certificate stays the caller's on every path (no double free under ASan).
    EXPECT_NE(root->_getCertInfo(), nullptr);

    cache->clean();
    EXPECT_EQ(CACache::getCACertListMax(), 0);
    EXPECT_EQ(cache->addCACert(root.get()), 255);
}

TEST_F(CAList, KeyIdentifierMatches) {
    for (const VecCase& c : trustCases()) {
        if (c.kind != "aki") continue;
        std::unique_ptr<AuthorityKeyIdentifier> aki = akiOf(c.hex("der"));
        std::unique_ptr<Certificate> target = pkiCertificate(c.get("cert"));
        EXPECT_EQ(cache->checkKeyId(aki.get(), target.get()), std::stoi(c.get("match")))
            << c.get("name");
    }
    // A certificate without a subject key identifier matches no identifier by key.
    std::unique_ptr<Certificate> noid = pkiCertificate("inter_noid");
    AuthorityKeyIdentifier empty;
    EXPECT_EQ(cache->checkKeyId(&empty, noid.get()), 0);
    std::unique_ptr<Certificate> root = pkiCertificate("root");
    EXPECT_EQ(cache->checkKeyId(&empty, root.get()), 0);
    EXPECT_EQ(cache->checkKeyId(nullptr, root.get()), 0);
}

TEST_F(CAList, IssuerIndexByKeyIdentifierAndBySignature) {
    for (const char* name : {"root", "root_renewed", "inter"}) {
        std::unique_ptr<Certificate> c = pkiCertificate(name);
        ASSERT_EQ(cache->addCACert(c.get()), 255);
    }
    std::unique_ptr<Certificate> inter = pkiCertificate("inter");
    std::unique_ptr<Certificate> renewed = pkiCertificate("ee_renewed");
    std::unique_ptr<Certificate> noaki = pkiCertificate("ee_renewed_noaki");
    std::unique_ptr<Certificate> stranger = pkiCertificate("ee_stranger_noaki");
    std::unique_ptr<Certificate> ee = pkiCertificate("ee");
    int rootRow = cache->getCACerts(nameOf(subjectOf("root")).get());
    ASSERT_EQ(rootRow, 0);

    // By key identifier: the first key of the row for what the first key signed, the second
    // for what the renewed key signed; an identifier of no key in the row gives -1.
    EXPECT_EQ(cache->getCAIndex(inter.get(), rootRow, akiOf(*inter).get()), 0);
    EXPECT_EQ(cache->getCAIndex(renewed.get(), rootRow, akiOf(*renewed).get()), 1);
    EXPECT_EQ(cache->getCAIndex(ee.get(), rootRow, akiOf(*ee).get()), -1);
    // The intermediate has the row after the root's two keys.
    EXPECT_EQ(cache->getCAIndex(ee.get(), 1, akiOf(*ee).get()), 0);
    EXPECT_EQ(cache->getCAIndex(inter.get(), 1, akiOf(*inter).get()), -1);

    // By signature: the key that verifies. When none does the answer is 0 all the same, and the
    // caller learns of the miss when it checks the signature with that certificate.
    EXPECT_EQ(cache->getCAIndex(noaki.get(), rootRow, nullptr), 1);
    EXPECT_EQ(cache->getCAIndex(inter.get(), rootRow, nullptr), 0);
    EXPECT_EQ(cache->getCAIndex(stranger.get(), rootRow, nullptr), 0);
    std::unique_ptr<Certificate> first(cache->getCACert(rootRow, 0));
    std::unique_ptr<KeyInfo> key(first->_getCertInfo()->getSubjectPubKey());
    EXPECT_EQ(stranger->checkSignature(device, key.get()), 0);

    // Rows not in use.
    EXPECT_EQ(cache->getCAIndex(noaki.get(), 3, nullptr), -1);
    EXPECT_EQ(cache->getCAIndex(noaki.get(), -1, nullptr), -1);
    EXPECT_EQ(cache->getCAIndex(nullptr, rootRow, nullptr), -1);
}

TEST_F(CAList, TrustedCAAsksOnlyForTheIssuersName) {
    std::unique_ptr<Certificate> root = pkiCertificate("root");
    ASSERT_EQ(cache->addCACert(root.get()), 255);
    std::string inter = fileBytes(trustData("pki/inter.der"));
    std::string stranger = fileBytes(trustData("pki/ee_stranger_noaki.der"));
    std::string ee = fileBytes(trustData("pki/ee.der"));
    auto trusted = [this](const std::string& der) {
        return cache->trustedCA(reinterpret_cast<const unsigned char*>(der.data()),
                                static_cast<unsigned int>(der.size()));
    };
    EXPECT_EQ(trusted(inter), 255);
    // The stranger root has another subject ("O=Altro"), though the same common name.
    EXPECT_EQ(trusted(stranger), 0);
    // The intermediate that issued ee is not in the table.
    EXPECT_EQ(trusted(ee), 0);
    EXPECT_EQ(trusted(inter.substr(0, inter.size() / 2)), 0);
    EXPECT_EQ(trusted(""), 0);
    EXPECT_EQ(cache->trustedCA(nullptr, 10), 0);
}

TEST_F(CAList, LoggingFollowsEnableAndDisable) {
    std::unique_ptr<Certificate> root = pkiCertificate("root");
    startLog();
    cache->disableLog();
    EXPECT_EQ(cache->addCACert(trustData("missing").c_str()), 0);
    EXPECT_TRUE(capturedLog().empty());
    cache->enableLog(3);
    EXPECT_EQ(cache->addCACert(trustData("missing").c_str()), 0);
    EXPECT_TRUE(logged(3, 5195, "Impossibile aggiungere alla lista dei certificati"));
    EXPECT_FALSE(loggedCode(4723));
}

}  // namespace
