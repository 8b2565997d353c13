// Extension syntaxes: values made by cryptography and asn1crypto (extensions.vec), read and
// compared with what was put in, re-encoded byte for byte; then the lax and strict places of
// each reader on hand-made encodings.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "asn1/OID.h"
#include "asn1/UTF8.h"
#include "crypto/BigInteger.h"
#include "pkix/AccessDescription.h"
#include "pkix/AttributeValue.h"
#include "pkix/AuthorityKeyIdentifier.h"
#include "pkix/BasicConstraintsSyntax.h"
#include "pkix/DisplayText.h"
#include "pkix/DistributionPoint.h"
#include "pkix/DistributionPointName.h"
#include "pkix/EDIPartyName.h"
#include "pkix/Extension.h"
#include "pkix/GeneralName.h"
#include "pkix/IssuingDistPointSyntax.h"
#include "pkix/MonetaryValue.h"
#include "pkix/Name.h"
#include "pkix/NameLabels.h"
#include "pkix/OtherName.h"
#include "pkix/PolicyInformation.h"
#include "pkix/QCStatement.h"
#include "pkix/UserNotice.h"
#include "pkix_test_support.h"

namespace {

// ---- The text forms of gen_certs.py ----

std::string nameText(const Name* n) {
    return take(n->getShortUTF8String(kNameLabelOIDs, kNameShortLabels, kNameLabelCount));
}

std::string generalNameText(const GeneralName* g) {
    switch (g->getChoice()) {
        case GeneralName::kRfc822Name:
            return "email:" + take(g->getRfc822Name());
        case GeneralName::kDNSName:
            return "dns:" + take(g->getDNSName());
        case GeneralName::kURI:
            return "uri:" + take(g->getUniformResourceIdentifier());
        case GeneralName::kIPAddress: {
            std::unique_ptr<unsigned char[]> ip(g->getIPAddress());
            return "ip:" + toHex(ip.get(), g->getIPAddressLen());
        }
        case GeneralName::kRegisteredID:
            return "rid:" + take(g->getRegisteredID());
        case GeneralName::kDirectoryName: {
            std::unique_ptr<Name> n(g->getDirectoryName());
            return "dir:" + nameText(n.get());
        }
        case GeneralName::kOtherName: {
            std::unique_ptr<OtherName> other(g->getOtherName());
            std::string value;
            if (other->_getRawValue() != nullptr) {
                value = toHex(other->_getRawValue(), other->getRawValueLen());
            } else {
                std::unique_ptr<UTF8> upn(static_cast<UTF8*>(other->getValue()));
                value = toHex(encode(*upn).data(), encode(*upn).size());
            }
            return "other:" + take(other->getTypeID()) + ":" + value;
        }
        default:
            return "?";
    }
}

std::string namesText(const GeneralNameList* list) {
    std::string out;
    for (int i = 0; list != nullptr && i < list->getCount(); ++i) {
        if (i > 0) out += ",";
        out += generalNameText(list->_getElement(i));
    }
    return out;
}

std::string dpNameText(const DistributionPointName* n) {
    if (n == nullptr) return "";
    if (n->_getFullName() != nullptr) return "full=" + namesText(n->_getFullName());
    Name holder;
    RelativeDistinguishedNameList rdns;
    rdns.addRelativeDistinguishedName(n->_getNameRelativeToCRLIssuer());
    holder.setRDNSequence(&rdns);
    return "rel=" + nameText(&holder);
}

template <class T>
std::unique_ptr<T> readAs(const Bytes& der) {
    auto in = bufferOf(der);
    auto object = std::make_unique<T>();
    EXPECT_TRUE(object->unwrapASN1(in.get()));
    EXPECT_EQ(in->getReadPos(), der.size());
    EXPECT_EQ(encode(*object), der) << "re-encoding";
    return object;
}

template <class T>
bool reads(const std::string& hex) {
    auto in = bufferOf(fromHex(hex));
    T object;
    return object.unwrapASN1(in.get()) != 0;
}

const std::vector<VecCase>& vectors() {
    static const std::vector<VecCase> all = readVecFile(testData("pkix/extensions.vec"));
    return all;
}

// ---- Vectors ----

TEST(Extensions, GeneralNamesOfEveryKind) {
    auto cases = casesOfKind(vectors(), "generalnames");
    ASSERT_EQ(cases.size(), 2u);
    for (const VecCase& c : cases) {
        auto list = readAs<GeneralNameList>(c.hex("der"));
        EXPECT_EQ(namesText(list.get()), c.get("names")) << c.where();
    }
}

TEST(Extensions, AuthorityKeyIdentifiers) {
    for (const VecCase& c : casesOfKind(vectors(), "aki")) {
        SCOPED_TRACE(c.where());
        auto aki = readAs<AuthorityKeyIdentifier>(c.hex("der"));
        std::unique_ptr<unsigned char[]> id(aki->getKeyIdentifier());
        EXPECT_EQ(id ? toHex(id.get(), aki->getKeyIdentifierLen()) : "", c.get("keyid"));
        EXPECT_EQ(namesText(aki->_getAuthorityCertIssuer()), c.get("issuer"));
        if (!c.get("serial").empty()) {
            EXPECT_EQ(take(aki->printAuthorityCertSerialNumber(16)), c.get("serial"));
        } else {
            EXPECT_TRUE(aki->getAuthorityCertSerialNumber().isZero());
        }
    }
}

TEST(Extensions, AuthorityInfoAccess) {
    for (const VecCase& c : casesOfKind(vectors(), "aia")) {
        auto aia = readAs<AuthorityInfoAccessSyntax>(c.hex("der"));
        std::string text;
        for (int i = 0; i < aia->getCount(); ++i) {
            std::unique_ptr<AccessDescription> d(aia->getAccessDescription(i));
            std::unique_ptr<GeneralName> where(d->getAccessLocation());
            text +=
                (i ? "|" : "") + take(d->getAccessMethod()) + ">" + generalNameText(where.get());
        }
        EXPECT_EQ(text, c.get("entries"));
        EXPECT_TRUE(aia->isEqual(0, AccessDescription::kOCSP));
        EXPECT_FALSE(aia->isEqual(1, AccessDescription::kOCSP));
        EXPECT_FALSE(aia->isEqual(5, AccessDescription::kOCSP));
    }
}

TEST(Extensions, BasicConstraints) {
    for (const VecCase& c : casesOfKind(vectors(), "bc")) {
        auto bc = readAs<BasicConstraintsSyntax>(c.hex("der"));
        EXPECT_EQ(bc->getCA(), std::stoi(c.get("ca"))) << c.where();
        EXPECT_EQ(bc->getPathLenConstraint(), c.get("pathlen").empty()
                                                  ? BasicConstraintsSyntax::kAbsent
                                                  : std::stoi(c.get("pathlen")))
            << c.where();
    }
}

std::string reasonsText(const DistributionPoint* p) {
    if (p->getReasons() == DistributionPoint::kNoReasons) return "";
    std::string bytes;
    for (unsigned int i = 0; i < p->getReasonsLength(); ++i) {
        unsigned char b = static_cast<unsigned char>(p->getReasons() >> (8 * i));
        bytes += toHex(&b, 1);
    }
    return std::to_string(p->getReasonsLength()) + ":" + std::to_string(p->getReasonsUnused()) +
           ":" + bytes;
}

TEST(Extensions, CRLDistributionPoints) {
    for (const VecCase& c : casesOfKind(vectors(), "crldp")) {
        auto list = readAs<DistributionPointList>(c.hex("der"));
        std::string text;
        for (int i = 0; i < list->getCount(); ++i) {
            const DistributionPoint* p = list->_getElement(i);
            text += (i ? "|" : "") + dpNameText(p->_getDistributionPoint()) + ";" + reasonsText(p) +
                    ";" + namesText(p->_getCRLIssuer());
        }
        EXPECT_EQ(text, c.get("points"));
    }
}

TEST(Extensions, IssuingDistributionPoints) {
    for (const VecCase& c : casesOfKind(vectors(), "idp")) {
        SCOPED_TRACE(c.where());
        auto idp = readAs<IssuingDistPointSyntax>(c.hex("der"));
        EXPECT_EQ(dpNameText(idp->_getDistributionPoint()), c.get("dp"));
        EXPECT_EQ(idp->getOnlyContainsUserCerts(), std::stoi(c.get("user")));
        EXPECT_EQ(idp->getOnlyContainsCACerts(), std::stoi(c.get("cacerts")));
        EXPECT_EQ(idp->getIndirectCRL(), std::stoi(c.get("indirect")));
        EXPECT_EQ(idp->getOnlyContainsAttributeCerts(), std::stoi(c.get("attr")));
        std::unique_ptr<unsigned char[]> reasons(idp->getOnlySomeReasons());
        EXPECT_EQ(reasons ? std::to_string(idp->getOnlySomeReasonsLen()) + ":" +
                                std::to_string(idp->getOnlySomeReasonsUnused()) + ":" +
                                toHex(reasons.get(), idp->getOnlySomeReasonsLen())
                          : "",
                  c.get("reasons"));
    }
}

std::string policyText(const PolicyInformation* p) {
    std::string text = take(p->getPolicyIdentifier());
    const PolicyQualifierInfoList* qualifiers = p->_getPolicyQualifiers();
    for (int i = 0; qualifiers != nullptr && i < qualifiers->getCount(); ++i) {
        const PolicyQualifierInfo* q = qualifiers->_getElement(i);
        if (q->isEqual(PolicyQualifierInfo::kCPS)) {
            text += ";cps:" + take(q->getCPSuri());
            continue;
        }
        const UserNotice* notice = q->_getUserNotice();
        std::string organization, numbers, explicitText;
        if (const NoticeReference* ref = notice->_getNoticeRef()) {
            organization = take(ref->_getOrganization()->getUTF8());
            for (int k = 0; k < ref->getNoticeNumberCount(); ++k) {
                numbers += (k ? " " : "") + std::to_string(ref->getNoticeNumber(k));
            }
        }
        if (notice->_getExplicitText() != nullptr) {
            explicitText = take(notice->_getExplicitText()->getUTF8());
        }
        text += ";notice:" + organization + ":" + numbers + ":" + explicitText;
    }
    return text;
}

TEST(Extensions, CertificatePolicies) {
    auto cases = casesOfKind(vectors(), "policies");
    ASSERT_EQ(cases.size(), 3u);
    for (const VecCase& c : cases) {
        auto list = readAs<PolicyInformationList>(c.hex("der"));
        std::string text;
        for (int i = 0; i < list->getCount(); ++i) {
            text += (i ? "|" : "") + policyText(list->_getElement(i));
        }
        EXPECT_EQ(text, c.get("policies")) << c.where();
    }
    // A policy without qualifiers has none.
    auto list = readAs<PolicyInformationList>(cases[0].hex("der"));
    EXPECT_EQ(list->_getElement(0)->getPolicyQualifiers(), nullptr);
}

std::string statementText(const QCStatement* s) {
    std::string text = take(s->getStatementId());
    if (std::unique_ptr<MonetaryValue> limit{s->getMonetaryValue()}) {
        const ISO4217CurrencyCode* currency = limit->_getCurrency();
        text += ":limit=" +
                (currency->isAlphabetic() ? take(currency->getAlphabetic())
                                          : std::to_string(currency->getNumeric())) +
                "," + std::to_string(limit->getAmount()) + "," +
                std::to_string(limit->getExponent());
    }
    long years;
    if (s->getRetentionPeriod(&years)) text += ":retention=" + std::to_string(years);
    if (std::unique_ptr<SemanticsInformation> semantics{s->getSemanticsInformation()}) {
        std::unique_ptr<GeneralNameList> authorities(semantics->getNameRegistrationAuthorities());
        text += ":semantics=" + take(semantics->getSemanticsIdentifier()) + "," +
                namesText(authorities.get());
    }
    return text;
}

TEST(Extensions, QualifiedStatements) {
    for (const VecCase& c : casesOfKind(vectors(), "qc")) {
        auto statements = readAs<QCStatements>(c.hex("der"));
        std::string text;
        for (int i = 0; i < statements->getCount(); ++i) {
            text += (i ? "|" : "") + statementText(statements->_getElement(i));
        }
        EXPECT_EQ(text, c.get("statements"));
    }
    // Statements built from objects encode as the readers expect.
    QCStatement limit(QCStatement::kLimitValue);
    ISO4217CurrencyCode euro("EUR");
    MonetaryValue value(&euro, 100, 3);
    limit.setMonetaryValue(&value);
    EXPECT_EQ(statementText(&limit), "0.4.0.1862.1.2:limit=EUR,100,3");
    EXPECT_EQ(encode(limit), fromHex("3015060604008e460102300b1303455552020164020103"));
}

// ---- Laxness and strictness ----

TEST(Extensions, BasicConstraintsDefaults) {
    auto empty = readAs<BasicConstraintsSyntax>(fromHex("3000"));
    EXPECT_EQ(empty->getCA(), 0);
    EXPECT_EQ(empty->getPathLenConstraint(), 0x7FFFFFFF);
    auto onlyPath = readAs<BasicConstraintsSyntax>(fromHex("3003020105"));
    EXPECT_EQ(onlyPath->getCA(), 0);
    EXPECT_EQ(onlyPath->getPathLenConstraint(), 5);
    // A FALSE spelled out is read, and left out when written.
    auto in = bufferOf(fromHex("3003010100"));
    BasicConstraintsSyntax explicitFalse;
    EXPECT_TRUE(explicitFalse.unwrapASN1(in.get()));
    EXPECT_EQ(encode(explicitFalse), fromHex("3000"));
    EXPECT_FALSE(reads<BasicConstraintsSyntax>("30030401ff"));
    EXPECT_FALSE(reads<BasicConstraintsSyntax>("30060101ff0401ff"));
}

TEST(Extensions, AuthorityKeyIdentifierTail) {
    // Key identifier only; then an unknown element after it is left there.
    EXPECT_TRUE(reads<AuthorityKeyIdentifier>("30038001aa"));
    EXPECT_TRUE(reads<AuthorityKeyIdentifier>("30068001aa830101"));
    EXPECT_TRUE(reads<AuthorityKeyIdentifier>("3000"));
    // An issuer must be followed by its serial, read strictly.
    const std::string issuer = "a1088206782e6578616d";
    EXPECT_FALSE(reads<AuthorityKeyIdentifier>("300a" + issuer));
    EXPECT_TRUE(reads<AuthorityKeyIdentifier>("300d" + issuer + "820105"));
    EXPECT_FALSE(reads<AuthorityKeyIdentifier>("300e" + issuer + "82020005"));
    EXPECT_FALSE(reads<AuthorityKeyIdentifier>("300d" + issuer + "020105"));

    AuthorityKeyIdentifier aki;
    GeneralNameList names;
    GeneralName dns;
    dns.setDNSName("ca.example.it");
    names.addGeneralName(&dns);
    aki.setAuthorityCert(&names, BigInteger(300UL));
    EXPECT_EQ(take(aki.printAuthorityCertSerialNumber(16)), "012C");
    auto back = readAs<AuthorityKeyIdentifier>(encode(aki));
    EXPECT_EQ(take(back->printAuthorityCertSerialNumber(10)), "300");
    aki.setAuthorityCert(nullptr, BigInteger(7UL));
    EXPECT_EQ(encode(aki), fromHex("3000"));
}

TEST(Extensions, AccessDescriptionShapes) {
    auto empty = readAs<AccessDescription>(fromHex("3000"));
    EXPECT_EQ(empty->getAccessMethod(), nullptr);
    EXPECT_EQ(empty->getAccessLocation(), nullptr);
    auto onlyMethod = readAs<AccessDescription>(fromHex("300a06082b06010505073001"));
    EXPECT_EQ(take(onlyMethod->getAccessMethod()), "1.3.6.1.5.5.7.48.1");
    EXPECT_EQ(onlyMethod->getAccessLocation(), nullptr);
    auto onlyLocation = readAs<AccessDescription>(fromHex("30058603782e79"));
    EXPECT_EQ(onlyLocation->getAccessMethod(), nullptr);
    std::unique_ptr<GeneralName> where(onlyLocation->getAccessLocation());
    EXPECT_EQ(take(where->getUniformResourceIdentifier()), "x.y");
    EXPECT_FALSE(reads<AccessDescription>("300806032a03048301ff"));
}

TEST(Extensions, GeneralNameChoicesAndListEnds) {
    EXPECT_FALSE(reads<GeneralName>("8301ff"));
    EXPECT_FALSE(reads<GeneralName>("0401ff"));
    EXPECT_FALSE(reads<GeneralName>(""));
    // One bad element fails the whole list.
    EXPECT_FALSE(reads<GeneralNameList>("30068201618301ff"));
    // A zero byte inside a text alternative is refused.
    EXPECT_FALSE(reads<GeneralNameList>("30058203610062"));
    // An element running past the end of the list fails both readers.
    const std::string overrun = "820361626364";
    EXPECT_FALSE(reads<GeneralNameList>("3003" + overrun));
    auto in = bufferOf(fromHex("a003" + overrun));
    GeneralNameList tagged;
    EXPECT_FALSE(tagged.unwrapASN1(0xA0, in.get()));
    // The x400Address and ediPartyName alternatives keep their bytes.
    auto x400 = readAs<GeneralNameList>(fromHex("3006a304300201ff"));
    EXPECT_EQ(x400->_getElement(0)->getX400AddressLen(), 4u);
    auto edi = readAs<GeneralNameList>(fromHex("300ca50a8003616263810362637a"));
    std::unique_ptr<EDIPartyName> party(edi->_getElement(0)->getEDIPartyName());
    EXPECT_EQ(take(party->getNameAssigner()), "abc");
    EXPECT_EQ(take(party->getPartyName()), "bcz");
    // partyName is required.
    EXPECT_FALSE(reads<GeneralNameList>("3007a5058003616263"));

    GeneralName g;
    g.setDNSName("a.it");
    EXPECT_EQ(g.getRfc822Name(), nullptr);
    EXPECT_EQ(g.getIPAddress(), nullptr);
    EXPECT_EQ(g.getDirectoryName(), nullptr);
    EXPECT_EQ(take(g.getDNSName()), "a.it");
    const unsigned char ip[] = {10, 0, 0, 1};
    g.setIPAddress(ip, 4);
    EXPECT_EQ(g.getDNSName(), nullptr);
    EXPECT_EQ(encode(g), fromHex("87040a000001"));
    g.setRegisteredID("1.2.3");
    EXPECT_EQ(encode(g), fromHex("88022a03"));
}

TEST(Extensions, OtherNameValues) {
    // Type, then [0]; an unknown type keeps its value and the list reads on after it.
    auto list = readAs<GeneralNameList>(fromHex("3015a00c06032a0304a0050c03616263820561622e6974"));
    ASSERT_EQ(list->getCount(), 2);
    std::unique_ptr<OtherName> other(list->_getElement(0)->getOtherName());
    EXPECT_EQ(toHex(other->_getRawValue(), other->getRawValueLen()), "0c03616263");
    EXPECT_EQ(other->getValue(), nullptr);
    EXPECT_EQ(take(list->_getElement(1)->getDNSName()), "ab.it");
    EXPECT_FALSE(reads<GeneralName>("a00a06032a0304a1030c0161"));

    // The known text type holds bytes with their length.
    auto guid = readAs<GeneralName>(fromHex("a01606092b0601040182371901a009040700ff00ff00ff00"));
    std::unique_ptr<OtherName> g(guid->getOtherName());
    EXPECT_EQ(g->getTextValueLen(), 7u);
    OtherName upn;
    upn.setTypeID(OtherName::kUserPrincipalName);
    UTF8 text("mario@example.it");
    upn.setValue(&text);
    GeneralName holder;
    holder.setOtherName(&upn);
    auto back = readAs<GeneralName>(encode(holder));
    std::unique_ptr<OtherName> read(back->getOtherName());
    std::unique_ptr<UTF8> value(static_cast<UTF8*>(read->getValue()));
    EXPECT_EQ(take(value->getValue()), "mario@example.it");
}

TEST(Extensions, UniformResourceIdentifierIsPercentEncoded) {
    GeneralName g;
    g.setUniformResourceIdentifier("http://host/a b/é?x=$-_.+!*'(),;/:@&");
    EXPECT_EQ(take(g.getUniformResourceIdentifier()),
              "http://host/a%20b/%C3%A9?x%3D$-_.+!*'(),;/:@&");
    EXPECT_EQ(g.getChoice(), 0x86);
    // A byte below 0x10 has one digit, and the text ends there.
    g.setUniformResourceIdentifier(
        "ab\x05"
        "cd");
    EXPECT_EQ(take(g.getUniformResourceIdentifier()), "ab%5");
    g.setUniformResourceIdentifier("\x1f");
    EXPECT_EQ(take(g.getUniformResourceIdentifier()), "%1F");
    // The reader keeps the text as it came.
    auto read = readAs<GeneralName>(fromHex("8603612062"));
    EXPECT_EQ(take(read->getUniformResourceIdentifier()), "a b");
}

TEST(Extensions, DistributionPointShapes) {
    auto empty = readAs<DistributionPoint>(fromHex("3000"));
    EXPECT_EQ(empty->getReasons(), DistributionPoint::kNoReasons);
    EXPECT_EQ(empty->getDistributionPoint(), nullptr);
    // An unknown element ends the read with success.
    EXPECT_TRUE(reads<DistributionPoint>("30038301ff"));
    // Reasons of more than four bytes do not fit.
    EXPECT_FALSE(reads<DistributionPoint>("300881060080808080ff"));
    EXPECT_TRUE(reads<DistributionPoint>("300781050080808080"));
    // Four bytes of ones would read as "absent": refused.
    EXPECT_FALSE(reads<DistributionPoint>("3007810500ffffffff"));
    EXPECT_FALSE(reads<DistributionPointName>("8001ff"));
    EXPECT_FALSE(reads<DistributionPoint>("3005a0038201ff"));

    DistributionPoint p;
    p.setReasons(0x60000000);  // keyCompromise and cACompromise, most significant byte first
    EXPECT_EQ(encode(p), fromHex("300481020560"));
    EXPECT_EQ(p.getReasonsLength(), 1u);
    EXPECT_EQ(p.getReasonsUnused(), 5);
    p.setReasons(0x00800000);  // aACompromise
    EXPECT_EQ(encode(p), fromHex("30058103070080"));
    p.setReasons(DistributionPoint::kNoReasons);
    EXPECT_EQ(encode(p), fromHex("3000"));

    DistributionPointName name;
    GeneralNameList full;
    GeneralName uri;
    uri.setUniformResourceIdentifier("http://x");
    full.addGeneralName(&uri);
    name.setFullName(&full);
    RelativeDistinguishedName rdn;
    rdn.addRDN("CN=Partition");
    name.setNameRelativeToCRLIssuer(&rdn);
    EXPECT_EQ(name.getFullName(), nullptr);
    name.setFullName(&full);
    EXPECT_EQ(name.getNameRelativeToCRLIssuer(), nullptr);

    DistributionPointList list;
    list.addDistributionPoint(&p);
    DistributionPoint withName;
    withName.setDistributionPoint(&name);
    EXPECT_TRUE(list.substituteDistributionPoint(0, &withName));
    EXPECT_FALSE(list.substituteDistributionPoint(3, &withName));
    auto back = readAs<DistributionPointList>(encode(list));
    EXPECT_NE(back->_getElement(0)->_getDistributionPoint(), nullptr);
    EXPECT_TRUE(list.delDistributionPoint(0));
    EXPECT_FALSE(list.delDistributionPoint(0));
}

TEST(Extensions, IssuingDistributionPointShapes) {
    auto empty = readAs<IssuingDistPointSyntax>(fromHex("3000"));
    EXPECT_EQ(empty->getOnlyContainsUserCerts(), 0);
    // The last element is read without a test: an unknown tag there fails.
    EXPECT_FALSE(reads<IssuingDistPointSyntax>("30038601ff"));
    EXPECT_TRUE(reads<IssuingDistPointSyntax>("30038501ff"));
    // The unused bits of the reasons are cleared.
    auto in = bufferOf(fromHex("3004830205ff"));
    IssuingDistPointSyntax idp;
    ASSERT_TRUE(idp.unwrapASN1(in.get()));
    std::unique_ptr<unsigned char[]> bits(idp.getOnlySomeReasons());
    EXPECT_EQ(bits[0], 0xE0);
}

TEST(Extensions, NamesAndLists) {
    auto name = [](const char* dotted) {
        Extension e(dotted, 0, nullptr, 0);
        return take(e.getExtnName());
    };
    EXPECT_EQ(name("2.5.29.15"), "keyUsage");
    EXPECT_EQ(name("2.5.29.31"), "cRLDistributionPoints");
    EXPECT_EQ(name("2.5.29.60"), "expiredCertsOnCRL");
    EXPECT_EQ(name("1.3.6.1.5.5.7.1.3"), "qcStatements");
    EXPECT_EQ(name("1.3.6.1.5.5.7.48.1.5"), "ocspNoCheck");
    EXPECT_EQ(name("2.16.840.1.113730.1.13"), "netscapeComment");
    EXPECT_EQ(name("2.5.29.22"), "2.5.29.22");
    EXPECT_EQ(name("2.5.29.15.1"), "2.5.29.15.1");
    EXPECT_EQ(name("1.3.6.1.4.1.311.21.10"), "1.3.6.1.4.1.311.21.10");
    std::string longOID = "1.3.6.1.4.1.99999.1.2.3.4.5.6.7.8.9.10.11.12";
    EXPECT_EQ(name(longOID.c_str()), longOID);

    const unsigned char value[] = {0x30, 0x00};
    Extension basic("2.5.29.19", 255, value, 2);
    EXPECT_EQ(encode(basic), fromHex("300c0603551d130101ff04023000"));
    basic.setNotCritical();
    EXPECT_EQ(encode(basic), fromHex("30090603551d1304023000"));
    // An explicit FALSE is kept as read.
    auto explicitFalse = readAs<Extension>(fromHex("300c0603551d1301010004023000"));
    EXPECT_EQ(explicitFalse->getCritical(), 0);

    ExtensionList list;
    Extension usage("2.5.29.15", 255, value, 2);
    list.addExtension(&basic);
    list.addExtension(&usage);
    EXPECT_EQ(list.findExtension("2.5.29.15"), 1);
    EXPECT_EQ(list.findExtension("2.5.29.17"), -1);
    EXPECT_TRUE(list.isEqual(0, "2.5.29.19"));
    EXPECT_TRUE(list.isEqual(1, &usage));
    EXPECT_EQ(take(list.getExtensionID(1)), "2.5.29.15");
    EXPECT_EQ(list.getExtensionID(2), nullptr);
    EXPECT_TRUE(list.substituteExtension(0, &usage));
    EXPECT_EQ(list.findExtension("2.5.29.19"), -1);
    EXPECT_TRUE(list.delExtension(0));
    EXPECT_EQ(list.getCount(), 1);
    EXPECT_FALSE(list.delExtension(1));
}

TEST(Extensions, PolicyAndNoticeShapes) {
    // A CPS pointer of another string type, and an unknown qualifier, are kept whole.
    auto odd = readAs<PolicyInformation>(
        fromHex("301e06022a033018300d06082b060105050702010c0161300706022a03020105"));
    std::unique_ptr<PolicyQualifierInfoList> qualifiers(odd->getPolicyQualifiers());
    ASSERT_EQ(qualifiers->getCount(), 2);
    EXPECT_EQ(qualifiers->_getElement(0)->getCPSuri(), nullptr);
    // A notice text of an unaccepted type fails.
    EXPECT_FALSE(reads<UserNotice>("30030401ff"));
    auto empty = readAs<UserNotice>(fromHex("3000"));
    EXPECT_EQ(empty->getExplicitText(), nullptr);
    DisplayText visible(26, "abc");
    EXPECT_EQ(encode(visible), fromHex("1a03616263"));
    EXPECT_EQ(take(visible.getUTF8()), "abc");
}

TEST(Extensions, AttributeValuesKeepTheirBytes) {
    auto set = readAs<AttributeValueSet>(fromHex("310a0c03616263300302010a"));
    ASSERT_EQ(set->getCount(), 2);
    EXPECT_EQ(set->_getElement(1)->getValueLen(), 5u);
    // Indefinite values, nested, are measured to their end-of-contents.
    auto in = bufferOf(fromHex("3180308024800401aa000002010100000000"));
    AttributeValueSet indefinite;
    ASSERT_TRUE(indefinite.unwrapASN1(in.get()));
    ASSERT_EQ(indefinite.getCount(), 1);
    EXPECT_EQ(
        toHex(indefinite._getElement(0)->_getValue(), indefinite._getElement(0)->getValueLen()),
        "308024800401aa00000201010000");
    EXPECT_EQ(in->getReadPos(), in->getWritePos());
    for (const char* bad : {"3180308024800401aa00", "31803080", "310530050401", "3180300500"}) {
        auto b = bufferOf(fromHex(bad));
        AttributeValueSet s;
        EXPECT_FALSE(s.unwrapASN1(b.get())) << bad;
    }
}

}  // namespace
