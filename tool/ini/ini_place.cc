// The section or key that -section and -key name.

#include "tool/ini/ini_place.h"

#include "fairlead/ini/ini_file.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/ini/ini.h"
#include "tool/ini/ini_names.h"

namespace fairlead::tool::ini {

bool Place::IsIn(const Records& records) const {
  return has_key ? Find(records, section, key) != nullptr
                 : HasSection(records, section);
}

Place PlaceOf(const Arguments& arguments) {
  Place place = {.section = arguments.Text(kSection),
                 .key = std::string(Trimmed(arguments.Text(kKey))),
                 .has_key = arguments.Has(kKey)};
  if (place.has_key && place.key.empty())
    throw Failure(kWrongUsage, Concat(Spelling(kKey), " must not be blank"));
  return place;
}

std::string Spelled(const Place& place) {
  const std::string section = Concat("section ", Quoted(place.section));
  return place.has_key ? Concat("key ", Quoted(place.key), " in ", section)
                       : section;
}

void FailNotFound(const Place& place) {
  throw Failure(kAnswerIsNo, Concat("there is no ", Spelled(place)));
}

}  // namespace fairlead::tool::ini
