// sigilo-server: the verification server that sigilo and the library ask in server mode
// ("--server HOST[:PORT]"). It keeps one CA list and one CRL cache for every client, judges
// each certificate sent to it with the library's own certificate verifier, and answers with the
// code and the dates the client copies into its report.
//
// Exit status: 0 after a clean stop (SIGTERM or SIGINT), 1 when it cannot start, 2 for a
// mistake on the command line.
#include <libxml/parser.h>
#include <signal.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "asn1/X500Time.h"
#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "frontend/Report.h"
#include "net/HTTP.h"
#include "tools/server/RequestHandler.h"
#include "tools/server/VerificationServer.h"
#include "trust/CACache.h"

namespace {

const char kUsage[] =
    "Uso: sigilo-server [opzioni]\n"
    "Server di verifica dei certificati per sigilo --server.\n"
    "\n"
    "  -a, --address IP           indirizzo di ascolto (predefinito: 127.0.0.1)\n"
    "  -p, --port N               porta (predefinita: 8500; 0 la sceglie il sistema)\n"
    "      --print-port           scrive la porta sulla prima riga dello standard output\n"
    "  -c, --ca-dir DIR           cartella della lista delle CA (predefinita: .)\n"
    "  -r, --crl-dir DIR          cartella della cache delle CRL (predefinita: quella delle CA)\n"
    "  -d, --download-crl N       1 una volta per sessione, 2 quando e' scaduta (predefinito),\n"
    "                             3 sempre dalla rete, 4 solo quelle locali\n"
    "      --no-crl               nessun controllo CRL\n"
    "  -w, --workers N            richieste servite insieme (predefinito: 4, al massimo 64)\n"
    "  -t, --timeout S            durata massima di uno scambio in secondi (predefinita: 30)\n"
    "      --tcp-timeout S        time-out dello scaricamento delle CRL in secondi\n"
    "      --max-request BYTES    lunghezza massima di una richiesta (predefinita: 65536)\n"
    "      --http-proxy HOST:PORT proxy HTTP per le CRL\n"
    "  -l, --log FILE             file di log (predefinito: standard error)\n"
    "  -V, --version              versione\n"
    "  -h, --help                 questo aiuto\n";

struct Options {
    VerificationServer::Config config;
    ServerSettings settings;
    bool printPort = false;
    std::string caDir = ".";
    std::string crlDir;
    int tcpTimeout = -1;
    std::string proxyHost;
    int proxyPort = 0;
    const char* logFile = nullptr;
    bool version = false, help = false;
};

int usageError(const std::string& message) {
    if (!message.empty()) fprintf(stderr, "sigilo-server: %s\n", message.c_str());
    fputs(kUsage, stderr);
    return 2;
}

bool parseNumber(const char* text, long low, long high, long* value) {
    if (text == nullptr || *text == 0) return false;
    errno = 0;
    char* end = nullptr;
    long n = strtol(text, &end, 10);
    if (errno != 0 || *end != 0 || n < low || n > high) return false;
    *value = n;
    return true;
}

// The options into o; an empty text, or the message of the first mistake.
std::string parseOptions(int argc, char** argv, Options* o) {
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        auto value = [&]() -> const char* { return i + 1 < argc ? argv[++i] : nullptr; };
        auto number = [&](long low, long high, long* out) -> bool {
            return parseNumber(value(), low, high, out);
        };
        long n = 0;
        if (arg == "-a" || arg == "--address") {
            const char* v = value();
            if (v == nullptr) return "manca l'indirizzo";
            o->config.address = v;
        } else if (arg == "-p" || arg == "--port") {
            if (!number(0, 65535, &n)) return "porta non valida";
            o->config.port = static_cast<unsigned short>(n);
        } else if (arg == "--print-port") {
            o->printPort = true;
        } else if (arg == "-c" || arg == "--ca-dir") {
            const char* v = value();
            if (v == nullptr) return "manca la cartella delle CA";
            o->caDir = v;
        } else if (arg == "-r" || arg == "--crl-dir") {
            const char* v = value();
            if (v == nullptr) return "manca la cartella delle CRL";
            o->crlDir = v;
        } else if (arg == "-d" || arg == "--download-crl") {
            if (!number(1, 4, &n)) return "modo di scaricamento non valido";
            o->settings.downloadCRL = static_cast<int>(n);
        } else if (arg == "--no-crl") {
            o->settings.checkCRL = false;
        } else if (arg == "-w" || arg == "--workers") {
            if (!number(1, VerificationServer::kMaxWorkers, &n))
                return "numero di worker non valido";
            o->config.workers = static_cast<int>(n);
        } else if (arg == "-t" || arg == "--timeout") {
            if (!number(1, 3600, &n)) return "time-out non valido";
            o->config.timeout = static_cast<int>(n);
        } else if (arg == "--tcp-timeout") {
            if (!number(1, 3600, &n)) return "time-out non valido";
            o->tcpTimeout = static_cast<int>(n);
        } else if (arg == "--max-request") {
            if (!number(64, 1 << 20, &n)) return "lunghezza massima non valida";
            o->settings.maxRequest = static_cast<unsigned int>(n);
        } else if (arg == "--http-proxy") {
            const char* v = value();
            std::string text = v != nullptr ? v : "";
            size_t colon = text.rfind(':');
            if (colon == std::string::npos || colon == 0 ||
                !parseNumber(text.c_str() + colon + 1, 1, 65535, &n)) {
                return "proxy non valido";
            }
            o->proxyHost = text.substr(0, colon);
            o->proxyPort = static_cast<int>(n);
        } else if (arg == "-l" || arg == "--log") {
            o->logFile = value();
            if (o->logFile == nullptr) return "manca il file di log";
        } else if (arg == "-V" || arg == "--version") {
            o->version = true;
        } else if (arg == "-h" || arg == "--help") {
            o->help = true;
        } else {
            return "opzione sconosciuta: " + arg;
        }
    }
    return "";
}

void onStop(int) {
    VerificationServer::requestStop();
}

}  // namespace

int main(int argc, char** argv) {
    Options o;
    o.settings.release = Report::kRelease;
    std::string mistake = parseOptions(argc, argv, &o);
    if (!mistake.empty()) return usageError(mistake);
    if (o.help) {
        fputs(kUsage, stdout);
        return 0;
    }
    if (o.version) {
        printf("sigilo-server %s\n", Report::kRelease);
        return 0;
    }

    FILE* log = stderr;
    std::unique_ptr<FILE, int (*)(FILE*)> logOwner(nullptr, fclose);
    if (o.logFile != nullptr) {
        logOwner.reset(fopen(o.logFile, "a"));
        if (!logOwner) {
            fprintf(stderr, "sigilo-server: non riesco ad aprire %s: %s\n", o.logFile,
                    strerror(errno));
            return 1;
        }
        log = logOwner.get();
    }

    // A client that goes away mid-reply must not end the process.
    signal(SIGPIPE, SIG_IGN);
    if (!VerificationServer::makeStopPipe()) return 1;
    struct sigaction stop {};
    stop.sa_handler = onStop;
    sigemptyset(&stop.sa_mask);
    sigaction(SIGTERM, &stop, nullptr);
    sigaction(SIGINT, &stop, nullptr);

    xmlInitParser();
    X500Time::init();
    CACache::init();
    CACache::setDownloadCRL(static_cast<unsigned char>(o.settings.downloadCRL));
    if (o.tcpTimeout > 0) CACache::setTimeout(o.tcpTimeout);
    if (!o.proxyHost.empty()) HTTP::setProxy(o.proxyHost.c_str(), o.proxyPort, nullptr, nullptr);

    std::unique_ptr<CryptoKi> cryptoKi(new CryptoKi());
    std::unique_ptr<CryptoDevice> device(new CryptoDevice(cryptoKi.get()));
    device->openToken(0, nullptr, 0);

    std::string caList = o.caDir + "/caCertsList";
    std::string crlCache = (o.crlDir.empty() ? o.caDir : o.crlDir) + "/crlCache";
    {
        CACache loader(device.get());
        if (!loader.loadCACertList(caList.c_str())) {
            fprintf(stderr, "sigilo-server: lista delle CA non leggibile: %s\n", caList.c_str());
            return 1;
        }
        if (o.settings.checkCRL && o.settings.downloadCRL != 3 &&
            !loader.loadCRLCache(crlCache.c_str())) {
            fprintf(log, "cache delle CRL non leggibile, si parte vuota: %s\n", crlCache.c_str());
        }
    }

    VerificationServer server(o.config, &o.settings, device.get(), log);
    std::string error;
    if (!server.start(&error)) {
        fprintf(stderr, "sigilo-server: %s\n", error.c_str());
        return 1;
    }
    if (o.printPort) {
        printf("%u\n", static_cast<unsigned>(server.port()));
        fflush(stdout);
    }
    fprintf(log, "sigilo-server %s in ascolto su %s:%u\n", Report::kRelease,
            o.config.address.c_str(), static_cast<unsigned>(server.port()));
    fflush(log);
    server.run();

    // What the clients caused to be fetched is kept for the next start.
    int status = 0;
    if (CACache::isCRLCacheModified() &&
        (o.settings.downloadCRL == 1 || o.settings.downloadCRL == 2)) {
        CACache saver(device.get());
        if (saver.saveCRLCache(crlCache.c_str())) {
            CACache::clearCRLCacheModified();
        } else {
            fprintf(log, "cache delle CRL non salvata: %s\n", crlCache.c_str());
            status = 1;
        }
    }
    fprintf(log, "sigilo-server fermato\n");
    fflush(log);
    return status;
}
