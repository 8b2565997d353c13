// The message table and the notices.
#include "frontend/Messages.h"

#include <cstddef>

namespace {

// One row per result code, from 5120 on; the texts are kept exactly as users and the programs
// that read the report know them, misspellings and placeholders included.
const char* const kResultTexts[Messages::kRows] = {
    "Errore interno",                                                 // 5120
    "Manca l'argomento, prova sigilo -h",                             // 5121
    "Non e' possibile leggere il file",                               // 5122
    "Il file non contiene una busta PKCS#7",                          // 5123
    "La busta PKCS#7 non contiene un SignedData",                     // 5124
    "Certificato del Firmatario non trovato",                         // 5125
    "Certificato del Firmatario non verificato",                      // 5126
    "Certificato del Firmatario scaduto",                             // 5127
    "Certificato del Firmatario revocato",                            // 5128
    "Chiave non abilitata alla firma",                                // 5129
    "Certificato di CA non trovato",                                  // 5130
    "Certificato di CA non valido",                                   // 5131
    "Certificato di CA non verificato",                               // 5132
    "Certificato di CA scaduto",                                      // 5133
    "Certificato di CA revocato",                                     // 5134
    "Chiave della CA non abilitata alla firma",                       // 5135
    "Chiave della CA non abilitata alla firma CRL",                   // 5136
    "Impossibile scaricare la CRL",                                   // 5137
    "Firma sulla CRL non verificata",                                 // 5138
    "Non e' possibile aprire il file di output",                      // 5139
    "Data revoca: %s",                                                // 5140
    "Non specificata",                                                // 5141
    "Chiave compromessa",                                             // 5142
    "Chiave della CA compromessa",                                    // 5143
    "Recesso del contratto",                                          // 5144
    "Certificato sostituito",                                         // 5145
    "Certificato non piu' usato",                                     // 5146
    "Certificato di Marca scaduto",                                   // 5147
    "Non valido dal:",                                                // 5148
    "Impossibile leggere la cache delle CRL",                         // 5149
    "Impossibile leggere la lista dei Certificati",                   // 5150
    "Impossibile aggiornare la cache delle CRL",                      // 5151
    "Detached verify non permessa su file m7m",                       // 5152
    "Impossibile salvare la lista dei Certificati",                   // 5153
    "Algoritmo di digest non implementato",                           // 5154
    "Impossibile salvare la cache delle CRL",                         // 5155
    "CRL scaduta: %s",                                                // 5156
    "Certificato di Marca revocato",                                  // 5157
    "Certificato del Firmatario non ancora valido",                   // 5158
    "Certificato di Marca sospeso",                                   // 5159
    "Certificato di CA sospeso",                                      // 5160
    "Certificato del Firmatario sospeso",                             // 5161
    "Data sospensione:",                                              // 5162
    "Impossibile leggere la configurazione del proxy",                // 5163
    "Configurazione del proxy: manca proxyAddress",                   // 5164
    "Configurazione del proxy: manca proxyPort",                      // 5165
    "Configurazione del proxy: manca proxyPasswd",                    // 5166
    "Marca Temporale non valida",                                     // 5167
    "La busta PKCS#7 non contiene una Marca Temporale",               // 5168
    "Il file non contiene un TimeStamp Token",                        // 5169
    "Impossibile leggere la configurazione SOCKS",                    // 5170
    "Configurazione SOCKS: manca SOCKSAddress",                       // 5171
    "Configurazione SOCKS: manca SOCKSPort",                          // 5172
    "Configurazione SOCKS: manca SOCKSPasswd",                        // 5173
    "sigiloServer non e' raggiungibile",                              // 5174
    "Impossibile leggere il file di configurazione",                  // 5175
    "Configurazione, manca la direttiva pidFile",                     // 5176
    "Configurazione, manca la direttiva myPort",                      // 5177
    "Configurazione, manca la direttiva ctlFile",                     // 5178
    "Configurazione, direttive deny e permit mutuamente esclusive",   // 5179
    "Errore sulla porta di servizio %d",                              // 5180
    "Errore sul socket di controllo",                                 // 5181
    "File di configurazione errato, troppe direttive deny/permit",    // 5182
    "Memoria virtuale esaurita",                                      // 5183
    "File di input con formato non conosciuto",                       // 5184
    "Certificato del Firmatario non conforme allo standard X.509",    // 5185
    "Digest in authenticatedAttrs non corretto",                      // 5186
    "Chiave non abilitata alla marcatura temporale",                  // 5187
    "Stato del certificato alla data di firma non disponibile",       // 5188
    "Formato dell'attributo SigningCertificate non valido",           // 5189
    "Attributo SigningCertificate non presente",                      // 5190
    "L'attributo SigningCertificate non identifica il firmatario",    // 5191
    "Impossibile inizializzare la lista dei Certificati",             // 5192
    "Documento originale non trovato",                                // 5193
    "Data firma con formato non corretto",                            // 5194
    "Impossibile aggiungere alla lista dei certificati",              // 5195
    "errore in ricezione messaggio di servizio [%s]",                 // 5196
    "messaggio di controllo con codice operativo non valido",         // 5197
    "messaggio di servizio non valido",                               // 5198
    "Formato del DistributionPoint non valido",                       // 5199
    "Firma non verificata",                                           // 5200
    "Marca Temporale non verificata",                                 // 5201
    "Digest calcolato su un documento vuoto",                         // 5202
    "Non tutte le Firme sono corrette",                               // 5203
    "File non conforme allo standard XML",                            // 5204
    "Il file non contiene nessuna XML Signature",                     // 5205
    "Reference con URI non gestita",                                  // 5206
    "File non conforme allo standard PDF 1.4",                        // 5207
    "Il file non contiene nessuna PDF Signature",                     // 5208
    "Stato del certificato di marcatura non disponibile",             // 5209
    "Marca Temporale scaduta",                                        // 5210
    "Marca Temporale senza obbligo di conservazione",                 // 5211
    "Formato dell'attributo SigningCertificateV2 non valido",         // 5212
    "L'attributo SigningCertificateV2 non identifica il firmatario",  // 5213
    "Impossibile accedere allo stato OCSP",                           // 5214
    "Servizio OCSP: errore HTTP [%d]",                                // 5215
    "Servizio OCSP: risposta con formato non valido",                 // 5216
    "Servizio OCSP: errore OCSP [%d]",                                // 5217
    "Servizio OCSP: certificato non riconosciuto",                    // 5218
    "Servizio OCSP: dati scaduti",                                    // 5219
    "Algoritmo di digest non dichiarato",                             // 5220
    "Servizio OCSP: firma sulla risposta non verificata",             // 5221
    "Codifica del certificato non conforme al formato BER",           // 5222
    "Firma non valida in quanto apposta dopo il 30 giugno 2011",      // 5223
    "Firma non valida in quanto basata sull'algoritmo SHA1",          // 5224
    "Marca Temporale non conforme alle regole tecniche DigitPA",      // 5225
    "Data di verifica non valida: %s",                                // 5226
    "Almeno una delle CRL utilizzate nella verifica e' scaduta",      // 5227
    "Busta crittografica non conforme alla normativa vigente",        // 5228
    "Firma calcolata solo su una parte del documento",                // 5229
};

struct Notice {
    unsigned int code;
    const char* text;
};

// Notices 4618 and 4619 are printed with a line feed and the name after their text.
const Notice kNotices[] = {
    {4614, "OCSP uri %s"},
    {4615, "Data risposta OCSP: %s"},
    {4616, "Input File: %s"},
    {4617, "Seriale: %s"},
    {4618, "Firmatario:"},
    {4619, "Issuer:"},
    {4620, "Inizio verifica risposta OCSP"},
    {4621, "Firma verificata"},
    {4622, "Tutte le Firme sono state verificate"},
    {4623, "Fine verifica risposta OCSP"},
    {4624, "Estratto file: %s"},
    {4625, "Data firma: %s"},
    {4626, "Data CRL: %s"},
    {4627, "Seriale Marca Temporale: %s"},
    {4628, "Data Marca Temporale: %s"},
    {4629, "Data allineamento OCSP: %s"},
    {4630, "Marca Temporale verificata"},
    {4637, "Inserita nuova CRL nella cache"},
    {4638, "Aggiornata CRL nella cache"},
    {4643, "Caricamento lista dei certificati di CA in corso"},
    {4644, "Caricamento cache delle CRL in corso"},
    {4645, "Aggiornamento cache delle CRL in corso"},
    {4646, "Aggiornamento cache delle CRL completato"},
    {4654, "Caricamento lista dei certificati di CA completato"},
    {4655, "Caricamento cache delle CRL completato"},
    {4657, "Documento: %s"},
    {4671, "Controfirmatario: %s"},
    {4673, "Inizio recupero CRL via HTTPS"},
    {4674, "Fine recupero CRL via HTTPS"},
    {4675, "%s"},
    {4676, "%s"},
    {4677, "Certificati di CA presenti nella lista: %d"},
    {4678, "Inizializzazione lista dei certificati"},
    {4681, "Inizializzazione lista dei certificati completata"},
    {4682, "Inizio verifica firma"},
    {4683, "Fine verifica firma"},
    {4684, "Inizio verifica marca temporale"},
    {4685, "Fine verifica marca temporale"},
    {4686, "Inizio copia su disco della cache delle CRL"},
    {4687, "Fine copia su disco della cache delle CRL"},
    {4688, "Inizio copia su disco della lista dei CAcert"},
    {4689, "Fine copia su disco della lista dei CAcert"},
    {4690, "Inizio calcolo dei digests sul documento"},
    {4691, "Fine calcolo dei digests sul documento"},
    {4692, "Inizio accesso OCSP"},
    {4693, "Fine accesso OCSP: certificato non revocato"},
    {4694, "Fine accesso OCSP: certificato revocato"},
    {4695, "Aggiunta alla lista dei certificati completata"},
    {4696, "Inizio recupero CRL via LDAP"},
    {4697, "Fine recupero CRL via LDAP"},
    {4698, "Inizio recupero CRL via HTTP"},
    {4699, "Fine recupero CRL via HTTP"},
    {4700, "Inizio richiesta timestamp CRL via LDAP"},
    {4701, "Fine richiesta timestamp CRL via LDAP"},
    {4702, "Inizio richiesta timestamp CRL via HTTP"},
    {4703, "Fine richiesta timestamp CRL via HTTP"},
    {4704, "Inizio controllo CRL"},
    {4705, "Fine controllo CRL"},
    {4706, "Inizio controllo CA Path"},
    {4707, "Fine controllo CA Path"},
    {4708, "Inizio ricerca CRL"},
    {4709, "Fine ricerca CRL: certificato revocato "},
    {4710, "Fine ricerca CRL: certificato non revocato "},
    {4711, "CRL presenti nella chache: %d"},
    {4712, "CRL: %s"},
    {4713, "Inizio ricerca cache delle CRL"},
    {4714, "Fine ricerca cache delle CRL: CRL trovata"},
    {4715, "Fine ricerca cache delle CRL: CRL non trovata"},
    {4722, "Controllo CRL CA saltato"},
    {4723, "Aggiunta alla lista dei certificati in corso"},
    {4725, "Inizio richiesta timestamp CRL via HTTPS"},
    {4726, "Fine richiesta timestamp CRL via HTTPS"},
};

}  // namespace

bool Messages::isResultCode(unsigned long code) {
    return code >= kFirstResultCode && code <= kLastResultCode;
}

const char* Messages::getText(unsigned long code) {
    if (!isResultCode(code)) return kResultTexts[0];
    return kResultTexts[code - kFirstResultCode];
}

const char* Messages::getNotice(unsigned int code) {
    for (const Notice& n : kNotices) {
        if (n.code == code) return n.text;
    }
    return nullptr;
}
