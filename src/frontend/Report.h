// Report: the root of the XML report, as the exported functions open it.
#ifndef SIGILO_FRONTEND_REPORT_H
#define SIGILO_FRONTEND_REPORT_H

class XMLFile;

class Report {
public:
    static const char* const kRelease;
    static const char* const kReleaseDate;
    // The two comments that head the root's children: who makes the program, and how the
    // report is to be read.
    static const char* const kVendorNotice;
    static const char* const kAuthorNotice;

    // Opens the root "sigilo" and sets its attributes from the switches, in their fixed order.
    static void openRoot(XMLFile* report);
    static void insertNotices(XMLFile* report);
    // Whether every verdict in the report is good: each element that holds status elements has
    // "OK" as its last one, every signer, countersigner and time stamp has a status, and every
    // file element of the root holds at least one. A report without file elements is good only
    // if its root holds no status of its own (which it does when the server was out of reach).
    static unsigned char allVerdictsOK(XMLFile* report);
    // The text of a CRL retrieval mode, or null for a value that has none.
    static const char* downloadCRLText(unsigned int mode);
};

#endif
