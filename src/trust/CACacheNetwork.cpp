// CACache: CRLs and their time stamps from the network, by the protocol of the URI: HTTP, LDAP,
// and HTTPS (whose client has no TLS, so it always fails). This is the transport used when no
// other is plugged in with setCRLTransport. Every piece of network work obeys tcpTimeout.
#include <strings.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "asn1/Buffer.h"
#include "asn1/X500Time.h"
#include "net/HTTP.h"
#include "net/HTTPS.h"
#include "net/LDAPSession.h"
#include "net/Logger.h"
#include "net/SearchRequest.h"
#include "net/SearchResultEntry.h"
#include "net/SystemClock.h"
#include "trust/CACache.h"

namespace {

const char kDefaultAttribute[] = "certificaterevocationlist";
const char kModifyTimestamp[] = "modifyTimestamp";
const char kBinary[] = ";binary";

// The attribute type without a ";binary" option.
std::string withoutBinary(const std::string& type) {
    std::string plain = type;
    size_t at = plain.size() >= 7 ? plain.size() - 7 : std::string::npos;
    if (at != std::string::npos && strcasecmp(plain.c_str() + at, kBinary) == 0) plain.erase(at);
    return plain;
}

// The search of an LDAP URL's attribute text "attribute?scope?filter": the attribute asked
// for, the scope, and the filter.
struct LDAPQuery {
    std::string attribute;
    int scope = SearchRequest::kScopeBase;
    std::string filterAttribute;
    std::string filterValue;
    bool equality = false;

    explicit LDAPQuery(const char* text) {
        std::string all = text != nullptr ? text : "";
        size_t mark = all.find('?');
        attribute = all.substr(0, mark);
        if (mark == std::string::npos) return;
        std::string rest = all.substr(mark + 1);
        if (strncasecmp(rest.c_str(), "base", 4) == 0) {
            scope = SearchRequest::kScopeBase;
        } else if (strncasecmp(rest.c_str(), "one", 3) == 0) {
            scope = SearchRequest::kScopeOne;
        } else if (strncasecmp(rest.c_str(), "sub", 3) == 0) {
            scope = SearchRequest::kScopeSub;
        }
        size_t second = rest.find('?');
        if (second == std::string::npos) return;
        std::string filter = rest.substr(second + 1);
        // The filter of an LDAP URL stands in parentheses; the simple forms read here are
        // taken without them.
        if (!filter.empty() && filter.front() == '(') filter.erase(0, 1);
        if (!filter.empty() && filter.back() == ')') filter.pop_back();
        size_t equals = filter.find('=');
        if (equals == std::string::npos) return;
        std::string value = filter.substr(equals + 1);
        if (value.empty() || value[0] == '*') return;
        equality = true;
        filterAttribute = filter.substr(0, equals);
        filterValue = value;
    }
};

}  // namespace

X500Time* CACache::readHTTPDate(const char* text) {
    if (text == nullptr) return nullptr;
    bool gmt = strcasestr(text, "gmt") != nullptr;
    const char* p = text;
    while (*p == ' ' || *p == '\t') ++p;
    while (isalpha(static_cast<unsigned char>(*p))) ++p;
    while (*p == ' ' || *p == '\t' || *p == ',') ++p;
    long day = 0, year = 0;
    int hours = 0, minutes = 0, seconds = 0;
    if (gmt) {
        char* end = nullptr;
        day = strtol(p, &end, 10);
        p = end;
        while (*p != 0 && !isalpha(static_cast<unsigned char>(*p))) ++p;
    }
    static const char* const kMonths[] = {"jan", "feb", "mar", "apr", "may", "jun",
                                          "jul", "aug", "sep", "oct", "nov", "dec"};
    int month = 0;
    for (int i = 0; i < 12 && month == 0; ++i) {
        if (strncasecmp(p, kMonths[i], 3) == 0) month = i + 1;
    }
    // A month text that names no month gives no date: nothing is known of the CRL's age.
    if (month == 0) return nullptr;
    while (isalpha(static_cast<unsigned char>(*p))) ++p;
    // The separators of the RFC 850 form ("06-Nov-94") and the blanks are skipped before each
    // number, so that no "-" is read as a sign.
    auto number = [&p](long* value) {
        while (*p == ' ' || *p == '-' || *p == '\t') ++p;
        char* end = nullptr;
        *value = strtol(p, &end, 10);
        bool ok = end != p;
        p = end;
        return ok;
    };
    auto clock = [&p, &hours, &minutes, &seconds]() {
        while (*p == ' ' || *p == '\t') ++p;
        int used = 0;
        bool ok = sscanf(p, "%d:%d:%d%n", &hours, &minutes, &seconds, &used) == 3;
        if (ok) p += used;
        return ok;
    };
    bool ok = gmt ? number(&year) && clock() : number(&day) && clock() && number(&year);
    if (!ok) return nullptr;
    if (year > 1000) year %= 1000;
    if (year > 100) year %= 100;
    if (year < 0 || day < 1 || day > 31 || hours < 0 || hours > 23 || minutes < 0 || minutes > 59 ||
        seconds < 0 || seconds > 60) {
        return nullptr;
    }
    char value[32];
    snprintf(value, sizeof value, "%.2ld%.2d%.2ld%.2d%.2d%.2dZ", year, month, day, hours, minutes,
             seconds);
    auto date = std::make_unique<X500Time>();
    if (!date->setUTCValue(value)) return nullptr;
    return date.release();
}

unsigned char CACache::fetchCRL(const char* uri, Buffer* der, X500Time** timeStamp) {
    *timeStamp = nullptr;
    HTTP::URLParts parts;
    if (!parts.parse(uri)) return 0;
    if (parts.scheme == HTTP::kSchemeHTTP) return httpCRL(uri, der, timeStamp);
    if (parts.scheme == HTTP::kSchemeHTTPS) return httpsCRL(uri, der, timeStamp);
    std::unique_ptr<char[]> attributes(
        parts.query != nullptr ? HTTP::cleanURL(parts.query.get() + 1) : nullptr);
    return ldapCRL(parts.host.get(), parts.port, parts.path != nullptr ? parts.path.get() : "",
                   attributes != nullptr ? attributes.get() : kDefaultAttribute, der, timeStamp);
}

unsigned char CACache::httpCRL(const char* url, Buffer* der, X500Time** timeStamp) {
    *timeStamp = nullptr;
    note(7, 4698, "Inizio recupero CRL via HTTP");
    HTTP::setTimeout(tcpTimeout);
    char* text = nullptr;
    if (!HTTP::getDERAndTimeStamp(url, der, &text)) return 0;
    std::unique_ptr<char[]> date(text);
    *timeStamp = readHTTPDate(date.get());
    note(7, 4699, "Fine recupero CRL via HTTP");
    return 255;
}

unsigned char CACache::httpsCRL(const char* url, Buffer* der, X500Time** timeStamp) {
    *timeStamp = nullptr;
    note(7, 4673, "Inizio recupero CRL via HTTPS");
    HTTPS::setTimeout(tcpTimeout);
    char* text = nullptr;
    if (!HTTPS::getDERAndTimeStamp(url, der, &text)) return 0;
    std::unique_ptr<char[]> date(text);
    *timeStamp = readHTTPDate(date.get());
    note(7, 4674, "Fine recupero CRL via HTTPS");
    return 255;
}

namespace {

// One search for the attribute (and modifyTimestamp); the first value of the attribute that
// has the shape of a DER SEQUENCE goes to der.
bool searchDirectory(LDAPSession* session, const char* dn, const LDAPQuery& query,
                     const std::string& attribute, Buffer* der, X500Time** timeStamp) {
    SearchRequest request;
    request.setBaseObject(dn);
    request.setScope(query.scope);
    if (query.equality) {
        request.setEqualityFilter(query.filterAttribute.c_str(), query.filterValue.c_str());
    } else {
        request.setPresentFilter("objectclass");
    }
    request.addAttribute(attribute.c_str());
    request.addAttribute(kModifyTimestamp);
    std::vector<std::unique_ptr<SearchResultEntry>> entries;
    int code = -1;
    session->search(&request, &entries, &code);
    std::string wanted = withoutBinary(attribute);
    bool found = false;
    for (const auto& entry : entries) {
        for (const SearchResultEntry::Attribute& one : entry->_getAttributes()) {
            std::string type = withoutBinary(one.type);
            if (!found && strcasecmp(type.c_str(), wanted.c_str()) == 0) {
                for (const std::string& value : one.values) {
                    if (value.empty() || static_cast<unsigned char>(value[0]) != 0x30) continue;
                    der->fromByteArray(reinterpret_cast<const unsigned char*>(value.data()),
                                       static_cast<unsigned int>(value.size()));
                    found = true;
                    break;
                }
            } else if (strcasecmp(type.c_str(), kModifyTimestamp) == 0 && !one.values.empty() &&
                       *timeStamp == nullptr) {
                auto stamp = std::make_unique<X500Time>();
                if (stamp->setGeneralizedValue(one.values[0].c_str())) {
                    *timeStamp = stamp.release();
                }
            }
        }
    }
    return found;
}

}  // namespace

unsigned char CACache::ldapCRL(const char* host, int port, const char* dn, const char* attributes,
                               Buffer* der, X500Time** timeStamp) {
    *timeStamp = nullptr;
    note(7, 4696, "Inizio recupero CRL via LDAP");
    LDAPSession session(host, port);
    session.setTimeout(tcpTimeout);
    if (!session.initSession()) return 0;
    if (!session.bind("", "")) {
        session.closeSession();
        return 0;
    }
    LDAPQuery query(attributes);
    bool found = searchDirectory(&session, dn, query, query.attribute, der, timeStamp);
    // A directory that holds the CRL under the binary option may answer only when asked for it.
    if (!found && withoutBinary(query.attribute) == query.attribute) {
        delete *timeStamp;
        *timeStamp = nullptr;
        found = searchDirectory(&session, dn, query, query.attribute + kBinary, der, timeStamp);
    }
    session.unbind();
    session.closeSession();
    note(7, 4697, "Fine recupero CRL via LDAP");
    if (!found) {
        delete *timeStamp;
        *timeStamp = nullptr;
        return 0;
    }
    if (*timeStamp == nullptr) *timeStamp = SystemClock::getUTCTime();
    return 255;
}

X500Time* CACache::getTimeStamp(const char* uri) {
    if (!timeStampCheck) return nullptr;
    HTTP::URLParts parts;
    if (!parts.parse(uri)) return nullptr;
    if (parts.scheme == HTTP::kSchemeHTTP) return getHttpTimeStamp(uri);
    if (parts.scheme == HTTP::kSchemeHTTPS) return getHttpsTimeStamp(uri);
    return getLdapTimeStamp(parts.host.get(), parts.port,
                            parts.path != nullptr ? parts.path.get() : "");
}

X500Time* CACache::getHttpTimeStamp(const char* url) {
    note(7, 4702, "Inizio richiesta timestamp CRL via HTTP");
    HTTP::setTimeout(tcpTimeout);
    Buffer scratch;
    std::unique_ptr<char[]> text(HTTP::getTimeStamp(url, &scratch));
    X500Time* stamp = readHTTPDate(text.get());
    note(7, 4703, "Fine richiesta timestamp CRL via HTTP");
    return stamp;
}

X500Time* CACache::getHttpsTimeStamp(const char* url) {
    note(7, 4725, "Inizio richiesta timestamp CRL via HTTPS");
    HTTPS::setTimeout(tcpTimeout);
    std::unique_ptr<char[]> text(HTTPS::getTimeStamp(url, nullptr));
    X500Time* stamp = readHTTPDate(text.get());
    note(7, 4726, "Fine richiesta timestamp CRL via HTTPS");
    return stamp;
}

X500Time* CACache::getLdapTimeStamp(const char* host, int port, const char* dn) {
    note(7, 4700, "Inizio richiesta timestamp CRL via LDAP");
    LDAPSession session(host, port);
    session.setTimeout(tcpTimeout);
    X500Time* stamp = nullptr;
    if (session.initSession() && session.bind("", "")) {
        SearchRequest request;
        request.setBaseObject(dn);
        request.setPresentFilter("objectclass");
        request.addAttribute(kModifyTimestamp);
        std::vector<std::unique_ptr<SearchResultEntry>> entries;
        int code = -1;
        session.search(&request, &entries, &code);
        for (const auto& entry : entries) {
            for (const SearchResultEntry::Attribute& one : entry->_getAttributes()) {
                if (stamp == nullptr && strcasecmp(one.type.c_str(), kModifyTimestamp) == 0 &&
                    !one.values.empty()) {
                    auto time = std::make_unique<X500Time>();
                    if (time->setGeneralizedValue(one.values[0].c_str())) stamp = time.release();
                }
            }
        }
        session.unbind();
    }
    session.closeSession();
    note(7, 4701, "Fine richiesta timestamp CRL via LDAP");
    return stamp;
}

int CACache::getTimeout() {
    return tcpTimeout;
}

unsigned char CACache::getTimeStampCheck() {
    return timeStampCheck;
}
