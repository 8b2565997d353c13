// The name tables of CryptoKi. Each table is sorted by value and searched by halves.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "crypto/CryptoKi.h"

namespace {

struct Name {
    unsigned long value;
    const char* text;
};

template <size_t N>
const char* lookup(const Name (&table)[N], unsigned long value) {
    const Name* end = table + N;
    const Name* at = std::lower_bound(table, end, value,
                                      [](const Name& n, unsigned long v) { return n.value < v; });
    return at != end && at->value == value ? at->text : nullptr;
}

char* copyInto(const char* text, size_t size) {
    char* out = new char[size];
    snprintf(out, size, "%s", text);
    return out;
}

char* copyText(const std::string& text) {
    return copyInto(text.c_str(), text.size() + 1);
}

template <size_t N>
char* flagWords(const Name (&table)[N], unsigned long flags) {
    std::string words;
    for (const Name& n : table) {
        if ((flags & n.value) == n.value && n.value != 0) {
            if (!words.empty()) words += " | ";
            words += n.text;
        }
    }
    return copyText(words);
}

const Name kErrors[] = {
    {0x000, "operazione riuscita"},
    {0x001, "operazione annullata"},
    {0x002, "memoria insufficiente"},
    {0x003, "slot non valido"},
    {0x005, "errore generico"},
    {0x006, "funzione fallita"},
    {0x007, "argomenti non validi"},
    {0x008, "nessun evento"},
    {0x009, "occorre creare i thread"},
    {0x00A, "impossibile bloccare"},
    {0x010, "attributo di sola lettura"},
    {0x011, "attributo sensitivo"},
    {0x012, "tipo di attributo non valido"},
    {0x013, "valore di attributo non valido"},
    {0x020, "dati non validi"},
    {0x021, "lunghezza dei dati fuori intervallo"},
    {0x030, "errore del dispositivo"},
    {0x031, "memoria del dispositivo esaurita"},
    {0x032, "dispositivo rimosso"},
    {0x040, "dati cifrati non validi"},
    {0x041, "lunghezza dei dati cifrati fuori intervallo"},
    {0x050, "funzione annullata"},
    {0x051, "funzione non parallela"},
    {0x054, "funzione non supportata"},
    {0x060, "handle della chiave non valido"},
    {0x062, "dimensione della chiave fuori intervallo"},
    {0x063, "tipo di chiave incoerente"},
    {0x064, "chiave non necessaria"},
    {0x065, "chiave cambiata"},
    {0x066, "chiave necessaria"},
    {0x067, "chiave non digeribile"},
    {0x068, "funzione non permessa per la chiave"},
    {0x069, "chiave non incapsulabile"},
    {0x06A, "chiave non estraibile"},
    {0x070, "meccanismo non valido"},
    {0x071, "parametro del meccanismo non valido"},
    {0x082, "handle dell'oggetto non valido"},
    {0x090, "operazione gia' attiva"},
    {0x091, "operazione non inizializzata"},
    {0x0A0, "PIN errato"},
    {0x0A1, "PIN non valido"},
    {0x0A2, "lunghezza del PIN fuori intervallo"},
    {0x0A3, "PIN scaduto"},
    {0x0A4, "PIN bloccato"},
    {0x0B0, "sessione chiusa"},
    {0x0B1, "troppe sessioni aperte"},
    {0x0B3, "handle della sessione non valido"},
    {0x0B4, "sessione parallela non supportata"},
    {0x0B5, "sessione di sola lettura"},
    {0x0B6, "sessione esistente"},
    {0x0B7, "esiste una sessione di sola lettura"},
    {0x0B8, "esiste una sessione SO di lettura e scrittura"},
    {0x0C0, "firma non valida"},
    {0x0C1, "lunghezza della firma fuori intervallo"},
    {0x0D0, "template incompleto"},
    {0x0D1, "template incoerente"},
    {0x0E0, "token non presente"},
    {0x0E1, "token non riconosciuto"},
    {0x0E2, "token protetto in scrittura"},
    {0x0F0, "handle della chiave di sblocco non valido"},
    {0x0F1, "dimensione della chiave di sblocco fuori intervallo"},
    {0x0F2, "tipo della chiave di sblocco incoerente"},
    {0x100, "utente gia' loggato"},
    {0x101, "utente non loggato"},
    {0x102, "PIN utente non inizializzato"},
    {0x103, "tipo di utente non valido"},
    {0x104, "un altro utente e' gia' loggato"},
    {0x105, "troppi tipi di utente"},
    {0x110, "chiave incapsulata non valida"},
    {0x112, "lunghezza della chiave incapsulata fuori intervallo"},
    {0x113, "handle della chiave di incapsulamento non valido"},
    {0x114, "dimensione della chiave di incapsulamento fuori intervallo"},
    {0x115, "tipo della chiave di incapsulamento incoerente"},
    {0x120, "seme random non supportato"},
    {0x121, "generatore random non disponibile"},
    {0x130, "parametri di dominio non validi"},
    {0x150, "buffer troppo piccolo"},
    {0x160, "stato salvato non valido"},
    {0x170, "informazione sensitiva"},
    {0x180, "stato non salvabile"},
    {0x190, "cryptoki non inizializzato"},
    {0x191, "cryptoki gia' inizializzato"},
    {0x1A0, "mutex non valido"},
    {0x1A1, "mutex non bloccato"},
    {0x200, "funzione rifiutata"},
};

const Name kMechanisms[] = {
    {0x0000, "RSA_PKCS_KEY_PAIR_GEN"},
    {0x0001, "RSA_PKCS"},
    {0x0002, "RSA_9796"},
    {0x0003, "RSA_X_509"},
    {0x0004, "MD2_RSA_PKCS"},
    {0x0005, "MD5_RSA_PKCS"},
    {0x0006, "SHA1_RSA_PKCS"},
    {0x0007, "RIPEMD128_RSA_PKCS"},
    {0x0008, "RIPEMD160_RSA_PKCS"},
    {0x0009, "RSA_PKCS_OAEP"},
    {0x000A, "RSA_X9_31_KEY_PAIR_GEN"},
    {0x000B, "RSA_X9_31"},
    {0x000C, "SHA1_RSA_X9_31"},
    {0x000D, "RSA_PKCS_PSS"},
    {0x000E, "SHA1_RSA_PKCS_PSS"},
    {0x0010, "DSA_KEY_PAIR_GEN"},
    {0x0011, "DSA"},
    {0x0012, "DSA_SHA1"},
    {0x0020, "DH_PKCS_KEY_PAIR_GEN"},
    {0x0021, "DH_PKCS_DERIVE"},
    {0x0030, "X9_42_DH_KEY_PAIR_GEN"},
    {0x0031, "X9_42_DH_DERIVE"},
    {0x0032, "X9_42_DH_HYBRID_DERIVE"},
    {0x0033, "X9_42_MQV_DERIVE"},
    {0x0040, "SHA256_RSA_PKCS"},
    {0x0041, "SHA384_RSA_PKCS"},
    {0x0042, "SHA512_RSA_PKCS"},
    {0x0043, "SHA256_RSA_PKCS_PSS"},
    {0x0044, "SHA384_RSA_PKCS_PSS"},
    {0x0045, "SHA512_RSA_PKCS_PSS"},
    {0x0100, "RC2_KEY_GEN"},
    {0x0101, "RC2_ECB"},
    {0x0102, "RC2_CBC"},
    {0x0103, "RC2_MAC"},
    {0x0104, "RC2_MAC_GENERAL"},
    {0x0105, "RC2_CBC_PAD"},
    {0x0110, "RC4_KEY_GEN"},
    {0x0111, "RC4"},
    {0x0120, "DES_KEY_GEN"},
    {0x0121, "DES_ECB"},
    {0x0122, "DES_CBC"},
    {0x0123, "DES_MAC"},
    {0x0124, "DES_MAC_GENERAL"},
    {0x0125, "DES_CBC_PAD"},
    {0x0130, "DES2_KEY_GEN"},
    {0x0131, "DES3_KEY_GEN"},
    {0x0132, "DES3_ECB"},
    {0x0133, "DES3_CBC"},
    {0x0134, "DES3_MAC"},
    {0x0135, "DES3_MAC_GENERAL"},
    {0x0136, "DES3_CBC_PAD"},
    {0x0140, "CDMF_KEY_GEN"},
    {0x0141, "CDMF_ECB"},
    {0x0142, "CDMF_CBC"},
    {0x0143, "CDMF_MAC"},
    {0x0144, "CDMF_MAC_GENERAL"},
    {0x0145, "CDMF_CBC_PAD"},
    {0x0200, "MD2"},
    {0x0201, "MD2_HMAC"},
    {0x0202, "MD2_HMAC_GENERAL"},
    {0x0210, "MD5"},
    {0x0211, "MD5_HMAC"},
    {0x0212, "MD5_HMAC_GENERAL"},
    {0x0220, "SHA_1"},
    {0x0221, "SHA_1_HMAC"},
    {0x0222, "SHA_1_HMAC_GENERAL"},
    {0x0230, "RIPEMD128"},
    {0x0231, "RIPEMD128_HMAC"},
    {0x0232, "RIPEMD128_HMAC_GENERAL"},
    {0x0240, "RIPEMD160"},
    {0x0241, "RIPEMD160_HMAC"},
    {0x0242, "RIPEMD160_HMAC_GENERAL"},
    {0x0250, "SHA256"},
    {0x0251, "SHA256_HMAC"},
    {0x0252, "SHA256_HMAC_GENERAL"},
    {0x0260, "SHA384"},
    {0x0261, "SHA384_HMAC"},
    {0x0262, "SHA384_HMAC_GENERAL"},
    {0x0270, "SHA512"},
    {0x0271, "SHA512_HMAC"},
    {0x0272, "SHA512_HMAC_GENERAL"},
    {0x0300, "CAST_KEY_GEN"},
    {0x0301, "CAST_ECB"},
    {0x0302, "CAST_CBC"},
    {0x0303, "CAST_MAC"},
    {0x0304, "CAST_MAC_GENERAL"},
    {0x0305, "CAST_CBC_PAD"},
    {0x0310, "CAST3_KEY_GEN"},
    {0x0311, "CAST3_ECB"},
    {0x0312, "CAST3_CBC"},
    {0x0313, "CAST3_MAC"},
    {0x0314, "CAST3_MAC_GENERAL"},
    {0x0315, "CAST3_CBC_PAD"},
    {0x0320, "CAST5_KEY_GEN"},
    {0x0321, "CAST5_ECB"},
    {0x0322, "CAST5_CBC"},
    {0x0323, "CAST5_MAC"},
    {0x0324, "CAST5_MAC_GENERAL"},
    {0x0325, "CAST5_CBC_PAD"},
    {0x0330, "RC5_KEY_GEN"},
    {0x0331, "RC5_ECB"},
    {0x0332, "RC5_CBC"},
    {0x0333, "RC5_MAC"},
    {0x0334, "RC5_MAC_GENERAL"},
    {0x0335, "RC5_CBC_PAD"},
    {0x0340, "IDEA_KEY_GEN"},
    {0x0341, "IDEA_ECB"},
    {0x0342, "IDEA_CBC"},
    {0x0343, "IDEA_MAC"},
    {0x0344, "IDEA_MAC_GENERAL"},
    {0x0345, "IDEA_CBC_PAD"},
    {0x0350, "GENERIC_SECRET_KEY_GEN"},
    {0x0360, "CONCATENATE_BASE_AND_KEY"},
    {0x0362, "CONCATENATE_BASE_AND_DATA"},
    {0x0363, "CONCATENATE_DATA_AND_BASE"},
    {0x0364, "XOR_BASE_AND_DATA"},
    {0x0365, "EXTRACT_KEY_FROM_KEY"},
    {0x0370, "SSL3_PRE_MASTER_KEY_GEN"},
    {0x0371, "SSL3_MASTER_KEY_DERIVE"},
    {0x0372, "SSL3_KEY_AND_MAC_DERIVE"},
    {0x0373, "SSL3_MASTER_KEY_DERIVE_DH"},
    {0x0374, "TLS_PRE_MASTER_KEY_GEN"},
    {0x0375, "TLS_MASTER_KEY_DERIVE"},
    {0x0376, "TLS_KEY_AND_MAC_DERIVE"},
    {0x0377, "TLS_MASTER_KEY_DERIVE_DH"},
    {0x0380, "SSL3_MD5_MAC"},
    {0x0381, "SSL3_SHA1_MAC"},
    {0x0390, "MD5_KEY_DERIVATION"},
    {0x0391, "MD2_KEY_DERIVATION"},
    {0x0392, "SHA1_KEY_DERIVATION"},
    {0x03A0, "PBE_MD2_DES_CBC"},
    {0x03A1, "PBE_MD5_DES_CBC"},
    {0x03A2, "PBE_MD5_CAST_CBC"},
    {0x03A3, "PBE_MD5_CAST3_CBC"},
    {0x03A4, "PBE_MD5_CAST5_CBC"},
    {0x03A5, "PBE_SHA1_CAST5_CBC"},
    {0x03A6, "PBE_SHA1_RC4_128"},
    {0x03A7, "PBE_SHA1_RC4_40"},
    {0x03A8, "PBE_SHA1_DES3_EDE_CBC"},
    {0x03A9, "PBE_SHA1_DES2_EDE_CBC"},
    {0x03AA, "PBE_SHA1_RC2_128_CBC"},
    {0x03AB, "PBE_SHA1_RC2_40_CBC"},
    {0x03B0, "PKCS5_PBKD2"},
    {0x03C0, "PBA_SHA1_WITH_SHA1_HMAC"},
    {0x0400, "KEY_WRAP_LYNKS"},
    {0x0401, "KEY_WRAP_SET_OAEP"},
    {0x1000, "SKIPJACK_KEY_GEN"},
    {0x1001, "SKIPJACK_ECB64"},
    {0x1002, "SKIPJACK_CBC64"},
    {0x1003, "SKIPJACK_OFB64"},
    {0x1004, "SKIPJACK_CFB64"},
    {0x1005, "SKIPJACK_CFB32"},
    {0x1006, "SKIPJACK_CFB16"},
    {0x1007, "SKIPJACK_CFB8"},
    {0x1008, "SKIPJACK_WRAP"},
    {0x1009, "SKIPJACK_PRIVATE_WRAP"},
    {0x100A, "SKIPJACK_RELAYX"},
    {0x1010, "KEA_KEY_PAIR_GEN"},
    {0x1011, "KEA_KEY_DERIVE"},
    {0x1020, "FORTEZZA_TIMESTAMP"},
    {0x1030, "BATON_KEY_GEN"},
    {0x1031, "BATON_ECB128"},
    {0x1032, "BATON_ECB96"},
    {0x1033, "BATON_CBC128"},
    {0x1034, "BATON_COUNTER"},
    {0x1035, "BATON_SHUFFLE"},
    {0x1036, "BATON_WRAP"},
    {0x1040, "ECDSA_KEY_PAIR_GEN"},
    {0x1041, "ECDSA"},
    {0x1042, "ECDSA_SHA1"},
    {0x1050, "ECDH1_DERIVE"},
    {0x1051, "ECDH1_COFACTOR_DERIVE"},
    {0x1052, "ECMQV_DERIVE"},
    {0x1060, "JUNIPER_KEY_GEN"},
    {0x1061, "JUNIPER_ECB128"},
    {0x1062, "JUNIPER_CBC128"},
    {0x1063, "JUNIPER_COUNTER"},
    {0x1064, "JUNIPER_SHUFFLE"},
    {0x1065, "JUNIPER_WRAP"},
    {0x1070, "FASTHASH"},
    {0x1080, "CKM_AES_KEY_GEN"},
    {0x1081, "CKM_AES_ECB"},
    {0x1082, "CKM_AES_CBC"},
    {0x1083, "CKM_AES_MAC"},
    {0x1084, "CKM_AES_MAC_GENERAL"},
    {0x1085, "CKM_AES_CBC_PAD"},
    {0x2000, "DSA_PARAMETER_GEN"},
    {0x2001, "DH_PKCS_PARAMETER_GEN"},
    {0x2002, "X9_42_DH_PARAMETER_GEN"},
};

const Name kSlotFlags[] = {
    {0x1, "CKF_TOKEN_PRESENT"}, {0x2, "CKF_REMOVABLE_DEVICE"}, {0x4, "CKF_HW_SLOT"}};

const Name kTokenFlags[] = {
    {0x1, "CKF_RNG"},
    {0x2, "CKF_WRITE_PROTECTED"},
    {0x4, "CKF_LOGIN_REQUIRED"},
    {0x8, "CKF_USER_PIN_INITIALIZED"},
    {0x20, "CKF_RESTORE_KEY_NOT_NEEDED"},
    {0x40, "CKF_CLOCK_ON_TOKEN"},
    {0x100, "CKF_PROTECTED_AUTHENTICATION_PATH"},
    {0x200, "CKF_DUAL_CRYPTO_OPERATIONS"},
    {0x400, "CKF_TOKEN_INITIALIZED"},
    {0x800, "CKF_SECONDARY_AUTHENTICATION"},
    {0x10000, "CKF_USER_PIN_COUNT_LOW"},
    {0x20000, "CKF_USER_PIN_FINAL_TRY"},
    {0x40000, "CKF_USER_PIN_LOCKED"},
    {0x80000, "CKF_USER_PIN_TO_BE_CHANGED"},
    {0x100000, "CKF_SO_PIN_COUNT_LOW"},
    {0x200000, "CKF_SO_PIN_FINAL_TRY"},
    {0x400000, "CKF_SO_PIN_LOCKED"},
    {0x800000, "CKF_SO_PIN_TO_BE_CHANGED"},
};

const Name kMechanismFlags[] = {
    {0x1, "CKF_HW"},          {0x100, "CKF_ENCRYPT"},
    {0x200, "CKF_DECRYPT"},   {0x400, "CKF_DIGEST"},
    {0x800, "CKF_SIGN"},      {0x1000, "CKF_SIGN_RECOVER"},
    {0x2000, "CKF_VERIFY"},   {0x4000, "CKF_VERIFY_RECOVER"},
    {0x8000, "CKF_GENERATE"}, {0x10000, "CKF_GENERATE_KEY_PAIR"},
    {0x20000, "CKF_WRAP"},    {0x40000, "CKF_UNWRAP"},
    {0x80000, "CKF_DERIVE"},  {0x80000000ul, "CKF_EXTENSION"},
};

const Name kSessionFlags[] = {{0x2, "CKF_RW_SESSION"}, {0x4, "CKF_SERIAL_SESSION"}};

const Name kSessionStates[] = {{0, "CKS_RO_PUBLIC_SESSION"},
                               {1, "CKS_RO_USER_FUNCTIONS"},
                               {2, "CKS_RW_PUBLIC_SESSION"},
                               {3, "CKS_RW_USER_FUNCTIONS"},
                               {4, "CKS_RW_SO_FUNCTIONS"}};

const Name kKeyTypes[] = {{0x00, "CKK_RSA"},
                          {0x01, "CKK_DSA"},
                          {0x02, "CKK_DH"},
                          {0x03, "CKK_ECDSA"},
                          {0x04, "CKK_X9_42_DH"},
                          {0x05, "CKK_KEA"},
                          {0x10, "CKK_GENERIC_SECRET"},
                          {0x11, "CKK_RC2"},
                          {0x12, "CKK_RC4"},
                          {0x13, "CKK_DES"},
                          {0x14, "CKK_DES2"},
                          {0x15, "CKK_DES3"},
                          {0x16, "CKK_CAST"},
                          {0x17, "CKK_CAST3"},
                          {0x18, "CKK_CAST5"},
                          {0x19, "CKK_RC5"},
                          {0x1A, "CKK_IDEA"},
                          {0x1B, "CKK_SKIPJACK"},
                          {0x1C, "CKK_BATON"},
                          {0x1D, "CKK_JUNIPER"},
                          {0x1E, "CKK_CDMF"},
                          {0x1F, "CKK_AES"},
                          {0x80000000ul, "CKK_VENDOR_DEFINED"}};

const Name kCertTypes[] = {
    {0, "CKC_X_509"}, {1, "CKC_X_509_ATTR_CERT"}, {0x80000000ul, "CKC_VENDOR_DEFINED"}};

}  // namespace

char* CryptoKi::getErrorMessage(unsigned long rv) {
    const char* text = lookup(kErrors, rv);
    if (text == nullptr)
        text = rv >= CKR_VENDOR_DEFINED ? "definito dal produttore" : "errore sconosciuto";
    return copyInto(text, 80);
}

char* CryptoKi::getMechanismName(unsigned long mechanism) {
    const char* text = lookup(kMechanisms, mechanism);
    if (text != nullptr) return copyInto(text, 40);
    if (mechanism >= CKM_VENDOR_DEFINED) return copyInto("VENDOR_DEFINED", 40);
    char* out = new char[40];
    snprintf(out, 40, "0x%.8lX", mechanism);
    return out;
}

char* CryptoKi::getSlotInfoFlags(unsigned long flags) {
    return flagWords(kSlotFlags, flags);
}

char* CryptoKi::getTokenInfoFlags(unsigned long flags) {
    return flagWords(kTokenFlags, flags);
}

char* CryptoKi::getMechanismInfoFlags(unsigned long flags) {
    return flagWords(kMechanismFlags, flags);
}

char* CryptoKi::getSessionFlags(unsigned long flags) {
    return flagWords(kSessionFlags, flags);
}

char* CryptoKi::getSessionState(unsigned long state) {
    const char* text = lookup(kSessionStates, state);
    return copyText(text != nullptr ? text : "sconosciuto");
}

char* CryptoKi::getKeyType(unsigned long type) {
    const char* text = lookup(kKeyTypes, type);
    if (text == nullptr) text = type >= CKK_VENDOR_DEFINED ? "CKK_VENDOR_DEFINED" : "sconosciuto";
    return copyText(text);
}

char* CryptoKi::getCertType(unsigned long type) {
    const char* text = lookup(kCertTypes, type);
    if (text == nullptr) text = type >= CKC_VENDOR_DEFINED ? "CKC_VENDOR_DEFINED" : "sconosciuto";
    return copyText(text);
}
