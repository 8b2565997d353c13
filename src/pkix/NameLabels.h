// The fixed table that turns the OIDs of name attributes into labels: 24 rows, read in row
// order so that the first match wins. Rows 15 to 23 repeat OIDs of the rows above with other
// spellings; they are reached only from label to OID, when text is parsed, while printing
// always finds the earlier row. So "2.5.4.8" prints as "PROV" and reads back from "PROV" or
// "ST".
//
// The table goes to Name as three arguments (the OIDs, the labels, the count), so that the
// caller picks Italian labels for the report text, or short labels for one-line strings and
// XML element names.
#ifndef SIGILO_PKIX_NAMELABELS_H
#define SIGILO_PKIX_NAMELABELS_H

constexpr int kNameLabelCount = 24;

extern const char* const kNameLabelOIDs[kNameLabelCount];
extern const char* const kNameShortLabels[kNameLabelCount];
extern const char* const kNameItalianLabels[kNameLabelCount];

#endif
