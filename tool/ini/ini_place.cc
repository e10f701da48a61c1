// The section or key that -section, -key and -index name.

#include "tool/ini/ini_place.h"

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/ini/ini_source.h"

namespace fairlead::tool::ini {

Place PlaceOf(const Arguments<kPlaceUses>& arguments) {
  Place place = {.section = arguments.Text(kSection),
                 .index = arguments.WideNumber(kIndex)};
  if (!arguments.Has(kKey)) return place;
  place.key = arguments.Text(kKey);
  if (place.key->find_first_not_of(" \t\r\n") == std::string::npos)
    throw Failure(kWrongUsage, Concat(Spelling(kKey), " must not be blank"));
  return place;
}

std::string Spelled(const Place& place) {
  const std::string section = Concat("section ", Quoted(place.section));
  return place.key ? Concat("key ", Quoted(*place.key), " in ", section)
                   : section;
}

std::string WhyNotFound(Code code, const Place& place) {
  if (code == Code::kDisabled) return Concat(Spelled(place), " is disabled");
  const Place missing =
      code == Code::kNoSection ? Place{.section = place.section} : place;
  std::string why = Concat("there is no ", Spelled(missing));
  if (code == Code::kNoKey && place.index != 0)
    why += Concat(" with the index ", place.index);
  const std::string& section = place.section;
  if (code == Code::kNoSection && section.starts_with('[') &&
      section.ends_with(']'))
    why += "; write the name without its brackets";
  return why;
}

void Require(const IniResult& result, const std::string& file,
             const Place& place, const Place& to) {
  switch (result.code) {
    case Code::kDone:
    case Code::kUnchanged:
      return;
    case Code::kNoSection:
    case Code::kNoKey:
    case Code::kDisabled:
      throw Failure(kAnswerIsNo, WhyNotFound(result.code, place));
    case Code::kExists:
      throw Failure(kAnswerIsNo, Concat(Spelled(to), " already exists"));
    case Code::kNoHeader:
      throw Failure(kAnswerIsNo,
                    "the keys before the first header have no header");
    case Code::kInvalid:
      throw Failure(kWrongUsage, std::string(result.reason));
    case Code::kMalformed:
      FailMalformed(file, result.line,
                    Concat(result.reason, "; the file was not changed"));
  }
}

void Require(const IniResult& result, const std::string& file,
             const Place& place) {
  Require(result, file, place, place);
}

}  // namespace fairlead::tool::ini
