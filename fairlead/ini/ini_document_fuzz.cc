// Fuzzes sequences of edits of any text, in both readings: each edit keeps the
// laws of ini_document_laws.h.
//
// The input is a text, a line "----" and a line for each edit: a digit for the
// operation, then the section, the key ("*" for none), the text, a digit for
// the index, the comment character, a digit for the place and its name,
// separated by '|', in which '~' means LF. Some hundred inputs a second: each
// edit is checked against all laws, in both readings.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <string>

#include "fairlead/ini/ini_document_laws.h"

namespace fairlead::internal {
namespace {

// Returns a digit below the limit.
std::size_t Digit(const std::string& text, std::size_t limit) {
  return text.empty() ? 0 : static_cast<unsigned char>(text[0]) % 16 % limit;
}

DocumentStep ParseStep(const std::string& line) {
  std::istringstream in(line);
  std::string fields[8];
  for (std::string& field : fields) {
    std::getline(in, field, '|');
    std::replace(field.begin(), field.end(), '~', '\n');
  }
  DocumentStep step;
  step.operation = static_cast<DocumentOperation>(Digit(fields[0], 7));
  step.section = fields[1];
  if (fields[2] != "*") step.key = fields[2];
  step.text = fields[3];
  step.index = Digit(fields[4], 10);
  if (!fields[5].empty()) step.mark = fields[5][0];
  step.where = static_cast<IniPlace::Where>(Digit(fields[6], 4));
  step.place = fields[7];
  return step;
}

void ExpectNone(const Faults& faults) {
  for (const std::string& fault : faults)
    std::fprintf(stderr, "broken law: %s\n", fault.c_str());
  if (!faults.empty()) std::abort();
}

void CheckStep(const DocumentStep& step, IniReading reading,
               IniDocument& document) {
  const DocumentLaws laws(document, reading, step);
  ExpectNone(laws.faults());
  document = laws.after();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  if (size > 2000) return 0;
  const std::string line_between = "----\n";
  const std::size_t end = std::min(input.find(line_between), size);
  for (const IniReading reading : {IniReading::kLive, IniReading::kRecords}) {
    IniDocument document(input.substr(0, end), reading);
    ExpectNone(FaultsOfReading(document, input.substr(0, end)));
    std::istringstream script(
        input.substr(std::min(size, end + line_between.size())));
    for (std::string line; std::getline(script, line);)
      CheckStep(ParseStep(line), reading, document);
  }
  return 0;
}

}  // namespace fairlead::internal
