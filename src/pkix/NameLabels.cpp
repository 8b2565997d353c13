#include "pkix/NameLabels.h"

const char* const kNameLabelOIDs[kNameLabelCount] = {
    "2.5.4.6",  "2.5.4.10", "2.5.4.11",
    "2.5.4.8",  "2.5.4.7",  "2.5.4.3",
    "2.5.4.5",  "0.9.2342.19200300.100.1.25", "2.5.4.4",
    "2.5.4.42", "2.5.4.12", "2.5.4.46",
    "2.5.4.65", "1.2.840.113549.1.9.1", "2.5.4.13",
    "2.5.4.8",  "2.5.4.5",  "0.9.2342.19200300.100.1.25",
    "2.5.4.4",  "2.5.4.42", "2.5.4.46",
    "2.5.4.65", "1.2.840.113549.1.9.1", "2.5.4.13",
};

const char* const kNameShortLabels[kNameLabelCount] = {
    "C",     "O",      "OU",           "PROV",     "L",         "CN",
    "SER",   "DOM",    "SUR",          "GIVEN",    "TITLE",     "DNQUALIF",
    "PSEUD", "EMAIL",  "DESCR",        "ST",       "SERIALNUMBER", "DC",
    "SN",    "GIVENNAME", "DNQUALIFIER", "PSEUDONYM", "EMAILADDRESS", "DESCRIPTION",
};

const char* const kNameItalianLabels[kNameLabelCount] = {
    "Stato",
    "Organizzazione",
    "Unita' Organizzativa",
    "Provincia",
    "Localita'",
    "Common Name",
    "Numero Seriale",
    "Dominio",
    "Cognome",
    "Nome",
    "Titolo",
    "Codice Identificativo",
    "Pseudonimo",
    "Indirizzo Email",
    "Descrizione",
    "Provincia",
    "Numero Seriale",
    "Dominio",
    "Cognome",
    "Nome",
    "Codice Identificativo",
    "Pseudonimo",
    "Indirizzo Email",
    "Descrizione",
};
