// Arbitrary bytes into the certificate reader (through a Buffer and through a SecureBuffer),
// into every extension reader and the name classes, and as text into the name parser. A
// certificate that reads is then used as the verifier would use it: its names printed and
// normalised, its serial printed, each extension decoded by its OID, everything cloned and
// re-encoded. Malformed input must give 0 and free cleanly.
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "asn1/Buffer.h"
#include "asn1/OIDList.h"
#include "asn1/SecureBuffer.h"
#include "crypto/CryptoDevice.h"
#include "pkix/AccessDescription.h"
#include "pkix/AttributeValue.h"
#include "pkix/AuthorityKeyIdentifier.h"
#include "pkix/BasicConstraintsSyntax.h"
#include "pkix/Certificate.h"
#include "pkix/CertificateInfo.h"
#include "pkix/DistributionPoint.h"
#include "pkix/Extension.h"
#include "pkix/GeneralName.h"
#include "pkix/IssuingDistPointSyntax.h"
#include "pkix/KeyInfo.h"
#include "pkix/MonetaryValue.h"
#include "pkix/Name.h"
#include "pkix/NameLabels.h"
#include "pkix/PolicyInformation.h"
#include "pkix/QCStatement.h"
#include "pkix/UserNotice.h"
#include "xml/XMLFile.h"

namespace {

template <class T>
void reencode(T& object) {
    Buffer out;
    unsigned int length = object.getWrapLength(&out);
    out.enlarge(length);
    object.wrapASN1(&out);
    if (out.getWritePos() != length) abort();
}

void useName(const Name* name) {
    if (name == nullptr) return;
    std::unique_ptr<Name> copy(name->clone());
    delete[] copy->getPrintableString();
    delete[] copy->getPrintableShortString(kNameLabelOIDs, kNameShortLabels, kNameLabelCount);
    delete[] copy->getUTF8String(kNameLabelOIDs, kNameItalianLabels, kNameLabelCount);
    delete[] copy->getXMLRepresentation(kNameLabelOIDs, kNameShortLabels, kNameLabelCount);
    XMLFile xml(nullptr);
    xml.openTag("subject");
    copy->getXMLRepresentation(kNameLabelOIDs, kNameShortLabels, kNameLabelCount, &xml);
    xml.getXMLSubTree(1);
    copy->toUTF8();
    delete[] copy->getShortUTF8String(kNameLabelOIDs, kNameShortLabels, kNameLabelCount);
    copy->isEqual(name);
    copy->isEqualWithWildcard(name);
    std::unique_ptr<Name> reversed(copy->reverse());
    reencode(*copy);
}

// Decodes an extension value as the verifier does, by its OID.
template <class T>
void decodeAs(const Extension* e) {
    Buffer view;
    view.fromByteArray(e->_getExtnValue(), e->getVlen());
    T object;
    if (object.unwrapASN1(&view)) {
        std::unique_ptr<T> copy(object.clone());
        reencode(*copy);
    }
}

void useExtension(const Extension* e) {
    delete[] e->getExtnName();
    if (e->_getExtnValue() == nullptr) return;
    if (e->isEqual("2.5.29.35")) decodeAs<AuthorityKeyIdentifier>(e);
    if (e->isEqual("2.5.29.17") || e->isEqual("2.5.29.18")) decodeAs<GeneralNameList>(e);
    if (e->isEqual("2.5.29.19")) decodeAs<BasicConstraintsSyntax>(e);
    if (e->isEqual("2.5.29.31")) decodeAs<DistributionPointList>(e);
    if (e->isEqual("2.5.29.28")) decodeAs<IssuingDistPointSyntax>(e);
    if (e->isEqual("2.5.29.32")) decodeAs<PolicyInformationList>(e);
    if (e->isEqual("2.5.29.37")) decodeAs<OIDList>(e);
    if (e->isEqual("1.3.6.1.5.5.7.1.1")) decodeAs<AuthorityInfoAccessSyntax>(e);
    if (e->isEqual("1.3.6.1.5.5.7.1.3")) {
        Buffer view;
        view.fromByteArray(e->_getExtnValue(), e->getVlen());
        QCStatements statements;
        if (statements.unwrapASN1(&view)) {
            for (int i = 0; i < statements.getCount(); ++i) {
                const QCStatement* s = statements._getElement(i);
                delete s->getMonetaryValue();
                delete s->getSemanticsInformation();
                long years;
                s->getRetentionPeriod(&years);
            }
        }
    }
}

void useCertificate(Certificate& cert) {
    std::unique_ptr<Certificate> copy(cert.clone());
    reencode(*copy);
    delete[] copy->getPrintableString();
    copy->isBEREncoded();
    CryptoDevice device;
    const CertificateInfo* info = copy->_getCertInfo();
    KeyInfo* key = info != nullptr ? const_cast<KeyInfo*>(info->_getSubjectPubKey()) : nullptr;
    copy->checkSignature1(&device, key);
    copy->checkSignature(&device, key);
    if (info == nullptr) return;
    delete[] info->printSerial(16);
    delete[] info->printSerial(10);
    useName(info->_getSubject());
    useName(info->_getIssuer());
    if (const ExtensionList* list = info->_getExtensions()) {
        for (int i = 0; i < list->getCount(); ++i) useExtension(list->_getElement(i));
    }
}

template <class T>
void readObject(const uint8_t* data, size_t size) {
    Buffer in;
    in.fromByteArray(data, static_cast<unsigned int>(size));
    T object;
    if (object.unwrapASN1(&in)) {
        std::unique_ptr<T> copy(object.clone());
        reencode(*copy);
    }
}

void parseNameText(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    text = text.c_str();  // up to the first zero byte, as a C string
    for (unsigned char type : {19, 12, 30}) {
        Name name(text.c_str(), type, kNameLabelOIDs, kNameShortLabels, kNameLabelCount);
        useName(&name);
    }
    delete[] Name::toCanonicalForm(text.c_str());
    RelativeDistinguishedName rdn;
    rdn.addRDN(text.c_str());
    GeneralName uri;
    uri.setUniformResourceIdentifier(text.c_str());
    reencode(uri);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    {
        Buffer in;
        in.fromByteArray(data, static_cast<unsigned int>(size));
        Certificate cert;
        if (cert.unwrapASN1(&in)) useCertificate(cert);
    }
    {
        CryptoDevice device;
        SecureBuffer in(&device);
        in.fromByteArray(data, static_cast<unsigned int>(size));
        Certificate cert;
        cert.unwrapASN1(&in);
    }
    readObject<Name>(data, size);
    readObject<ExtensionList>(data, size);
    readObject<GeneralNameList>(data, size);
    readObject<AuthorityKeyIdentifier>(data, size);
    readObject<AuthorityInfoAccessSyntax>(data, size);
    readObject<BasicConstraintsSyntax>(data, size);
    readObject<DistributionPointList>(data, size);
    readObject<IssuingDistPointSyntax>(data, size);
    readObject<PolicyInformationList>(data, size);
    readObject<QCStatements>(data, size);
    readObject<MonetaryValue>(data, size);
    readObject<UserNotice>(data, size);
    readObject<AttributeValueSet>(data, size);
    readObject<CertList>(data, size);
    parseNameText(data, size);
    return 0;
}
