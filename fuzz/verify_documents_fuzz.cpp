// Any bytes as an input file of the whole verification, with a small trust list loaded (the
// root of tests/data/engine/pki) and no network (CRLs local only): classification, loading,
// every driver and the engine must end without a crash, a hang or a leak.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "frontend/Sigilo.h"

namespace {

const char kTrustedRoot[] =
    "-----BEGIN CERTIFICATE-----\n"
    "MIIDOTCCAiGgAwIBAgIBATANBgkqhkiG9w0BAQsFADA9MQswCQYDVQQGEwJJVDEW\n"
    "MBQGA1UECgwNU2lnaWxvIE1vdG9yZTEWMBQGA1UEAwwNUmFkaWNlIE1vdG9yZTAg\n"
    "Fw0yMDAxMDEwMDAwMDBaGA8yMDk5MTIzMTAwMDAwMFowPTELMAkGA1UEBhMCSVQx\n"
    "FjAUBgNVBAoMDVNpZ2lsbyBNb3RvcmUxFjAUBgNVBAMMDVJhZGljZSBNb3RvcmUw\n"
    "ggEiMA0GCSqGSIb3DQEBAQUAA4IBDwAwggEKAoIBAQCiKG/wIiefcKBenpXMYXlF\n"
    "n0NrvIf2uOp4s+Dssvg/Al11EtCLfxarNRuI8zdbN4hI/Nrjb30FoPlIIwuxFVpV\n"
    "8zROFq6uh1QQ9lKZfpv8HUFNKfbXjfmd7yMvZblgg8/a3Osqz6KJZuR6Zvk8rMGT\n"
    "l2NHzMgLxOV3SMBlUg7NWcID9cs0y2lpTEle+fXZctaRjc5zJ8pE3q2VHcvI3406\n"
    "jFKpO3VXVGh2gB6oMHAtNS5z9HdLh7kCcSPlKF+LayvAu72QTmBWKJ5M72wZiDKZ\n"
    "ZKNi1B5wZFXvhbqa9WHpuaii11t7WL1msKScg06HfxKDhg7j7u7UGLxC6+TbWK93\n"
    "AgMBAAGjQjBAMB0GA1UdDgQWBBRCzUE71ywPR6pJ5LgZBJAvJ6MD1TAPBgNVHRMB\n"
    "Af8EBTADAQH/MA4GA1UdDwEB/wQEAwIBBjANBgkqhkiG9w0BAQsFAAOCAQEAngSc\n"
    "SkAwJneEYMkji9GwF5BARGVCmrwQfwWjZzILOvmtW2p90anoNE/1gYYM+3jZR7p3\n"
    "49Ut5/V58v+UHrT7CqTdz5hDpGoNlMP1uFuuMcVx4bJJiK/db4ghbiGo00d6kAab\n"
    "iYMEWxrVPQ/XKjG7ZwPIL82MkZLASmLfHkqfmydOX7S0mlEEOxJ4ooYQc7edrMPS\n"
    "CuR63Vt1EkQMqTujq7rZhcn4XdrNAPoW/vAcNQMjr7t3U/sTFlY88IY/W6hOPCZB\n"
    "5qg+Z6lf9T8CB/M10vhtSJTOVv0UJSgJveHLEbJeuwcIxljUJvAA3w4OIGqzvtZf\n"
    "LBc9F5wuH0widIus0g==\n"
    "-----END CERTIFICATE-----\n";

std::string setUp() {
    char dir[] = "/tmp/sigilo_verify_fuzz_XXXXXX";
    if (mkdtemp(dir) == nullptr) abort();
    std::string base(dir);
    std::string pem = base + "/root.pem";
    FILE* f = fopen(pem.c_str(), "w");
    if (f == nullptr) abort();
    fputs(kTrustedRoot, f);
    fclose(f);
    if (!init(dir, nullptr, nullptr, 4)) abort();
    setLogLevel(255);
    if (!importCACertsListPEM(pem.c_str())) abort();
    setOutput((base + "/report.xml").c_str());
    return base + "/input";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string input = setUp();
    FILE* f = fopen(input.c_str(), "wb");
    if (f == nullptr) abort();
    if (size > 0 && fwrite(data, 1, size, f) != size) abort();
    fclose(f);
    verifyDocuments(input.c_str(), nullptr, false);
    deleteResults();
    return 0;
}
