// The LDAP client against real directories that the test starts on 127.0.0.1: OpenLDAP's slapd
// (Debian), with its entries loaded by slapadd and checked by ldapsearch before the client is
// run, and a small directory of tests/data/net that gives its CRL only to a search for the
// binary form.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "asn1/Base64.h"
#include "asn1/Buffer.h"
#include "asn1/X500Time.h"
#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "net/BindRequest.h"
#include "net/LDAPMessage.h"
#include "net/LDAPResult.h"
#include "net/LDAPSession.h"
#include "net/NetFixture.h"
#include "net/SearchRequest.h"
#include "net/SearchResultEntry.h"
#include "pkix/DistributionPointName.h"
#include "pkix/GeneralName.h"
#include "trust/CACache.h"

namespace {

class DirectoryTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        ki = new CryptoKi();
        device = new CryptoDevice(ki);
        ASSERT_NE(device->openToken(0, nullptr, 0), 0u);
    }
    static void TearDownTestSuite() {
        delete device;
        delete ki;
    }
    void SetUp() override {
        dir = ::testing::TempDir() + "/ldap_" +
              ::testing::UnitTest::GetInstance()->current_test_info()->name();
        ASSERT_EQ(system(("rm -rf '" + dir + "' && mkdir -p '" + dir + "/db'").c_str()), 0);
        cache = freshNetworkStore(device);
    }
    void TearDown() override {
        if (cache) cache->clean();
        CACache::setTimeout(60);
    }
    unsigned char search(const std::string& uri, const char* serial) {
        return cache->searchCRL(pointOf(uri).get(), 0, serial);
    }

    inline static CryptoKi* ki = nullptr;
    inline static CryptoDevice* device = nullptr;
    std::string dir;
    std::unique_ptr<CACache> cache;
    ServerProcess server;
};

// slapd with a small tree: the root's CRL on cn=Radice Rete,o=Sigilo and on a copy of it under
// ou=CA, and an entry without CRL.
class Slapd : public DirectoryTest {
protected:
    void SetUp() override {
        for (const char* program : {"slapd", "slapadd", "ldapsearch"}) {
            if (!ServerProcess::installed(program)) {
                GTEST_SKIP() << program << " is not installed (Debian slapd and ldap-utils; "
                             << "scripts/install-deps.sh installs them)";
            }
        }
        DirectoryTest::SetUp();
        std::string crl = readFile(testData("net/crl_current.der"));
        std::unique_ptr<char[]> coded(
            Base64::encode(reinterpret_cast<const unsigned char*>(crl.data()),
                           static_cast<unsigned int>(crl.size())));
        writeFile(dir + "/slapd.conf",
                  "include /etc/ldap/schema/core.schema\n"
                  "pidfile " +
                      dir +
                      "/slapd.pid\n"
                      "modulepath /usr/lib/ldap\n"
                      "moduleload back_mdb\n"
                      "database mdb\n"
                      "suffix \"o=Sigilo\"\n"
                      "rootdn \"cn=admin,o=Sigilo\"\n"
                      "directory " +
                      dir +
                      "/db\n"
                      "maxsize 10485760\n"
                      "access to * by * read\n");
        std::string entry = std::string("objectClass: cRLDistributionPoint\ncn: Radice Rete\n") +
                            "certificateRevocationList;binary:: " + coded.get() +
                            "\nmodifyTimestamp: 20240101000000Z\n";
        writeFile(dir + "/data.ldif",
                  "dn: o=Sigilo\nobjectClass: organization\no: Sigilo\n\n"
                  "dn: cn=Radice Rete,o=Sigilo\n" +
                      entry +
                      "\n"
                      "dn: ou=CA,o=Sigilo\nobjectClass: organizationalUnit\nou: CA\n\n"
                      "dn: cn=Radice Rete,ou=CA,o=Sigilo\n" +
                      entry +
                      "\n"
                      "dn: cn=Vuota,o=Sigilo\nobjectClass: cRLDistributionPoint\ncn: Vuota\n");
        ASSERT_EQ(system(("slapadd -f '" + dir + "/slapd.conf' -l '" + dir +
                          "/data.ldif' >/dev/null 2>&1")
                             .c_str()),
                  0);
        port = ServerProcess::freePort();
        ASSERT_TRUE(
            server.startOnPort({"slapd", "-f", dir + "/slapd.conf", "-h",
                                "ldap://127.0.0.1:" + std::to_string(port) + "/", "-d", "0"},
                               port, dir + "/slapd.log"));
        // The fixture proved by OpenLDAP's own client before Sigilo asks it anything.
        std::string proof = dir + "/proof.ldif";
        ASSERT_EQ(system(("ldapsearch -x -LLL -o nettimeout=10 -H ldap://127.0.0.1:" +
                          std::to_string(port) +
                          " -b 'cn=Radice Rete,o=Sigilo' -s base certificateRevocationList "
                          "modifyTimestamp >'" +
                          proof + "'")
                             .c_str()),
                  0);
        std::string found = readFile(proof);
        ASSERT_NE(found.find("certificateRevocationList;binary:: MII"), std::string::npos) << found;
        ASSERT_NE(found.find("modifyTimestamp: 20240101000000Z"), std::string::npos) << found;
    }
    std::string uri(const std::string& rest) const {
        return "ldap://127.0.0.1:" + std::to_string(port) + "/" + rest;
    }
    unsigned short port = 0;
};

TEST_F(Slapd, TheCRLOfAnEntryByEveryFormOfTheURI) {
    for (const std::string& rest :
         {std::string("cn=Radice%20Rete,o=Sigilo"),
          std::string("cn=Radice%20Rete,o=Sigilo?certificateRevocationList;binary"),
          std::string("cn=Radice%20Rete,o=Sigilo?certificateRevocationList?base"),
          std::string("o=Sigilo?certificateRevocationList?sub?(cn=Radice%20Rete)"),
          std::string("ou=CA,o=Sigilo?certificateRevocationList?one?(objectClass=*)")}) {
        std::string u = uri(rest);
        EXPECT_EQ(search(u, kRevoked), 255) << u;
        EXPECT_EQ(cache->getReason(), 1) << u;
        EXPECT_EQ(search(u, kHeld), 255) << u;
        EXPECT_EQ(cache->getReason(), 6) << u;
        EXPECT_EQ(search(u, kGood), 0) << u;
        EXPECT_EQ(cache->getErrCode(), CACache::kNoError) << u;
    }
    EXPECT_EQ(CACache::getCRLCacheMax(), 5);
    // The directory's modifyTimestamp is the row's time stamp, and the date asked for it.
    EXPECT_EQ(timeText(CACache::getCRLRowTime(0, 3)), "20240101000000Z");
    EXPECT_EQ(timeText(cache->getTimeStamp(uri("cn=Radice%20Rete,o=Sigilo").c_str())),
              "20240101000000Z");
}

TEST_F(Slapd, NoCRLWhereTheDirectoryHasNone) {
    for (const std::string& u : {uri("cn=Vuota,o=Sigilo"), uri("cn=Nessuno,o=Sigilo"),
                                 uri("o=Sigilo?certificateRevocationList?sub?(cn=Nessuno)"),
                                 std::string("ldap://127.0.0.1:9/cn=Radice%20Rete,o=Sigilo")}) {
        EXPECT_EQ(search(u, kRevoked), 0) << u;
        EXPECT_EQ(cache->getErrCode(), 5137u) << u;
    }
}

TEST_F(Slapd, TheSessionBindsSearchesAndUnbinds) {
    LDAPSession session("127.0.0.1", port);
    session.setTimeout(10);
    ASSERT_EQ(session.initSession(), 255);
    ASSERT_EQ(session.bind("", ""), 255);
    SearchRequest request;
    request.setBaseObject("o=Sigilo");
    request.setScope(SearchRequest::kScopeSub);
    request.setEqualityFilter("objectClass", "cRLDistributionPoint");
    request.addAttribute("cn");
    std::vector<std::unique_ptr<SearchResultEntry>> entries;
    int code = -1;
    ASSERT_EQ(session.search(&request, &entries, &code), 255);
    EXPECT_EQ(code, 0);
    std::vector<std::string> names;
    for (const auto& e : entries) {
        names.push_back(e->_getObjectName());
        ASSERT_EQ(e->_getAttributes().size(), 1u);
        EXPECT_EQ(e->_getAttributes()[0].type, "cn");
    }
    EXPECT_EQ(names,
              (std::vector<std::string>{"cn=Radice Rete,o=Sigilo", "cn=Radice Rete,ou=CA,o=Sigilo",
                                        "cn=Vuota,o=Sigilo"}));
    // A base that is not there: no entries, and the directory's code 32 (noSuchObject).
    request.setBaseObject("o=Altro");
    entries.clear();
    ASSERT_EQ(session.search(&request, &entries, &code), 255);
    EXPECT_EQ(code, 32);
    EXPECT_TRUE(entries.empty());
    // A bind with a wrong password is refused.
    EXPECT_EQ(session.bind("cn=admin,o=Sigilo", "sbagliata"), 0);
    EXPECT_EQ(session.unbind(), 255);
    session.closeSession();
}

class BinaryOnlyDirectory : public DirectoryTest {
protected:
    void SetUp() override {
        DirectoryTest::SetUp();
        log = dir + "/searches.log";
        writeFile(log, "");
        ASSERT_TRUE(server.startPrintingPort({SIGILO_PYTHON3, testData("net/ldap_binary_server.py"),
                                              testData("net/crl_current.der"), log, "60"}));
    }
    std::string uri(const std::string& rest) const {
        return "ldap://127.0.0.1:" + std::to_string(server.port()) + "/" + rest;
    }
    std::string log;
};

TEST_F(BinaryOnlyDirectory, APlainAttributeIsAskedForAgainInTheBinaryForm) {
    EXPECT_EQ(search(uri("cn=Radice%20Rete,o=Sigilo?certificateRevocationList"), kRevoked), 255);
    EXPECT_EQ(readFile(log),
              "certificateRevocationList modifyTimestamp\n"
              "certificateRevocationList;binary modifyTimestamp\n");
    EXPECT_EQ(timeText(CACache::getCRLRowTime(0, 3)), "20240101000000Z");
    // Asked for in the binary form, one search is enough.
    writeFile(log, "");
    EXPECT_EQ(search(uri("cn=Radice%20Rete,o=Sigilo?certificateRevocationList;binary"), kHeld),
              255);
    EXPECT_EQ(readFile(log), "certificateRevocationList;binary modifyTimestamp\n");
}

// The messages every LDAP client sends first and last, byte for byte as RFC 4511 lays them out
// (and as OpenLDAP's ldapsearch sends them), and answers cut short or overlong.
TEST(LDAPMessages, KnownEncodingsAndDamagedAnswers) {
    auto encode = [](LDAPMessage* m) {
        Buffer out;
        m->wrapASN1(&out);
        return std::string(reinterpret_cast<const char*>(out._getData()), out.getWritePos());
    };
    BindRequest anonymous(3, "", "");
    LDAPMessage bind(1);
    bind.setBindRequest(&anonymous);
    EXPECT_EQ(encode(&bind),
              std::string("\x30\x0c\x02\x01\x01\x60\x07\x02\x01\x03\x04\x00\x80\x00", 14));
    LDAPMessage unbind(3);
    unbind.setUnbindRequest();
    EXPECT_EQ(encode(&unbind), std::string("\x30\x05\x02\x01\x03\x42\x00", 7));

    // A bind response of success, whole and cut short, and with a field too long.
    const std::string done("\x30\x0c\x02\x01\x01\x61\x07\x0a\x01\x00\x04\x00\x04\x00", 14);
    auto decode = [](const std::string& bytes, LDAPMessage* m) {
        Buffer in;
        in.fromByteArray(reinterpret_cast<const unsigned char*>(bytes.data()),
                         static_cast<unsigned int>(bytes.size()));
        return m->unwrapASN1(&in);
    };
    LDAPMessage answer;
    ASSERT_EQ(decode(done, &answer), 255);
    EXPECT_EQ(answer.getOperation(), LDAPMessage::kBindResponse);
    ASSERT_NE(answer._getResult(), nullptr);
    EXPECT_EQ(answer._getResult()->getResultCode(), 0);
    for (size_t cut = 1; cut < done.size(); ++cut) {
        EXPECT_EQ(decode(done.substr(0, cut), &answer), 0) << cut;
    }
    std::string overlong = done;
    overlong[13] = 0x05;
    EXPECT_EQ(decode(overlong, &answer), 0);
    // A result whose inner fields run past the operation's own length.
    std::string spilled = done;
    spilled[6] = 0x05;
    EXPECT_EQ(decode(spilled, &answer), 0);
}

}  // namespace
