// Searches of a document, with or without what is disabled.

#include "tool/ini/ini_search.h"

#include "tool/base/failure.h"

namespace fairlead::tool::ini {

IniFound FindIn(const IniDocument& document,
                const Arguments<kReadingUses>& arguments, const Place& place) {
  IniFound found = document.Find(place.Name());
  if (found.code == IniResult::Code::kDisabled && arguments.Has(kDisabled))
    found.code = IniResult::Code::kDone;
  return found;
}

void FailNotFound(const IniFound& found, const Place& place) {
  throw Failure(kAnswerIsNo, WhyNotFound(found.code, place));
}

void ForEach(const IniDocument& document,
             const Arguments<kReadingUses>& arguments,
             const std::optional<std::string>& section,
             const std::function<void(const IniEntry&)>& use) {
  if (section) {
    const Place place = {.section = *section};
    const IniFound found = FindIn(document, arguments, place);
    if (!found) FailNotFound(found, place);
  }
  const bool all = arguments.Has(kRecords) || arguments.Has(kDisabled);
  for (const IniEntry& entry : document)
    if ((all || !entry.IsDisabled()) && (!section || entry.section == *section))
      use(entry);
}

}  // namespace fairlead::tool::ini
