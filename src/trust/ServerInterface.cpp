#include "trust/ServerInterface.h"

#include <libxml/tree.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "asn1/Buffer.h"
#include "asn1/X500Time.h"
#include "frontend/Messages.h"
#include "net/Logger.h"
#include "net/Transport.h"
#include "trust/ServerRequest.h"
#include "xml/XMLFile.h"

std::atomic<int> ServerInterface::tcpTimeout{ServerInterface::kDefaultTimeout};

namespace {

constexpr char kExpiredCRLText[] = "Almeno una delle CRL utilizzate nella verifica e' scaduta";

// How a finding's text reaches the report, and what else it gives.
enum class Form { AsItStands, GeneralizedToUTC };
enum class Keeps { Nothing, RevocationUTC, RevocationGeneralized, ExpiredCerts };

struct Finding {
    const char* element;
    Form form;
    Keeps keeps;
};

// In the order the report lists them.
const Finding kFindings[] = {
    {"crlThisUpdate", Form::AsItStands, Keeps::Nothing},
    {"ocspThisUpdate", Form::GeneralizedToUTC, Keeps::Nothing},
    {"crlExpired", Form::AsItStands, Keeps::Nothing},
    {"ocspExpired", Form::GeneralizedToUTC, Keeps::Nothing},
    {"caCertRevoked", Form::AsItStands, Keeps::Nothing},
    {"crlHoldDate", Form::AsItStands, Keeps::RevocationUTC},
    {"ocspHoldDate", Form::GeneralizedToUTC, Keeps::RevocationGeneralized},
    {"crlRevocationDate", Form::AsItStands, Keeps::RevocationUTC},
    {"ocspRevocationDate", Form::GeneralizedToUTC, Keeps::RevocationGeneralized},
    {"crlInvalidSince", Form::AsItStands, Keeps::Nothing},
    {"ocspInvalidSince", Form::GeneralizedToUTC, Keeps::Nothing},
    {"caCertExpired", Form::AsItStands, Keeps::Nothing},
    {"expiredCertsOnCRL", Form::AsItStands, Keeps::ExpiredCerts},
};

const char* const kDownloadModes[] = {"scarica una volta per sessione", "scarica quando e' scaduta",
                                      "scarica sempre dalla rete", "usa solo quelle locali",
                                      "Il controllo delLe CRL e' disabilitato"};

xmlNodePtr rootOf(XMLFile* xml) {
    return xml != nullptr && xml->_getDocument() != nullptr
               ? xmlDocGetRootElement(xml->_getDocument())
               : nullptr;
}

// The text of the first child element of that name under the root; false when there is none.
bool childText(XMLFile* xml, const char* name, std::string* text) {
    xmlNodePtr root = rootOf(xml);
    if (root == nullptr) return false;
    for (xmlNodePtr child = root->children; child != nullptr; child = child->next) {
        if (child->type != XML_ELEMENT_NODE || child->name == nullptr ||
            strcmp(reinterpret_cast<const char*>(child->name), name) != 0) {
            continue;
        }
        xmlChar* content = xmlNodeGetContent(child);
        text->assign(content != nullptr ? reinterpret_cast<const char*>(content) : "");
        xmlFree(content);
        return true;
    }
    return false;
}

std::string attributeOf(XMLFile* xml, const char* name, bool* present) {
    *present = false;
    xmlNodePtr root = rootOf(xml);
    if (root == nullptr) return "";
    xmlChar* value = xmlGetProp(root, reinterpret_cast<const xmlChar*>(name));
    if (value == nullptr) return "";
    std::string out = reinterpret_cast<const char*>(value);
    xmlFree(value);
    *present = true;
    return out;
}

// A whole number in the base, blanks around it allowed, with no sign and no overflow.
bool readNumber(const std::string& text, int base, unsigned long* value) {
    size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos) return false;
    size_t last = text.find_last_not_of(" \t\r\n");
    std::string digits = text.substr(first, last - first + 1);
    if (digits.empty() || digits.size() > 16 || digits[0] == '-' || digits[0] == '+') return false;
    errno = 0;
    char* end = nullptr;
    unsigned long long n = strtoull(digits.c_str(), &end, base);
    if (errno != 0 || end == nullptr || *end != 0 || n > 0xFFFFFFFFull) return false;
    *value = static_cast<unsigned long>(n);
    return true;
}

std::string ownedValue(const X500Time& t) {
    std::unique_ptr<char[]> text(t.getValue());
    return text ? text.get() : "";
}

// A UTC time from the text; a generalized text is taken too, since a date past 2049 has no UTC
// form. Null when neither reads.
X500Time* readUTC(const std::string& text) {
    std::unique_ptr<X500Time> t(new X500Time());
    if (text.size() <= 17 && t->setUTCValue(text.c_str())) return t.release();
    if (text.size() <= 26 && t->setGeneralizedValue(text.c_str())) return t.release();
    return nullptr;
}

X500Time* readGeneralized(const std::string& text) {
    std::unique_ptr<X500Time> t(new X500Time());
    if (text.size() <= 26 && t->setGeneralizedValue(text.c_str())) return t.release();
    return nullptr;
}

}  // namespace

ServerInterface::ServerInterface()
    : serverName(),
      serverPort(kDefaultPort),
      errCode(kNoError),
      checkCRL(255),
      checkCACRL(255),
      useOCSP(255),
      checkCertificateValidity(255),
      errorOnExpiredCRL(255),
      buffer(new Buffer(kBufferSize)),
      transport(new Transport()),
      xmlOut(nullptr) {
    transport->setTimeout(tcpTimeout.load());
}

ServerInterface::~ServerInterface() = default;

void ServerInterface::setTimeout(int seconds) {
    tcpTimeout = seconds;
}

int ServerInterface::getTimeout() {
    return tcpTimeout.load();
}

void ServerInterface::enableLog(unsigned char level) {
    if (!log) log.reset(new Logger(level));
    log->enableLog(static_cast<char>(level));
}

void ServerInterface::disableLog() {
    log.reset();
}

void ServerInterface::setServerName(const char* name) {
    serverName[0] = 0;
    if (name == nullptr) return;
    strncpy(serverName, name, kNameSize - 1);
    serverName[kNameSize - 1] = 0;
}

X500Time* ServerInterface::getRevocationDate() const {
    return revocationDate ? revocationDate->clone() : nullptr;
}

X500Time* ServerInterface::getExpiredCertsOnCRL() const {
    return expiredCertsOnCRL ? expiredCertsOnCRL->clone() : nullptr;
}

unsigned char ServerInterface::exchange(int opCode, const char* certificate, XMLFile* reply) {
    if (serverName[0] == 0) return 0;
    // The time-out may have changed since construction: every exchange takes the current one.
    transport->setTimeout(tcpTimeout.load());
    if (transport->Connect(serverName, serverPort) != 0) {
        transport->shutdownConnect();
        return 0;
    }
    ServerRequest request;
    request.setOpCode(opCode);
    request.setCheckCRL(checkCRL);
    request.setCheckCACRL(checkCACRL);
    request.setUseOCSP(useOCSP);
    request.setCheckCertificateValidity(checkCertificateValidity);
    request.setCertificate(certificate);
    buffer->setWritePos(0);
    buffer->setReadPos(0);
    XMLFile message(buffer.get());
    unsigned char done = request.build(&message) && message.toNetwork(transport.get()) &&
                         reply->fromNetwork(transport.get(), log.get());
    transport->shutdownConnect();
    return done;
}

unsigned char ServerInterface::unreachable() {
    errCode = kErrUnreachable;
    refuse(kErrUnreachable, Messages::getText(kErrUnreachable));
    return 0;
}

void ServerInterface::refuse(unsigned long code, const char* text) {
    if (log) log->print(3, static_cast<unsigned int>(code), "%s", text);
    if (xmlOut != nullptr) {
        xmlOut->insertTag("errorMessage", text);
        xmlOut->insertTag("status", "KO");
    }
}

unsigned char ServerInterface::checkServerStatus() {
    Buffer replyBuffer;
    XMLFile reply(&replyBuffer);
    if (!exchange(ServerRequest::kStatus, nullptr, &reply)) return 0;
    return _takeStatusReply(&reply);
}

unsigned char ServerInterface::_takeStatusReply(XMLFile* reply) {
    if (rootOf(reply) == nullptr) return 0;
    if (xmlOut == nullptr) return 255;
    bool present = false;
    std::string release = attributeOf(reply, "release", &present);
    if (present) xmlOut->setTagAttribute("serverRelease", release.c_str());
    if (checkCRL) {
        std::string mode = attributeOf(reply, "downloadCRL", &present);
        unsigned long n = 0;
        if (present && readNumber(mode, 10, &n) && n >= 1 && n <= 5) {
            xmlOut->setTagAttribute("downloadCRL", kDownloadModes[n - 1]);
        }
    }
    return 255;
}

unsigned char ServerInterface::askServer(const char* certificate, unsigned char timeStamp) {
    Buffer replyBuffer;
    XMLFile reply(&replyBuffer);
    int opCode = timeStamp ? ServerRequest::kTimeStampCert : ServerRequest::kSignerCert;
    expiredCertsOnCRL.reset();
    revocationDate.reset();
    if (certificate == nullptr || !exchange(opCode, certificate, &reply)) return unreachable();
    return _judgeReply(&reply);
}

unsigned char ServerInterface::_judgeReply(XMLFile* reply) {
    expiredCertsOnCRL.reset();
    revocationDate.reset();
    std::string text;
    unsigned long code = 0;
    // A reply without a readable code tells nothing about the certificate.
    if (!childText(reply, "errorCode", &text) || !readNumber(text, 16, &code)) {
        return unreachable();
    }
    errCode = code == 0 ? kNoError : code;
    if (errCode != kNoError && errCode != 5127 && errCode != 5128 && errCode != 5161) {
        refuse(errCode, Messages::getText(errCode));
        return 0;
    }
    copyFindings(reply);
    std::string expired;
    if (errorOnExpiredCRL && childText(reply, "crlExpired", &expired)) {
        errCode = kErrExpiredCRL;
        refuse(kErrExpiredCRL, kExpiredCRLText);
        return 0;
    }
    return 255;
}

void ServerInterface::copyFindings(XMLFile* reply) {
    for (const Finding& finding : kFindings) {
        std::string text;
        if (!childText(reply, finding.element, &text)) continue;
        std::string shown = text;
        if (finding.form == Form::GeneralizedToUTC) {
            std::unique_ptr<X500Time> read(readGeneralized(text));
            if (read) {
                X500Time utc;
                utc.setUTCValue(read->getClockValue());
                shown = ownedValue(utc);
            }
        }
        if (xmlOut != nullptr) xmlOut->insertTag(finding.element, shown.c_str());
        switch (finding.keeps) {
            case Keeps::RevocationUTC:
            case Keeps::RevocationGeneralized: {
                X500Time* date =
                    finding.keeps == Keeps::RevocationUTC ? readUTC(text) : readGeneralized(text);
                // A date that does not read is taken as the earliest: the revocation then
                // counts at any reference time, which never turns a revoked signer into OK.
                if (date == nullptr) {
                    date = new X500Time();
                    date->setUTCValue(0L);
                }
                revocationDate.reset(date);
                break;
            }
            case Keeps::ExpiredCerts:
                // Unreadable: as if absent, so the fixed amnesty date applies.
                expiredCertsOnCRL.reset(readGeneralized(text));
                break;
            case Keeps::Nothing:
                break;
        }
    }
}
