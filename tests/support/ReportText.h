// Reading the text of a report in the engine tests: the report on one line, the values of an
// element in document order, and the "|"-separated lists of the .vec files.
#ifndef SIGILO_TESTS_SUPPORT_REPORTTEXT_H
#define SIGILO_TESTS_SUPPORT_REPORTTEXT_H

#include <string>
#include <vector>

// The report without its line feeds.
std::string flatReport(const std::string& xml);
// Every text of the element between its tags, in document order.
std::vector<std::string> valuesOf(const std::string& xml, const std::string& element);
// The parts with "|" between them; empty for none.
std::string joined(const std::vector<std::string>& parts);
// The parts of a "|"-separated list; none for an empty list or "-".
std::vector<std::string> fragments(const std::string& list);

#endif
