// DocVerifier: the envelopes of a file, layer by layer. Each SignedData has its content
// digested once per declared algorithm and its certificates unpacked; then every signer is
// checked. When the content of a layer is itself a signed envelope (DER or base64), the walk
// goes down into it, reporting its signers beside the outer ones (flattened), in a nested
// element (nested), or not at all (off: the inner envelope is the content).
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "asn1/Base64.h"
#include "asn1/OID.h"
#include "asn1/SecureBuffer.h"
#include "frontend/Messages.h"
#include "net/Logger.h"
#include "pkix/ContentInfo.h"
#include "pkix/EncapsulatedContentInfo.h"
#include "pkix/PKCS7SignerInfo.h"
#include "pkix/PlainData.h"
#include "pkix/SignedData.h"
#include "pkix/SignerInfo.h"
#include "verify/DocVerifier.h"
#include "verify/SignerParts.h"
#include "xml/XMLFile.h"

namespace {

constexpr unsigned long kErrNoContent = 5193;
// Layers of envelope followed inside one file; the readers cap the nesting of one parse, and
// this caps the walk across parses.
constexpr int kMaxLayers = 16;

}  // namespace

unsigned char DocVerifier::verifyPKCS7(PKCS7SignedData* signedData) {
    ContentInfo* inner = signedData->_getContentInfo();
    if (inner != nullptr && inner->isEqual(ContentInfo::kData)) {
        auto* plain = dynamic_cast<PlainData*>(inner->_getContent());
        bool ok;
        if (detachedBuffer->getWritePos() == 0) {
            if (plain == nullptr || plain->_getData() == nullptr || plain->getLength() == 0) {
                fail(kErrNoContent);
                return 0;
            }
            ok = calculateDigests(signedData, plain->_getData(), plain->getLength());
        } else {
            // A detached document named by the caller wins over the embedded content.
            ok = calculateDigests(signedData, detachedBuffer->_getData(),
                                  detachedBuffer->getWritePos());
        }
        if (!ok) return 0;
    } else {
        records::cleanDigests(digestTable);
    }
    return verifyPKCS7Signers(signedData, 255);
}

unsigned char DocVerifier::verifyPKCS7Signers(PKCS7SignedData* signedData,
                                              unsigned char cadesFlag) {
    getCertificates(signedData);
    unsigned char all = 255;
    PKCS7SignerInfoSet* signers = signedData->_getSignerInfos();
    for (int i = 0; signers != nullptr && i < signers->getCount(); ++i) {
        if (!verifySigner(signerPartsOf(signers->_getElement(i)), nullptr, cadesFlag, 255, 0))
            all = 0;
    }
    records::cleanDigests(digestTable);
    records::cleanInfos(pkcs7Infos);
    return all;
}

unsigned char DocVerifier::verifyCMS(CMSSignedData* signedData) {
    EncapsulatedContentInfo* encap = signedData->_getEncapContentInfo();
    bool ok;
    if (encap != nullptr && encap->_getEContent() != nullptr && encap->getEContentLen() > 0) {
        // Here the embedded content wins over a detached document.
        ok = calculateDigests(signedData, encap->_getEContent(), encap->getEContentLen());
    } else if (detachedBuffer->getWritePos() > 0) {
        ok =
            calculateDigests(signedData, detachedBuffer->_getData(), detachedBuffer->getWritePos());
    } else {
        fail(kErrNoContent);
        return 0;
    }
    if (!ok) return 0;
    return verifyCMSSigners(signedData);
}

unsigned char DocVerifier::verifyCMSSigners(CMSSignedData* signedData) {
    getCertificates(signedData);
    unsigned char all = 255;
    SignerInfoSet* signers = signedData->_getSignerInfos();
    for (int i = 0; signers != nullptr && i < signers->getCount(); ++i) {
        if (!verifySigner(signerPartsOf(signers->_getElement(i)), nullptr, 255, 255, 0)) all = 0;
    }
    records::cleanDigests(digestTable);
    records::cleanInfos(cmsInfos);
    return all;
}

unsigned char DocVerifier::verifyPKCS7File(const char* content) {
    return verifyCMSFileOrPKCS7(content, false);
}

unsigned char DocVerifier::verifyCMSFile(const char* content) {
    return verifyCMSFileOrPKCS7(content, true);
}

unsigned char DocVerifier::verifyCMSFileOrPKCS7(const char* content, bool cms) {
    auto outer = std::make_unique<ContentInfo>();
    documentBuffer->setReadPos(0);
    unsigned char parsed = outer->_unwrapASN1(documentBuffer.get());
    if (parsed != 1) {
        fail(parsed == 2 ? 5185 : 5123);
        return 0;
    }
    return walkEnvelopes(outer.get(), content, cms);
}

// An XML document (it declares itself so in its first bytes) that names the namespace of XML
// signatures. A plain XML document, an invoice say, is content and nothing more.
static bool holdsXMLSignature(const unsigned char* data, unsigned int length) {
    static const char kDeclaration[] = "<?xml";
    static const char kNamespace[] = "http://www.w3.org/2000/09/xmldsig#";
    unsigned int start = 0;
    // A byte-order mark or blanks may come before the declaration.
    if (length >= 3 && data[0] == 0xEF && data[1] == 0xBB && data[2] == 0xBF) start = 3;
    while (start < length && (data[start] == ' ' || data[start] == '\n' || data[start] == '\r' ||
                              data[start] == '\t')) {
        ++start;
    }
    if (length - start < sizeof(kDeclaration) - 1 ||
        memcmp(data + start, kDeclaration, sizeof(kDeclaration) - 1) != 0) {
        return false;
    }
    const unsigned char* end = data + length;
    const size_t n = sizeof(kNamespace) - 1;
    for (const unsigned char* p = data + start; static_cast<size_t>(end - p) >= n; ++p) {
        p = static_cast<const unsigned char*>(memchr(p, 'h', static_cast<size_t>(end - p) - n + 1));
        if (p == nullptr) return false;
        if (memcmp(p, kNamespace, n) == 0) return true;
    }
    return false;
}

unsigned char DocVerifier::walkEnvelopes(ContentInfo* outer, const char* content, bool cms) {
    allSignaturesOk = 255;
    errCode = NoError;
    if (!outer->isEqual(ContentInfo::kSignedData)) {
        fail(5124);
        return 0;
    }
    // Inner layers are parsed into these; each layer's content points into the one above.
    std::vector<std::unique_ptr<ContentInfo>> layers;
    std::vector<std::unique_ptr<unsigned char[]>> decoded;
    ContentInfo* current = outer;
    const unsigned char* data = nullptr;
    unsigned int length = 0;
    int opened = 0;
    for (int layer = 1; layer <= kMaxLayers; ++layer) {
        Content* body = current->_getContent();
        auto* pkcs7 = dynamic_cast<PKCS7SignedData*>(body);
        auto* cmsData = dynamic_cast<CMSSignedData*>(body);
        if (pkcs7 != nullptr) {
            if (!verifyPKCS7(pkcs7)) allSignaturesOk = 0;
            ContentInfo* inner = pkcs7->_getContentInfo();
            auto* plain = inner != nullptr && inner->isEqual(ContentInfo::kData)
                              ? dynamic_cast<PlainData*>(inner->_getContent())
                              : nullptr;
            data = plain != nullptr ? plain->_getData() : nullptr;
            length = plain != nullptr ? plain->getLength() : 0;
            if (data == nullptr || length == 0) break;
        } else if (cms && cmsData != nullptr) {
            if (!verifyCMS(cmsData)) allSignaturesOk = 0;
            EncapsulatedContentInfo* encap = cmsData->_getEncapContentInfo();
            data = encap != nullptr ? encap->_getEContent() : nullptr;
            length = encap != nullptr ? encap->getEContentLen() : 0;
            if (data == nullptr) break;
        } else {
            fail(5124);
            allSignaturesOk = 0;
            break;
        }

        // Is the content another signed envelope, in DER or in base64?
        auto next = std::make_unique<ContentInfo>();
        Buffer view;
        view.useByteArray(const_cast<unsigned char*>(data), length);
        bool isEnvelope = next->unwrapASN1(&view) == 1;
        view.useByteArray(nullptr, 0);
        if (!isEnvelope) {
            unsigned int n = 0;
            std::unique_ptr<unsigned char[]> head(
                Base64::decode(reinterpret_cast<const char*>(data), length < 30 ? length : 30, &n));
            Buffer probe;
            OID type;
            unsigned int seqLength;
            if (!head) break;
            probe.fromByteArray(head.get(), n);
            if (!probe.readASN1Sequence(&seqLength) || !probe.readASN1(&type)) break;
            // The CMS walk has never gone down into a base64 layer: its retry read the work
            // buffer instead of the decoded bytes, which fails, and the base64 text stays the
            // content. Reading the work buffer again would be worse (with a PEM file it holds
            // the outer envelope itself, which would be walked again and again), so the walk
            // ends here, with the same outcome the CMS files have always had.
            if (cms) break;
            std::unique_ptr<unsigned char[]> whole(
                Base64::decode(reinterpret_cast<const char*>(data), length, &n));
            if (!whole) break;
            Buffer full;
            full.useByteArray(whole.get(), n);
            next.reset(new ContentInfo());
            isEnvelope = next->unwrapASN1(&full) == 1;
            full.useByteArray(nullptr, 0);
            if (!isEnvelope) break;
            decoded.push_back(std::move(whole));
        }
        if (!next->isEqual(ContentInfo::kSignedData)) break;
        if (checkEncapSigs == 0) break;
        if (checkEncapSigs == 2) {
            if (content != nullptr && *content != 0) {
                saveSignedData(content, cms ? 0 : layer, data, length);
            }
            if (xmlOut != nullptr) {
                xmlOut->openTag("signedData");
                ++opened;
            }
        }
        layers.push_back(std::move(next));
        current = layers.back().get();
        // The next layer's content is read from its own parse, not from these bytes.
        data = nullptr;
        length = 0;
    }
    // A signed XML document as the innermost content has signatures of its own: its signers
    // join the envelope's, in the element of the innermost layer.
    if (data != nullptr && holdsXMLSignature(data, length)) {
        unsigned char envelopeOk = allSignaturesOk;
        Buffer document;
        document.fromByteArray(data, length);
        verifyXMLFile(&document);
        allSignaturesOk = allSignaturesOk && envelopeOk ? 255 : 0;
    }
    for (int i = 0; i < opened; ++i) xmlOut->closeTag();
    if (log) {
        if (allSignaturesOk) {
            log->print(6, kNoteAllSignaturesOk, "%s", Messages::getNotice(kNoteAllSignaturesOk));
        } else {
            log->print(6, 5203, "%s", Messages::getText(5203));
        }
    }
    if (content != nullptr && *content != 0 && data != nullptr)
        savePlainData(content, data, length);
    return 255;
}
