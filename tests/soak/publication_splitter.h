// The publications in what `qbfa sets --follow --format xml` prints: one XML
// property list after another, each exactly as published, each ending with
// "</plist>\n" (a text that no property list holds before its end: "<" in
// a string is always escaped).
#ifndef TESTS_SOAK_PUBLICATION_SPLITTER_H_
#define TESTS_SOAK_PUBLICATION_SPLITTER_H_

#include <string>
#include <string_view>
#include <vector>

namespace qbfa_soak {

class PublicationSplitter {
 public:
  // Takes the next bytes printed; the publications they complete.
  std::vector<std::string> Add(std::string_view bytes);

 private:
  std::string pending_;
};

}  // namespace qbfa_soak

#endif  // TESTS_SOAK_PUBLICATION_SPLITTER_H_
