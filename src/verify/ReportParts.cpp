#include "verify/ReportParts.h"

#include "pkix/Name.h"
#include "pkix/NameLabels.h"
#include "pkix/ReadSteps.h"

std::string shortName(const Name* name) {
    return name != nullptr ? pkix::ownedText(name->getPrintableShortString(
                                 kNameLabelOIDs, kNameShortLabels, kNameLabelCount))
                           : std::string();
}
