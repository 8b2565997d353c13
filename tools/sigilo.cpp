// sigilo: the command-line tool over libsigilo.
//
// It drives the library as any caller would: init, the switches, the trust-list and CRL
// commands, one verifyDocuments per file so that every file lands in the one report, then
// printResults. The exit status sums the verdicts up: 0 when every verified unit ended "OK" and
// every command succeeded, 1 when some unit is "KO", a file could not be read or a command
// failed, 2 for a mistake on the command line.
#include "frontend/Sigilo.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "frontend/Globals.h"
#include "frontend/Messages.h"
#include "frontend/Report.h"
#include "tools/batch.h"
#include "tools/html_report.h"
#include "tools/list_ca.h"
#include "tools/progress.h"
#include "verify/TrustStore.h"
#include "xml/XMLFile.h"

namespace {

const char kUsage[] =
    "Uso: sigilo [opzioni] FILE [FILE...]\n"
    "Verifica i documenti firmati digitalmente e scrive un rapporto XML.\n"
    "\n"
    "  -c, --ca-dir DIR           cartella della lista dei certificati di CA (predefinita: .)\n"
    "  -r, --crl-dir DIR          cartella della cache delle CRL (predefinita: quella delle CA)\n"
    "  -d, --download-crl N       1 una volta per sessione, 2 quando e' scaduta (predefinito),\n"
    "                             3 sempre dalla rete, 4 solo quelle locali\n"
    "  -l, --log FILE             file di log (con livello 6 se -L manca)\n"
    "  -L, --log-level N          livello di log, da 0 a 7\n"
    "  -o, --output FILE          rapporto nel file (predefinito: standard output)\n"
    "      --indent               rapporto indentato\n"
    "      --html FILE            anche il rapporto come pagina HTML nel file\n"
    "  -j, --jobs N               verifica i file con N processi (rapporto identico)\n"
    "  -D, --detached PATH        documento separato, o cartella per il contenuto estratto\n"
    "  -x, --extract DIR          estrae contenuto e buste nella cartella\n"
    "      --no-crl               nessun controllo CRL dei firmatari\n"
    "      --no-ts-crl            nessun controllo CRL delle marche temporali\n"
    "      --no-ca-crl            nessun controllo CRL delle CA\n"
    "      --ocsp                 usa OCSP\n"
    "      --time TIME            data di verifica, UTCTime YYMMDDhhmmssZ\n"
    "      --july2011 N           regola del luglio 2011: 0 no, 1 debole, 2 forte\n"
    "      --no-august2010        salta la regola dell'agosto 2010\n"
    "      --skip-validity        salta il controllo del periodo di validita'\n"
    "      --check-signing-cert-attr  controlla l'attributo SigningCertificate delle marche\n"
    "      --nested N             firme annidate: 0 no, 1 appiattite, 2 annidate\n"
    "      --no-expired-crl-error una CRL scaduta non e' un errore\n"
    "      --base64               buste estratte in base64\n"
    "      --server HOST[:PORT]   verifica dei certificati tramite il sigiloServer\n"
    "      --timeout S            time-out TCP in secondi\n"
    "      --ocsp-timeout S       time-out OCSP in secondi\n"
    "      --http-proxy HOST:PORT[:USER:PASS]\n"
    "      --socks-proxy HOST:PORT[:USER:PASS]\n"
    "      --no-socks RETE/MASCHERA[,RETE/MASCHERA...]\n"
    "                             reti raggiunte senza il proxy SOCKS\n"
    "      --no-crl-timestamp     non chiede al server la data delle CRL in cache\n"
    "      --import-pem FILE      sostituisce la lista delle CA con i certificati PEM e la salva\n"
    "      --add-pem FILE         aggiunge i certificati PEM alla lista delle CA\n"
    "      --add-tsl FILE         aggiunge le CA di una trust list\n"
    "      --import-tsl FILE --tsl-signer CERT\n"
    "                             sostituisce la lista delle CA con una trust list firmata\n"
    "      --update-crl           aggiorna la cache delle CRL\n"
    "      --list-ca              elenca le CA fidate: soggetto | seriale | validita' |\n"
    "                             identificativo della chiave\n"
    "  -V, --version              versione\n"
    "  -h, --help                 questo aiuto\n"
    "\n"
    "Uscita: 0 tutto OK, 1 qualche esito KO o comando fallito, 2 errore di sintassi.\n";

enum ExitStatus { kAllGood = 0, kSomethingBad = 1, kUsageError = 2 };

struct Proxy {
    bool given = false;
    std::string host, user, password;
    int port = 0;
};

enum class CommandKind { ImportPEM, AddPEM, AddTSL, ImportTSL, UpdateCRL, ListCA };

struct Command {
    CommandKind kind;
    std::string file;
    const char* option;
};

struct Options {
    const char* caDir = nullptr;
    const char* crlDir = nullptr;
    const char* logFile = nullptr;
    int downloadCRL = 2;
    int logLevel = -1;
    const char* output = nullptr;
    bool indent = false;
    const char* html = nullptr;
    int jobs = 1;
    const char* path = nullptr;
    bool extract = false;
    bool noCRL = false, noTSCRL = false, noCACRL = false, ocsp = false;
    const char* time = nullptr;
    int july2011 = -1;
    bool noAugust2010 = false, skipValidity = false, checkSigningCertAttr = false;
    int nested = -1;
    bool noExpiredCRLError = false, base64 = false;
    const char* server = nullptr;
    int timeout = -1, ocspTimeout = -1;
    Proxy httpProxy, socksProxy;
    std::vector<std::string> noSOCKS;
    bool noCRLTimeStamp = false;
    const char* tslSigner = nullptr;
    std::vector<Command> commands;
    std::vector<const char*> files;
    bool version = false, help = false;
};

// A command-line mistake: the message (if any) and the usage go to standard error.
struct UsageError {
    std::string message;
};

int usageError(const std::string& message) {
    if (!message.empty()) fprintf(stderr, "sigilo: %s\n", message.c_str());
    fputs(kUsage, stderr);
    return kUsageError;
}

bool parseNumber(const char* text, int low, int high, int* value) {
    if (text == nullptr || *text == 0) return false;
    errno = 0;
    char* end = nullptr;
    long n = strtol(text, &end, 10);
    if (errno != 0 || *end != 0 || n < low || n > high) return false;
    *value = static_cast<int>(n);
    return true;
}

// HOST:PORT[:USER:PASS]
bool parseProxy(const char* text, Proxy* proxy) {
    std::vector<std::string> parts;
    std::string s = text;
    size_t start = 0;
    for (;;) {
        size_t colon = s.find(':', start);
        parts.push_back(s.substr(start, colon == std::string::npos ? colon : colon - start));
        if (colon == std::string::npos) break;
        start = colon + 1;
    }
    if ((parts.size() != 2 && parts.size() != 4) || parts[0].empty()) return false;
    if (!parseNumber(parts[1].c_str(), 1, 65535, &proxy->port)) return false;
    proxy->host = parts[0];
    if (parts.size() == 4) {
        proxy->user = parts[2];
        proxy->password = parts[3];
    }
    proxy->given = true;
    return true;
}

// Reads the command line. A missing argument is its own message, the one the library's table
// has for it.
int parseOptions(int argc, char** argv, Options* o) {
    bool onlyFiles = false;
    for (int i = 1; i < argc; ++i) {
        const char* arg = argv[i];
        if (onlyFiles || arg[0] != '-' || arg[1] == 0) {
            o->files.push_back(arg);
            continue;
        }
        std::string a = arg;
        if (a == "--") {
            onlyFiles = true;
            continue;
        }
        auto is = [&](const char* shortName, const char* longName) {
            return (shortName != nullptr && a == shortName) || a == longName;
        };
        // The value of an option that takes one.
        auto value = [&]() -> const char* {
            if (i + 1 >= argc) throw UsageError{"missing"};
            return argv[++i];
        };
        auto number = [&](int low, int high) {
            const char* text = value();
            int n = 0;
            if (!parseNumber(text, low, high, &n)) {
                throw UsageError{"valore non valido per " + a + ": " + text};
            }
            return n;
        };
        if (is("-h", "--help")) {
            o->help = true;
        } else if (is("-V", "--version")) {
            o->version = true;
        } else if (is("-c", "--ca-dir")) {
            o->caDir = value();
        } else if (is("-r", "--crl-dir")) {
            o->crlDir = value();
        } else if (is("-d", "--download-crl")) {
            o->downloadCRL = number(1, 4);
        } else if (is("-l", "--log")) {
            o->logFile = value();
        } else if (is("-L", "--log-level")) {
            o->logLevel = number(0, 7);
        } else if (is("-o", "--output")) {
            o->output = value();
        } else if (is(nullptr, "--indent")) {
            o->indent = true;
        } else if (is(nullptr, "--html")) {
            o->html = value();
        } else if (is("-j", "--jobs")) {
            o->jobs = number(1, 256);
        } else if (is("-D", "--detached")) {
            o->path = value();
            o->extract = false;
        } else if (is("-x", "--extract")) {
            o->path = value();
            o->extract = true;
        } else if (is(nullptr, "--no-crl")) {
            o->noCRL = true;
        } else if (is(nullptr, "--no-ts-crl")) {
            o->noTSCRL = true;
        } else if (is(nullptr, "--no-ca-crl")) {
            o->noCACRL = true;
        } else if (is(nullptr, "--ocsp")) {
            o->ocsp = true;
        } else if (is(nullptr, "--time")) {
            o->time = value();
        } else if (is(nullptr, "--july2011")) {
            o->july2011 = number(0, 2);
        } else if (is(nullptr, "--no-august2010")) {
            o->noAugust2010 = true;
        } else if (is(nullptr, "--skip-validity")) {
            o->skipValidity = true;
        } else if (is(nullptr, "--check-signing-cert-attr")) {
            o->checkSigningCertAttr = true;
        } else if (is(nullptr, "--nested")) {
            o->nested = number(0, 2);
        } else if (is(nullptr, "--no-expired-crl-error")) {
            o->noExpiredCRLError = true;
        } else if (is(nullptr, "--base64")) {
            o->base64 = true;
        } else if (is(nullptr, "--server")) {
            o->server = value();
        } else if (is(nullptr, "--timeout")) {
            o->timeout = number(0, INT_MAX);
        } else if (is(nullptr, "--ocsp-timeout")) {
            o->ocspTimeout = number(0, INT_MAX);
        } else if (is(nullptr, "--http-proxy") || is(nullptr, "--socks-proxy")) {
            Proxy* proxy = a == "--http-proxy" ? &o->httpProxy : &o->socksProxy;
            const char* text = value();
            if (!parseProxy(text, proxy)) {
                throw UsageError{"valore non valido per " + a + ": " + text};
            }
        } else if (is(nullptr, "--no-socks")) {
            std::string list = value();
            for (size_t start = 0; start <= list.size();) {
                size_t comma = list.find(',', start);
                if (comma == std::string::npos) comma = list.size();
                std::string item = list.substr(start, comma - start);
                if (item.find('/') == std::string::npos) {
                    throw UsageError{"valore non valido per --no-socks: " + item};
                }
                o->noSOCKS.push_back(item);
                start = comma + 1;
            }
        } else if (is(nullptr, "--no-crl-timestamp")) {
            o->noCRLTimeStamp = true;
        } else if (is(nullptr, "--import-pem")) {
            o->commands.push_back({CommandKind::ImportPEM, value(), "--import-pem"});
        } else if (is(nullptr, "--add-pem")) {
            o->commands.push_back({CommandKind::AddPEM, value(), "--add-pem"});
        } else if (is(nullptr, "--add-tsl")) {
            o->commands.push_back({CommandKind::AddTSL, value(), "--add-tsl"});
        } else if (is(nullptr, "--import-tsl")) {
            o->commands.push_back({CommandKind::ImportTSL, value(), "--import-tsl"});
        } else if (is(nullptr, "--tsl-signer")) {
            o->tslSigner = value();
        } else if (is(nullptr, "--update-crl")) {
            o->commands.push_back({CommandKind::UpdateCRL, "", "--update-crl"});
        } else if (is(nullptr, "--list-ca")) {
            o->commands.push_back({CommandKind::ListCA, "", "--list-ca"});
        } else {
            throw UsageError{"opzione sconosciuta: " + a};
        }
    }
    return kAllGood;
}

void warnRefused(const char* option, unsigned char accepted) {
    if (!accepted) fprintf(stderr, "sigilo: %s non disponibile in questa versione\n", option);
}

// The switches, each through its library call, after init.
int applySwitches(const Options& o) {
    if (o.logLevel >= 0) {
        setLogLevel(static_cast<unsigned char>(o.logLevel));
    } else if (o.logFile != nullptr) {
        setLogLevel(6);
    }
    if (o.output != nullptr) setOutput(o.output);
    if (o.indent) setFlatOutput(0);
    if (o.noCRL) setCheckCRL(false);
    if (o.noTSCRL) setCheckCRLTS(false);
    if (o.noCACRL) setCheckCACRL(false);
    if (o.ocsp) setUseOCSP(true);
    if (o.july2011 >= 0) setCheckJuly2011Constraint(static_cast<unsigned char>(o.july2011));
    if (o.noAugust2010) skipAugust2010ConstraintCheck(true);
    if (o.skipValidity) skipCertificateValidityCheck(true);
    if (o.checkSigningCertAttr) skipSigningCertificateAttrCheck(false);
    if (o.nested >= 0) setCheckEncapsulatedSigs(static_cast<unsigned char>(o.nested));
    if (o.noExpiredCRLError) setErrorOnExpiredCRL(false);
    if (o.base64) forceBase64(true);
    if (o.server != nullptr) {
        std::string host = o.server;
        int port = 0;
        size_t colon = host.rfind(':');
        if (colon != std::string::npos) {
            if (!parseNumber(host.c_str() + colon + 1, 1, 65535, &port)) {
                return usageError(std::string("valore non valido per --server: ") + o.server);
            }
            host.erase(colon);
        }
        if (host.empty()) return usageError("valore non valido per --server");
        setServer(host.c_str(), port);
    }
    if (o.timeout >= 0) warnRefused("--timeout", setTCPTimeout(o.timeout));
    if (o.ocspTimeout >= 0) warnRefused("--ocsp-timeout", setOCSPTimeout(o.ocspTimeout));
    for (const Proxy* proxy : {&o.httpProxy, &o.socksProxy}) {
        if (!proxy->given) continue;
        const char* user = proxy->user.empty() ? nullptr : proxy->user.c_str();
        const char* password = proxy->password.empty() ? nullptr : proxy->password.c_str();
        if (proxy == &o.httpProxy) {
            warnRefused("--http-proxy",
                        setHTTPProxy(proxy->host.c_str(), proxy->port, user, password));
        } else {
            warnRefused("--socks-proxy",
                        setSOCKSProxy(proxy->host.c_str(), proxy->port, user, password));
        }
    }
    if (!o.noSOCKS.empty()) {
        // setNoSOCKS edits its items in place: they are copied into arrays of its own.
        std::vector<std::vector<char>> items;
        for (const std::string& item : o.noSOCKS) items.emplace_back(item.begin(), item.end());
        std::vector<char*> list;
        for (std::vector<char>& item : items) {
            item.push_back(0);
            list.push_back(item.data());
        }
        list.push_back(nullptr);
        warnRefused("--no-socks", setNoSOCKS(list.data()));
    }
    if (o.noCRLTimeStamp) warnRefused("--no-crl-timestamp", setTimeStampCheck(false));
    // A verification time that the library refuses (unreadable, or not in the past) would leave
    // the files judged at the present time instead: the run stops here.
    if (o.time != nullptr && !setVerificationTime(o.time)) {
        // The table's row is a format with one place for the time.
        fputs("sigilo: ", stderr);
        fprintf(stderr, Messages::getText(kErrVerificationTime), o.time);
        fputc('\n', stderr);
        return kUsageError;
    }
    return kAllGood;
}

// Writes the CA list after an addition, in stand-alone mode (a server keeps its own list).
unsigned char saveAddedCAs() {
    if (!sigilo::standAlone || sigilo::cache == nullptr) return 255;
    return sigilo::cache->saveCACertList(sigilo::caCertsListName);
}

// Runs the trust-list and CRL commands in the order given; 1 if any failed.
int runCommands(const Options& o) {
    int status = kAllGood;
    for (const Command& c : o.commands) {
        const char* file = c.file.c_str();
        unsigned char ok = 0;
        switch (c.kind) {
            case CommandKind::ImportPEM:
                ok = importCACertsListPEM(file);
                break;
            // The library adds in memory; the tool keeps what was added for the next run.
            case CommandKind::AddPEM:
                ok = addCACertsPEM(file) && saveAddedCAs();
                break;
            case CommandKind::AddTSL:
                ok = addCACertsTSL(file) && saveAddedCAs();
                break;
            case CommandKind::ListCA:
                if (!sigilo::loadedCACertList && sigilo::cache != nullptr) {
                    sigilo::loadedCACertList =
                        sigilo::cache->loadCACertList(sigilo::caCertsListName);
                }
                ok = sigilo::loadedCACertList;
                if (ok) listTrustedCAs(stdout);
                break;
            case CommandKind::ImportTSL:
                ok = importCACertsListTSL(file, o.tslSigner);
                break;
            case CommandKind::UpdateCRL:
                ok = updateCRLCache();
                break;
        }
        if (!ok) {
            fprintf(stderr, "sigilo: %s %s non riuscito\n", c.option, file);
            status = kSomethingBad;
        }
    }
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    Options o;
    try {
        parseOptions(argc, argv, &o);
    } catch (const UsageError& e) {
        if (e.message == "missing") {
            fprintf(stderr, "%s\n", Messages::getText(kErrMissingArgument));
            fputs(kUsage, stderr);
            return kUsageError;
        }
        return usageError(e.message);
    }
    if (o.help) {
        fputs(kUsage, stdout);
        return kAllGood;
    }
    if (o.version) {
        printVersion();
        if (o.files.empty() && o.commands.empty()) return kAllGood;
    }
    bool importsTSL = false;
    for (const Command& c : o.commands) importsTSL |= c.kind == CommandKind::ImportTSL;
    if (importsTSL && o.tslSigner == nullptr) return usageError("--import-tsl vuole --tsl-signer");
    if (o.files.empty() && o.commands.empty()) {
        fprintf(stderr, "%s\n", Messages::getText(kErrMissingArgument));
        fputs(kUsage, stderr);
        return kUsageError;
    }

    if (!init(o.caDir, o.crlDir, o.logFile, static_cast<unsigned char>(o.downloadCRL))) {
        fprintf(stderr, "sigilo: percorso troppo lungo\n");
        return kSomethingBad;
    }
    int status = applySwitches(o);
    if (status != kAllGood) return status;
    status = runCommands(o);
    if (o.files.empty()) return status;

    {
        Progress progress(o.files.size(), stderr);
        verifyBatch(o.files, o.path, o.extract, static_cast<unsigned>(o.jobs), &progress);
    }
    // The verdicts are read from the report before it is printed and freed.
    if (sigilo::out != nullptr && !Report::allVerdictsOK(sigilo::out)) status = kSomethingBad;
    if (o.html != nullptr && sigilo::out != nullptr) {
        // The same text printResults prints: the report keeps the first text it serialises.
        const char* text = sigilo::out->getXML(sigilo::flat);
        std::string error;
        if (text == nullptr || !writeHTMLReport(text, o.html, &error)) {
            fprintf(stderr, "sigilo: rapporto HTML %s non scritto: %s\n", o.html,
                    text == nullptr ? "rapporto vuoto" : error.c_str());
            status = kSomethingBad;
        }
    }
    // A report that could not be written (or a server out of reach, which prints its own report
    // and leaves none) is a failure too.
    if (!printResults()) status = kSomethingBad;
    return status;
}
