// Helpers of the time-stamp tests: the files of tests/data/timestamp (gen_timestamp_data.py)
// and their cases in timestamp.vec, and the facts our readers find, in the vec's vocabulary.
#ifndef SIGILO_TESTS_PKIX_TIMESTAMP_TEST_SUPPORT_H
#define SIGILO_TESTS_PKIX_TIMESTAMP_TEST_SUPPORT_H

#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include "asn1/X500Time.h"
#include "crypto/SHA256.h"
#include "pkix/Accuracy.h"
#include "pkix/Extension.h"
#include "pkix/GeneralName.h"
#include "pkix/MessageImprint.h"
#include "pkix/Name.h"
#include "pkix/TSTInfo.h"
#include "pkix_test_support.h"

inline Bytes timestampFile(const std::string& name) {
    std::ifstream in(testData("timestamp/" + name), std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline std::vector<VecCase> timestampCases(const std::string& kind) {
    return casesOfKind(readVecFile(testData("timestamp/timestamp.vec")), kind);
}

// A value of the vec, with "-" for an empty one (the file writes "-" for none).
inline std::string vec(const VecCase& c, const std::string& key) {
    std::string v = c.get(key);
    return v.empty() ? "-" : v;
}

// A hexadecimal number without leading zeros: the serial printer pads to whole bytes,
// asn1crypto's "%X" does not.
inline std::string hexNumber(std::string s) {
    size_t nonZero = s.find_first_not_of('0');
    return nonZero == std::string::npos ? (s.empty() ? s : "0") : s.substr(nonZero);
}

inline std::string sha256Hex(const unsigned char* p, unsigned int n) {
    SHA256 digest;
    digest.update(p, n);
    unsigned char out[32];
    digest.final(out);
    return toHex(out, 32);
}

inline std::string fieldOrDash(int v) {
    return v == Accuracy::kAbsent ? "-" : std::to_string(v);
}

// The TSTInfo facts of timestamp.vec as read by our classes.
inline std::map<std::string, std::string> tstInfoFacts(const TSTInfo& info) {
    std::map<std::string, std::string> f;
    f["version"] = std::to_string(info.getVersion());
    f["policy"] = take(info.getPolicy());
    const MessageImprint* imprint = info._getMessageImprint();
    f["hash_algorithm"] = imprint != nullptr ? take(imprint->getHashAlgorithmName()) : "?";
    f["imprint"] = imprint != nullptr
                       ? toHex(imprint->_getHashedMessage(), imprint->getHashedMessageLen())
                       : "?";
    f["serial"] = hexNumber(take(info.printSerialNumber(16)));
    f["gen_time"] = info._getGenTime() != nullptr ? take(info._getGenTime()->getValue()) : "?";
    const Accuracy* a = info._getAccuracy();
    f["accuracy_seconds"] = a != nullptr ? fieldOrDash(a->getSeconds()) : "-";
    f["accuracy_millis"] = a != nullptr ? fieldOrDash(a->getMillis()) : "-";
    f["accuracy_micros"] = a != nullptr ? fieldOrDash(a->getMicros()) : "-";
    f["ordering"] = info.getOrdering() ? "yes" : "no";
    f["nonce"] = info.hasNonce() ? hexNumber(take(info.getNonce().printSerial(16))) : "-";
    const GeneralName* tsa = info._getTsa();
    if (tsa == nullptr) {
        f["tsa"] = "-";
    } else if (tsa->getChoice() == GeneralName::kDirectoryName) {
        f["tsa"] = take(tsa->_getDirectoryName()->getUTF8Value("2.5.4.3"));
    } else {
        f["tsa"] = "other";
    }
    f["extensions"] =
        std::to_string(info._getExtensions() != nullptr ? info._getExtensions()->getCount() : 0);
    return f;
}

inline void expectTSTInfoFacts(const VecCase& c, const TSTInfo& info) {
    for (const auto& [key, value] : tstInfoFacts(info)) {
        EXPECT_EQ(value, vec(c, key)) << c.where() << " " << c.get("file") << ": " << key;
    }
}

#endif
