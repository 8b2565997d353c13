// Distinguished names: DER names made with asn1crypto and read by openssl, equality before and
// after normalisation, parsing from text, every printing form and the report elements.
#include "pkix/Name.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>
#include <memory>
#include <string>

#include "asn1/OID.h"
#include "asn1/UTF8.h"
#include "pkix/AttributeTypeAndValue.h"
#include "pkix/NameLabels.h"
#include "pkix_test_support.h"
#include "xml/XMLFile.h"

namespace {

constexpr unsigned char kPrintable = AttributeTypeAndValue::kPrintableString;
constexpr unsigned char kUTF8 = AttributeTypeAndValue::kUTF8String;

std::unique_ptr<Name> nameOf(const Bytes& der) {
    auto in = bufferOf(der);
    auto name = std::make_unique<Name>();
    EXPECT_TRUE(name->unwrapASN1(in.get()));
    return name;
}

std::string shortUTF8(const Name& n) {
    return take(n.getShortUTF8String(kNameLabelOIDs, kNameShortLabels, kNameLabelCount));
}

std::string shortPrintable(const Name& n) {
    return take(n.getPrintableShortString(kNameLabelOIDs, kNameShortLabels, kNameLabelCount));
}

// openssl's "oid" text: every attribute labelled with its own dotted OID, RDN members joined
// by "+" where the short form joins everything by ",".
std::string asOpensslText(const Name& n, const std::string& opensslText) {
    std::vector<std::string> dotted;
    for (const std::string& part : split(opensslText, ',')) {
        for (const std::string& member : split(part, '+')) {
            dotted.push_back(member.substr(0, member.find('=')));
        }
    }
    std::vector<const char*> table;
    for (const std::string& d : dotted) table.push_back(d.c_str());
    return take(n.getShortUTF8String(table.data(), table.data(), static_cast<int>(table.size())));
}

std::string valueTypes(const Name& n) {
    std::string types;
    const RelativeDistinguishedNameList* rdns = n._getRDNSequence();
    for (int i = 0; i < rdns->getCount(); ++i) {
        for (int j = 0; j < rdns->_getElement(i)->getCount(); ++j) {
            if (!types.empty()) types += ",";
            types += std::to_string(rdns->_getElement(i)->_getElement(j)->getValueType());
        }
    }
    return types;
}

TEST(Name, VectorsReadPrintNormaliseAndReencode) {
    ASSERT_GE(pkixCases("names.vec", "name").size(), 11u);
    for (const VecCase& c : pkixCases("names.vec", "name")) {
        SCOPED_TRACE(c.get("label"));
        auto name = nameOf(c.hex("der"));
        if (c.get("label") == "universal") {
            // The UniversalString writer puts the characters out in host byte order, which the
            // reader (big-endian) does not read back on a little-endian machine: such a name
            // does not re-encode as it came.
            EXPECT_NE(encode(*name), c.hex("der"));
        } else {
            EXPECT_EQ(encode(*name), c.hex("der"));
        }
        std::string before = shortUTF8(*name);
        EXPECT_EQ(toHex(reinterpret_cast<const unsigned char*>(before.data()), before.size()),
                  c.get("short_utf8_hex"));

        name->toUTF8();
        EXPECT_EQ(shortUTF8(*name), c.get("normalized"));
        EXPECT_EQ(valueTypes(*name), c.get("types"));
        if (!c.get("openssl").empty()) {
            std::string expected = c.get("openssl");
            std::replace(expected.begin(), expected.end(), '+', ',');
            EXPECT_EQ(asOpensslText(*name, c.get("openssl")), expected);
        }
        // Normalised names still encode and read back to the same texts.
        Bytes again = encode(*name);
        auto reread = nameOf(again);
        EXPECT_EQ(shortUTF8(*reread), c.get("normalized"));
        EXPECT_EQ(encode(*reread), again);
    }
}

TEST(Name, EqualityBeforeAndAfterNormalisation) {
    for (const VecCase& c : pkixCases("names.vec", "name_pair")) {
        SCOPED_TRACE(c.get("label"));
        auto a = nameOf(c.hex("a"));
        auto b = nameOf(c.hex("b"));
        EXPECT_EQ(a->isEqual(b.get()), std::stoi(c.get("equal_before")));
        EXPECT_EQ(b->isEqual(a.get()), std::stoi(c.get("equal_before")));
        a->toUTF8();
        b->toUTF8();
        EXPECT_EQ(a->isEqual(b.get()), std::stoi(c.get("equal_after")));
        EXPECT_EQ(b->isEqual(a.get()), std::stoi(c.get("equal_after")));
    }
}

TEST(Name, TextParsingForcesTypesAndDropsUnknownLabels) {
    Name upper("C=IT,O=Foo", kPrintable, kNameLabelOIDs, kNameShortLabels, kNameLabelCount);
    Name lower("c=it,o=foo", kPrintable, kNameLabelOIDs, kNameShortLabels, kNameLabelCount);
    EXPECT_TRUE(upper.isEqual(&lower));

    // Country and e-mail get their fixed types whatever was asked; each part is its own RDN.
    Name mixed(" CN=Mario Rossi,\n\tC=it, EMAIL=a@b.it,ST=RM,SerialNumber=42", kUTF8,
               kNameLabelOIDs, kNameShortLabels, kNameLabelCount);
    EXPECT_EQ(valueTypes(mixed), "12,19,22,12,19");
    EXPECT_EQ(mixed._getRDNSequence()->getCount(), 5);
    // Rows 15 and 16 are read but never printed: "ST" comes out as "PROV", "SERIALNUMBER" as
    // "SER".
    EXPECT_EQ(shortUTF8(mixed), "CN=Mario Rossi,C=it,EMAIL=a@b.it,PROV=RM,SER=42");

    Name name;
    EXPECT_EQ(name.setValue("X=1,CN=Mario", kPrintable, kNameLabelOIDs, kNameShortLabels,
                            kNameLabelCount),
              255);
    EXPECT_EQ(shortUTF8(name), "CN=Mario");
    // A part without "=" fails the call and leaves the name alone; so does text with no known
    // label, and a type that cannot hold text.
    EXPECT_EQ(name.setValue("CN", kPrintable, kNameLabelOIDs, kNameShortLabels, kNameLabelCount),
              0);
    EXPECT_EQ(
        name.setValue("O=Foo,CN", kPrintable, kNameLabelOIDs, kNameShortLabels, kNameLabelCount),
        0);
    EXPECT_EQ(
        name.setValue("X=1,Y=2", kPrintable, kNameLabelOIDs, kNameShortLabels, kNameLabelCount), 0);
    EXPECT_EQ(name.setValue("O=Foo", 2, kNameLabelOIDs, kNameShortLabels, kNameLabelCount), 0);
    EXPECT_EQ(shortUTF8(name), "CN=Mario");

    Name fromBadText("CN", kPrintable, kNameLabelOIDs, kNameShortLabels, kNameLabelCount);
    EXPECT_EQ(fromBadText._getRDNSequence(), nullptr);
    EXPECT_EQ(encode(fromBadText), fromHex("3000"));
}

TEST(Name, WildcardSideAndLengths) {
    Name pattern("CN=A%C,O=F%%", kPrintable, kNameLabelOIDs, kNameShortLabels, kNameLabelCount);
    Name subject("CN=abc,O=Foo", kPrintable, kNameLabelOIDs, kNameShortLabels, kNameLabelCount);
    EXPECT_TRUE(pattern.isEqualWithWildcard(&subject));
    EXPECT_FALSE(subject.isEqualWithWildcard(&pattern));
    EXPECT_FALSE(pattern.isEqual(&subject));

    Name longer("CN=abcd,O=Foo", kPrintable, kNameLabelOIDs, kNameShortLabels, kNameLabelCount);
    EXPECT_FALSE(pattern.isEqualWithWildcard(&longer));

    // The wide types use the character-wise match, which wants equal lengths.
    Name widePattern("CN=A%C", kUTF8, kNameLabelOIDs, kNameShortLabels, kNameLabelCount);
    Name wide("CN=ABC", kUTF8, kNameLabelOIDs, kNameShortLabels, kNameLabelCount);
    Name wideShort("CN=AB", kUTF8, kNameLabelOIDs, kNameShortLabels, kNameLabelCount);
    EXPECT_TRUE(widePattern.isEqualWithWildcard(&wide));
    EXPECT_FALSE(wide.isEqualWithWildcard(&widePattern));
    EXPECT_FALSE(widePattern.isEqualWithWildcard(&wideShort));
}

TEST(Name, PrintingForms) {
    Name name("C=IT,O=Foo Srl,CN=Anna", kPrintable, kNameLabelOIDs, kNameShortLabels,
              kNameLabelCount);
    AttributeTypeAndValue unknown("2.5.4.97", "VATIT-1", kUTF8);
    RelativeDistinguishedName extra;
    extra.addAttributeTypeAndValue(&unknown);
    std::unique_ptr<RelativeDistinguishedNameList> rdns(name.getRDNSequence());
    rdns->addRelativeDistinguishedName(&extra);
    name.setRDNSequence(rdns.get());

    EXPECT_EQ(take(name.getPrintableString()),
              "    2.5.4.6: IT\n    2.5.4.10: Foo Srl\n    2.5.4.3: Anna\n    2.5.4.97: VATIT-1\n");
    EXPECT_EQ(take(name.getPrintableString(kNameLabelOIDs, kNameItalianLabels, kNameLabelCount)),
              "\tStato: IT\n\tOrganizzazione: Foo Srl\n\tCommon Name: Anna\n\t2.5.4.97: VATIT-1\n");
    EXPECT_EQ(shortPrintable(name), "C=IT,O=Foo Srl,CN=Anna,?\?=VATIT-1");
    EXPECT_EQ(take(name.getUTF8String()), take(name.getPrintableString()));
    EXPECT_EQ(take(name.getUTF8String(kNameLabelOIDs, kNameItalianLabels, kNameLabelCount)),
              take(name.getPrintableString(kNameLabelOIDs, kNameItalianLabels, kNameLabelCount)));
    EXPECT_EQ(take(name.getXMLRepresentation(kNameLabelOIDs, kNameShortLabels, kNameLabelCount)),
              "<C>\n\tIT\n</C>\n<O>\n\tFoo Srl\n</O>\n<CN>\n\tAnna\n</CN>\n"
              "<oid value = \"2.5.4.97\">\n\tVATIT-1\n</oid>\n");

    Name empty;
    EXPECT_EQ(
        take(empty.getPrintableShortString(kNameLabelOIDs, kNameShortLabels, kNameLabelCount)), "");
}

TEST(Name, ReportElements) {
    Name name("C=IT,CN=Città & co", kUTF8, kNameLabelOIDs, kNameShortLabels, kNameLabelCount);
    AttributeTypeAndValue unknown("2.5.4.97", "VATIT-1", kUTF8);
    RelativeDistinguishedName extra;
    extra.addAttributeTypeAndValue(&unknown);
    std::unique_ptr<RelativeDistinguishedNameList> rdns(name.getRDNSequence());
    rdns->addRelativeDistinguishedName(&extra);
    name.setRDNSequence(rdns.get());

    XMLFile xml(nullptr);
    xml.openTag("subject");
    EXPECT_TRUE(name.getXMLRepresentation(kNameLabelOIDs, kNameShortLabels, kNameLabelCount, &xml));
    std::string subtree = xml.getXMLSubTree(1);
    EXPECT_EQ(subtree,
              "<subject>\n<C>IT</C>\n<CN>Citt\xc3\xa0 &amp; co</CN>\n"
              "<oid value=\"2.5.4.97\">VATIT-1</oid>\n</subject>");

    // A narrow value with Latin-1 bytes reaches the report as UTF-8.
    Name latin("O=Citt\xe8,L=Citt\xc3\xa8", kPrintable, kNameLabelOIDs, kNameShortLabels,
               kNameLabelCount);
    XMLFile report(nullptr);
    report.openTag("issuer");
    latin.getXMLRepresentation(kNameLabelOIDs, kNameShortLabels, kNameLabelCount, &report);
    EXPECT_EQ(std::string(report.getXMLSubTree(1)),
              "<issuer>\n<O>Citt\xc3\xa8</O>\n<L>Citt\xc3\xa8</L>\n</issuer>");
    EXPECT_EQ(take(latin.getXMLRepresentation(kNameLabelOIDs, kNameShortLabels, kNameLabelCount)),
              "<O>\n\tCitt\xc3\xa8\n</O>\n<L>\n\tCitt\xc3\xa8\n</L>\n");
}

TEST(Name, NoTextIsCutShort) {
    Name name;
    std::string text;
    for (int i = 0; i < 200; ++i)
        text += (i ? "," : "") + std::string("OU=Reparto ") + std::to_string(i);
    ASSERT_EQ(
        name.setValue(text.c_str(), kPrintable, kNameLabelOIDs, kNameShortLabels, kNameLabelCount),
        255);
    std::string expected = text;
    EXPECT_EQ(shortPrintable(name), expected);
    EXPECT_GT(take(name.getPrintableString()).size(), 4000u);
}

TEST(Name, LookupReverseAndCanonicalForm) {
    Name name("C=IT,O=Foo,CN=Anna,O=Bar", kPrintable, kNameLabelOIDs, kNameShortLabels,
              kNameLabelCount);
    std::unique_ptr<AttributeTypeAndValue> org(name.getAttributeValue("2.5.4.10"));
    ASSERT_NE(org, nullptr);
    EXPECT_EQ(take(org->getUTF8String()), "Foo");
    EXPECT_EQ(take(name.getPrintableValue("2.5.4.3")), "Anna");
    EXPECT_EQ(take(name.getUTF8Value("2.5.4.6")), "IT");
    EXPECT_EQ(name.getAttributeValue("2.5.4.7"), nullptr);
    EXPECT_EQ(name.getUTF8Value("2.5.4.7"), nullptr);

    std::unique_ptr<Name> reversed(name.reverse());
    EXPECT_EQ(shortUTF8(*reversed), "O=Bar,CN=Anna,O=Foo,C=IT");
    EXPECT_FALSE(reversed->isEqual(&name));
    std::unique_ptr<Name> twice(reversed->reverse());
    EXPECT_TRUE(twice->isEqual(&name));

    EXPECT_EQ(take(Name::toCanonicalForm("cn=Mario Rossi,o=foo,,c=it,plain")),
              "CN=Mario Rossi,O=foo,C=it,plain");

    Name empty, alsoEmpty;
    EXPECT_TRUE(empty.isEqual(&alsoEmpty));
    EXPECT_FALSE(empty.isEqual(&name));
    EXPECT_FALSE(empty.isEqual(nullptr));
    std::unique_ptr<Name> copy(name.clone());
    EXPECT_TRUE(copy->isEqual(&name));
}

TEST(RelativeDistinguishedName, SimpleTextKnowsFourLabels) {
    RelativeDistinguishedName rdn;
    EXPECT_EQ(rdn.addRDN("O=Foo,OU=Sales,X=1,C=IT,cn=lower,CN=Anna,junk"), 255);
    ASSERT_EQ(rdn.getCount(), 4);
    std::unique_ptr<AttributeTypeAndValue> last(rdn.getAttributeTypeAndValue(3));
    EXPECT_EQ(take(last->getType()), "2.5.4.3");
    EXPECT_EQ(last->getValueType(), kPrintable);
    EXPECT_EQ(encode(rdn).front(), 0x31);
    RelativeDistinguishedName nothing;
    EXPECT_EQ(nothing.addRDN("L=Roma"), 0);

    // Tagged form, as nameRelativeToCRLIssuer.
    Buffer b;
    rdn.wrapASN1(0xA1, &b);
    RelativeDistinguishedName back;
    EXPECT_TRUE(back.unwrapASN1(0xA1, &b));
    EXPECT_TRUE(back.isEqual(&rdn));
}

TEST(AttributeTypeAndValue, ValuesByType) {
    AttributeTypeAndValue a;
    a.setType("2.5.4.3");
    a.setValue("Città", kUTF8);
    std::unique_ptr<char[]> encoded(static_cast<char*>(a.getValue()));
    EXPECT_STREQ(encoded.get(), "Città");

    a.setValue(L"Àb", AttributeTypeAndValue::kBMPString);
    std::unique_ptr<unsigned short[]> units(static_cast<unsigned short*>(a.getValue()));
    const unsigned char* raw = reinterpret_cast<const unsigned char*>(units.get());
    EXPECT_EQ(toHex(raw, 4), "00c00062");
    EXPECT_EQ(take(a.getUTF8String()), "Àb");

    a.setValue(L"xyz", AttributeTypeAndValue::kUniversalString);
    std::unique_ptr<wchar_t[]> chars(static_cast<wchar_t*>(a.getValue()));
    EXPECT_EQ(std::wstring(chars.get()), L"xyz");

    const unsigned char bits[] = {0xAB, 0xC0};
    a.setValue(bits, AttributeTypeAndValue::kBitString, 2);
    EXPECT_EQ(a.getBitstringLen(), 2u);
    EXPECT_EQ(take(a.getUTF8String()), "#abc0");
    EXPECT_EQ(a.getPrintable(), nullptr);

    // Types that cannot hold the given form store nothing.
    a.setValue("text", 2);
    EXPECT_EQ(a.getValue(), nullptr);
    a.setValue(L"wide", kPrintable);
    EXPECT_EQ(a.getValue(), nullptr);
    a.setValue(bits, kUTF8, 2);
    EXPECT_EQ(a.getValue(), nullptr);
    // Such an attribute still encodes as a readable SEQUENCE.
    AttributeTypeAndValue back;
    Bytes der = encode(a);
    auto in = bufferOf(der);
    EXPECT_TRUE(back.unwrapASN1(in.get()));

    std::unique_ptr<AttributeTypeAndValue> copy;
    {
        AttributeTypeAndValue original("2.5.4.10", "Foo", kPrintable);
        copy.reset(original.clone());
    }
    EXPECT_EQ(take(copy->getPrintable()), "Foo");
    EXPECT_TRUE(copy->isType("2.5.4.10"));
}

TEST(AttributeTypeAndValue, IntegerValuesKeepTheirElement) {
    PKIAttributeTypeAndValue a;
    a.setType("2.5.4.999");
    for (long v : {0L, 5L, 127L, 128L, -1L, -129L, 65536L}) {
        a.setValue(v);
        Bytes der = encode(a);
        auto in = bufferOf(der);
        AttributeTypeAndValue back;
        ASSERT_TRUE(back.unwrapASN1(in.get()));
        EXPECT_EQ(back.getValueType(), 2);
        // The INTEGER itself, as the independent reader of the foundation sees it.
        std::unique_ptr<unsigned char[]> element(static_cast<unsigned char*>(back.getValue()));
        Buffer value;
        value.fromByteArray(element.get(), 2 + element[1]);
        long read = 0;
        ASSERT_TRUE(value.readLong(&read));
        EXPECT_EQ(read, v);
        EXPECT_EQ(take(back.getUTF8String()).substr(0, 3), "#02");
        EXPECT_FALSE(back.isEqual(&back));
    }
    std::unique_ptr<PKIAttributeTypeAndValue> copy(a.clone());
    EXPECT_EQ(encode(*copy), encode(a));
}

}  // namespace
